#include "cli/batch.h"

#include "host/memory/part_file.h"

#include <cctype>

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "cli/tool.h"
#include "host/memory/dialogs/dialogs.h"
#include "host/memory/memory_host.h"
#include "host/text.h"

namespace cli {

namespace fs = std::filesystem;

std::vector<std::string> TakeRepeatedOption(std::vector<std::string>& args,
                                            const std::string& name) {
  const std::string flag = "--" + name;
  std::vector<std::string> values, rest;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "--") {
      rest.insert(rest.end(), args.begin() + static_cast<std::ptrdiff_t>(i), args.end());
      break;
    }
    if (a == flag) {
      if (i + 1 >= args.size()) throw UsageError("option " + flag + " needs a value");
      values.push_back(args[++i]);
    } else if (a.rfind(flag + "=", 0) == 0) {
      values.push_back(a.substr(flag.size() + 1));
    } else {
      rest.push_back(a);
    }
  }
  args = std::move(rest);
  return values;
}

namespace {

// The cells of the lines of a CSV text (GBK or ASCII): "," separates cells,
// a cell that starts with a quote runs to the next lone quote ("" is one).
// Each row keeps the number of the line it starts on.
struct CsvLine {
  int line = 0;
  std::vector<std::string> cells;
};

std::vector<CsvLine> SplitCsv(const std::string& text, const std::string& file) {
  std::vector<CsvLine> rows;
  CsvLine row{1, {""}};
  int line = 1;
  bool quoted = false, cell_start = true;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (quoted) {
      if (c == '"' && i + 1 < text.size() && text[i + 1] == '"') {
        row.cells.back() += '"';
        ++i;
      } else if (c == '"') {
        quoted = false;
      } else {
        if (c == '\n') ++line;
        row.cells.back() += c;
      }
      continue;
    }
    if (c == '"' && cell_start) {
      quoted = true;
      cell_start = false;
    } else if (c == ',') {
      row.cells.emplace_back();
      cell_start = true;
    } else if (c == '\n' || c == '\r') {
      if (c == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
      rows.push_back(std::move(row));
      row = CsvLine{++line, {""}};
      cell_start = true;
    } else {
      row.cells.back() += c;
      cell_start = false;
    }
  }
  if (quoted)
    throw Failure(file + text::Format(": line %d: a quoted value is not closed", row.line));
  rows.push_back(std::move(row));
  return rows;
}

}  // namespace

