// diebom bom and diebom report as a user runs them on copies of the sample
// die: the workbook read back by xlrd against the tree the dialog showed, the
// second run on the saved part, required fields, folders, and models from
// elsewhere.
#include <gtest/gtest.h>
#include <unistd.h>

#include "config/csv.h"
#include "host/text.h"
#include "tests/cli/run_tool.h"
#include "tests/workbook/xls_support.h"

namespace {

namespace fs = std::filesystem;
using cli_test::ReadAll;
using cli_test::Result;

std::string U8(const char* gbk) { return text::GbkToUtf8(gbk); }

// The tree as printed with --format csv: rows of (level, 20 columns), GBK.
std::vector<std::vector<std::string>> TreeRows(const std::string& csv_utf8) {
  const config::CsvTable table = config::ParseCsv(text::Utf8ToGbk(csv_utf8), "tree");
  EXPECT_EQ(table.headings.size(), 21u) << "the level and twenty columns";
  return table.rows;
}

// xlrd finds `output` equal to `tmpl` but for `cells`.
void ExpectXlrdReads(const fs::path& tmpl, const fs::path& output,
                     const std::vector<wbtest::Cell>& cells) {
  const std::string report = wbtest::CheckWithXlrd(wbtest::ScratchDir(), tmpl, output, 0, cells);
  EXPECT_EQ(report.substr(report.find_last_not_of(" \n") - 1, 2), "OK") << report;
}

class BomTest : public cli_test::ToolTest {
 protected:
  // The sample die's BOM with the shipped header, as CSV, into `out`.
  Result Bom(const std::string& part, const std::string& out, std::vector<std::string> more = {}) {
    std::vector<std::string> args = {"bom",   part, "--header", DIEBOM_SAMPLE_HEADER,
                                     "--out", out,  "--format", "csv"};
    args.insert(args.end(), more.begin(), more.end());
    return Diebom(args);
  }
  fs::path Workbook(const std::string& out, const std::string& leaf) const {
    return dir_ / out / leaf / (leaf + U8("材料BOM") + ".xls");
  }
};

TEST_F(BomTest, TheWorkbookHoldsTheTreeRowsAndTheTemplateStaysIntact) {
  const Result r = Bom(P("die.xbf"), P("out"));
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_NE(r.err.find("diebom bom: " + U8("材料BOM: 导出材料BOM成功！")), std::string::npos)
      << "every message box is a line: " << r.err;
  const auto rows = TreeRows(r.out);
  ASSERT_GE(rows.size(), 20u);

  // What each sheet cell must hold: the header file's fields and the
  // top-level rows, by the export's rules (joining text "-", codes exported).
  std::vector<wbtest::Cell> cells = {
      {1, 1, L"后座椅安装支架"}, {1, 4, L"华锐汽车部件"}, {1, 8, L"PD24-001"}, {2, 1, L"BR-2231"},
      {2, 8, L"ERP-40017"},      {2, 11, L"张伟"},        {3, 1, L"SPCC"},     {3, 4, L"连续模"},
      {3, 8, L"SO-2026-118"},    {4, 1, L"0.8"},          {4, 8, L"80T"}};
  // The code and size cells as the purchaser reads them: the code around the
  // joining text "-", a round part's diameter under W and its height under T
  // with L and its "x" left as the template has them.
  struct Line {
    const wchar_t *code, *length, *width, *thickness;
  };
  const Line kLines[] = {
      {L"UB-01", L"400.0", L"250.0", L"45.0"}, {L"UP-01", L"300.0", L"180.0", L"15.0"},
      {L"PH-01", L"300.0", L"180.0", L"22.0"}, {L"SP-01", L"300.0", L"180.0", L"25.0"},
      {L"DP-01", L"300.0", L"180.0", L"30.0"}, {L"LP-01", L"300.0", L"180.0", L"20.0"},
      {L"LB-01", L"400.0", L"250.0", L"50.0"}, {L"IN-01", L"40.0", L"30.0", L"30.0"},
      {L"IN-02", L"40.0", L"30.0", L"30.0"},   {L"IN-03", L"50.0", L"30.0", L"30.0"},
      {L"IN-04", L"40.0", L"30.0", L"30.0"},   {L"PU-01", L"20.0", L"12.0", L"60.0"},
      {L"PU-02", L"", L"Φ10.0", L"60.0"},      {L"PU-03", L"", L"Φ10.0", L"60.0"},
      {L"PU-04", L"", L"Φ6.0", L"60.0"},       {L"PU-05", L"", L"Φ6.0", L"60.0"},
      {L"PU-06", L"", L"Φ10.0", L"60.0"},      {L"PU-07", L"20.0", L"12.0", L"60.0"},
      {L"BP-01", L"300.0", L"180.0", L"12.0"}, {L"UF-01", L"400.0", L"50.0", L"40.0"},
      {L"UF-02", L"400.0", L"50.0", L"40.0"},  {L"LF-01", L"400.0", L"50.0", L"40.0"},
      {L"LF-02", L"400.0", L"50.0", L"40.0"},  {L"ST-01", L"30.0", L"30.0", L"60.0"},
      {L"ST-02", L"30.0", L"30.0", L"60.0"},   {L"ST-03", L"40.0", L"16.0", L"20.0"},
      {L"ST-04", L"30.0", L"30.0", L"60.0"},   {L"ST-05", L"30.0", L"30.0", L"60.0"},
      {L"GP-01", L"300.0", L"20.0", L"8.0"},   {L"GP-02", L"300.0", L"20.0", L"8.0"}};
  int sheet_row = 6;
  for (const auto& row : rows) {
    if (row[0] != "1") continue;
    const std::vector<std::string> tree(row.begin() + 1, row.end());
    ASSERT_LT(static_cast<std::size_t>(sheet_row - 6), std::size(kLines))
        << "more rows than listed";
    const Line& line = kLines[sheet_row - 6];
    const std::string count = tree[5].empty() ? "1" : tree[5];
    const std::string copied[21] = {"",       tree[1],  "",       tree[3], "",       "",
                                    "",       "",       "",       count,   "",       tree[7],
                                    tree[8],  tree[15], tree[16], tree[9], tree[10], tree[11],
                                    tree[12], tree[13], tree[14]};
    cells.push_back({sheet_row, 0, std::to_wstring(sheet_row - 5)});
    cells.push_back({sheet_row, 2, line.code});
    if (*line.length) {
      cells.push_back({sheet_row, 4, line.length});
      cells.push_back({sheet_row, 5, L"x"});
    }
    cells.push_back({sheet_row, 6, line.width});
    cells.push_back({sheet_row, 7, L"x"});
    cells.push_back({sheet_row, 8, line.thickness});
    for (int c : {1, 3, 9, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20})
      cells.push_back({sheet_row, c, text::GbkToWide(copied[c])});
    ++sheet_row;
  }
  EXPECT_EQ(sheet_row - 6, static_cast<int>(std::size(kLines)));
  ExpectXlrdReads(fs::path(DIEBOM_SAMPLE_CONFIG) / "config" / fs::path(u8"级进模") /
                      fs::path(u8"模具材料采购单.xls"),
                  Workbook("out", "die"), cells);
}

TEST_F(BomTest, ASecondRunOnTheSavedPartGivesTheSameTreeAndWorkbook) {
  const Result first = Bom(P("die.xbf"), P("out"), {"--save", P("saved.xbf")});
  ASSERT_EQ(first.code, 0) << first.err;
  fs::create_directories(dir_ / "out2");
  const Result second = Bom(P("saved.xbf"), P("out2"));
  ASSERT_EQ(second.code, 0) << second.err;

  // The same rows; only a new-colour body, numbered by the first run with its
  // time cleared, shows the time it was first listed when read back.
  const auto a = TreeRows(first.out), b = TreeRows(second.out);
  ASSERT_EQ(a.size(), b.size());
  std::vector<wbtest::Cell> changed;
  int sheet_row = 6;
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::vector<std::string> x = a[i], y = b[i];
    if (x[1 + 14] != y[1 + 14]) {
      EXPECT_EQ(x[1 + 13] + "|" + x[1 + 14], "新增|") << "row " << i;
      if (a[i][0] == "1") changed.push_back({sheet_row, 20, text::GbkToWide(y[1 + 14])});
      x[1 + 14] = y[1 + 14];
    }
    EXPECT_EQ(x, y) << "row " << i;
    sheet_row += a[i][0] == "1";
  }
  // The second workbook is the first but for those cells: every other cell,
  // format and stream as it was.
  ExpectXlrdReads(Workbook("out", "die"), Workbook("out2", "saved"), changed);

