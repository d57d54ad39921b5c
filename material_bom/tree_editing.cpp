// Editing the material tree: cells, the context menu, check boxes and the
// row parameters.
#include <algorithm>
#include <cstdlib>
#include <exception>

#include "host/text.h"
#include "material_bom/export_material_bom.h"

namespace {

using T = blank::BodyAttributeTitles;
using namespace material_bom;

enum MenuItem : int { kHide = 0, kShow = 1, kCancelSame = 2, kAllowance = 4 };

constexpr const char* kCancelSameQuestion =
    "当取消相同件时，请注意下面内容：\nA:如果每当点击一次取消相同件时，然后点击保存，"
    "所取消的将不参加相同件计算，自动排序到该图层最后面。\nB:当点击全部取消相同件后，"
    "再点击保存，所取消的将自动参与相同件计算，将相同体自动计算结果，自动排序到该图层最后面。";

// The attribute a list or text column writes.
const char* ColumnTitle(int column) {
  switch (column) {
    case kColName:
      return T::kName;
    case kColMaterial:
      return T::kMaterial;
    case kColSpec:
      return T::kSpec;
    case kColRemark:
      return T::kRemark;
    case kColOrderingMethod:
      return T::kOrderingMethod;
    case kColChamfer:
      return T::kChamfer;
    case kColHeightDatum:
      return T::kHeightDatum;
    case kColLeadTime:
      return T::kLeadTime;
    default:
      return nullptr;
  }
}

std::vector<std::string> NonEmpty(const std::vector<std::string>& cells) {
  std::vector<std::string> out;
  for (const std::string& c : cells)
    if (!c.empty()) out.push_back(c);
  return out;
}

// The record field behind a column, to keep the records in step with the rows.
std::string* RecordField(blank::MaterialParam& r, int column) {
  switch (column) {
    case kColName:
      return &r.name;
    case kColMaterial:
      return &r.material;
    case kColSpec:
      return &r.spec;
    case kColHeatTreatment:
      return &r.heat_treatment;
    case kColRemark:
      return &r.remark;
    case kColOrderingMethod:
      return &r.ordering_method;
    case kColChamfer:
      return &r.chamfer;
    case kColHeightDatum:
      return &r.height_datum;
    case kColLeadTime:
      return &r.lead_time;
    case kColProcess:
      return &r.process;
    default:
      return nullptr;
  }
}

}  // namespace

// --- Rows ----------------------------------------------------------------------

// A top-level row with its children, or a child row alone.
std::vector<host::Node*> ExportMaterialBom::GroupRows(host::Node* node) {
  std::vector<host::Node*> rows;
  if (node->ParentNode() == nullptr) {
    for (host::Node* c = node->FirstChildNode(); c != nullptr; c = c->NextSiblingNode())
      rows.push_back(c);
  }
  rows.push_back(node);
  return rows;
}

// The rows a menu item acts on: the selected rows (the row under the pointer
// when it is not selected), each top-level row with its children.
std::vector<host::Node*> ExportMaterialBom::MenuRows(host::Tree* tree, host::Node* node) {
  std::vector<host::Node*> selected = tree->GetSelectedNodes();
  if (node != nullptr && std::find(selected.begin(), selected.end(), node) == selected.end())
    selected = {node};
  std::vector<host::Node*> rows;
  for (host::Node* s : selected) {
    for (host::Node* r : GroupRows(s))
      if (std::find(rows.begin(), rows.end(), r) == rows.end()) rows.push_back(r);
  }
  return rows;
}

// Shows the value in the row and stores it on the row's body and record.
void ExportMaterialBom::SetRowValue(host::Node* row, int column, const std::string& value) {
  row->SetColumnDisplayText(column, value);
  const host::Tag body = RowBody(row);
  if (body == host::kNullTag) return;
  const char* title = column == kColHeatTreatment ? T::kHeatTreatment
                      : column == kColProcess     ? T::kProcess
                                                  : ColumnTitle(column);
  if (title != nullptr) WriteBodyAttribute(body, T::kCategory, title, value);
  if (MaterialParam* r = GetBodyMtlParam(body, records_)) {
    if (std::string* field = RecordField(*r, column)) *field = value;
  }
}

