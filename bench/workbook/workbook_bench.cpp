// Load the material template, write the header and 1,000 rows through the
// export's own cell writer (21 columns each), save: the workbook part of one
// material BOM export. The peak
// resident memory of the process is reported as peak_rss_MB.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "material_bom/workbook_export.h"
#include "workbook/workbook.h"

namespace {

// The header and 1,000 top-level tree rows of 20 columns, as the export
// reads them from the tree.
std::vector<material_bom::RowTexts> ExportRows() {
  std::vector<material_bom::RowTexts> rows;
  for (int i = 0; i < 1000; ++i) {
    material_bom::RowTexts row(20);
    for (int c = 0; c < 20; ++c) row[c] = "模板-" + std::to_string(i) + "-" + std::to_string(c);
    row[2] = "UB-" + std::to_string(i + 1);
    row[4] = i % 7 ? "400.0x250.0x45.0" : "Φ40.0xH25.0";
    rows.push_back(std::move(row));
  }
  return rows;
}

double PeakRssMb() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line))
    if (line.rfind("VmHWM:", 0) == 0) return std::stod(line.substr(6)) / 1024.0;
  return 0;
}

void BM_MaterialExport(benchmark::State& state) {
  namespace fs = std::filesystem;
  const fs::path tmpl =
      fs::path(DIEBOM_SOURCE_DIR) / fs::path(u8"samples/config/config/级进模/模具材料采购单.xls");
  const fs::path out = fs::temp_directory_path() / "diebom-workbook-bench.xls";
  const std::vector<material_bom::RowTexts> rows = ExportRows();
  material_bom::BomHeader header;
  for (std::string& field : header.fields) field = "冲压件 Acme";
  config::CommonConfig common;
  common.joining_text = "-";
  for (auto _ : state) {
    fs::copy_file(tmpl, out, fs::copy_options::overwrite_existing);
    auto book = workbook::CreateXlsBook();
    if (!book->Load(out.string())) state.SkipWithError(book->ErrorMessage().c_str());
    workbook::Sheet* sheet = book->GetSheet(book->ActiveSheet());
    if (sheet == nullptr) {
      state.SkipWithError(book->ErrorMessage().c_str());
      break;
    }
    if (!material_bom::WriteMaterialSheet(*sheet, header, rows, common))
      state.SkipWithError(book->ErrorMessage().c_str());
    if (!book->Save(out.string())) state.SkipWithError(book->ErrorMessage().c_str());
    book->Release();
  }
  state.counters["file_KB"] = double(fs::file_size(out)) / 1024.0;
  state.counters["peak_rss_MB"] = PeakRssMb();
  fs::remove(out);
}
BENCHMARK(BM_MaterialExport)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
