// Platform services besides the host (Windows on the real host). Paths are the
// logic's: GBK text with "\" separators and drive letters ("D:\MYTOOL\...").
#pragma once

#include <optional>
#include <string>

namespace host {

// GetLocalTime.
struct LocalTime {
  int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, milliseconds = 0;
};

class Platform {
 public:
  virtual ~Platform() = default;

  // _access(path, 0): existence only, no access rights checked.
  virtual bool FileExists(const std::string& path) = 0;
  // CreateDirectoryA: one level; false when it exists or the parent is missing.
  virtual bool CreateDirectory(const std::string& path) = 0;
  // CopyFileA(from, to, fail_if_exists).
  virtual bool CopyFile(const std::string& from, const std::string& to, bool fail_if_exists) = 0;
  // DeleteFileA / remove.
  virtual bool RemoveFile(const std::string& path) = 0;
  // Whole-file read and write (std::ifstream / std::ofstream, binary). Read
  // gives nothing when the file cannot be opened; Write truncates.
  virtual std::optional<std::string> ReadFile(const std::string& path) = 0;
  virtual bool WriteFile(const std::string& path, const std::string& contents) = 0;
  // The path as the platform's own file functions take it (identity on Windows).
  virtual std::string NativePath(const std::string& path) = 0;
  // SHGetSpecialFolderPathA(CSIDL_DESKTOPDIRECTORY = 16, no creation).
  virtual std::string DesktopFolder() = 0;
  // getenv("LOCALAPPDATA"); empty when unset.
  virtual std::string LocalAppDataFolder() = 0;
  // GetLocalTime.
  virtual LocalTime Now() = 0;
  // ShellExecuteA(NULL, "open", path, NULL, NULL, SW_SHOWNORMAL); true on success.
  virtual bool OpenDocument(const std::string& path) = 0;
  // FindWindow by the dialog's title, then BM_CLICK on its child button whose
  // text equals the label; true when a button was pressed.
  virtual bool PressDialogButton(const std::string& dialog_title,
                                 const std::string& button_label) = 0;
};

}  // namespace host
