#include "config/csv.h"

#include <algorithm>
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
  if (s.empty()) return true;
  try {
    text::Utf8ToWide(s);
    return true;
  } catch (const text::EncodingError&) {
    return false;
  }
}

// Code page 936 as the host reads it: ASCII, 0x80 alone, and two-byte
// characters of a lead byte 0x81-0xFE and a trail byte 0x40-0xFE other than
// 0x7F, the user-defined areas (0xAAA1, 0xFEFE, ...) included. `bad` gets
// the offset of the first byte that starts no character.
bool IsCp936(std::string_view s, std::size_t* bad) {
  for (std::size_t i = 0; i < s.size();) {
    const unsigned char c = static_cast<unsigned char>(s[i]);
    if (c < 0x81 || c == 0xFF) {
      if (c == 0xFF) {
        *bad = i;
        return false;
      }
      ++i;
      continue;
    }
    const unsigned char t = i + 1 < s.size() ? static_cast<unsigned char>(s[i + 1]) : 0;
    if (t < 0x40 || t == 0x7F || t == 0xFF) {
      *bad = i;
      return false;
    }
    i += 2;
  }
  return true;
}

// The byte-order mark of UTF-16 text: 1 little-endian, 2 big-endian, 0 none.
int Utf16Order(std::string_view bytes) {
  if (bytes.size() < 2) return 0;
  const unsigned char a = static_cast<unsigned char>(bytes[0]);
  const unsigned char b = static_cast<unsigned char>(bytes[1]);
  return a == 0xFF && b == 0xFE ? 1 : a == 0xFE && b == 0xFF ? 2 : 0;
}

// UTF-16 text (after its byte-order mark) as GBK; characters that GBK lacks
// and broken surrogates become "?".
std::string Utf16ToGbk(std::string_view bytes, bool big_endian) {
  std::string out;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const unsigned a = static_cast<unsigned char>(bytes[i]);
    const unsigned b = static_cast<unsigned char>(bytes[i + 1]);
    const wchar_t unit = static_cast<wchar_t>(big_endian ? (a << 8) | b : (b << 8) | a);
    if (unit < 0x80) {
      out += static_cast<char>(unit);
      continue;
    }
    try {
      out += text::WideToGbk(std::wstring(1, unit));
    } catch (const text::EncodingError&) {
      out += '?';
    }
  }
  return out;
}

// UTF-8 as GBK, characters that GBK lacks (and broken sequences) as "?".
std::string Utf8ToGbkLenient(std::string_view utf8) { return text::Utf8ToGbkLenient(utf8); }

// The text as GBK: UTF-8 is converted, anything else must already be GBK.
// With `problems`, nothing is refused: UTF-16 is converted, characters
// without a GBK form become "?", bytes that are not GBK stay as they are,
// and each such finding is noted.
std::string ToGbk(std::string_view bytes, const std::string& file,
                  std::vector<std::string>* problems) {
  if (const int order = Utf16Order(bytes)) {
    if (problems) {
      problems->push_back("配置文件：" + file + " 是UTF-16(Unicode)编码，已按UTF-16读取");
      return Utf16ToGbk(bytes.substr(2), order == 2);
    }
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
      if (problems) {
        problems->push_back(Where(file, LineAt(body, e.offset())) +
                            "UTF-8文本有误或含有GBK中没有的字符，已用\"?\"代替");
        return Utf8ToGbkLenient(body);
      }
      const unsigned char byte =
          e.offset() < body.size() ? static_cast<unsigned char>(body[e.offset()]) : 0;
      throw ConfigError(Where(file, LineAt(body, e.offset())) +
                        text::Format("UTF-8文本有误或含有GBK中没有的字符（第%zu个字节 0x%02X）",
                                     e.offset() + 1 + (has_bom ? 3 : 0), byte));
    }
  }
  std::size_t bad = 0;
  if (!IsCp936(bytes, &bad)) {
    if (problems) {
      problems->push_back(Where(file, LineAt(bytes, bad)) +
                          text::Format("不是有效的GBK文本（第%zu个字节 0x%02X），按原样读取",
                                       bad + 1, static_cast<unsigned char>(bytes[bad])));
      return std::string(bytes);
    }
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
  return ParseCsv(bytes, file_name_for_messages, nullptr);
}

CsvTable ParseCsv(std::string_view bytes, const std::string& file_name_for_messages,
                  std::vector<std::string>* problems) {
  const std::string text = ToGbk(bytes, file_name_for_messages, problems);
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
            if (!problems)
              throw ConfigError(Where(file_name_for_messages, start_line) +
                                "引号未闭合（从这一行开始的单元格一直到文件末尾）");
            // As a spreadsheet reads it: the cell runs to the end of the file.
            problems->push_back(Where(file_name_for_messages, start_line) +
                                "引号未闭合，单元格读到文件末尾");
            break;
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

bool ReadConfigFile::OpenLenient(const std::string& path, std::vector<std::string>* problems) {
  table_ = CsvTable{};
  path_ = path;
  open_ = false;
  const std::optional<std::string> bytes = platform_->ReadFile(path);
  if (!bytes) {
    if (problems && platform_->FileExists(path))
      problems->push_back("配置文件：" + path + " 无法读取");
    return false;
  }
  std::vector<std::string> found;
  table_ = ParseCsv(*bytes, path, &found);
  if (problems) problems->insert(problems->end(), found.begin(), found.end());
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
