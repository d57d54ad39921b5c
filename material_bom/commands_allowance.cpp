// The allowance of a row's body, the coordinate system given by hand and the
// automatic orientation of selected bodies.
#include <array>
#include <cstdlib>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "config/csv.h"
#include "dialogs/set_bo_offset.h"
#include "host/math.h"
#include "host/text.h"
#include "material_bom/export_material_bom.h"

namespace {

using T = blank::BodyAttributeTitles;
using F = blank::ValueFormats;
using namespace material_bom;

constexpr const char* kResetMark = "Reset";

constexpr const char* kAutoOrientNotice =
    "提示：\n1.请手动选择需要摆正的体，程序将自动计算摆正,显示坐标是出图方向\n2.95%满足我们的要求，"
    "如果不满足，请双击清单更改出图方向";

// The five allowances of a row's "余量" text "a_b_c_d_e"; all zero when it
// is empty or not of five parts.
std::vector<double> ParseAllowance(const std::string& text) {
  std::vector<double> values(5, 0.0);
  const std::vector<std::string> pieces = config::SplitString(text, "_");
  if (pieces.size() == 5) {
    for (std::size_t i = 0; i < 5; ++i) values[i] = std::atof(pieces[i].c_str());
  }
  return values;
}

}  // namespace

// --- "button0": the allowance of the remembered row -------------------------------------

void ExportMaterialBom::SetAllowance() {
  host::Node* row = pressed_row_;
  if (row == nullptr) {
    // The button pressed by itself works on the selected row.
    const std::vector<host::Node*> selected = material_tree_->GetSelectedNodes();
    if (!selected.empty()) row = selected.front();
  }
  const host::Tag body = row == nullptr ? host::kNullTag : RowBody(row);
  if (body == host::kNullTag || !host_.objects().Exists(body)) {
    throw std::runtime_error("请先在清单中双击需要设置余量的实体");
  }
  host::Objects& objects = host_.objects();
  objects.SetHighlighted(body, true);
  host_.display().FitView({body});

  const std::vector<double> a = ParseAllowance(row->GetColumnDisplayText(kColAllowance));
  SetBoOffset offset(host_);
  offset.SetBomOffset(a[0], a[1], a[2], a[3], a[4]);
  offset.SetTargetBody(body);
  offset.Show();
  if (!offset.IsOk()) {
    objects.SetHighlighted(body, false);
    return;
  }
  double v[5];
  offset.GetBomOffset(&v[0], &v[1], &v[2], &v[3], &v[4]);
  const std::string allowance = text::Format(F::kAllowance, v[0], v[1], v[2], v[3], v[4]);

  // The rows of the body show the new allowance, which the body keeps
  // whatever becomes of its system: the system dialog undoes only its own
  // work when it is cancelled or cannot make a system.
  for (host::Node* r = material_tree_->RootNode(); r != nullptr; r = r->NextNode())
    if (RowBody(r) == body) r->SetColumnDisplayText(kColAllowance, allowance);
  bool reset = false;
  try {
    WriteBodyAttribute(body, T::kCategory, T::kAllowance, allowance);
    if (MaterialParam* record = GetBodyMtlParam(body, records_)) record->allowance = allowance;
    reset = ResetBodyCsys(row);
  } catch (...) {
    if (objects.Exists(body)) objects.SetHighlighted(body, false);
    throw;
  }
  objects.SetHighlighted(body, false);
  if (!reset) return;
  SaveAttributes();
  host_.messages().ShowMessage(kDialogTitle, host::kInformationMessage, "保存BOM属性成功！");
}

// --- The body's coordinate system given by hand ----------------------------------------------

