#include "cli/output.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "cli/tool.h"

#include "host/text.h"

namespace cli {
namespace {

// The next code point of `s` at `i` (advancing `i`); invalid bytes count as
// one narrow character each.
std::uint32_t NextCodePoint(std::string_view s, std::size_t& i) {
  const unsigned char c = static_cast<unsigned char>(s[i]);
  const int n = c < 0x80 ? 0 : (c >> 5) == 6 ? 1 : (c >> 4) == 14 ? 2 : (c >> 3) == 30 ? 3 : -1;
  if (n == 0) {
    ++i;
    return c;
  }
  if (n < 0 || i + static_cast<std::size_t>(n) >= s.size()) {
    ++i;
    return 0xFFFD;
  }
  std::uint32_t cp = c & (0x3F >> n);
  for (int k = 1; k <= n; ++k) {
    const unsigned char d = static_cast<unsigned char>(s[i + static_cast<std::size_t>(k)]);
    if ((d & 0xC0) != 0x80) {
      ++i;
      return 0xFFFD;
    }
    cp = (cp << 6) | (d & 0x3F);
  }
  i += static_cast<std::size_t>(n) + 1;
  return cp;
}

bool Wide(std::uint32_t cp) {
  return (cp >= 0x1100 && cp <= 0x115F) || (cp >= 0x2E80 && cp <= 0x303E) ||
         (cp >= 0x3041 && cp <= 0x33FF) || (cp >= 0x3400 && cp <= 0x4DBF) ||
         (cp >= 0x4E00 && cp <= 0x9FFF) || (cp >= 0xA000 && cp <= 0xA4CF) ||
         (cp >= 0xAC00 && cp <= 0xD7A3) || (cp >= 0xF900 && cp <= 0xFAFF) ||
         (cp >= 0xFE30 && cp <= 0xFE4F) || (cp >= 0xFF00 && cp <= 0xFF60) ||
         (cp >= 0xFFE0 && cp <= 0xFFE6) || (cp >= 0x20000 && cp <= 0x3FFFD);
}

bool Combining(std::uint32_t cp) {
  return (cp >= 0x0300 && cp <= 0x036F) || (cp >= 0x200B && cp <= 0x200F) ||
         (cp >= 0xFE20 && cp <= 0xFE2F);
}

constexpr int kColumns = 11;
// Table and CSV headings: the material BOM's own words.
constexpr std::array<const char*, kColumns> kHeadings = {
    "图层",     "名称",     "代号",     "材质",     "热处理", "规格",
    "重量(KG)", "净重(KG)", "订购方式", "制造流程", "备注"};
constexpr std::array<const char*, kColumns> kJsonKeys = {
    "layer",           "name",    "code",   "material",
    "heat_treatment",  "spec",    "weight", "net_weight",
    "ordering_method", "process", "remark"};
// Right-aligned (numeric) columns.
constexpr std::array<bool, kColumns> kRight = {true, false, false, false, false, false,
                                               true, true,  false, false, false};

std::array<std::string, kColumns> Cells(const BlankRow& r) {
  return {std::to_string(r.layer), r.name,    r.code,   r.material,
          r.heat_treatment,        r.spec,    r.weight, r.net_weight,
          r.ordering_method,       r.process, r.remark};
}

std::string Utf8(const char* gbk) { return text::GbkToUtf8(gbk); }

}  // namespace

void WriteOutput(std::string_view utf8) {
  errno = 0;
  const bool written = std::fwrite(utf8.data(), 1, utf8.size(), stdout) == utf8.size();
  const bool flushed = std::fflush(stdout) == 0;
  if (!written || !flushed || std::ferror(stdout)) {
    const int err = errno;
    std::clearerr(stdout);
    throw Failure(std::string("cannot write the list to standard output") +
                  (err ? std::string(": ") + std::strerror(err) : std::string()));
  }
}

int DisplayWidth(std::string_view utf8) {
  int width = 0;
  std::size_t i = 0;
  while (i < utf8.size()) {
    const std::uint32_t cp = NextCodePoint(utf8, i);
    if (Combining(cp)) continue;
    width += Wide(cp) ? 2 : 1;
  }
  return width;
}

std::string CsvField(std::string_view text) {
  if (text.find_first_of(",\"\r\n") == std::string_view::npos) return std::string(text);
  std::string out = "\"";
  for (char c : text) {
    if (c == '"') out += '"';
    out += c;
  }
  return out + "\"";
}

std::string JsonString(std::string_view text) {
  std::string out = "\"";
  for (char c : text) {
    const unsigned char u = static_cast<unsigned char>(c);
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        if (u < 0x20)
          out += text::Format("\\u%04x", u);
        else
          out += c;
    }
  }
  return out + "\"";
}

std::string FormatBlanks(const std::vector<BlankRow>& rows, Format format) {
  std::array<std::string, kColumns> headings;
  for (int c = 0; c < kColumns; ++c) headings[c] = Utf8(kHeadings[c]);
  std::string out;
  switch (format) {
    case Format::kCsv: {
      auto line = [&](const std::array<std::string, kColumns>& cells) {
        for (int c = 0; c < kColumns; ++c) out += (c ? "," : "") + CsvField(cells[c]);
        out += "\n";
      };
      line(headings);
      for (const BlankRow& r : rows) line(Cells(r));
      return out;
    }
    case Format::kJson: {
      out = "[";
      for (std::size_t i = 0; i < rows.size(); ++i) {
        const auto cells = Cells(rows[i]);
        out += i ? ",\n  {" : "\n  {";
        for (int c = 0; c < kColumns; ++c) {
          out += (c ? ", " : "") + JsonString(kJsonKeys[c]) + ": ";
          out += c == 0 ? cells[c] : JsonString(cells[c]);
        }
        out += "}";
      }
      return out + (rows.empty() ? "]\n" : "\n]\n");
    }
    case Format::kTable:
      break;
  }
  std::array<int, kColumns> width{};
  auto measure = [&](const std::array<std::string, kColumns>& cells) {
    for (int c = 0; c < kColumns; ++c) width[c] = std::max(width[c], DisplayWidth(cells[c]));
  };
  measure(headings);
  std::vector<std::array<std::string, kColumns>> table;
  for (const BlankRow& r : rows) {
    table.push_back(Cells(r));
    measure(table.back());
  }
  auto line = [&](const std::array<std::string, kColumns>& cells) {
    std::string text;
    for (int c = 0; c < kColumns; ++c) {
      const std::string pad(static_cast<std::size_t>(width[c] - DisplayWidth(cells[c])), ' ');
      if (c) text += "  ";
      text += kRight[c] ? pad + cells[c] : cells[c] + pad;
    }
    while (!text.empty() && text.back() == ' ') text.pop_back();
    out += text + "\n";
  };
  line(headings);
  for (const auto& cells : table) line(cells);
  return out;
}

}  // namespace cli
