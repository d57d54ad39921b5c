#include "dialogs/spec_csys.h"

#include <vector>

#include "dialogs/dialog_support.h"

namespace {

constexpr const char* kLayout = "SpecCsys.dlx";

}  // namespace

SpecCsys::SpecCsys(host::Host& host) : host_(host), dialog_name_(kLayout) {
  dialog_ = host_.dialogs().CreateDialog(dialog_name_);
  dialog_->AddInitializeHandler([this] { initialize_cb(); });
  dialog_->AddDialogShownHandler([this] { dialogShown_cb(); });
  dialog_->AddUpdateHandler([this](host::UIBlock* block) { return update_cb(block); });
  dialog_->AddOkHandler([this] { return ok_cb(); });
}

SpecCsys::~SpecCsys() = default;

int SpecCsys::Show() { return dialog_->Show(); }

bool SpecCsys::GetSelectedCsys(host::Point3d& origin, host::Vector3d& x_direction,
                               host::Vector3d& y_direction) const {
  origin = origin_;
  x_direction = x_direction_;
  y_direction = y_direction_;
  return selected_;
}

void SpecCsys::initialize_cb() {
  try {
    host::CompositeBlock* top = dialog_->TopBlock();
    group0_ = top->Find<host::Group>("group0");
    coord_system0_ = top->Find<host::SpecifyCSYS>("coord_system0");
  } catch (const std::exception& e) {
    dialogs::ShowCallbackError(host_, e);
  }
}

void SpecCsys::dialogShown_cb() {}

int SpecCsys::update_cb(host::UIBlock*) { return 0; }

int SpecCsys::ok_cb() {
  try {
    // Each confirmation tells afresh whether a system was picked.
    selected_ = false;
    csys_ = host::kNullTag;
    const std::vector<host::Tag> picked =
        dialogs::Required(coord_system0_, kLayout, "coord_system0").GetSelectedObjects();
    if (picked.empty()) return 0;
    const host::Tag first = picked.front();
    if (!host_.objects().Exists(first) ||
        host_.objects().AskTypeAndSubtype(first).type != host::kCoordinateSystemType) {
      return 0;
    }
    const host::CsysInfo info = host_.csys().AskCsysInfo(first);
    csys_ = first;
    origin_ = info.origin;
    x_direction_ = info.matrix.XAxis();
    y_direction_ = info.matrix.YAxis();
    selected_ = true;
  } catch (const std::exception& e) {
    dialogs::ShowCallbackError(host_, e);
    return 1;
  }
  return 0;
}
