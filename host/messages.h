// Message boxes, the listing window and the system log.
#pragma once

#include <string>
#include <vector>

namespace host {

// NXOpen::NXMessageBox::DialogType.
enum MessageType : int {
  kErrorMessage = 0,
  kWarningMessage = 1,
  kInformationMessage = 2,
  kQuestionMessage = 3
};

// Button results of a question box: the first button is 1, the second 2.
inline constexpr int kFirstButton = 1;
inline constexpr int kSecondButton = 2;

class Messages {
 public:
  virtual ~Messages() = default;

  // NXOpen::UI::NXMessageBox -> NXMessageBox::Show(title, type, text): the
  // button pressed.
  virtual int ShowMessage(const std::string& title, int type, const std::string& text) = 0;
  virtual int ShowMessage(const std::string& title, int type,
                          const std::vector<std::string>& lines) = 0;
  // UF_print_syslog (not as a new line block); 0 on success.
  virtual int PrintSyslog(const std::string& text) = 0;
  // UF_UI_open_listing_window / UF_UI_write_listing_window; 0 on success.
  virtual int OpenListingWindow() = 0;
  virtual int WriteListingWindow(const std::string& text) = 0;
};

}  // namespace host
