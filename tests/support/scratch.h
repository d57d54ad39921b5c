// Scratch folders for tests that work on real files.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace test_support {

// A new, empty folder of this process (test runs in parallel do not share
// it), removed when the test program ends.
inline std::filesystem::path ScratchFolder(const std::string& name) {
  namespace fs = std::filesystem;
  static struct Made {
    std::vector<fs::path> dirs;
    ~Made() {
      std::error_code ec;
      for (const fs::path& d : dirs) fs::remove_all(d, ec);
    }
  } made;
  const fs::path dir = fs::path(::testing::TempDir()) / (name + "_" + std::to_string(getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  made.dirs.push_back(dir);
  return dir;
}

}  // namespace test_support
