// A memory host over a temporary folder: drive C holds the user folders, R
// is a configuration root (RQConfig = "R:") and D holds D:\MYTOOL.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "config/csv.h"
#include "host/memory/memory_host.h"
#include "tests/support/scratch.h"

namespace config_test {

// The message of the ConfigError that `run` throws.
template <class Run>
std::string ConfigErrorOf(Run run) {
  try {
    run();
  } catch (const config::ConfigError& e) {
    return e.what();
  }
  ADD_FAILURE() << "no error";
  return {};
}

class HostFolder : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = test_support::ScratchFolder("diebom-config");
    for (const char* drive : {"C", "D", "R"}) {
      std::filesystem::create_directories(dir_ / drive);
      host_.MapDrive(drive[0], (dir_ / drive).string());
    }
    host_.SetVariable("RQConfig", "R:");
    host_.SetDesktopFolder("C:\\Users\\designer\\Desktop");
    host_.SetLocalAppDataFolder("C:\\Users\\designer\\AppData\\Local");
    std::filesystem::create_directories(dir_ / "C/Users/designer/AppData/Local");
  }

  // Writes `bytes` at the logic path `path`, creating its folders.
  void Write(const std::string& path, const std::string& bytes) {
    const std::filesystem::path local = host_.LocalPath(path);
    std::filesystem::create_directories(local.parent_path());
    ASSERT_TRUE(host_.platform().WriteFile(path, bytes)) << host_.LocalPath(path);
  }
  void Remove(const std::string& path) { std::filesystem::remove(host_.LocalPath(path)); }

  std::filesystem::path dir_;
  memory::MemoryHost host_;
};

}  // namespace config_test
