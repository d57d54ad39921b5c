#include "config/config_folder.h"

#include <gtest/gtest.h>

#include "config/csv.h"
#include "config_test_support.h"
#include "host/text.h"

namespace config {
namespace {

using Cells = std::vector<std::string>;

using ConfigFolderTest = config_test::HostFolder;

TEST_F(ConfigFolderTest, SetSelection) {
  EXPECT_EQ(GetConfigFolderPath(host_), "R:\\config");  // no standard.csv
  const std::pair<std::string, std::string> cases[] = {
      {"文件夹名称,有效配置\r\nA,N\r\nB,Y\r\n", "R:\\config\\B"},
      {"文件夹名称,有效配置\r\nA,y\r\nB,Y\r\n", "R:\\config\\A\\B"},  // every valid row
      {"文件夹名称,有效配置\r\n,Y\r\nB,N\r\n", "R:\\config"},         // no name: nothing
      {"文件夹名称,有效配置\r\nA,YES\r\nB, Y\r\n", "R:\\config"},     // flags exactly
      {"文件夹名称\r\nB\r\n", "R:\\config"},                          // no flag column
      // A table that cannot be read as one selects no set, without a word.
      {"文件夹名称,有效配置\r\n\"B,Y\r\n", "R:\\config"},
      {std::string("\xFF\xFEx\0,\0Y\0", 8), "R:\\config"},
  };
  for (const auto& [table, folder] : cases) {
    Write("R:\\config\\standard.csv", table);
    EXPECT_EQ(GetConfigFolderPath(host_), folder) << text::GbkToUtf8(table);
  }
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
  const std::pair<std::string, std::string> cases[] = {
      {"  CURRENT_LAYER_FILE =  layers.csv  ", "layers.csv"},
      {"; 图层\r\nCURRENT_LAYER_FILE = 连续模图层.csv\r\n", "连续模图层.csv"},
      {"CURRENT_LAYER_FILE=a=b.csv\nCURRENT_LAYER_FILE=c.csv\n", "a=b.csv"},
      {"CURRENT_LAYER_FILE=\tx.csv\t", "\tx.csv\t"},  // spaces only
      // GBK text that happens to be valid UTF-8 too ("小位" is) stays as it
      // is; only a file marked as UTF-8 is converted.
      {"CURRENT_LAYER_FILE = 小位.csv\r\n", "小位.csv"},
      {"\xEF\xBB\xBF" + text::GbkToUtf8("CURRENT_LAYER_FILE = 小位.csv\r\n"), "小位.csv"},
      {"CURRENT_LAYER_FILE layers.csv", ""},
      {"LAYER_FILE = x.csv\r\n", ""},
  };
  for (const auto& [content, name] : cases) {
    Write(kLayerWorkFile, content);
    EXPECT_EQ(CurrentLayerFileName(host_.platform()), name) << text::GbkToUtf8(content);
  }
  Remove(kLayerWorkFile);
  EXPECT_EQ(CurrentLayerFileName(host_.platform()), "");
}

}  // namespace
}  // namespace config
