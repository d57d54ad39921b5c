// Helpers for the workbook tests: temporary folders, LibreOffice and xlrd as
// independent readers, and a check of the raw BIFF8 structures written.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace wbtest {

namespace fs = std::filesystem;

struct Cell {
  int row, col;
  std::wstring text;
};

// A new, empty folder for the running test, removed when the program ends.
fs::path ScratchDir();
fs::path SourceDir();
std::string ReadFile(const fs::path& path);
void WriteFile(const fs::path& path, const std::string& bytes);

// LibreOffice headless with a private profile under `dir`: converts a source
// file to .xls ("MS Excel 97") and returns the new file's path.
fs::path ConvertToXls(const fs::path& dir, const fs::path& source,
                      const std::string& infilter = "");
// Every sheet of `xls` as CSV (UTF-8), read with an explicit input filter;
// keyed by sheet name. Empty when the conversion gave nothing.
std::map<std::string, std::vector<std::vector<std::string>>> ReadWithLibreOffice(
    const fs::path& dir, const fs::path& xls);

// xlrd: compares `output` with `tmpl` (see check_xls.py); returns its report,
// which ends in "OK" when everything matches.
std::string CheckWithXlrd(const fs::path& dir, const fs::path& tmpl, const fs::path& output,
                          int sheet, const std::vector<Cell>& cells);

// What the independent readers do not check in the Workbook stream of `xls`
// and Excel relies on: record lengths, string headers kept whole across
// CONTINUE records, the shared string table's counts, EXTSST (unless
// `new_from` is ~0: a file written elsewhere), INDEX and DBCELL offsets.
// Returns the problems found, empty when none.
struct SstFacts {
  std::size_t strings = 0, continues = 0;
};
std::string CheckStructure(const std::string& xls, std::size_t new_from, SstFacts* facts = nullptr);

std::string Utf8(const std::wstring& text);

// Little-endian fields of a byte string.
std::uint16_t Get16(const std::string& s, std::size_t at);
std::uint32_t Get32(const std::string& s, std::size_t at);
void Put32(std::string& s, std::size_t at, std::uint32_t value);
// The offsets of the records of `type` in a BIFF8 stream, in order.
std::vector<std::size_t> RecordsOf(const std::string& stream, std::uint16_t type);
// The compound file `xls` with its Workbook stream changed by `edit`.
std::string EditWorkbookStream(const std::string& xls,
                               const std::function<void(std::string&)>& edit);

}  // namespace wbtest