NodeParam ExportMaterialBom::GetNodeParam(host::Node* node) {
  NodeParam p;
  p.sequence = node->DisplayText();
  p.name = node->GetColumnDisplayText(kColName);
  p.code = node->GetColumnDisplayText(kColCode);
  p.material = node->GetColumnDisplayText(kColMaterial);
  p.spec = node->GetColumnDisplayText(kColSpec);
  p.quantity = node->GetColumnDisplayText(kColQuantity);
  p.weight = node->GetColumnDisplayText(kColWeight);
  p.heat_treatment = node->GetColumnDisplayText(kColHeatTreatment);
  p.remark = node->GetColumnDisplayText(kColRemark);
  p.ordering_method = node->GetColumnDisplayText(kColOrderingMethod);
  p.chamfer = node->GetColumnDisplayText(kColChamfer);
  p.height_datum = node->GetColumnDisplayText(kColHeightDatum);
  p.lead_time = node->GetColumnDisplayText(kColLeadTime);
  p.state = node->GetColumnDisplayText(kColState);
  p.modified = node->GetColumnDisplayText(kColModified);
  p.net_weight = node->GetColumnDisplayText(kColNetWeight);
  p.process = node->GetColumnDisplayText(kColProcess);
  p.body = RowBody(node);
  return p;
}

std::vector<NodeParam> ExportMaterialBom::GetNodeParams() {
  std::vector<NodeParam> out;
  for (host::Node* n = material_tree_->RootNode(); n != nullptr; n = n->NextNode())
    out.push_back(GetNodeParam(n));
  return out;
}

// --- Selection and check boxes ---------------------------------------------------------

void ExportMaterialBom::OnSelectCallback(host::Tree*, host::Node* node, int, bool) {
  try {
    if (node == nullptr) return;
    node->Expand(host::ExpandOption::Expand);
    const host::Tag body = RowBody(node);
    if (body == host::kNullTag || !host_.attributes().Has(body, T::kIdentity)) return;
    const std::string identity = host_.attributes().GetString(body, T::kIdentity);
    for (host::Tag csys : GetLayerCsys(kCsysLayer))
      if (host_.objects().Name(csys) == identity) host_.objects().SetBlanked(csys, false);
  } catch (const std::exception& e) {
    ShowError(e.what());
  }
}

void ExportMaterialBom::OnStateChangeCallback(host::Tree*, host::Node* node, int state) {
  try {
    const int checked = state == host::kNodeUnchecked ? host::kNodeChecked : host::kNodeUnchecked;
    for (host::Node* row : GroupRows(node)) {
      row->SetState(checked);
      const host::Tag body = RowBody(row);
      if (body != host::kNullTag) host_.objects().SetBlanked(body, checked == host::kNodeUnchecked);
    }
  } catch (const std::exception& e) {
    ShowError(e.what());
  }
}

// --- Cells -----------------------------------------------------------------------

host::BeginLabelEditState ExportMaterialBom::OnBeginLabelEditCallback(host::Tree*, host::Node*,
                                                                      int column) {
  return column == kColSpec || column == kColRemark ? host::BeginLabelEditState::Allow
                                                    : host::BeginLabelEditState::Disallow;
}

host::EndLabelEditState ExportMaterialBom::OnEndLabelEditCallback(host::Tree*, host::Node* node,
                                                                  int column,
                                                                  const std::string& text) {
  try {
    if (column == kColSpec) node->SetForegroundColor(kEditMarkColor);
    if (column == kColSpec || column == kColRemark) SetRowValue(node, column, text);
  } catch (const std::exception& e) {
    ShowError(e.what());
  }
  return host::EndLabelEditState::AcceptText;
}

std::vector<std::string> ExportMaterialBom::EditOptions(int column) const {
  const config::MaterialBomConfig& m = settings().material;
  switch (column) {
    case kColName:
      return NonEmpty(m.layer_names);
    case kColMaterial:
      return m.material_names;  // parallel to the heat treatments
    case kColOrderingMethod: {
      std::vector<std::string> options = {""};
      for (const std::string& o : NonEmpty(m.ordering_methods)) options.push_back(o);
      return options;
    }
    case kColChamfer:
      return NonEmpty(m.chamfer_choices);
    case kColHeightDatum:
      return NonEmpty(m.height_exact_choices);
    case kColLeadTime:
      return NonEmpty(m.lead_time_choices);
    default:
      return {};
  }
}

host::ControlType ExportMaterialBom::AskEditControlCallback(host::Tree* tree, host::Node* node,
                                                            int column) {
  try {
    switch (column) {
      case kColName:
      case kColMaterial:
      case kColOrderingMethod:
      case kColChamfer:
      case kColHeightDatum:
      case kColLeadTime: {
        const std::vector<std::string> options = EditOptions(column);
        const std::string current = node ? node->GetColumnDisplayText(column) : std::string();
        const auto it = std::find(options.begin(), options.end(), current);
        tree->SetEditOptions(options,
                             it == options.end() ? -1 : static_cast<int>(it - options.begin()));
        return host::ControlType::ListBox;
      }
      default:
        return host::ControlType::None;
    }
  } catch (const std::exception& e) {
    ShowError(e.what());
    return host::ControlType::None;
  }
}

