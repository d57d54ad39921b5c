// Runs the built diebom program as a user does, for the tool's tests: the
// arguments quoted for the shell, standard input closed, both outputs kept.
#pragma once

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace cli_test {

struct Result {
  int code = -1;
  std::string out, err;  // as written (UTF-8)
};

inline std::string ReadAll(const std::filesystem::path& p) {
  std::ifstream in(p, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

inline std::string Quote(const std::string& s) {
  std::string out = "'";
  for (char c : s) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

// Runs DIEBOM_BIN with `args`; its outputs go to files in `dir`. `wrap` is a
// command the run goes through (e.g. "timeout 5 sh -c").
inline Result RunDiebom(const std::filesystem::path& dir, const std::vector<std::string>& args,
                        const std::string& wrap = {}) {
  std::string command = Quote(DIEBOM_BIN);
  for (const std::string& a : args) command += " " + Quote(a);
  if (!wrap.empty()) command = wrap + " " + Quote(command);
  command += " >" + Quote((dir / "out.txt").string()) + " 2>" + Quote((dir / "err.txt").string()) +
             " </dev/null";
  const int status = std::system(command.c_str());
  Result r;
  r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  r.out = ReadAll(dir / "out.txt");
  r.err = ReadAll(dir / "err.txt");
  return r;
}

}  // namespace cli_test