bool ExportMaterialBom::ResetBodyCsys(host::Node* row) {
  const host::Tag body = row == nullptr ? host::kNullTag : RowBody(row);
  if (body == host::kNullTag) throw std::runtime_error("清单中的这一行没有对应的实体");
  calculator();  // throws when the configuration was not loaded
  host::Undo& undo = host_.undo();
  host::Objects& objects = host_.objects();
  const int mark = undo.SetUndoMark(host::MarkVisibility::Visible, kResetMark);

  // The body alone on the screen: its rows checked, every other row unchecked
  // and its body hidden. The rows and bodies are shown as before afterwards.
  std::vector<std::pair<host::Node*, int>> row_states;
  std::map<host::Tag, bool> blanked;
  for (host::Node* r = material_tree_->RootNode(); r != nullptr; r = r->NextNode()) {
    row_states.push_back({r, r->State()});
    const host::Tag b = RowBody(r);
    if (b == host::kNullTag || !objects.Exists(b)) continue;
    blanked.emplace(b, objects.IsBlanked(b));
    r->SetState(b == body ? host::kNodeChecked : host::kNodeUnchecked);
    objects.SetBlanked(b, b != body);
  }
  auto show_as_before = [&] {
    for (const auto& [r, state] : row_states) r->SetState(state);
    for (const auto& [b, was] : blanked)
      if (objects.Exists(b)) objects.SetBlanked(b, was);
  };
  host_.display().SetSessionTranslucency(true);
  host_.display().FitView({body});
  objects.SetHighlighted(body, true);

  const std::optional<host::CsysInfo> chosen = host_.selection().SpecifyCsys("指定坐标系");
  objects.SetHighlighted(body, false);
  if (!chosen) {
    // Back or cancel: the body keeps its system and nothing stays isolated.
    undo.UndoToMark(mark);
    show_as_before();
    return false;
  }
  host::Matrix3x3 matrix;
  if (host::Mtx3Initialize(chosen->matrix.XAxis(), chosen->matrix.YAxis(), matrix) != 0) {
    host_.messages().ShowMessage("提示", host::kErrorMessage, "指定的向量无法创建坐标系");
    undo.UndoToMark(mark);
    show_as_before();
    return false;
  }

  try {
    MeasureInNewCsys(body, matrix);
  } catch (...) {
    // A failure half-way leaves the body as it was.
    undo.UndoToMark(mark);
    show_as_before();
    throw;
  }
  show_as_before();
  return true;
}

// Steps 5 to 7 of the reset: the blank measured in the system given, the
// orientation and the named system recorded, the allowance applied.
void ExportMaterialBom::MeasureInNewCsys(host::Tag body, const host::Matrix3x3& matrix) {
  blank::MaterialParamCalculator& calc = calculator();
  {
    blank::BlankGeometry& geometry = calc.geometry();
    blank::BlankGeometry::TemporaryScope temporaries(geometry);
    host_.csys().SetWcs(geometry.CrateTempCsys(matrix));
    const std::array<double, 3> e = geometry.BlankExtents(body);
    const std::string spec = geometry.SpecOf(body, e);
    WriteBodyAttribute(body, T::kCategory, T::kSpec, spec);
    if (MaterialParam* r = GetBodyMtlParam(body, records_)) {
      r->spec = spec;
      r->length = e[0], r->width = e[1], r->thickness = e[2];
      r->weight = text::Format(F::kWeight, calc.weights().BlankWeight(e[0], e[1], e[2]));
      RefreshBodyRows(body, *r);
    } else {
      for (host::Node* n = material_tree_->RootNode(); n != nullptr; n = n->NextNode())
        if (RowBody(n) == body) n->SetColumnDisplayText(kColSpec, spec);
    }

    // The orientation, the row mark and the named system on the hidden layer,
    // which stays the work coordinate system.
    std::string identity = host_.attributes().Has(body, T::kIdentity)
                               ? host_.attributes().GetString(body, T::kIdentity)
                               : std::string();
    if (identity.empty()) {
      identity = calc.NewIdentity();
      WriteBodyAttribute(body, T::kCategory, T::kIdentity, identity);
    }
    const int changed = settings().common.changed_body_color;
    for (host::Node* n = material_tree_->RootNode(); n != nullptr; n = n->NextNode())
      if (RowBody(n) == body && n->ForegroundColor() != changed)
        n->SetForegroundColor(kEditMarkColor);
    calc.orientation().PlaceBlankCsys(body, matrix, identity);
  }
  calc.ResetBodyOffset(body);
}

// --- "button019": automatic orientation ----------------------------------------------------

std::vector<host::Tag> ExportMaterialBom::ExcuteAutoOrient() {
  host_.messages().ShowMessage("提示", host::kInformationMessage, kAutoOrientNotice);
  const auto picked = SelectBodies("选择需要自动摆正的实体", "自动摆正");
  if (!picked) return {};
  for (host::Tag body : *picked) {
    CalcBodyMinOrient(body);
    ResetBodyOffset(body);
  }
  return *picked;
}

void ExportMaterialBom::AutoOrient() { ExcuteAutoOrient(); }