  // A third export of the same part takes the next free name.
  ASSERT_EQ(Bom(P("saved.xbf"), P("out2")).code, 0);
  EXPECT_TRUE(fs::is_regular_file(dir_ / "out2" / "saved" / (U8("saved材料BOM") + "-1.xls")));
}

TEST_F(BomTest, AnEmptyRequiredFieldOrABadFolderWritesNothing) {
  Result r = Diebom({"bom", P("die.xbf"), "--out", P("out"), "--set", U8("订单编号=SO-1")});
  EXPECT_EQ(r.code, 1);
  EXPECT_NE(r.err.find(U8("产品材质不可以为空")), std::string::npos) << r.err;

  r = Bom(P("die.xbf"), P("no/such/folder"));
  EXPECT_EQ(r.code, 1);
  EXPECT_NE(r.err.find("no/such/folder"), std::string::npos) << r.err;
  fs::create_directories(dir_ / "locked");
  fs::permissions(dir_ / "locked", fs::perms::owner_read | fs::perms::owner_exec);
  if (access(P("locked").c_str(), W_OK) != 0) {  // root may write anywhere
    EXPECT_EQ(Bom(P("die.xbf"), P("locked")).code, 1);
  }
  fs::permissions(dir_ / "locked", fs::perms::owner_all);

  for (const std::string& target : {P("die.xbf"), P("copy.step")})
    EXPECT_EQ(Bom(P("die.xbf"), P("out"), {"--save", target}).code, 2) << target;
  EXPECT_EQ(Diebom({"bom", P("die.xbf"), "--set", U8("颜色=红")}).code, 2);
  EXPECT_TRUE(fs::is_empty(dir_ / "out"));
}

