// Any bytes as a configuration file: the reader either gives a table or a
// ConfigError, and what it gives is consistent.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "config/config_folder.h"
#include "config/csv.h"
#include "config/material_bom_config.h"
#include "host/platform.h"
#include "host/text.h"

namespace {

// A platform whose every file holds the fuzzer's bytes.
class OneFilePlatform : public host::Platform {
 public:
  explicit OneFilePlatform(std::string bytes) : bytes_(std::move(bytes)) {}
  bool FileExists(const std::string&) override { return true; }
  bool CreateDirectory(const std::string&) override { return false; }
  bool CopyFile(const std::string&, const std::string&, bool) override { return false; }
  bool RemoveFile(const std::string&) override { return false; }
  std::optional<std::string> ReadFile(const std::string&) override { return bytes_; }
  bool WriteFile(const std::string&, const std::string&) override { return false; }
  std::string NativePath(const std::string& path) override { return path; }
  std::string DesktopFolder() override { return {}; }
  std::string LocalAppDataFolder() override { return {}; }
  host::LocalTime Now() override { return {}; }
  bool OpenDocument(const std::string&) override { return false; }
  bool PressDialogButton(const std::string&, const std::string&) override { return false; }

 private:
  std::string bytes_;
};

void Check(bool ok) {
  if (!ok) std::abort();
}

// The table written back with every cell quoted.
std::string Write(const config::CsvTable& table) {
  std::string out;
  auto row = [&out](const std::vector<std::string>& cells) {
    for (std::size_t i = 0; i < cells.size(); ++i) {
      if (i > 0) out += ',';
      out += '"';
      for (char c : cells[i]) {
        if (c == '"') out += '"';
        out += c;
      }
      out += '"';
    }
    out += "\r\n";
  };
  if (table.headings.empty() && table.rows.empty()) return out;
  row(table.headings);
  for (const auto& r : table.rows) row(r);
  return out;
}

bool LooksLikeUtf8(const std::string& s) {
  bool ascii = true;
  for (const char c : s) ascii = ascii && static_cast<unsigned char>(c) < 0x80;
  if (ascii) return false;
  try {
    text::Utf8ToWide(s);
    return true;
  } catch (const text::EncodingError&) {
    return false;
  }
}

void CheckSplit(const std::string& text, const std::string& separator) {
  const std::vector<std::string> pieces = config::SplitString(text, separator);
  Check(!pieces.empty());
  std::string joined;
  for (std::size_t i = 0; i < pieces.size(); ++i) {
    if (i > 0) joined += separator;
    joined += pieces[i];
  }
  Check(joined == text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  config::CsvTable table;
  try {
    table = config::ParseCsv(bytes, "fuzz.csv");
  } catch (const config::ConfigError& e) {
    Check(std::string_view(e.what()).find("fuzz.csv") != std::string_view::npos);
    return 0;
  }
  for (const auto& row : table.rows) Check(row.size() == table.headings.size());
  for (const auto& heading : table.headings) {
    const std::vector<std::string> column = table.Column(heading);
    Check(heading.empty() ? column.empty() : column.size() == table.rows.size());
  }
  // Written back fully quoted, the table reads the same (unless the GBK text
  // written happens to be valid UTF-8 too, which is then read as UTF-8).
  const std::string written = Write(table);
  if (!LooksLikeUtf8(written)) {
    const config::CsvTable again = config::ParseCsv(written, "again.csv");
    Check(again.headings == table.headings);
    Check(again.rows == table.rows);
  }

  for (const auto& heading : table.headings) {
    CheckSplit(heading, ",");
    CheckSplit(heading, "\\");
  }
  CheckSplit(bytes, ",");

  // The same bytes through the readers that sit on the platform.
  OneFilePlatform platform(bytes);
  config::ReadConfigFile reader(platform);
  Check(reader.OpenConfigFile("D:\\fuzz.csv"));
  reader.CloseConfigFile();
  Check(reader.table().rows == table.rows);
  config::ColumnWidthManager widths(platform, "D:\\widths.csv");
  Check(widths.GetColumnWidth("序号") > 0);
  config::MachiningProcess::Load(platform, "D:\\process.csv");
  Check(config::GetFileContent(platform, "D:\\tip.txt").size() >= 1);
  const std::string layer_file = config::CurrentLayerFileName(platform);
  Check(layer_file.empty() || (layer_file.front() != ' ' && layer_file.back() != ' '));
  return 0;
}
