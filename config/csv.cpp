#include "config/csv.h"

#include <climits>
#include <cstdlib>

#include "host/platform.h"
#include "host/text.h"

namespace config {
namespace {

// The 1-based line of the byte at `offset`; CRLF, LF and a lone CR each end a
// line.
int LineAt(std::string_view text, std::size_t offset) {
  int line = 1;
  for (std::size_t i = 0; i < offset && i < text.size(); ++i) {
    if (text[i] == '\n') {
      ++line;
    } else if (text[i] == '\r' && !(i + 1 < text.size() && text[i + 1] == '\n')) {
      ++line;
    }
  }
  return line;
}

std::string Where(const std::string& file, int line) {
  return "配置文件：" + file + " 第" + std::to_string(line) + "行：";
}

bool IsAscii(std::string_view s) {
  for (const char c : s) {
    if (static_cast<unsigned char>(c) >= 0x80) return false;
  }
  return true;
}

bool IsValidUtf8(std::string_view s) {
  try {
    text::Utf8ToWide(s);
    return true;
  } catch (const text::EncodingError&) {
    return false;
  }
}

// The text as GBK: UTF-8 is converted, anything else must already be GBK.
std::string ToGbk(std::string_view bytes, const std::string& file) {
  if (bytes.size() >= 2 && ((static_cast<unsigned char>(bytes[0]) == 0xFF &&
                             static_cast<unsigned char>(bytes[1]) == 0xFE) ||
                            (static_cast<unsigned char>(bytes[0]) == 0xFE &&
                             static_cast<unsigned char>(bytes[1]) == 0xFF))) {
    throw ConfigError("配置文件：" + file +
                      " 是UTF-16(Unicode)编码，请另存为\"CSV(逗号分隔)\"格式");
  }
  // UTF-8, as Notepad and Excel's "CSV UTF-8" save it: with the byte-order
  // mark, or without it when every byte sequence is UTF-8 (no GBK text of the
  // program's headings is).
  const bool has_bom = bytes.size() >= 3 && bytes.substr(0, 3) == "\xEF\xBB\xBF";
  const std::string_view body = has_bom ? bytes.substr(3) : bytes;
  if (has_bom || (!IsAscii(body) && IsValidUtf8(body))) {
    try {
      return text::Utf8ToGbk(body);
    } catch (const text::EncodingError& e) {
      const unsigned char byte =
          e.offset() < body.size() ? static_cast<unsigned char>(body[e.offset()]) : 0;
      throw ConfigError(Where(file, LineAt(body, e.offset())) +
                        text::Format("UTF-8文本有误或含有GBK中没有的字符（第%zu个字节 0x%02X）",
                                     e.offset() + 1 + (has_bom ? 3 : 0), byte));
    }
  }
  std::size_t bad = 0;
  if (!text::IsValidGbk(bytes, &bad)) {
    const unsigned char byte = bad < bytes.size() ? static_cast<unsigned char>(bytes[bad]) : 0;
    throw ConfigError(Where(file, LineAt(bytes, bad)) +
                      text::Format("不是有效的GBK文本（第%zu个字节 0x%02X）", bad + 1, byte));
  }
  return std::string(bytes);
}

}  // namespace

std::string MissingFileText(const std::string& path) { return "配置文件：" + path + " 不存在！"; }

int CsvTable::ColumnIndex(const std::string& heading) const {
  if (heading.empty()) return -1;
  for (std::size_t i = 0; i < headings.size(); ++i) {
    if (headings[i] == heading) return static_cast<int>(i);
  }
  return -1;
}

std::vector<std::string> CsvTable::Column(const std::string& heading) const {
  std::vector<std::string> cells;
  const int index = ColumnIndex(heading);
  if (index < 0) return cells;
  cells.reserve(rows.size());
  for (const auto& row : rows) cells.push_back(row[static_cast<std::size_t>(index)]);
  return cells;
}

CsvTable ParseCsv(std::string_view bytes, const std::string& file_name_for_messages) {
  const std::string text = ToGbk(bytes, file_name_for_messages);
  // GBK's second bytes are 0x40 and above, so the quote, the comma and the
  // line ends below are always whole characters.
  struct Record {
    std::vector<std::string> cells;
    bool empty_line = false;
  };
  std::vector<Record> records;
  const std::size_t n = text.size();
  std::size_t i = 0;
  int line = 1;
  while (i < n) {
    Record record;
    record.empty_line = text[i] == '\n' || text[i] == '\r';
    for (;;) {
      std::string cell;
      if (i < n && text[i] == '"') {
        const int start_line = line;
        ++i;
        for (;;) {
          if (i >= n) {
            throw ConfigError(Where(file_name_for_messages, start_line) +
                              "引号未闭合（从这一行开始的单元格一直到文件末尾）");
          }
          const char c = text[i];
          if (c == '"') {
            if (i + 1 < n && text[i + 1] == '"') {
              cell += '"';
              i += 2;
              continue;
            }
            ++i;
            break;
          }
          if (c == '\n' || (c == '\r' && !(i + 1 < n && text[i + 1] == '\n'))) ++line;
          cell += c;
          ++i;
        }
      }
      // An unquoted cell, or what follows a closing quote, runs to the next
      // comma or line end.
      const std::size_t start = i;
      while (i < n && text[i] != ',' && text[i] != '\n' && text[i] != '\r') ++i;
      cell.append(text, start, i - start);
      record.cells.push_back(std::move(cell));
      if (i < n && text[i] == ',') {
        ++i;
        continue;
      }
      break;
    }
    if (i < n) {
      if (text[i] == '\r' && i + 1 < n && text[i + 1] == '\n') ++i;
      ++i;
      ++line;
    }
    records.push_back(std::move(record));
  }
  while (!records.empty() && records.back().empty_line) records.pop_back();

  CsvTable table;
  if (records.empty()) return table;
  table.headings = std::move(records.front().cells);
  table.rows.reserve(records.size() - 1);
  for (std::size_t r = 1; r < records.size(); ++r) {
    auto& cells = records[r].cells;
    cells.resize(table.headings.size());
    table.rows.push_back(std::move(cells));
  }
  return table;
}

bool ReadConfigFile::OpenConfigFile(const std::string& path) {
  table_ = CsvTable{};
  path_ = path;
  open_ = false;
  const std::optional<std::string> bytes = platform_->ReadFile(path);
  if (!bytes) return false;
  table_ = ParseCsv(*bytes, path);
  open_ = true;
  return true;
}

std::vector<std::string> ReadConfigFile::GetColumnValue(const std::string& heading) const {
  return table_.Column(heading);
}

void ReadConfigFile::CloseConfigFile() { open_ = false; }

std::vector<std::string> SplitString(const std::string& text, const std::string& separator) {
  std::vector<std::string> pieces;
  if (separator.empty()) {
    pieces.push_back(text);
    return pieces;
  }
  std::size_t piece_start = 0;
  std::size_t i = 0;
  while (i < text.size()) {
    if (text.compare(i, separator.size(), separator) == 0) {
      pieces.push_back(text.substr(piece_start, i - piece_start));
      i += separator.size();
      piece_start = i;
    } else if (static_cast<unsigned char>(text[i]) >= 0x81 && i + 1 < text.size()) {
      i += 2;  // a double-byte character
    } else {
      ++i;
    }
  }
  pieces.push_back(text.substr(piece_start));
  return pieces;
}

int CellToInt(const std::string& cell) {
  const long value = std::strtol(cell.c_str(), nullptr, 10);
  if (value > INT_MAX) return INT_MAX;
  if (value < INT_MIN) return INT_MIN;
  return static_cast<int>(value);
}

double CellToDouble(const std::string& cell) { return std::strtod(cell.c_str(), nullptr); }

}  // namespace config
