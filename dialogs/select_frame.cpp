#include "dialogs/select_frame.h"

#include <stdexcept>

#include "dialogs/dialog_support.h"

namespace {

constexpr const char* kLayout = "SelectFrame.dlx";
constexpr const char* kTopFrame = "TOP_FRAME";
constexpr const char* kLeftFrame = "LEFT_FRAME";
constexpr const char* kBottomFrame = "BOTTOM_FRAME";

}  // namespace

using dialogs::Required;

SelectFrame::SelectFrame(host::Host& host) : host_(host), dialog_name_(kLayout) {
  dialog_ = host_.dialogs().CreateDialog(dialog_name_);
  dialog_->AddApplyHandler([this] { return apply_cb(); });
  dialog_->AddOkHandler([this] { return ok_cb(); });
  dialog_->AddUpdateHandler([this](host::UIBlock* block) { return update_cb(block); });
  dialog_->AddInitializeHandler([this] { initialize_cb(); });
  dialog_->AddDialogShownHandler([this] { dialogShown_cb(); });
}

SelectFrame::~SelectFrame() = default;

int SelectFrame::Show() { return dialog_->Show(); }

void SelectFrame::initialize_cb() {
  try {
    host::CompositeBlock* top = dialog_->TopBlock();
    group0_ = top->Find<host::Group>("group0");
    bodySelect0_ = top->Find<host::BodyCollector>("bodySelect0");
    group_ = top->Find<host::Group>("group");
    toggle0_ = top->Find<host::Toggle>("toggle0");
    toggle01_ = top->Find<host::Toggle>("toggle01");
    toggle02_ = top->Find<host::Toggle>("toggle02");
  } catch (const std::exception& e) {
    dialogs::ShowCallbackError(host_, e);
  }
}

void SelectFrame::dialogShown_cb() {}

void SelectFrame::SetSelectItem(host::Tag body, const std::string& title, host::Toggle* toggle) {
  if (toggle == nullptr)
    throw std::runtime_error(std::string(kLayout) + ": no toggle for " + title);
  toggle->SetValue(dialogs::HasYes(host_, body, title));
}

int SelectFrame::apply_cb() {
  try {
    const bool top = Required(toggle0_, kLayout, "toggle0").Value();
    const bool left = Required(toggle01_, kLayout, "toggle01").Value();
    const bool bottom = Required(toggle02_, kLayout, "toggle02").Value();
    host::Attributes& attributes = host_.attributes();
    for (host::Tag object : Required(bodySelect0_, kLayout, "bodySelect0").GetSelectedObjects()) {
      if (!dialogs::IsBody(host_, object)) continue;
      bodies_.push_back(object);
      if (top) attributes.SetString(object, kTopFrame, "Y");
      if (left) attributes.SetString(object, kLeftFrame, "Y");
      if (bottom) attributes.SetString(object, kBottomFrame, "Y");
    }
  } catch (const std::exception& e) {
    dialogs::ShowCallbackError(host_, e);
    return 1;
  }
  return 0;
}

int SelectFrame::ok_cb() { return apply_cb(); }

int SelectFrame::update_cb(host::UIBlock* block) {
  try {
    if (block == nullptr || block != bodySelect0_) return 0;
    const std::vector<host::Tag> selected = bodySelect0_->GetSelectedObjects();
    if (selected.empty() || !dialogs::IsBody(host_, selected.front())) return 0;
    const host::Tag body = selected.front();
    host::Attributes& attributes = host_.attributes();
    const bool any = attributes.Has(body, kTopFrame, host::kStringAttribute) ||
                     attributes.Has(body, kLeftFrame, host::kStringAttribute) ||
                     attributes.Has(body, kBottomFrame, host::kStringAttribute);
    if (!any) {
      // A body never marked starts with every frame face.
      Required(toggle0_, kLayout, "toggle0").SetValue(true);
      Required(toggle01_, kLayout, "toggle01").SetValue(true);
      Required(toggle02_, kLayout, "toggle02").SetValue(true);
    } else {
      SetSelectItem(body, kTopFrame, toggle0_);
      SetSelectItem(body, kLeftFrame, toggle01_);
      SetSelectItem(body, kBottomFrame, toggle02_);
    }
  } catch (const std::exception& e) {
    dialogs::ShowCallbackError(host_, e);
  }
  return 0;
}