std::vector<HeaderField> ReadHeaderFile(const std::string& utf8_path) {
  const std::string name = PathText(utf8_path);
  std::error_code ec;
  if (!fs::is_regular_file(utf8_path, ec))
    throw Failure("the header file " + name + " does not exist");
  std::ifstream in(utf8_path, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  if (!in) throw Failure("cannot read the header file " + name);
  std::string raw = bytes.str();

  // UTF-8 (a byte-order mark says so; otherwise any valid UTF-8) or GBK.
  std::string gbk;
  bool utf8 = raw.rfind("\xEF\xBB\xBF", 0) == 0;
  if (utf8) raw.erase(0, 3);
  try {
    gbk = text::Utf8ToGbk(raw);
    utf8 = true;
  } catch (const text::EncodingError&) {
    if (utf8) throw Failure(name + ": the text has characters that GBK lacks");
  }
  if (!utf8) {
    std::size_t bad = 0;
    if (!text::IsValidGbk(raw, &bad))
      throw Failure(
          name + text::Format(": line %d: the text is neither UTF-8 nor GBK",
                              1 + static_cast<int>(std::count(
                                      raw.begin(), raw.begin() + static_cast<long>(bad), '\n'))));
    gbk = raw;
  }

  std::vector<HeaderField> fields;
  for (CsvLine& row : SplitCsv(gbk, name)) {
    while (row.cells.size() > 2 && row.cells.back().empty()) row.cells.pop_back();
    if (row.cells.size() > 2)
      throw Failure(name + text::Format(": line %d: more than a title and a value (quote a value "
                                        "that holds a comma)",
                                        row.line));
    row.cells.resize(2);
    if (row.cells[0].empty()) {
      if (row.cells[1].empty()) continue;
      throw Failure(name + text::Format(": line %d: a value without a title", row.line));
    }
    fields.emplace_back(row.cells[0], row.cells[1]);
  }
  return fields;
}

HeaderField ParseSetOption(const std::string& utf8) {
  const std::size_t eq = utf8.find('=');
  if (eq == std::string::npos)
    throw UsageError("--set takes 标题=值, not '" + PathText(utf8) + "'");
  if (eq == 0) throw UsageError("--set '" + PathText(utf8) + "' has no title");
  try {
    return {text::Utf8ToGbk(utf8.substr(0, eq)), text::Utf8ToGbk(utf8.substr(eq + 1))};
  } catch (const text::EncodingError&) {
    throw UsageError("--set '" + PathText(utf8) + "' is not text that GBK can hold");
  }
}

std::vector<HeaderField> MergeHeader(std::vector<HeaderField> earlier,
                                     const std::vector<HeaderField>& later) {
  for (const HeaderField& f : later) {
    auto it = std::find_if(earlier.begin(), earlier.end(),
                           [&](const HeaderField& e) { return e.first == f.first; });
    if (it == earlier.end())
      earlier.push_back(f);
    else
      it->second = f.second;
  }
  return earlier;
}

std::vector<std::string> MessageLines(const memory::MemoryHost& host, const std::string& prefix,
                                      std::size_t from) {
  std::vector<std::string> out;
  const auto& log = host.message_log();
  for (std::size_t i = from; i < log.size(); ++i) {
    std::string text;
    for (const std::string& line : log[i].lines) text += (text.empty() ? "" : " ") + line;
    for (char& c : text)
      if (c == '\n' || c == '\r') c = ' ';
    out.push_back(ConsoleText(prefix + ": " + log[i].title + ": " + text) + "\n");
  }
  return out;
}

bool HasErrorMessage(const memory::MemoryHost& host, std::size_t from) {
  const auto& log = host.message_log();
  for (std::size_t i = from; i < log.size(); ++i)
    if (log[i].type == host::kErrorMessage) return true;
  return false;
}

TreeTable ReadTree(memory::DialogDriver& driver, const std::string& tree_id) {
  TreeTable table;
  std::vector<int> ids;
  for (const memory::TreeColumn& c : driver.Columns(tree_id)) {
    if (!c.visible) continue;
    ids.push_back(c.id);
    table.columns.push_back(ConsoleText(c.title));
  }
  for (host::Node* n : driver.AllNodes(tree_id)) {
    TreeTable::Row row;
    for (host::Node* p = n->ParentNode(); p != nullptr; p = p->ParentNode()) ++row.level;
    for (int id : ids) row.cells.push_back(ConsoleText(n->GetColumnDisplayText(id)));
    table.rows.push_back(std::move(row));
  }
  return table;
}

std::string FormatTree(const TreeTable& tree, Format format) {
  const std::size_t n = tree.columns.size();
  std::string out;
  switch (format) {
    case Format::kCsv: {
      out += CsvField(text::GbkToUtf8("层级"));
      for (const std::string& c : tree.columns) out += "," + CsvField(c);
      out += "\n";
      for (const TreeTable::Row& r : tree.rows) {
        out += std::to_string(r.level);
        for (std::size_t c = 0; c < n; ++c)
          out += "," + CsvField(c < r.cells.size() ? r.cells[c] : "");
        out += "\n";
      }
      return out;
    }
    case Format::kJson: {
      out = "{\"columns\": [";
      for (std::size_t c = 0; c < n; ++c) out += (c ? ", " : "") + JsonString(tree.columns[c]);
      out += "],\n \"rows\": [";
      for (std::size_t i = 0; i < tree.rows.size(); ++i) {
        const TreeTable::Row& r = tree.rows[i];
        out += (i ? ",\n  " : "\n  ") + std::string("{\"level\": ") + std::to_string(r.level) +
               ", \"cells\": [";
        for (std::size_t c = 0; c < n; ++c)
          out += (c ? ", " : "") + JsonString(c < r.cells.size() ? r.cells[c] : "");
        out += "]}";
      }
      return out + (tree.rows.empty() ? "]}\n" : "\n ]}\n");
    }
    case Format::kTable:
      break;
  }
  std::vector<std::vector<std::string>> lines;
  lines.push_back(tree.columns);
  for (const TreeTable::Row& r : tree.rows) {
    std::vector<std::string> cells = r.cells;
    cells.resize(n);
    if (n > 0) cells[0] = std::string(2 * static_cast<std::size_t>(r.level - 1), ' ') + cells[0];
    lines.push_back(std::move(cells));
  }
  std::vector<int> width(n, 0);
  for (const auto& cells : lines)
    for (std::size_t c = 0; c < n; ++c) width[c] = std::max(width[c], DisplayWidth(cells[c]));
  for (const auto& cells : lines) {
    std::string line;
    for (std::size_t c = 0; c < n; ++c) {
      if (c) line += "  ";
      line +=
          cells[c] + std::string(static_cast<std::size_t>(width[c] - DisplayWidth(cells[c])), ' ');
    }
    while (!line.empty() && line.back() == ' ') line.pop_back();
    out += line + "\n";
  }
  return out;
}

Format ParseFormat(const std::string& name) {
  if (name == "table") return Format::kTable;
  if (name == "csv") return Format::kCsv;
  if (name == "json") return Format::kJson;
  throw UsageError("--format must be table, csv or json, not '" + PathText(name) + "'");
}

std::string CheckOutFolder(const std::string& utf8_path) {
  std::error_code ec;
  const fs::path dir = fs::absolute(utf8_path, ec).lexically_normal();
  if (ec || !fs::exists(dir, ec))
    throw Failure("the output folder " + PathText(utf8_path) + " does not exist");
  if (!fs::is_directory(dir, ec))
    throw Failure("the output folder " + PathText(utf8_path) + " is not a folder");
  if (::access(dir.c_str(), W_OK | X_OK) != 0)
    throw Failure("the output folder " + PathText(utf8_path) + " cannot be written to");
  std::string out = dir.string();
  while (out.size() > 1 && out.back() == '/') out.pop_back();
  return out;
}

void CheckSaveTarget(const std::string& part, const std::string& save) {
  namespace fs = std::filesystem;
  if (save.empty()) return;
  std::string extension = fs::path(save).extension().string();
  for (char& c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (extension != memory::kPartFileExtension)
    throw UsageError("--save writes a part file, whose name ends in \".xbf\", not '" +
                     PathText(save) + "'");
  std::error_code ec;
  if (fs::equivalent(save, part, ec))
    throw UsageError("--save " + PathText(save) + " would replace the model being read");
  const fs::path out(save);
  const fs::path folder = out.parent_path().empty() ? fs::path(".") : out.parent_path();
  if (!fs::is_directory(folder, ec))
    throw Failure("cannot save to " + PathText(save) + ": no such folder");
  if (fs::is_directory(out, ec))
    throw Failure("cannot save to " + PathText(save) + ": it is a folder");
}

}  // namespace cli
