// diebom parts as a user runs it on a copy of the sample die: the tree it
// prints, the workbook it writes (read back by xlrd), the header from a file
// and from --set, the part saved and run again, and every kind of bad input.
#include <gtest/gtest.h>

#include <sstream>

#include "config/csv.h"
#include "host/memory/memory_host.h"
#include "host/memory/part_file.h"
#include "host/text.h"
#include "tests/cli/run_tool.h"
#include "tests/workbook/xls_support.h"

namespace {

namespace fs = std::filesystem;
using cli_test::Result;

// UTF-8 for the command line from the test's GBK literals.
std::string U(const std::string& gbk) { return text::GbkToUtf8(gbk); }

class PartsCommandTest : public cli_test::ToolTest {
 protected:
  // diebom parts on the die with the required header set.
  std::vector<std::string> Parts(std::vector<std::string> extra) {
    std::vector<std::string> args = {"parts", P("die.xbf"), "--out", P("out")};
    for (const char* field :
         {"客户名称=华南汽车", "模具编号=DM-2024-017", "模具吨位=110T", "设计担当=李强"})
      args.push_back("--set=" + U(field));
    args.insert(args.end(), extra.begin(), extra.end());
    return args;
  }
};

TEST_F(PartsCommandTest, SampleDieTreeWorkbookAndSavedPart) {
  // The header file (GBK, a quoted value holding a comma); --set wins over it.
  std::ofstream(dir_ / "header.csv", std::ios::binary)
      << "客户名称,旧客户\r\n产品编号,\"P-01,P-02\"\r\n\r\n订单编号,PO-88\r\n";
  Result r =
      Diebom(Parts({"--header", P("header.csv"), "--format", "csv", "--save", P("saved.xbf")}));
  ASSERT_EQ(r.code, 0) << r.err;
  const fs::path book = dir_ / "out" / "die" / u8"die标准件BOM.xls";
  EXPECT_NE(r.err.find(U("diebom parts: 标准件BOM: 导出标准件BOM成功！ 文件路径：")),
            std::string::npos)
      << r.err;
  EXPECT_NE(r.err.find("diebom parts: workbook " + book.string()), std::string::npos) << r.err;

  const config::CsvTable table = config::ParseCsv(r.out, "parts");
  ASSERT_EQ(table.headings.size(), 13u);
  EXPECT_EQ(table.headings[0], "层级");
  EXPECT_EQ(table.headings[3], "型号/尺寸");
  // Eight groups of 37 bodies; the three bodies in the changed colour come
  // last, the fifth spring as a second spring group.
  std::vector<std::vector<std::string>> groups;
  int bodies = 0;
  for (const auto& row : table.rows) (row[0] == "1" ? (void)groups.push_back(row) : (void)++bodies);
  EXPECT_EQ(bodies, 29);
  ASSERT_EQ(groups.size(), 8u);
  EXPECT_EQ(groups[0][2], "外导柱");
  EXPECT_EQ(groups[6][1] + "|" + groups[6][2] + "|" + groups[6][11], "007|矩形弹簧|新增");
  EXPECT_EQ(groups[7][2] + "|" + groups[7][5], "氮气弹簧|2");

  // Every cell of the workbook equals its tree row; the template is intact.
  std::vector<wbtest::Cell> cells = {
      {1, 2, L"华南汽车"}, {2, 2, L"DM-2024-017"}, {3, 2, L"P-01,P-02"},
      {2, 4, L"李强"},     {3, 7, L"110T"},
  };
  const int workbook_column[] = {1, 2, 3, 4, 8, 5, 6, 9, 10, 11};  // of tree columns 1 to 10
  for (std::size_t i = 0; i < groups.size(); ++i) {
    const int row = 6 + static_cast<int>(i);
    cells.push_back({row, 0, std::to_wstring(i + 1)});
    for (int c = 1; c <= 10; ++c)
      cells.push_back({row, workbook_column[c - 1], text::GbkToWide(groups[i][1 + c])});
  }
  const fs::path shipped = fs::path(DIEBOM_SAMPLE_CONFIG) / "config" / u8"模具标准件申购表.xls";
  const std::string report = wbtest::CheckWithXlrd(dir_, shipped, book, 0, cells);
  EXPECT_EQ(report.substr(report.size() < 3 ? 0 : report.size() - 3), "OK\n") << report;

  // The saved part carries the header and the numbers; run on it again, it
  // keeps them (the old build) and the second workbook gets "-1".
  memory::MemoryHost saved;
  memory::OpenPartFile(saved, P("saved.xbf"));
  const host::Tag part = saved.session().WorkPart();
  for (const auto& [name, value] :
       {std::pair{"已排序", "Y"}, {"订单编号", "PO-88"}, {"客户名称", "华南汽车"}})
    EXPECT_EQ(saved.attributes().GetString(part, name), value);
  fs::rename(dir_ / "saved.xbf", dir_ / "die.xbf");
  r = Diebom({"parts", P("die.xbf"), "--out", P("out")});
  ASSERT_EQ(r.code, 0) << r.err << "the stored header is enough";
  // The groups in the part's order with their stored numbers; the additions
  // continue after the last group row (浮升销, 004), not after the largest.
  std::vector<std::string> numbers;
  std::istringstream lines(r.out);
  for (std::string line; std::getline(lines, line);)
    if (!line.empty() && line[0] != ' ' && line[0] != '/') numbers.push_back(line.substr(0, 3));
  EXPECT_EQ(numbers, (std::vector<std::string>{U("序号").substr(0, 3), "001", "002", "003", "006",
                                               "005", "004", "005", "006"}))
      << r.out;
  EXPECT_NE(r.out.find((dir_ / "out" / "die" / u8"die标准件BOM-1.xls").string() + "\n"),
            std::string::npos)
      << "the table ends with the workbook's path";

  r = Diebom(Parts({"--format", "json"}));
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(r.out.rfind("{\"columns\": [\"" + U("序号") + "\"", 0), 0u) << r.out;
  EXPECT_NE(r.out.find("{\"level\": 2, \"cells\": [\"001\""), std::string::npos) << r.out;
}

TEST_F(PartsCommandTest, BadInputIsReportedAndWritesNothing) {
  // A required field left empty: the dialog's own message, exit 1, no workbook.
  Result r = Diebom({"parts", P("die.xbf"), "--out", P("out"), "--set", U("模具编号=DM-1"),
                     "--save", P("saved.xbf")});
  EXPECT_EQ(r.code, 1);
  EXPECT_EQ(r.err, U("diebom parts: Block Styler: 客户名称不可以为空\n"));
  EXPECT_TRUE(r.out.empty()) << r.out;
  EXPECT_TRUE(fs::is_empty(dir_ / "out"));
  EXPECT_FALSE(fs::exists(dir_ / "saved.xbf"));

  std::ofstream(dir_ / "unknown.csv") << U("客户名称,A\n颜色,红\n");
  std::ofstream(dir_ / "wide.csv") << U("客户名称,A,B\n");
  const std::vector<std::tuple<std::vector<std::string>, int, std::string>> cases = {
      {Parts({"--set", U("颜色=红")}), 2, "no header field"},
      {Parts({"--set", U("客户名称")}), 2, "--set takes"},
      {Parts({"--set"}), 2, "needs a value"},
      {Parts({"--format", "xml"}), 2, "--format must be"},
      {Parts({"--header", P("unknown.csv")}), 1, "no header field"},
      {Parts({"--header", P("wide.csv")}), 1, "line 1: more than a title and a value"},
      {Parts({"--header", P("missing.csv")}), 1, "does not exist"},
      {Parts({"--set", U("模具吨位=999T")}), 1, "is not a configured value"},
      {Parts({"--out", P("nowhere")}), 1, "does not exist"},
      {Parts({"--out", P("die.xbf")}), 1, "is not a folder"},
  };
  for (const auto& [args, code, text] : cases) {
    SCOPED_TRACE(text);
    r = Diebom(args);
    EXPECT_EQ(r.code, code);
    EXPECT_NE(r.err.find(text), std::string::npos) << r.err;
    EXPECT_EQ(r.err.rfind("diebom parts", 0), 0u) << r.err;
    EXPECT_TRUE(r.out.empty()) << r.out;
  }
  EXPECT_TRUE(fs::is_empty(dir_ / "out"));

  // A configuration without the changed-body colour stops the dialog.
  fs::copy(DIEBOM_SAMPLE_CONFIG, dir_ / "config", fs::copy_options::recursive);
  std::ofstream(dir_ / "config" / "config" / "config.csv", std::ios::binary)
      << "设计人员,模具吨位,改模颜色\r\n李强,110T,\r\n";
  r = Diebom(Parts({"--config", P("config")}));
  EXPECT_EQ(r.code, 1);
  EXPECT_EQ(r.err, U("diebom parts: Block Styler: 未找到改模颜色！\n"));
  EXPECT_TRUE(fs::is_empty(dir_ / "out"));
}

}  // namespace
