// Runs the built diebom program as a user does, for the tool's tests: the
// arguments quoted for the shell, standard input closed, both outputs kept,
// in a scratch folder that holds copies of the sample die (die.xbf, die.step).
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/support/scratch.h"

namespace cli_test {

namespace fs = std::filesystem;

struct Result {
  int code = -1;
  std::string out, err;  // as written (UTF-8)
};

inline std::string ReadAll(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline std::string Quote(const std::string& s) {
  std::string out = "'";
  for (char c : s) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return out + "'";
}

class ToolTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = test_support::ScratchFolder(
        std::string("cli_") + ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::copy_file(fs::path(DIEBOM_SAMPLE_DIE_DIR) / "sample_die.xbf", dir_ / "die.xbf");
    fs::copy_file(fs::path(DIEBOM_SAMPLE_DIE_DIR) / "sample_die.step", dir_ / "die.step");
    fs::create_directories(dir_ / "out");
  }

  // Runs DIEBOM_BIN with `args`, through `wrap` when given (e.g. "timeout 5
  // sh -c"); its outputs go to files in the scratch folder.
  Result Diebom(const std::vector<std::string>& args, const std::string& wrap = {}) {
    std::string command = Quote(DIEBOM_BIN);
    for (const std::string& a : args) command += " " + Quote(a);
    if (!wrap.empty()) command = wrap + " " + Quote(command);
    command += " >" + Quote(P("out.txt")) + " 2>" + Quote(P("err.txt")) + " </dev/null";
    const int status = std::system(command.c_str());
    Result r;
    r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    r.out = ReadAll(dir_ / "out.txt");
    r.err = ReadAll(dir_ / "err.txt");
    return r;
  }

  std::string P(const std::string& name) const { return (dir_ / name).string(); }

  fs::path dir_;
};

}  // namespace cli_test
