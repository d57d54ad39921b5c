// The options dialog shown before the material BOM: a tip text from the
// configuration folder, the calculation mode and three check boxes.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/host.h"

class SetBomOption {
 public:
  // Creates the dialog from "SetBomOption.dlx" and registers the OK, update,
  // initialise and dialog-shown handlers; throws when the host cannot create it.
  explicit SetBomOption(host::Host& host);
  ~SetBomOption();
  // A copy would share the host dialog and its handlers, which are bound to
  // the original object.
  SetBomOption(const SetBomOption&) = delete;
  SetBomOption& operator=(const SetBomOption&) = delete;

  // Shows the dialog modally; the host's result code.
  int Show();
  // Whether the dialog was confirmed with OK.
  bool IsOk() const { return ok_; }
  // The options as confirmed: a clear the designer ("toggle02"), b same-body
  // search ("toggle0"), c always false, n the calculation mode ("enum0" index).
  // Undefined unless IsOk.
  void GetOption(bool& a, bool& b, bool& c, int& n) const;

  // The configuration folder.
  std::string GetConfigFolderPath();
  // The lines of a text file; a file ending in a newline gives one more, empty,
  // last line. Empty when the file cannot be read.
  std::vector<std::string> GetFileContent(const std::string& path);
  // Whether the path exists.
  bool IsFileExist(const std::string& path);

  // Handlers.
  void initialize_cb();
  void dialogShown_cb();
  int update_cb(host::UIBlock* block);
  int ok_cb();

 private:
  void ShowError(const std::exception& e);

  host::Host& host_;
  std::string dialog_name_;
  std::unique_ptr<host::BlockDialog> dialog_;
  host::MultilineString* tip_ = nullptr;     // "multiline_string0"
  host::Enumeration* mode_block_ = nullptr;  // "enum0"
  host::Toggle* same_body_ = nullptr;        // "toggle0"
  host::Toggle* clear_designer_ = nullptr;   // "toggle02"
  host::Toggle* dependent_ = nullptr;        // "toggle01": only drives "toggle0"
  bool ok_ = false;
  bool option_b_ = false;
  bool option_c_ = false;
  bool option_a_ = false;
  int mode_ = 0;
};
