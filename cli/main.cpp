// diebom: the plug-in's jobs on the command line.
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "cli/tool.h"

int main(int argc, char** argv) {
  // A closed pipe is a write error that the job reports, not a silent end.
  std::signal(SIGPIPE, SIG_IGN);
  int code = cli::Main(std::vector<std::string>(argv + 1, argv + argc));
  // Whatever is still buffered (help, version) must reach its reader too.
  errno = 0;
  if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
    const int err = errno;
    std::fprintf(stderr, "diebom: cannot write to standard output%s%s\n", err ? ": " : "",
                 err ? std::strerror(err) : "");
    if (code == cli::kSuccess) code = cli::kFailure;
  }
  return code;
}
