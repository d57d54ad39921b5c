// Load the material template, write the header and 1,000 body rows of 21
// columns, save: the workbook part of one material BOM export. The peak
// resident memory of the process is reported as peak_rss_MB.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "workbook/workbook.h"

namespace {

struct Cell {
  int row, col;
  std::wstring text;
};

std::vector<Cell> ExportCells() {
  std::vector<Cell> cells;
  const int header[11][2] = {{1, 1}, {1, 4}, {1, 8}, {2, 1}, {2, 8}, {2, 11},
                             {3, 1}, {3, 4}, {3, 8}, {4, 1}, {4, 8}};
  for (const auto& h : header)
    cells.push_back({h[0], h[1], L"冲压件 Acme-" + std::to_wstring(h[1])});
  for (int i = 0; i < 1000; ++i) {
    for (int c = 0; c < 21; ++c) {
      std::wstring text = c == 0   ? std::to_wstring(i + 1)
                          : c == 5 ? L"x"
                          : c % 3  ? L"模板-" + std::to_wstring(i) + L"-" + std::to_wstring(c)
                                   : L"Cr12MoV";
      cells.push_back({6 + i, c, text});
    }
  }
  return cells;
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
  const std::vector<Cell> cells = ExportCells();
  for (auto _ : state) {
    fs::copy_file(tmpl, out, fs::copy_options::overwrite_existing);
    auto book = workbook::CreateXlsBook();
    if (!book->Load(out.string())) state.SkipWithError(book->ErrorMessage().c_str());
    workbook::Sheet* sheet = book->GetSheet(book->ActiveSheet());
    if (sheet == nullptr) {
      state.SkipWithError(book->ErrorMessage().c_str());
      break;
    }
    for (const Cell& c : cells) sheet->WriteText(c.row, c.col, c.text);
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
