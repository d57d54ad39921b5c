#include "entry/set_bom_option.h"

#include <stdexcept>

#include "config/config_folder.h"

namespace {

constexpr const char* kTipFile = "\\bom_tip_config.txt";
constexpr const char* kMessageTitle = "Block Styler";

template <class T>
T& Block(T* block, const char* id) {
  if (block == nullptr) {
    throw std::runtime_error(std::string("SetBomOption.dlx: block ") + id + " was not found");
  }
  return *block;
}

}  // namespace

SetBomOption::SetBomOption(host::Host& host) : host_(host), dialog_name_("SetBomOption.dlx") {
  dialog_ = host_.dialogs().CreateDialog(dialog_name_);
  dialog_->AddOkHandler([this] { return ok_cb(); });
  dialog_->AddUpdateHandler([this](host::UIBlock* block) { return update_cb(block); });
  dialog_->AddInitializeHandler([this] { initialize_cb(); });
  dialog_->AddDialogShownHandler([this] { dialogShown_cb(); });
}

SetBomOption::~SetBomOption() = default;

int SetBomOption::Show() { return dialog_->Show(); }

void SetBomOption::GetOption(bool& a, bool& b, bool& c, int& n) const {
  a = option_a_;
  b = option_b_;
  c = option_c_;
  n = mode_;
}

std::string SetBomOption::GetConfigFolderPath() { return config::GetConfigFolderPath(host_); }

std::vector<std::string> SetBomOption::GetFileContent(const std::string& path) {
  return config::GetFileContent(host_.platform(), path);
}

bool SetBomOption::IsFileExist(const std::string& path) {
  return config::IsFileExist(host_.platform(), path);
}

void SetBomOption::ShowError(const std::exception& e) {
  host_.messages().ShowMessage(kMessageTitle, host::kErrorMessage, e.what());
}

void SetBomOption::initialize_cb() {
  try {
    host::CompositeBlock* top = dialog_->TopBlock();
    tip_ = top->Find<host::MultilineString>("multiline_string0");
    mode_block_ = top->Find<host::Enumeration>("enum0");
    same_body_ = top->Find<host::Toggle>("toggle0");
    clear_designer_ = top->Find<host::Toggle>("toggle02");
    dependent_ = top->Find<host::Toggle>("toggle01");
  } catch (const std::exception& e) {
    ShowError(e);
  }
}

void SetBomOption::dialogShown_cb() {
  try {
    const std::string folder = GetConfigFolderPath();
    Block(tip_, "multiline_string0").SetValue(GetFileContent(folder + kTipFile));
  } catch (const std::exception& e) {
    ShowError(e);
  }
}

int SetBomOption::update_cb(host::UIBlock* block) {
  try {
    if (block == nullptr) return 0;
    if (block == same_body_) {
      Block(dependent_, "toggle01").SetValue(false);
    } else if (block == dependent_ && dependent_->Value()) {
      Block(same_body_, "toggle0").SetValue(true);
    }
  } catch (const std::exception& e) {
    ShowError(e);
  }
  return 0;
}

int SetBomOption::ok_cb() {
  try {
    ok_ = true;
    option_b_ = Block(same_body_, "toggle0").Value();
    option_c_ = false;  // "toggle01" is deliberately not read
    mode_ = Block(mode_block_, "enum0").GetProperties().GetEnum("Value");
    option_a_ = Block(clear_designer_, "toggle02").Value();
  } catch (const std::exception& e) {
    ShowError(e);
    return 1;
  }
  return 0;
}
