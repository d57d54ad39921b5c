// diebom: the plug-in's jobs on the command line.
#include <fcntl.h>
#include <unistd.h>
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
  // A standard stream closed by the caller keeps its number, held by a file
  // that cannot be written: no file the job opens takes its place, and the
  // list written there fails as it should.
  for (int fd = 0; fd <= 2; ++fd)
    if (::fcntl(fd, F_GETFD) == -1) ::open("/dev/null", O_RDONLY);
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
