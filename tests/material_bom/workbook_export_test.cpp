// The purchase workbook's cells, file names and columns, written into the
// shipped template and read back by xlrd.
#include "material_bom/workbook_export.h"

#include <gtest/gtest.h>

#include "host/text.h"
#include "tests/workbook/xls_support.h"
#include "workbook/workbook.h"

namespace {

namespace fs = std::filesystem;
using material_bom::RowTexts;

TEST(WorkbookExport, CodesSizesAndFoldersAsTheSheetShowsThem) {
  EXPECT_EQ(material_bom::ExportCode("UB-03", "_", true), "UB_03");
  EXPECT_EQ(material_bom::ExportCode("UB-03", "_", false), "03");
  EXPECT_EQ(material_bom::ExportCode("AB", "_", true), "AB_AB");
  EXPECT_EQ(material_bom::ExportCode("AB", "_", false), "AB");
  EXPECT_EQ(material_bom::ExportCode("UB-03-2", "", true), "UB03-2");
  const auto box = material_bom::SplitSize("100.0x50.0x20.0");
  EXPECT_EQ(box.length + "|" + box.width + "|" + box.thickness, "100.0|50.0|20.0");
  const auto round = material_bom::SplitSize("Φ40.0xH25.0");
  EXPECT_EQ(round.length + "|" + round.width + "|" + round.thickness, "|Φ40.0|25.0");
  const auto odd = material_bom::SplitSize("40.0");
  EXPECT_EQ(odd.length + odd.width + odd.thickness, "");
  EXPECT_EQ(material_bom::WorkbookFolder("O:", "P1"), "O:\\P1\\");
  EXPECT_EQ(material_bom::WorkbookFolder("O:\\", "P1"), "O:\\P1\\");
}

TEST(WorkbookExport, HeaderAndRowsReadBackByXlrdWithTheTemplateIntact) {
  const fs::path dir = wbtest::ScratchDir();
  const fs::path tmpl =
      wbtest::SourceDir() / fs::path(u8"samples/config/config/级进模/模具材料采购单.xls");
  const fs::path out = dir / "out.xls";
  fs::copy_file(tmpl, out);

  material_bom::BomHeader header;
  for (int i = 0; i < material_bom::BomHeader::kFieldCount; ++i)
    header.fields[i] = text::Format("H%d", i);
  header.fields[material_bom::BomHeader::IndexOf("客户名称")] = "客户甲";
  std::vector<RowTexts> rows = {{"001",     "上模座", "UB-01", "45#",   "100.0x50.0x20.0",
                                 "2",       "0.8x2",  "调质",  "备",    "自购",
                                 "是",      "等高",   "3天",   "新增",  "2026-11-23 10:00:00",
                                 "0.500x2", "线割",   "0.8",   "0.500", ""},
                                {"002", "冲头", "AB", "", "Φ40.0xH25.0"}};
  rows[1].resize(20);
  config::CommonConfig common;
  common.joining_text = "_";

  const auto book = workbook::CreateXlsBook();
  ASSERT_TRUE(book->Load(out.string()));
  workbook::Sheet* sheet = book->GetSheet(book->ActiveSheet());
  ASSERT_NE(sheet, nullptr);
  ASSERT_TRUE(material_bom::WriteMaterialSheet(*sheet, header, rows, common));
  ASSERT_TRUE(book->Save(out.string()));

  std::vector<wbtest::Cell> cells = {
      {1, 1, L"H10"}, {1, 4, L"客户甲"}, {1, 8, L"H3"}, {2, 1, L"H5"},
      {2, 8, L"H1"},  {2, 11, L"H9"},    {3, 1, L"H2"}, {3, 4, L"H8"},
      {3, 8, L"H0"},  {4, 1, L"H7"},     {4, 8, L"H4"},
  };
  const std::vector<std::wstring> first = {
      L"1",    L"上模座", L"UB_01", L"45#",  L"100.0", L"x",    L"50.0",
      L"x",    L"20.0",   L"2",     L"",     L"调质",  L"备",   L"0.500x2",
      L"线割", L"自购",   L"是",    L"等高", L"3天",   L"新增", L"2026-11-23 10:00:00"};
  for (int c = 0; c < 21; ++c)
    if (c != 10) cells.push_back({6, c, first[c]});
  // A round part leaves the length and its "x" to the template; an empty
  // quantity is one piece.
  const std::vector<std::pair<int, std::wstring>> second = {
      {0, L"2"},     {1, L"冲头"}, {2, L"AB_AB"}, {3, L""},
      {6, L"Φ40.0"}, {7, L"x"},    {8, L"25.0"},  {9, L"1"}};
  for (const auto& [c, t] : second) cells.push_back({7, c, t});
  for (int c = 11; c < 21; ++c) cells.push_back({7, c, L""});
  const std::string report = wbtest::CheckWithXlrd(dir, tmpl, out, book->ActiveSheet(), cells);
  EXPECT_EQ(report.substr(report.find_last_not_of(" \n") - 1, 2), "OK") << report;
}

}  // namespace
