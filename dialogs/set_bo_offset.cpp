#include "dialogs/set_bo_offset.h"

#include <stdexcept>

#include "dialogs/dialog_support.h"

namespace {

constexpr const char* kLayout = "SetBoOffset.dlx";
constexpr const char* kTopFrame = "TOP_FRAME";
constexpr const char* kLeftFrame = "LEFT_FRAME";
constexpr const char* kBottomFrame = "BOTTOM_FRAME";

}  // namespace

using dialogs::Required;

SetBoOffset::SetBoOffset(host::Host& host) : host_(host), dialog_name_(kLayout) {
  dialog_ = host_.dialogs().CreateDialog(dialog_name_);
  dialog_->AddInitializeHandler([this] { initialize_cb(); });
  dialog_->AddDialogShownHandler([this] { dialogShown_cb(); });
  dialog_->AddUpdateHandler([this](host::UIBlock* block) { return update_cb(block); });
  dialog_->AddOkHandler([this] { return ok_cb(); });
}

SetBoOffset::~SetBoOffset() = default;

int SetBoOffset::Show() { return dialog_->Show(); }

void SetBoOffset::SetBomOffset(double a1, double a2, double a3, double a4, double a5) {
  offset_[0] = a1;
  offset_[1] = a2;
  offset_[2] = a3;
  offset_[3] = a4;
  offset_[4] = a5;
}

void SetBoOffset::GetBomOffset(double* a1, double* a2, double* a3, double* a4, double* a5) const {
  double* out[5] = {a1, a2, a3, a4, a5};
  for (int i = 0; i < 5; ++i) {
    if (out[i] != nullptr) *out[i] = offset_[i];
  }
}

void SetBoOffset::SetSelectItem(host::Tag body, const std::string& title, host::Toggle* toggle) {
  if (toggle == nullptr)
    throw std::runtime_error(std::string(kLayout) + ": no toggle for " + title);
  toggle->SetValue(dialogs::HasYes(host_, body, title));
}

void SetBoOffset::initialize_cb() {
  try {
    host::CompositeBlock* top = dialog_->TopBlock();
    group0_ = top->Find<host::Group>("group0");
    toggle0_ = top->Find<host::Toggle>("toggle0");
    double0_ = top->Find<host::DoubleBlock>("double0");
    double01_ = top->Find<host::DoubleBlock>("double01");
    double02_ = top->Find<host::DoubleBlock>("double02");
    double03_ = top->Find<host::DoubleBlock>("double03");
    double04_ = top->Find<host::DoubleBlock>("double04");
    double05_ = top->Find<host::DoubleBlock>("double05");
    group_ = top->Find<host::Group>("group");
    toggle03_ = top->Find<host::Toggle>("toggle03");
    toggle01_ = top->Find<host::Toggle>("toggle01");
    toggle02_ = top->Find<host::Toggle>("toggle02");
  } catch (const std::exception& e) {
    dialogs::ShowCallbackError(host_, e);
  }
}

void SetBoOffset::dialogShown_cb() {
  try {
    Required(double0_, kLayout, "double0").SetValue(0.0);
    Required(double01_, kLayout, "double01").SetValue(offset_[0]);
    Required(double02_, kLayout, "double02").SetValue(offset_[1]);
    Required(double03_, kLayout, "double03").SetValue(offset_[2]);
    Required(double04_, kLayout, "double04").SetValue(offset_[3]);
    Required(double05_, kLayout, "double05").SetValue(offset_[4]);

    Required(toggle0_, kLayout, "toggle0").SetValue(false);
    double0_->SetShow(false);
    double01_->SetShow(true);
    double02_->SetShow(true);
    double03_->SetShow(true);
    double04_->SetShow(true);

    if (body_ == host::kNullTag) return;
    host::Attributes& attributes = host_.attributes();
    const bool any = attributes.Has(body_, kTopFrame, host::kStringAttribute) ||
                     attributes.Has(body_, kLeftFrame, host::kStringAttribute) ||
                     attributes.Has(body_, kBottomFrame, host::kStringAttribute);
    if (!any) {
      // A body never marked keeps all its frame faces.
      Required(toggle03_, kLayout, "toggle03").SetValue(true);
      Required(toggle01_, kLayout, "toggle01").SetValue(true);
      Required(toggle02_, kLayout, "toggle02").SetValue(true);
    } else {
      SetSelectItem(body_, kTopFrame, toggle03_);
      SetSelectItem(body_, kLeftFrame, toggle01_);
      SetSelectItem(body_, kBottomFrame, toggle02_);
    }
  } catch (const std::exception& e) {
    dialogs::ShowCallbackError(host_, e);
  }
}

int SetBoOffset::update_cb(host::UIBlock* block) {
  try {
    if (block == nullptr) return 0;
    if (block == toggle0_) {
      const bool same = toggle0_->Value();
      Required(double0_, kLayout, "double0").SetShow(same);
      Required(double01_, kLayout, "double01").SetShow(!same);
      Required(double02_, kLayout, "double02").SetShow(!same);
      Required(double03_, kLayout, "double03").SetShow(!same);
      Required(double04_, kLayout, "double04").SetShow(!same);
    } else if (block == double0_) {
      const double value = double0_->Value();
      Required(double01_, kLayout, "double01").SetValue(value);
      Required(double02_, kLayout, "double02").SetValue(value);
      Required(double03_, kLayout, "double03").SetValue(value);
      Required(double04_, kLayout, "double04").SetValue(value);
    }
  } catch (const std::exception& e) {
    dialogs::ShowCallbackError(host_, e);
  }
  return 0;
}

int SetBoOffset::ok_cb() {
  // The press counts as confirmed before anything is read: the values and
  // marks taken up to a failure stand, and the dialog stays open with it.
  ok_ = true;
  try {
    if (Required(toggle0_, kLayout, "toggle0").Value()) {
      const double side = Required(double0_, kLayout, "double0").Value();
      for (int i = 0; i < 4; ++i) offset_[i] = side;
    } else {
      offset_[0] = Required(double01_, kLayout, "double01").Value();
      offset_[1] = Required(double02_, kLayout, "double02").Value();
      offset_[2] = Required(double03_, kLayout, "double03").Value();
      offset_[3] = Required(double04_, kLayout, "double04").Value();
    }
    offset_[4] = Required(double05_, kLayout, "double05").Value();

    if (body_ != host::kNullTag) {
      // Marks are only ever added: an unticked frame keeps an earlier mark.
      struct Frame {
        host::Toggle* toggle;
        const char* id;
        const char* title;
      };
      const Frame frames[] = {{toggle03_, "toggle03", kTopFrame},
                              {toggle01_, "toggle01", kLeftFrame},
                              {toggle02_, "toggle02", kBottomFrame}};
      for (const Frame& f : frames) {
        if (Required(f.toggle, kLayout, f.id).Value()) {
          host_.attributes().SetString(body_, f.title, "Y");
        }
      }
    }
  } catch (const std::exception& e) {
    dialogs::ShowCallbackError(host_, e);
    return 1;
  }
  return 0;
}
