// A memory host for the entry's tests: configuration root "R:" on a
// temporary folder, the shipped layout files, and the host installed for the
// entry points.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "entry/entry.h"
#include "host/memory/dialogs/dialogs.h"
#include "host/memory/memory_host.h"
#include "tests/support/scratch.h"

namespace entry_test {

class EntryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = test_support::ScratchFolder("diebom-entry");
    std::filesystem::create_directories(dir_ / "R" / "config");
    host_.MapDrive('R', (dir_ / "R").string());
    host_.SetVariable("RQConfig", "R:");
    entry::SetHost(&host_);
  }
  void TearDown() override {
    entry::SetHost(nullptr);
    entry::SetMaterialBomFactory({});
  }

  memory::MemoryDialogs& dialogs() { return host_.memory_dialogs(); }

  // Writes a file at a path of the logic ("R:\config\x.txt").
  void Write(const std::string& path, const std::string& bytes) {
    std::filesystem::create_directories(std::filesystem::path(host_.LocalPath(path)).parent_path());
    ASSERT_TRUE(host_.platform().WriteFile(path, bytes));
  }

  // Makes the dialogs come from a folder holding copies of the shipped
  // layouts named; returns the folder.
  std::filesystem::path UseLayouts(std::initializer_list<const char*> files) {
    const std::filesystem::path folder = dir_ / "ui";
    std::filesystem::create_directories(folder);
    const char* source = getenv("DIEBOM_SOURCE_DIR");
    EXPECT_NE(source, nullptr) << "run through ctest, which names the source folder";
    for (const char* file : files) {
      std::filesystem::copy_file(std::filesystem::path(source ? source : ".") / "ui" / file,
                                 folder / file);
    }
    dialogs().SetLayoutFolder(folder.string());
    return folder;
  }

  std::filesystem::path dir_;
  memory::MemoryHost host_;
};

}  // namespace entry_test