// The process route of the row's body in the material of the colour-table
// entry `color_index`.
std::string ExportMaterialBom::ProcessFor(host::Node* row, int color_index) {
  const config::MaterialBomSettings& s = settings();
  if (!s.machining_process || color_index < 0 ||
      color_index >= static_cast<int>(s.material.colors.size()))
    return {};
  const config::MachiningProcess& table = *s.machining_process;
  const double net = std::atof(row->GetColumnDisplayText(kColNetWeight).c_str());
  if (table.weight_limit > net) return {};
  const host::Tag body = RowBody(row);
  if (body == host::kNullTag) return {};
  const std::vector<std::string> colors = table.Column("实体颜色");
  const std::string color = text::Format("%d", s.material.colors[color_index]);
  const auto it = std::find(colors.begin(), colors.end(), color);
  if (it == colors.end()) return {};
  const std::vector<std::string> processes =
      table.Column(text::Format("%d", host_.objects().Layer(body)));
  const std::size_t i = static_cast<std::size_t>(it - colors.begin());
  return i < processes.size() ? processes[i] : std::string();
}

host::EditControlOption ExportMaterialBom::OnEditOptionSelectedCallback(host::Tree*,
                                                                        host::Node* node,
                                                                        int column, int index,
                                                                        const std::string& text,
                                                                        host::ControlType) {
  try {
    if (index < 0 || ColumnTitle(column) == nullptr) return host::EditControlOption::Reject;
    const auto& heat = settings().material.heat_treatments;
    for (host::Node* row : GroupRows(node)) {
      SetRowValue(row, column, text);
      if (column != kColMaterial) continue;
      const std::size_t i = static_cast<std::size_t>(index);
      SetRowValue(row, kColHeatTreatment, i < heat.size() ? heat[i] : std::string());
      SetRowValue(row, kColProcess, ProcessFor(row, index));
    }
  } catch (const std::exception& e) {
    ShowError(e.what());
    return host::EditControlOption::Reject;
  }
  return host::EditControlOption::Accept;
}

// --- Context menu and double-click ------------------------------------------------------

void ExportMaterialBom::OnMenuCallback(host::Tree* tree, host::Node* node, int) {
  try {
    if (node == nullptr) return;
    host::TreeListMenu* menu = tree->CreateMenu();
    menu->AddMenuItem(kHide, "隐藏");
    menu->AddMenuItem(kShow, "显示");
    if (node->ParentNode() != nullptr)
      menu->AddMenuItem(kCancelSame, "取消相同件");
    else
      menu->AddMenuItem(kAllowance, "设置余量");
    tree->SetMenu(menu);
  } catch (const std::exception& e) {
    ShowError(e.what());
  }
}

void ExportMaterialBom::OnMenuSelectionCallback(host::Tree* tree, host::Node* node, int item) {
  try {
    const std::vector<host::Node*> rows = MenuRows(tree, node);
    switch (item) {
      case kHide:
      case kShow:
        for (host::Node* row : rows) {
          row->SetState(item == kHide ? host::kNodeUnchecked : host::kNodeChecked);
          const host::Tag body = RowBody(row);
          if (body != host::kNullTag) host_.objects().SetBlanked(body, item == kHide);
        }
        break;
      case kCancelSame:
        CancelSameBodies(rows);
        break;
      case kAllowance:
        PressAllowanceButton(node, PressSource::kMenu);
        break;
      default:
        break;
    }
  } catch (const std::exception& e) {
    ShowError(e.what());
  }
}

// The bodies leave their groups: without code and identity they are numbered
// again at the end of their layer.
void ExportMaterialBom::CancelSameBodies(const std::vector<host::Node*>& rows) {
  if (host_.messages().ShowMessage(kDialogTitle, host::kQuestionMessage, kCancelSameQuestion) !=
      host::kFirstButton)
    return;
  for (host::Node* row : rows) {
    const host::Tag body = RowBody(row);
    if (body == host::kNullTag) continue;
    host_.attributes().Delete(body, host::kStringAttribute, T::kCode);
    host_.attributes().Delete(body, host::kStringAttribute, T::kIdentity);
  }
  CreatMaterialNodes(1, 0);
  SaveAttributes();
}

void ExportMaterialBom::OnDefaultAction(host::Tree*, host::Node* node, int) {
  try {
    PressAllowanceButton(node, PressSource::kDoubleClick);
  } catch (const std::exception& e) {
    ShowError(e.what());
  }
}

bool ExportMaterialBom::PressAllowanceButton(host::Node* node, PressSource source) {
  const std::string label = allowance_button_->Label();
  pressed_row_ = node;
  press_source_ = source;
  return host_.platform().PressDialogButton(kDialogTitle, label);
}
