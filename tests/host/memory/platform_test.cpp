// The logic's Windows paths on this machine.
#include <gtest/gtest.h>

#include <filesystem>

#include "host/memory/memory_host.h"
#include "host/text.h"
#include "tests/support/scratch.h"

namespace {

namespace fs = std::filesystem;

TEST(MemoryPlatform, DriveLettersAndChineseNamesMapToLocalFiles) {
  memory::MemoryHost h;
  const fs::path d = test_support::ScratchFolder("drive_d");
  h.MapDrive('d', d.string());
  auto& p = h.platform();
  EXPECT_TRUE(p.CreateDirectory("D:\\MYTOOL"));
  EXPECT_FALSE(p.CreateDirectory("D:\\MYTOOL")) << "it exists";
  EXPECT_FALSE(p.CreateDirectory("D:\\no\\such\\parent"));
  ASSERT_TRUE(p.WriteFile("D:\\MYTOOL\\模具材料采购单.xls", "abc"));
  // On disk the name is UTF-8.
  EXPECT_TRUE(fs::exists(d / "MYTOOL" / text::GbkToUtf8("模具材料采购单.xls")));
  EXPECT_TRUE(p.FileExists("d:\\MYTOOL\\模具材料采购单.xls"));
  EXPECT_EQ(*p.ReadFile("D:\\MYTOOL\\模具材料采购单.xls"), "abc");
  EXPECT_FALSE(p.ReadFile("D:\\MYTOOL\\none.csv"));
  EXPECT_TRUE(p.CopyFile("D:\\MYTOOL\\模具材料采购单.xls", "D:\\MYTOOL\\P1材料BOM.xls", true));
  EXPECT_FALSE(p.CopyFile("D:\\MYTOOL\\模具材料采购单.xls", "D:\\MYTOOL\\P1材料BOM.xls", true));
  EXPECT_TRUE(p.CopyFile("D:\\MYTOOL\\模具材料采购单.xls", "D:\\MYTOOL\\P1材料BOM.xls", false));
  EXPECT_TRUE(p.RemoveFile("D:\\MYTOOL\\P1材料BOM.xls"));
  EXPECT_FALSE(p.RemoveFile("D:\\MYTOOL\\P1材料BOM.xls"));
  // An unmapped drive has nothing on it; a path without a drive is on C.
  EXPECT_FALSE(p.FileExists("E:\\MYTOOL"));
  EXPECT_FALSE(p.FileExists("\\config\\standard.csv"));
  h.MapDrive('C', d.string());
  EXPECT_TRUE(p.FileExists("\\MYTOOL"));
  EXPECT_EQ(p.NativePath("D:\\MYTOOL\\a.csv"), (d / "MYTOOL" / "a.csv").string());
  // Invalid GBK in a path is an error, not a crash.
  EXPECT_THROW(p.FileExists(std::string("D:\\\x81")), text::EncodingError);
}

}  // namespace
