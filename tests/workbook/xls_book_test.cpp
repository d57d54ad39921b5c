// The .xls book against real templates made by LibreOffice, read back by
// xlrd and by LibreOffice itself.
#include <gtest/gtest.h>

#include "host/text.h"
#include "tests/workbook/xls_support.h"
#include "workbook/xls_book.h"

namespace {

using namespace wbtest;

const fs::path kMaterialTemplate = fs::path(u8"samples/config/config/级进模/模具材料采购单.xls");

const wchar_t* const kAstralName = L"凸模固定板 𠀀";  // U+20000 has no GBK form

std::string U8(const char8_t* s) { return reinterpret_cast<const char*>(s); }

// The material export's cells: header fields and `rows` body rows from row 6,
// columns 0 to 20 except 10.
std::vector<Cell> MaterialCells(int rows) {
  std::vector<Cell> cells = {
      {1, 1, L"冲压件-左支架"}, {1, 4, L"Acme Stamping Co., Ltd."},
      {1, 8, L"DM-2024-017"},   {2, 1, L"P-88 \"B\""},
      {2, 8, L"ERP-0042"},      {2, 11, L"张工"},
      {3, 1, L"SPCC 冷轧板"},   {3, 4, L"级进模"},
      {3, 8, L"PO/2024/3"},     {4, 1, L"1.2"},
      {4, 8, L"400T"},
  };
  const wchar_t* names[] = {L"上模座", L"下模板", L"Stripper plate", kAstralName, L"Café insert"};
  for (int i = 0; i < rows; ++i) {
    const std::wstring n = std::to_wstring(i + 1);
    const std::wstring length = std::to_wstring(100 + i) + L".0";
    const std::wstring width = i % 7 ? std::to_wstring(50 + i % 40) + L".0" : L"Φ40.0";
    const std::wstring height = std::to_wstring(10 + i % 30) + L".0";
    const std::wstring when =
        L"2024-05-0" + std::to_wstring(1 + i % 9) + L" 10:2" + std::to_wstring(i % 10) + L":00";
    const std::wstring material = i % 3 ? L"Cr12MoV" : L"45#";
    const std::wstring remark = i % 11 ? L"" : L"备注：线割";
    const std::wstring weight = std::to_wstring(i % 90) + L".125";
    const std::wstring texts[21] = {
        n,      names[i % 5], L"UB_" + n, material,    length, L"x",   width,         L"x",
        height, L"1",         L"",        L"HRC58-62", remark, weight, L"铣-磨-线割", L"精料",
        L"是",  L"否",        L"7天",     L"新增",     when};
    for (int c = 0; c <= 20; ++c)
      if (c != 10) cells.push_back({6 + i, c, texts[c]});
  }
  return cells;
}

void WriteAll(workbook::Sheet* sheet, const std::vector<Cell>& cells) {
  for (const Cell& c : cells) ASSERT_TRUE(sheet->WriteText(c.row, c.col, c.text));
}

// `cells` written in order into the active sheet of `tmpl`, saved as `out`.
void WriteInto(const fs::path& tmpl, const std::vector<Cell>& cells, const fs::path& out) {
  workbook::XlsBook book;
  ASSERT_TRUE(book.Load(tmpl.string())) << book.ErrorMessage();
  workbook::Sheet* sheet = book.GetSheet(book.ActiveSheet());
  ASSERT_NE(sheet, nullptr) << book.ErrorMessage();
  WriteAll(sheet, cells);
  ASSERT_TRUE(book.Save(out.string())) << book.ErrorMessage();
}

// LibreOffice reads the written cells exactly, and every other cell of every
// sheet as in the template.
void ExpectLibreOfficeReads(const fs::path& dir, const fs::path& tmpl, const fs::path& output,
                            const std::string& sheet_name, const std::vector<Cell>& cells) {
  auto before = ReadWithLibreOffice(dir, tmpl);
  auto after = ReadWithLibreOffice(dir, output);
  ASSERT_TRUE(after.count(sheet_name)) << "LibreOffice wrote no CSV for the sheet";
  ASSERT_EQ(before.size(), after.size());
  std::map<std::pair<int, int>, std::string> written;
  for (const Cell& c : cells) written[{c.row, c.col}] = Utf8(c.text);
  for (const auto& [name, grid] : after) {
    const auto& old = before[name];
    for (std::size_t r = 0; r < std::max(grid.size(), old.size()); ++r) {
      for (std::size_t c = 0; c < 256; ++c) {
        auto at = [&](const std::vector<std::vector<std::string>>& g) {
          return r < g.size() && c < g[r].size() ? g[r][c] : std::string();
        };
        auto w = name == sheet_name ? written.find({int(r), int(c)}) : written.end();
        std::string want = w != written.end() ? w->second : at(old);
        ASSERT_EQ(at(grid), want) << name << " (" << r << "," << c << ")";
      }
    }
  }
}

TEST(XlsBook, MaterialExportIntoTheShippedTemplate) {
  const fs::path dir = ScratchDir();
  const fs::path tmpl = SourceDir() / kMaterialTemplate;
  const fs::path out = dir / u8"P1材料BOM.xls";
  fs::copy_file(tmpl, out);
  // A cell written twice keeps the last text and the template's format.
  std::vector<Cell> cells = MaterialCells(1000);
  cells.insert(cells.begin(), {1, 1, L"first text"});
  ASSERT_NO_FATAL_FAILURE(WriteInto(out, cells, out));

  EXPECT_EQ(CheckWithXlrd(dir, tmpl, out, 0, cells), "OK\n");
  SstFacts facts;
  EXPECT_EQ(CheckStructure(ReadFile(out), 0, &facts), "");
  EXPECT_GT(facts.continues, 0u);
  ExpectLibreOfficeReads(dir, tmpl, out, U8(u8"材料采购单"), cells);

  // Our own reader sees the same, including text beyond the BMP.
  workbook::XlsBook again;
  ASSERT_TRUE(again.Load(out.string())) << again.ErrorMessage();
  workbook::Sheet* reread = again.GetSheet(0);
  std::wstring text;
  ASSERT_TRUE(reread->ReadText(9, 1, &text));
  EXPECT_EQ(text, kAstralName);
  ASSERT_TRUE(reread->ReadText(0, 0, &text));
  EXPECT_EQ(text, L"模具材料采购单");
  EXPECT_FALSE(reread->ReadText(6, 10, &text) && text != L"块");
}

// A template so small that its Workbook stream lives in the mini stream; it
// has a run of numbers (MULRK), a row with a format of its own (row 2), and
// two more sheets, one of them empty. Every column gets the format of the
// one formatted cell (1,4), so that new cells show where their format comes from.
fs::path SmallTemplate(const fs::path& dir) {
  const fs::path converted = ConvertToXls(dir, SourceDir() / "tests/workbook/small_template.fods");
  if (!fs::exists(converted)) return converted;
  const fs::path tmpl = dir / "small.xls";
  WriteFile(tmpl, EditWorkbookStream(ReadFile(converted), [](std::string& s) {
              const std::size_t cyan = RecordsOf(s, 0x0201).back() + 8;  // the BLANK's XF
              for (std::size_t colinfo : RecordsOf(s, 0x007D))
                s.replace(colinfo + 10, 2, s, cyan, 2);
            }));
  return tmpl;
}

std::size_t WorkbookStreamSize(const std::string& xls) {
  workbook::cfb::File file = workbook::cfb::Read(xls);
  return file.entries[std::size_t(file.Find(u"Workbook"))].data.size();
}

TEST(XlsBook, TemplateInTheMiniStream) {
  const fs::path dir = ScratchDir();
  const fs::path tmpl = SmallTemplate(dir);
  ASSERT_TRUE(fs::exists(tmpl)) << "LibreOffice made no template";
  ASSERT_LT(WorkbookStreamSize(ReadFile(tmpl)), 4096u);

  // A few cells: one into the middle of the run of numbers, which splits it;
  // new ones in the formatted row and in a formatted column.
  std::vector<Cell> few = {
      {1, 1, L"two"}, {0, 0, L"订单"}, {2, 5, L"row format"}, {0, 6, L"column format"}};
  workbook::XlsBook book;
  ASSERT_TRUE(book.Load(tmpl.string())) << book.ErrorMessage();
  WriteAll(book.GetSheet(0), few);
  const fs::path small_out = dir / "few.xls";
  ASSERT_TRUE(book.Save(small_out.string())) << book.ErrorMessage();
  EXPECT_LT(WorkbookStreamSize(ReadFile(small_out)), 4096u);
  EXPECT_EQ(CheckWithXlrd(dir, tmpl, small_out, 0, few), "OK\n");

  // Many cells: the stream grows past the mini stream's limit.
  std::vector<Cell> many = MaterialCells(1000);
  WriteAll(book.GetSheet(0), many);
  const fs::path big_out = dir / "many.xls";
  ASSERT_TRUE(book.Save(big_out.string())) << book.ErrorMessage();
  EXPECT_GT(WorkbookStreamSize(ReadFile(big_out)), 4096u);
  many.insert(many.begin(), few.begin(), few.end());  // the later text wins
  EXPECT_EQ(CheckWithXlrd(dir, tmpl, big_out, 0, many), "OK\n");
  EXPECT_EQ(CheckStructure(ReadFile(big_out), 0), "");
  ExpectLibreOfficeReads(dir, tmpl, big_out, "BOM", many);

  // A sheet without any cell gets its cell table after DIMENSIONS.
  workbook::XlsBook other;
  ASSERT_TRUE(other.Load(tmpl.string()));
  workbook::Sheet* empty = other.GetSheet(2);
  ASSERT_NE(empty, nullptr) << other.ErrorMessage();
  std::vector<Cell> into_empty = {{0, 0, L"a"}, {3, 2, L"空表"}, {3, 1, L"b"}};
  WriteAll(empty, into_empty);
  const fs::path empty_out = dir / "empty.xls";
  ASSERT_TRUE(other.Save(empty_out.string())) << other.ErrorMessage();
  EXPECT_EQ(CheckWithXlrd(dir, tmpl, empty_out, 2, into_empty), "OK\n");
  EXPECT_EQ(CheckStructure(ReadFile(empty_out), 0), "");
}

TEST(XlsBook, LargeTemplateWithDifatAndContinuedStrings) {
  const fs::path dir = ScratchDir();
  // 60,000 rows of distinct strings right of the BOM columns: a file of some
  // 9 MB, more than 109 FAT sectors can map.
  std::string csv;
  for (int r = 0; r < 60000; ++r)
    csv += std::string(22, ',') +
           text::Format("条目%d-a 数据,条目%d-b 规格型号,条目%d-c,%d\n", r, r, r, r);
  WriteFile(dir / "large.csv", text::GbkToUtf8(csv));
  const fs::path tmpl = ConvertToXls(dir, dir / "large.csv", "CSV:44,34,76,1");
  ASSERT_TRUE(fs::exists(tmpl)) << "LibreOffice made no template";
  const std::string before = ReadFile(tmpl);
  ASSERT_GT(Get32(before, 72), 0u) << "the template needs DIFAT sectors";
  SstFacts facts;
  ASSERT_EQ(CheckStructure(before, ~std::size_t(0), &facts), "");
  ASSERT_GT(facts.continues, 0u);

  std::vector<Cell> cells = MaterialCells(1000);
  const fs::path out = dir / "large-out.xls";
  ASSERT_NO_FATAL_FAILURE(WriteInto(tmpl, cells, out));
  const std::string after = ReadFile(out);
  EXPECT_GT(Get32(after, 72), 0u);
  EXPECT_EQ(CheckStructure(after, facts.strings), "");
  EXPECT_EQ(CheckWithXlrd(dir, tmpl, out, 0, cells), "OK\n");
  ExpectLibreOfficeReads(dir, tmpl, out, "large", cells);
}

// Neither xlrd nor LibreOffice reads 4096-byte sectors where the format puts
// them, so such a file is checked by reading it here and writing it back with
// 512-byte sectors for them.
TEST(XlsBook, LargeSectorsRoundTrip) {
  const fs::path dir = ScratchDir();
  const fs::path tmpl = SourceDir() / kMaterialTemplate;
  workbook::XlsBook book;
  ASSERT_TRUE(book.Load(tmpl.string()));
  book.UseLargeSectors(true);
  const fs::path v4 = dir / "v4.xls";
  ASSERT_TRUE(book.Save(v4.string())) << book.ErrorMessage();
  const std::string bytes = ReadFile(v4);
  ASSERT_EQ(bytes[26], 4);
  ASSERT_EQ(bytes[30], 12);
  EXPECT_EQ(bytes.size() % 4096, 0u);

  std::vector<Cell> cells = MaterialCells(50);
  ASSERT_NO_FATAL_FAILURE(WriteInto(v4, cells, v4));

  workbook::XlsBook third;
  ASSERT_TRUE(third.Load(v4.string())) << third.ErrorMessage();
  third.UseLargeSectors(false);
  const fs::path v3 = dir / "v3.xls";
  ASSERT_TRUE(third.Save(v3.string())) << third.ErrorMessage();
  EXPECT_EQ(ReadFile(v3)[30], 9);
  EXPECT_EQ(CheckWithXlrd(dir, tmpl, v3, 0, cells), "OK\n");
}

TEST(XlsBook, SharedStringsSplitByTheRules) {
  const fs::path dir = ScratchDir();
  const fs::path tmpl = SourceDir() / kMaterialTemplate;
  SstFacts before;
  ASSERT_EQ(CheckStructure(ReadFile(tmpl), ~std::size_t(0), &before), "");

  std::vector<Cell> cells;
  // Long strings of every kind, in lengths that put the record ends at
  // different places: Latin-1 (compressed), Chinese, and pairs beyond the BMP.
  for (int i = 0; i < 24; ++i) {
    std::wstring latin(3000 + 7 * i, L'é'), chinese(2500 + 13 * i, L'模'), astral;
    for (int k = 0; k < 1500 + 11 * i; ++k) astral += k % 3 ? L"𠀀" : L"a";
    cells.push_back({6 + i, 0, latin});
    cells.push_back({6 + i, 1, chinese});
    cells.push_back({6 + i, 2, astral});
  }
  // Repeats and a string the template already holds reuse their entries.
  for (int i = 0; i < 24; ++i) cells.push_back({6 + i, 3, i % 2 ? L"序号" : L"Cr12MoV"});
  cells.push_back({40, 0, L""});
  const fs::path out = dir / "sst.xls";
  ASSERT_NO_FATAL_FAILURE(WriteInto(tmpl, cells, out));

  SstFacts after;
  EXPECT_EQ(CheckStructure(ReadFile(out), before.strings, &after), "");
  EXPECT_EQ(after.strings, before.strings + 24 * 3 + 2);
  EXPECT_GT(after.continues, 20u);
  EXPECT_EQ(CheckWithXlrd(dir, tmpl, out, 0, cells), "OK\n");
}

// An INDEX record at the start of each sheet, as Excel writes them (LibreOffice
// does not): rebuilt for the written sheet, moved along for the other one.
TEST(XlsBook, IndexRecordsFollowTheirSheets) {
  const fs::path dir = ScratchDir();
  const fs::path tmpl = dir / "indexed.xls";
  WriteFile(tmpl, EditWorkbookStream(ReadFile(SourceDir() / kMaterialTemplate), [](std::string& s) {
              const std::vector<std::size_t> bofs = RecordsOf(s, 0x0809);
              ASSERT_EQ(bofs.size(), 3u) << "the globals and two sheets";
              // Into the second sheet first, so that the first sheet's offset stays valid.
              for (std::size_t bof : {bofs[2], bofs[1]})
                s.insert(bof + 20, std::string("\x0B\x02\x10\x00", 4) + std::string(16, '\0'));
              const std::size_t second = RecordsOf(s, 0x0085).at(1) + 4;
              Put32(s, second, Get32(s, second) + 20);
              // Each INDEX points at its sheet's DEFCOLWIDTH.
              const auto index = RecordsOf(s, 0x020B), defcolwidth = RecordsOf(s, 0x0055);
              for (std::size_t i = 0; i < index.size(); ++i)
                Put32(s, index[i] + 16, std::uint32_t(defcolwidth.at(i)));
            }));
  ASSERT_EQ(CheckStructure(ReadFile(tmpl), ~std::size_t(0)), "");

  std::vector<Cell> cells = MaterialCells(200);
  const fs::path out = dir / "indexed-out.xls";
  ASSERT_NO_FATAL_FAILURE(WriteInto(tmpl, cells, out));
  EXPECT_EQ(CheckStructure(ReadFile(out), 0), "");
  EXPECT_EQ(CheckWithXlrd(dir, tmpl, out, 0, cells), "OK\n");
}

}  // namespace
