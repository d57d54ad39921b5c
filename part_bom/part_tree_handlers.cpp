// The standard-part tree as the designer works it: selecting, checking,
// editing group rows, the hide/show menu.
#include <algorithm>

#include "part_bom/export_part_bom.h"
#include "part_bom/part_bom_texts.h"

using namespace part_bom;

namespace {

// The group-row columns edited as text, and those edited by a list.
bool IsTextColumn(int column) {
  return column == ExportPartBom::kNameColumn || column == ExportPartBom::kTypeColumn ||
         column == ExportPartBom::kMaterialColumn || column == ExportPartBom::kRemarkColumn;
}

bool IsGroupRow(host::Node* node) { return node != nullptr && node->ParentNode() == nullptr; }

constexpr int kHideItem = 0;
constexpr int kShowItem = 1;

}  // namespace

// --- Rows and bodies ------------------------------------------------------------------

host::Tag ExportPartBom::RowBody(host::Node* row) {
  host::DataContainer& data = row->GetNodeData();
  return data.HasKey(kDataKey) ? data.GetTaggedObject(kDataKey) : host::kNullTag;
}

void ExportPartBom::SetBodyShown(host::Tag body, bool shown) {
  if (body == host::kNullTag || !host_.objects().Exists(body)) return;
  host_.objects().SetBlanked(body, !shown);
}

void ExportPartBom::SetGroupShown(host::Node* group, bool shown) {
  const int state = shown ? host::kNodeChecked : host::kNodeUnchecked;
  for (host::Node* child : ChildRows(group)) {
    SetBodyShown(RowBody(child), shown);
    child->SetState(state);
  }
  group->SetState(state);
}

std::vector<host::Node*> ExportPartBom::TopRows() {
  std::vector<host::Node*> rows;
  for (host::Node* n = TreeBlock().RootNode(); n != nullptr; n = n->NextSiblingNode())
    rows.push_back(n);
  return rows;
}

std::vector<host::Node*> ExportPartBom::ChildRows(host::Node* row) {
  std::vector<host::Node*> rows;
  for (host::Node* n = row->FirstChildNode(); n != nullptr; n = n->NextSiblingNode())
    rows.push_back(n);
  return rows;
}

// --- Handlers ---------------------------------------------------------------------------

void ExportPartBom::OnSelectCallback(host::Tree* tree, host::Node* node, int, bool) {
  try {
    if (tree == nullptr || node == nullptr) return;
    for (host::Node* child : ChildRows(node)) tree->SelectNode(child, !child->IsSelected(), false);
  } catch (const std::exception& e) {
    ShowError(kPartBomTitle, e);
  }
}

void ExportPartBom::OnStateChangeCallback(host::Tree*, host::Node* node, int state) {
  try {
    if (node == nullptr) return;
    const int next = state == host::kNodeUnchecked ? host::kNodeChecked : host::kNodeUnchecked;
    const bool shown = next == host::kNodeChecked;
    if (IsGroupRow(node)) {
      SetGroupShown(node, shown);
    } else {
      SetBodyShown(RowBody(node), shown);
      node->SetState(next);
    }
  } catch (const std::exception& e) {
    ShowError(kPartBomTitle, e);
  }
}

host::BeginLabelEditState ExportPartBom::OnBeginLabelEditCallback(host::Tree*, host::Node* node,
                                                                  int column) {
  return IsGroupRow(node) && IsTextColumn(column) ? host::BeginLabelEditState::Allow
                                                  : host::BeginLabelEditState::Disallow;
}

host::EndLabelEditState ExportPartBom::OnEndLabelEditCallback(host::Tree*, host::Node* node,
                                                              int column, const std::string& text) {
  try {
    if (!IsGroupRow(node) || !IsTextColumn(column)) return host::EndLabelEditState::RejectText;
    for (host::Node* child : ChildRows(node)) child->SetColumnDisplayText(column, text);
    return host::EndLabelEditState::AcceptText;
  } catch (const std::exception& e) {
    ShowError(kPartBomTitle, e);
    return host::EndLabelEditState::RejectText;
  }
}

host::ControlType ExportPartBom::AskEditControlCallback(host::Tree* tree, host::Node* node,
                                                        int column) {
  try {
    if (tree == nullptr || !IsGroupRow(node)) return host::ControlType::None;
    const std::vector<std::string>* options = nullptr;
    switch (column) {
      case kBrandColumn:
        options = &brands_;
        break;
      case kHeatTreatmentColumn:
        options = &heat_treatments_;
        break;
      case kSupplierColumn:
        options = &suppliers_;
        break;
      case kLeadTimeColumn:
        options = &lead_times_;
        break;
      default:
        return host::ControlType::None;
    }
    // The option equal to the cell is preselected, else the empty first one.
    const std::string current = node->GetColumnDisplayText(column);
    const auto it = std::find(options->begin(), options->end(), current);
    const int selected = it == options->end() ? 0 : static_cast<int>(it - options->begin());
    tree->SetEditOptions(*options, selected);
    return host::ControlType::ComboBox;
  } catch (const std::exception& e) {
    ShowError(kPartBomTitle, e);
    return host::ControlType::None;
  }
}

host::EditControlOption ExportPartBom::OnEditOptionSelectedCallback(host::Tree*, host::Node* node,
                                                                    int column, int option_index,
                                                                    const std::string& option_text,
                                                                    host::ControlType) {
  try {
    if (option_index == -1 || !IsGroupRow(node)) return host::EditControlOption::Reject;
    for (host::Node* child : ChildRows(node)) child->SetColumnDisplayText(column, option_text);
    return host::EditControlOption::Accept;
  } catch (const std::exception& e) {
    ShowError(kPartBomTitle, e);
    return host::EditControlOption::Reject;
  }
}

void ExportPartBom::OnMenuCallback(host::Tree* tree, host::Node* node, int) {
  try {
    if (tree == nullptr) return;
    host::TreeListMenu* menu = tree->CreateMenu();
    if (node != nullptr) {
      menu->AddMenuItem(kHideItem, "隐藏");
      menu->AddMenuItem(kShowItem, "显示");
    }
    tree->SetMenu(menu);
  } catch (const std::exception& e) {
    ShowError(kPartBomTitle, e);
  }
}

void ExportPartBom::OnMenuSelectionCallback(host::Tree* tree, host::Node*, int menu_item) {
  try {
    if (tree == nullptr || (menu_item != kHideItem && menu_item != kShowItem)) return;
    const bool shown = menu_item == kShowItem;
    for (host::Node* row : tree->GetSelectedNodes()) {
      if (IsGroupRow(row)) {
        SetGroupShown(row, shown);
      } else {
        SetBodyShown(RowBody(row), shown);
        row->SetState(shown ? host::kNodeChecked : host::kNodeUnchecked);
      }
    }
  } catch (const std::exception& e) {
    ShowError(kPartBomTitle, e);
  }
}
