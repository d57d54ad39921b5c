// Where the configuration lives: the root named by the host variable RQConfig,
// the active configuration set chosen in "\config\standard.csv", line files,
// and the current layer table named in the layer work file.
#pragma once

#include <string>
#include <vector>

namespace host {
class Host;
class Platform;
}  // namespace host

namespace config {

// The host variable naming the configuration root.
inline constexpr const char* kRootVariable = "RQConfig";
// The fixed file naming the current layer table.
inline constexpr const char* kLayerWorkFile = "D:\\MYTOOL\\config\\TK\\Layerwrk.txt";

// The configuration folder: root + "\config", then "\" + the set name of every
// row of root + "\config\standard.csv" whose "有效配置" is exactly "Y" or "y"
// and whose "文件夹名称" is not empty, in row order (two valid rows A, B give
// root + "\config\A\B"). Empty when RQConfig is unset; root + "\config" when
// the table is missing, unreadable (also when it is no valid table: UTF-16,
// a quote left open) or lacks either column. Initialises the host session
// first when it is not.
std::string GetConfigFolderPath(host::Host& host);

// The lines of a text file as a text-mode line reader gives them: every "\n"
// ends a line, CR before it is dropped, and a file ending in "\n" gives one
// more, empty, last line (an empty file gives one empty line). Empty when the
// file cannot be read. Lines keep the file's own bytes (GBK).
std::vector<std::string> GetFileContent(host::Platform& platform, const std::string& path);

// True when the path exists.
bool IsFileExist(host::Platform& platform, const std::string& path);

// The current layer file name from the layer work file: the first line that
// contains "CURRENT_LAYER_FILE", the text after its first "=", without leading
// and then trailing spaces, as the file's bytes (GBK); only in a file that
// starts with the UTF-8 byte-order mark is it converted from UTF-8. Empty
// when the file cannot be read, no line matches, or the line has no "=".
std::string CurrentLayerFileName(host::Platform& platform);

}  // namespace config
