#include "config/csv.h"

#include <gtest/gtest.h>

#include <climits>

#include "config_test_support.h"
#include "host/text.h"

namespace config {
namespace {

using Cells = std::vector<std::string>;

TEST(ParseCsv, LineEndsOfEveryKindGiveTheSameTable) {
  for (const char* bytes : {"层,名\r\n10,上模座\r\n20,下模座\r\n", "层,名\n10,上模座\n20,下模座",
                            "层,名\r10,上模座\r20,下模座\r", "层,名\n10,上模座\r\n20,下模座\r"}) {
    const CsvTable t = ParseCsv(bytes, "t.csv");
    EXPECT_EQ(t.headings, (Cells{"层", "名"}));
    EXPECT_EQ(t.Column("名"), (Cells{"上模座", "下模座"}));
  }
}

TEST(ParseCsv, QuotedCellsAsTheSpreadsheetWritesThem) {
  const CsvTable t = ParseCsv(
      "流程,说明\r\n"
      "\"CNC开粗,热处理,慢丝\",\"请用\"\"图层优化\"\"\"\r\n"
      "\"两行\r\n文字\",\"\"\r\n"
      "\"前\"后,尺寸12\"\r\n",
      "t.csv");
  EXPECT_EQ(t.Column("流程"), (Cells{"CNC开粗,热处理,慢丝", "两行\r\n文字", "前后"}));
  EXPECT_EQ(t.Column("说明"), (Cells{"请用\"图层优化\"", "", "尺寸12\""}));
}

TEST(ParseCsv, RowsAndHeadingsKeepTheirPlaces) {
  // Short rows get empty cells, cells past the last heading are dropped, an
  // empty line in the middle is a row, empty lines at the end are not.
  CsvTable t = ParseCsv("a,b,c\r\n1\r\n\r\n,,\r\n4,5,6,7,8\r\n\r\n\r\n", "t.csv");
  ASSERT_EQ(t.rows.size(), 4u);
  EXPECT_EQ(t.Column("a"), (Cells{"1", "", "", "4"}));
  EXPECT_EQ(t.Column("c"), (Cells{"", "", "", "6"}));
  for (const auto& row : t.rows) EXPECT_EQ(row.size(), 3u);
  EXPECT_EQ(ParseCsv("出图的路径\r\n\r\nD:\\out\r\n", "t.csv").Column("出图的路径"),
            (Cells{"", "D:\\out"}));
  // Headings are matched exactly, the leftmost wins, an empty one names nothing.
  t = ParseCsv("重量(KG),,重量(KG), 备注,\r\n1,2,3,4,5\r\n", "t.csv");
  EXPECT_EQ(t.Column("重量(KG)"), (Cells{"1"}));
  EXPECT_TRUE(t.Column("").empty());
  EXPECT_TRUE(t.Column("备注").empty());
  EXPECT_EQ(t.Column(" 备注"), (Cells{"4"}));
  EXPECT_EQ(t.ColumnIndex("无此列"), -1);
  // Empty files, a byte-order mark alone, a heading alone.
  for (const char* bytes : {"", "\r\n\r\n", "\xEF\xBB\xBF", "改模颜色\r\n"})
    EXPECT_TRUE(ParseCsv(bytes, "t.csv").rows.empty());
  // "乗" is 81 5C: GBK second bytes are never separators.
  EXPECT_EQ(ParseCsv("名\r\n乗\\乗\r\n", "t.csv").Column("名"), (Cells{"乗\\乗"}));
}

TEST(ParseCsv, Utf8IsConvertedAndBadBytesAreNamedByFileAndLine) {
  const std::string utf8 = text::GbkToUtf8("总图层,总名称\r\n10,上模座\r\n");
  for (const std::string& bytes : {"\xEF\xBB\xBF" + utf8, utf8})
    EXPECT_EQ(ParseCsv(bytes, "t.csv").Column("总名称"), (Cells{"上模座"}));
  // Code page 936's user-defined areas are GBK as the host reads it.
  EXPECT_EQ(ParseCsv("名\r\n\xAA\xA1\xFE\xFE\r\n", "t.csv").Column("名"),
            (Cells{"\xAA\xA1\xFE\xFE"}));
  const std::string file = "配置文件：R:\\config\\t.csv ";
  const std::pair<std::string, std::string> bad[] = {
      // A character GBK does not have (U+1F600), named with its line.
      {"\xEF\xBB\xBF" + utf8 + "20,\xF0\x9F\x98\x80\r\n",
       "第3行：UTF-8文本有误或含有GBK中没有的字符（第42个字节 0xF0）"},
      // A lone lead byte before the line end; 0xFF never starts a character.
      {"层,名\r\n10,上模座\r\n20,\xB2\r\n", "第3行：不是有效的GBK文本（第22个字节 0xB2）"},
      {"层\n\xFF\xFF\n", "第2行：不是有效的GBK文本（第4个字节 0xFF）"},
      // UTF-16 text is refused as a whole.
      {std::string("\xFF\xFE\x61\0,\0b\0", 8),
       "是UTF-16(Unicode)编码，请另存为\"CSV(逗号分隔)\"格式"},
      // A quote left open names the line where its cell began.
      {"层,名\r\n10,\"上模座\r\n20,下模座\r\n",
       "第2行：引号未闭合（从这一行开始的单元格一直到文件末尾）"},
  };
  for (const auto& [bytes, message] : bad) {
    EXPECT_EQ(config_test::ConfigErrorOf([&] { ParseCsv(bytes, "R:\\config\\t.csv"); }),
              file + message);
  }
}

TEST(SplitString, PiecesBetweenSeparators) {
  EXPECT_EQ(SplitString("a,,b", ","), (Cells{"a", "", "b"}));
  EXPECT_EQ(SplitString("", ","), (Cells{""}));
  EXPECT_EQ(SplitString("a->b->", "->"), (Cells{"a", "b", ""}));
  EXPECT_EQ(SplitString("abc", ""), (Cells{"abc"}));
  // A path split at "\" leaves "乗" (81 5C) whole.
  EXPECT_EQ(SplitString("D:\\乗\\模具", "\\"), (Cells{"D:", "乗", "模具"}));
  // A double-byte separator only matches whole characters: "层" is B2 E3,
  // and "\xE3\xB2" straddles "层层".
  EXPECT_EQ(SplitString("层层", "\xE3\xB2"), (Cells{"层层"}));
  EXPECT_EQ(SplitString("上层下", "层"), (Cells{"上", "下"}));
}

TEST(CellConversions, AsAtoiAndAtof) {
  EXPECT_EQ(CellToInt(" 12abc"), 12);
  EXPECT_EQ(CellToInt("abc"), 0);
  EXPECT_EQ(CellToInt("99999999999999"), INT_MAX);
  EXPECT_EQ(CellToInt("-99999999999999"), INT_MIN);
  EXPECT_DOUBLE_EQ(CellToDouble(" 0.5kg"), 0.5);
  EXPECT_DOUBLE_EQ(CellToDouble("密度"), 0.0);
}

class ReadConfigFileTest : public config_test::HostFolder {};

TEST_F(ReadConfigFileTest, TableStaysAfterCloseAndGoesWithAFailedOpen) {
  Write("R:\\config\\TK\\色.csv", "材质颜色标准,材质名称\r\n6,Cr12MoV\r\n42,45#\r\n");
  ReadConfigFile reader(host_.platform());
  ASSERT_TRUE(reader.OpenConfigFile("R:\\config\\TK\\色.csv"));
  reader.CloseConfigFile();
  EXPECT_EQ(reader.GetColumnValue("材质名称"), (Cells{"Cr12MoV", "45#"}));
  EXPECT_TRUE(reader.GetColumnValue("热处理信息").empty());
  EXPECT_FALSE(reader.OpenConfigFile("R:\\config\\TK\\没有.csv"));
  EXPECT_TRUE(reader.GetColumnValue("材质名称").empty());

  // A malformed file is named by its logic path, and leaves no table.
  ASSERT_TRUE(reader.OpenConfigFile("R:\\config\\TK\\色.csv"));
  Write("R:\\config\\坏.csv", "名称\r\n\"未闭合\r\n");
  EXPECT_EQ(config_test::ConfigErrorOf([&] { reader.OpenConfigFile("R:\\config\\坏.csv"); }),
            "配置文件：R:\\config\\坏.csv 第2行：引号未闭合（从这一行开始的单元格一直到文件末尾）");
  EXPECT_TRUE(reader.GetColumnValue("材质名称").empty());
}

}  // namespace
}  // namespace config
