#include "dialogs/select_csys.h"

#include <stdexcept>
#include <vector>

#include "dialogs/dialog_support.h"

namespace {

constexpr const char* kLayout = "SelectCsys.dlx";
constexpr const char* kNoCsys = "创建坐标系失败，请重新选择矢量";
constexpr const char* kBadVectors = "指定的向量无法创建坐标系";

}  // namespace

using dialogs::Required;

SelectCsys::SelectCsys(host::Host& host) : host_(host), dialog_name_(kLayout) {
  dialog_ = host_.dialogs().CreateDialog(dialog_name_);
  dialog_->AddInitializeHandler([this] { initialize_cb(); });
  dialog_->AddDialogShownHandler([this] { dialogShown_cb(); });
  dialog_->AddUpdateHandler([this](host::UIBlock* block) { return update_cb(block); });
  dialog_->AddOkHandler([this] { return ok_cb(); });
}

SelectCsys::~SelectCsys() = default;

int SelectCsys::Show() { return dialog_->Show(); }

void SelectCsys::initialize_cb() {
  try {
    host::CompositeBlock* top = dialog_->TopBlock();
    group_ = top->Find<host::Group>("group");
    vector0_ = top->Find<host::SpecifyVector>("vector0");
    group1_ = top->Find<host::Group>("group1");
    vector01_ = top->Find<host::SpecifyVector>("vector01");
  } catch (const std::exception& e) {
    dialogs::ShowCallbackError(host_, e);
  }
}

void SelectCsys::dialogShown_cb() {}

int SelectCsys::update_cb(host::UIBlock* block) {
  try {
    if (block != nullptr && (block == vector0_ || block == vector01_)) Commit();
  } catch (const std::exception& e) {
    dialogs::ShowCallbackError(host_, e);
  }
  return 0;
}

int SelectCsys::ok_cb() {
  try {
    if (csys_ == host::kNullTag || !host_.objects().Exists(csys_)) {
      throw std::runtime_error(kNoCsys);
    }
  } catch (const std::exception& e) {
    dialogs::ShowCallbackError(host_, e);
    return 1;
  }
  return 0;
}

void SelectCsys::DeleteCsys() {
  host::Objects& objects = host_.objects();
  if (csys_ != host::kNullTag && objects.Exists(csys_)) objects.Delete(csys_);
  if (matrix_ != host::kNullTag && objects.Exists(matrix_)) objects.Delete(matrix_);
  csys_ = host::kNullTag;
  matrix_ = host::kNullTag;
}

host::Tag SelectCsys::OwningBody(host::Tag object) {
  host::Objects& objects = host_.objects();
  if (object == host::kNullTag || !objects.Exists(object)) return host::kNullTag;
  const host::TypeAndSubtype t = objects.AskTypeAndSubtype(object);
  if (t.type != host::kSolidType) return host::kNullTag;
  if (t.subtype == host::kSolidBodySubtype) return object;
  if (t.subtype == host::kSolidFaceSubtype) return host_.bodies().FaceBody(object);
  if (t.subtype == host::kSolidEdgeSubtype) {
    host::Bodies& bodies = host_.bodies();
    for (host::Tag body : bodies.PartBodies(host_.session().WorkPart())) {
      for (host::Tag edge : bodies.BodyEdges(body)) {
        if (edge == object) return body;
      }
    }
  }
  return host::kNullTag;
}

void SelectCsys::Commit() {
  host::SpecifyVector& x_block = Required(vector0_, kLayout, "vector0");
  host::SpecifyVector& y_block = Required(vector01_, kLayout, "vector01");
  const std::vector<host::Tag> x_picked = x_block.GetSelectedObjects();
  const std::vector<host::Tag> y_picked = y_block.GetSelectedObjects();
  if (x_picked.empty() || y_picked.empty()) return;

  DeleteCsys();

  const host::Vector3d x = x_block.Vector();
  const host::Vector3d y = y_block.Vector();
  const host::Point3d origin = x_block.Point();
  host::Matrix3x3 matrix;
  if (host::Mtx3Initialize(x, y, matrix) != 0) throw std::runtime_error(kBadVectors);
  matrix_ = host_.csys().CreateMatrix(matrix);
  csys_ = host_.csys().CreateCsys(origin, matrix_);

  // The vectors are defined on geometry of the body: the first pick that
  // belongs to a body names it.
  body_ = host::kNullTag;
  for (const std::vector<host::Tag>* picks : {&x_picked, &y_picked}) {
    for (host::Tag object : *picks) {
      body_ = OwningBody(object);
      if (body_ != host::kNullTag) return;
    }
  }
}
