#include "config/config_folder.h"

#include <algorithm>

#include "config/csv.h"
#include "host/host.h"
#include "host/text.h"

namespace config {

std::string GetConfigFolderPath(host::Host& host) {
  host::Session& session = host.session();
  if (!session.IsInitialized()) session.Initialize();

  const std::optional<std::string> root = host.environment().TranslateVariable(kRootVariable);
  if (!root || root->empty()) return {};

  std::string folder = *root + "\\config";
  const std::string table_path = folder + "\\standard.csv";
  host::Platform& platform = host.platform();
  if (!platform.FileExists(table_path)) return folder;

  // A table that cannot be read as one (UTF-16, a quote left open, ...)
  // selects no set, as a missing one does.
  ReadConfigFile table(platform);
  try {
    if (!table.OpenConfigFile(table_path)) return folder;
  } catch (const ConfigError&) {
    return folder;
  }
  const std::vector<std::string> names = table.GetColumnValue("文件夹名称");
  const std::vector<std::string> flags = table.GetColumnValue("有效配置");
  if (names.empty() || flags.empty()) return folder;

  // Every valid row adds its set name, so a well-formed table marks one row.
  for (std::size_t i = 0; i < flags.size() && i < names.size(); ++i) {
    if ((flags[i] == "Y" || flags[i] == "y") && !names[i].empty()) folder += "\\" + names[i];
  }
  table.CloseConfigFile();
  return folder;
}

std::vector<std::string> GetFileContent(host::Platform& platform, const std::string& path) {
  std::vector<std::string> lines;
  const std::optional<std::string> bytes = platform.ReadFile(path);
  if (!bytes) return lines;
  const std::string& text = *bytes;
  std::size_t start = 0;
  for (;;) {
    const std::size_t end = text.find('\n', start);
    if (end == std::string::npos) {
      lines.push_back(text.substr(start));
      break;
    }
    std::size_t length = end - start;
    if (length > 0 && text[end - 1] == '\r') --length;  // text mode reads CRLF as "\n"
    lines.push_back(text.substr(start, length));
    start = end + 1;
  }
  return lines;
}

bool IsFileExist(host::Platform& platform, const std::string& path) {
  return platform.FileExists(path);
}

std::string CurrentLayerFileName(host::Platform& platform) {
  std::vector<std::string> lines = GetFileContent(platform, kLayerWorkFile);
  // Only a file marked as UTF-8 (by its byte-order mark) is converted: GBK
  // names are often valid UTF-8 too ("小位" is), and are kept as they are.
  const bool utf8 = !lines.empty() && lines.front().rfind("\xEF\xBB\xBF", 0) == 0;
  if (utf8) lines.front().erase(0, 3);
  for (const std::string& line : lines) {
    if (line.find("CURRENT_LAYER_FILE") == std::string::npos) continue;
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos) return {};
    std::string name = line.substr(equals + 1);
    const std::size_t first = name.find_first_not_of(' ');
    if (first == std::string::npos) return {};
    name.erase(0, first);
    name.erase(name.find_last_not_of(' ') + 1);
    if (utf8) {
      try {
        name = text::Utf8ToGbk(name);
      } catch (const text::EncodingError&) {
      }
    }
    return name;
  }
  return {};
}

}  // namespace config
