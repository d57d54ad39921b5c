// Comma-separated configuration tables as die shops keep them: GBK text, one
// heading row, read column by column.
//
// Dialect (what ParseCsv accepts):
// - Cells are separated by ","; rows end with CRLF, LF or a lone CR.
// - A cell that starts with a double quote is quoted: it runs to the next lone
//   quote; "" inside it is one quote; commas and line ends inside it are kept
//   as they are. Text after the closing quote up to the next "," is appended
//   as it stands (as the spreadsheet reads it). A quote inside an unquoted cell
//   is an ordinary character. A quote left open at the end of the file is an
//   error naming the line where the cell began.
// - Cells are kept exactly: no blanks are trimmed, neither in values nor in
//   headings, and headings are compared exactly.
// - The first row holds the headings. When two headings are equal, the
//   leftmost column wins. An empty heading names no column.
// - Every later line is a row, also an empty line (a row of empty cells, as a
//   spreadsheet writes an empty row of a one-column table). Empty lines at the
//   end of the file are not rows. A short row has empty cells for the missing
//   columns; cells beyond the last heading are ignored.
// - The text is GBK. UTF-8 is converted to GBK: a file that starts with the
//   UTF-8 byte-order mark, or one whose bytes are all valid UTF-8 and not all
//   ASCII (GBK text of any of the program's headings is never valid UTF-8).
//   GBK is code page 936 as the host reads it, its user-defined areas
//   included. A UTF-16 file, bytes that are not GBK, or UTF-8 characters that
//   GBK lacks give a ConfigError naming the file and the line.
// - Lenient reading, for the files the configuration lets be absent, refuses
//   nothing and notes what it found: a UTF-16 file is converted, characters
//   without a GBK form become "?", bytes that are not GBK are kept as they
//   are, and a quote left open runs to the end of the file.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace host {
class Platform;
}

namespace config {

// A configuration problem the user must fix; the text (GBK) is shown as it is.
class ConfigError : public std::runtime_error {
 public:
  explicit ConfigError(const std::string& what) : std::runtime_error(what) {}
};

struct CsvTable {
  std::vector<std::string> headings;
  std::vector<std::vector<std::string>> rows;  // each as long as `headings`

  // Index of the column under `heading` (leftmost of equal headings), or -1.
  int ColumnIndex(const std::string& heading) const;
  // Every cell under `heading`, top to bottom (empty cells included); empty
  // when there is no such heading.
  std::vector<std::string> Column(const std::string& heading) const;
};

// "配置文件：" + path + " 不存在！", the text for a required file that is missing.
std::string MissingFileText(const std::string& path);

// Parses the bytes of one file. `file_name_for_messages` (GBK) names the file
// in error texts. Throws ConfigError.
CsvTable ParseCsv(std::string_view bytes, const std::string& file_name_for_messages);
// The same, lenient when `problems` is not null: each finding is appended to
// it (GBK text naming the file, and the line where there is one).
CsvTable ParseCsv(std::string_view bytes, const std::string& file_name_for_messages,
                  std::vector<std::string>* problems);

// One configuration table read by column heading. The table stays queryable
// after CloseConfigFile; a later OpenConfigFile replaces it.
class ReadConfigFile {
 public:
  explicit ReadConfigFile(host::Platform& platform) : platform_(&platform) {}

  // Reads the whole file at `path` (a logic path, GBK). False when the file
  // cannot be read (the table is then empty). A file that is read but is not
  // a valid table throws ConfigError.
  bool OpenConfigFile(const std::string& path);
  // The same, read leniently (see the dialect above): never throws; what was
  // found wrong, including a file that exists but cannot be read, is appended
  // to `problems` when it is not null.
  bool OpenLenient(const std::string& path, std::vector<std::string>* problems);
  // The cells under `heading`; empty when there is no such heading.
  std::vector<std::string> GetColumnValue(const std::string& heading) const;
  // Lets go of the file; the table is kept.
  void CloseConfigFile();

  const CsvTable& table() const { return table_; }
  const std::string& path() const { return path_; }
  bool is_open() const { return open_; }

 private:
  host::Platform* platform_;
  std::string path_;
  CsvTable table_;
  bool open_ = false;
};

// The pieces of `text` between occurrences of `separator`, empty pieces kept
// ("a,,b" gives "a", "", "b"; "" gives one empty piece). GBK-aware: a
// separator is never matched inside a double-byte character, so splitting on
// "\\" leaves characters whose second byte is 0x5C whole. An empty separator
// gives `text` as the only piece.
std::vector<std::string> SplitString(const std::string& text, const std::string& separator);

// Number conversions of configuration cells: the leading number as atoi and
// atof read it (leading blanks skipped, trailing text ignored), 0 when there is
// none. Integers out of range are clamped.
int CellToInt(const std::string& cell);
double CellToDouble(const std::string& cell);

}  // namespace config
