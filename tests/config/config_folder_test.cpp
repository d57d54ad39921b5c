#include "config/config_folder.h"

#include <gtest/gtest.h>

#include "config/csv.h"
#include "config_test_support.h"
#include "host/text.h"

namespace config {
namespace {

using Cells = std::vector<std::string>;

class ConfigFolderTest : public config_test::HostFolder {
 protected:
  void Standard(const std::string& rows) {
    Write("R:\\config\\standard.csv", "文件夹名称,有效配置\r\n" + rows);
  }
};

TEST_F(ConfigFolderTest, SetSelection) {
  EXPECT_EQ(GetConfigFolderPath(host_), "R:\\config");  // no standard.csv
  Standard("A,N\r\nB,Y\r\n");
  EXPECT_EQ(GetConfigFolderPath(host_), "R:\\config\\B");
  // Every valid row appends its name.
  Standard("A,y\r\nB,Y\r\n");
  EXPECT_EQ(GetConfigFolderPath(host_), "R:\\config\\A\\B");
  // A valid row without a name adds nothing.
  Standard(",Y\r\nB,N\r\n");
  EXPECT_EQ(GetConfigFolderPath(host_), "R:\\config");
  // Flags are compared exactly.
  Standard("A,YES\r\nB, Y\r\n");
  EXPECT_EQ(GetConfigFolderPath(host_), "R:\\config");
  // Without the flag column: the root's config folder.
  Write("R:\\config\\standard.csv", "文件夹名称\r\nB\r\n");
  EXPECT_EQ(GetConfigFolderPath(host_), "R:\\config");
  // A table that cannot be read as one selects no set, without a word: a
  // quote left open, UTF-16 text.
  Standard("\"B,Y\r\n");
  EXPECT_EQ(GetConfigFolderPath(host_), "R:\\config");
  Write("R:\\config\\standard.csv", std::string("\xFF\xFEx\0,\0Y\0", 8));
  EXPECT_EQ(GetConfigFolderPath(host_), "R:\\config");
  // Code page 936's user-defined areas (0xAAA1, 0xFEFE) are text like any other.
  Standard("\xAA\xA1\xFE\xFE,Y\r\n");
  EXPECT_EQ(GetConfigFolderPath(host_), "R:\\config\\\xAA\xA1\xFE\xFE");
}

TEST_F(ConfigFolderTest, RootVariableAndSession) {
  EXPECT_EQ(host_.session().IsInitialized(), 0);
  host_.UnsetVariable("RQConfig");
  EXPECT_EQ(GetConfigFolderPath(host_), "");
  EXPECT_NE(host_.session().IsInitialized(), 0);
  EXPECT_EQ(host_.initialize_calls(), 1);
  // Already initialised: not again.
  host_.SetVariable("RQConfig", "");
  EXPECT_EQ(GetConfigFolderPath(host_), "");
  EXPECT_EQ(host_.initialize_calls(), 1);
  host_.SetVariable("RQConfig", "D:\\MYTOOL");
  EXPECT_EQ(GetConfigFolderPath(host_), "D:\\MYTOOL\\config");
}

TEST_F(ConfigFolderTest, FileContentAsATextModeLineReader) {
  Write("R:\\tip.txt", "A\nB\n");
  EXPECT_EQ(GetFileContent(host_.platform(), "R:\\tip.txt"), (Cells{"A", "B", ""}));
  Write("R:\\tip.txt", "材料BOM说明：\r\n1. 取整\r\n\r\n2. 合并");
  EXPECT_EQ(GetFileContent(host_.platform(), "R:\\tip.txt"),
            (Cells{"材料BOM说明：", "1. 取整", "", "2. 合并"}));
  EXPECT_TRUE(GetFileContent(host_.platform(), "R:\\none.txt").empty());
  EXPECT_FALSE(IsFileExist(host_.platform(), "R:\\none.txt"));
}

TEST_F(ConfigFolderTest, CurrentLayerFileName) {
  auto name = [this](const std::string& content) {
    Write(kLayerWorkFile, content);
    return CurrentLayerFileName(host_.platform());
  };
  EXPECT_EQ(name("  CURRENT_LAYER_FILE =  layers.csv  "), "layers.csv");
  EXPECT_EQ(name("; 图层\r\nCURRENT_LAYER_FILE = 连续模图层.csv\r\n"), "连续模图层.csv");
  EXPECT_EQ(name("CURRENT_LAYER_FILE=a=b.csv\nCURRENT_LAYER_FILE=c.csv\n"), "a=b.csv");
  EXPECT_EQ(name("CURRENT_LAYER_FILE=\tx.csv\t"), "\tx.csv\t");  // spaces only
  // GBK text that happens to be valid UTF-8 too ("小位" is) stays as it is;
  // only a file marked as UTF-8 is converted.
  EXPECT_EQ(name("CURRENT_LAYER_FILE = 小位.csv\r\n"), "小位.csv");
  EXPECT_EQ(name("\xEF\xBB\xBF" + text::GbkToUtf8("CURRENT_LAYER_FILE = 小位.csv\r\n")),
            "小位.csv");
  EXPECT_EQ(name("CURRENT_LAYER_FILE layers.csv"), "");
  EXPECT_EQ(name("LAYER_FILE = x.csv\r\n"), "");
  Remove(kLayerWorkFile);
  EXPECT_EQ(CurrentLayerFileName(host_.platform()), "");
}

}  // namespace
}  // namespace config