TEST_F(BomTest, AModelFromElsewhereSaysWhichFilterEmptiedTheTree) {
  // The STEP copy carries layers and colours but none of the marks.
  Result r = Bom(P("die.step"), P("out"));
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(TreeRows(r.out).size(), 0u);
  EXPECT_NE(r.err.find("--mark"), std::string::npos) << r.err;

  r = Bom(P("die.step"), P("out"), {"--mark"});
  ASSERT_EQ(r.code, 0) << r.err;
  const std::size_t marked = TreeRows(r.out).size();
  EXPECT_GE(marked, 20u);

  // Every layer that holds solids, the strip's and the product's too.
  r = Bom(P("die.step"), P("out"), {"--mark", "--all-layers", "--keep-overlaps"});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_GT(TreeRows(r.out).size(), marked);
}

TEST_F(BomTest, TheReportDrawsTheTreeWithOrWithoutTheWorkbook) {
  Result r = Diebom({"report", P("die.xbf"), "-o", P("r.html"), "--out", P("out")});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_TRUE(fs::is_empty(dir_ / "out")) << "no workbook, no header needed";
  EXPECT_NE(r.err.find("report " + P("r.html") + ": 30 rows"), std::string::npos) << r.err;
  EXPECT_NE(ReadAll(dir_ / "r.html").find("<html"), std::string::npos);
  // The punches' steel: seven small blanks of 0.0 and 0.1 kg as the rows show
  // them, added up before rounding, outweigh their net weight.
  EXPECT_NE(ReadAll(dir_ / "r.html")
                .find("<tr><td>SKH-51</td><td class=\"n\">7</td><td class=\"n\">0.4</td>"
                      "<td class=\"n\">0.364</td></tr>"),
            std::string::npos);

  r = Bom(P("die.xbf"), P("out"), {"--report", P("b.html")});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_TRUE(fs::is_regular_file(Workbook("out", "die")));
  EXPECT_GT(ReadAll(dir_ / "b.html").size(), 1000u);

  EXPECT_EQ(Diebom({"report", P("die.xbf")}).code, 2) << "no -o";
  EXPECT_EQ(Diebom({"report", P("die.xbf"), "-o", P("no/such/r.html")}).code, 1);
}

}  // namespace
