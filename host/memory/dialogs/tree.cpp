// Trees of the dialog engine: columns, nodes, cell editors and context menus.
#include <algorithm>

#include "host/memory/dialogs/engine.h"

namespace memory {

// --- Node data -------------------------------------------------------------------

void MemoryDataContainer::AddTaggedObject(const std::string& key, host::Tag object) {
  if (!objects_.emplace(key, object).second) {
    throw host::HostError("node data already holds the key \"" + key + "\"");
  }
}

void MemoryDataContainer::SetTaggedObject(const std::string& key, host::Tag object) {
  objects_[key] = object;
}

host::Tag MemoryDataContainer::GetTaggedObject(const std::string& key) {
  const auto it = objects_.find(key);
  if (it == objects_.end()) throw host::HostError("node data holds no key \"" + key + "\"");
  return it->second;
}

// --- Nodes ------------------------------------------------------------------------

void MemoryNode::CheckAlive() {
  if (deleted_) throw host::HostError(Describe() + " was deleted");
}

std::string MemoryNode::Describe() { return "row \"" + texts_[0] + "\" of " + tree_->Describe(); }

std::string MemoryNode::DisplayText() {
  CheckAlive();
  return texts_[0];
}

void MemoryNode::SetDisplayText(const std::string& text) {
  CheckAlive();
  texts_[0] = text;
}

std::string MemoryNode::GetColumnDisplayText(int column) {
  CheckAlive();
  if (column != 0 && !tree_->HasColumn(column)) {
    throw host::HostError(Describe() + " has no column " + std::to_string(column));
  }
  const auto it = texts_.find(column);
  return it == texts_.end() ? std::string() : it->second;
}

void MemoryNode::SetColumnDisplayText(int column, const std::string& text) {
  CheckAlive();
  if (column != 0 && !tree_->HasColumn(column)) {
    throw host::HostError(Describe() + " has no column " + std::to_string(column));
  }
  texts_[column] = text;
}

int MemoryNode::ForegroundColor() {
  CheckAlive();
  return color_;
}

void MemoryNode::SetForegroundColor(int color) {
  CheckAlive();
  color_ = color;
}

void MemoryNode::Expand(host::ExpandOption option) {
  CheckAlive();
  switch (option) {
    case host::ExpandOption::Toggle:
      expanded_ = !expanded_;
      break;
    case host::ExpandOption::Expand:
      expanded_ = true;
      break;
    case host::ExpandOption::Collapse:
      expanded_ = false;
      break;
  }
}

bool MemoryNode::Expanded() {
  CheckAlive();
  return expanded_;
}

int MemoryNode::State() {
  CheckAlive();
  return state_;
}

void MemoryNode::SetState(int state) {
  CheckAlive();
  if (state < host::kNodeNoCheckBox || state > host::kNodeChecked) {
    throw host::HostError(Describe() + ": no check state " + std::to_string(state));
  }
  state_ = state;
}

bool MemoryNode::IsSelected() {
  CheckAlive();
  return selected_;
}

host::Node* MemoryNode::FirstChildNode() {
  CheckAlive();
  return children_.empty() ? nullptr : children_.front();
}

host::Node* MemoryNode::NextSiblingNode() {
  CheckAlive();
  if (!inserted_) return nullptr;
  auto& siblings = tree_->Siblings(this);
  const auto it = std::find(siblings.begin(), siblings.end(), this);
  return it + 1 == siblings.end() ? nullptr : *(it + 1);
}

host::Node* MemoryNode::PreviousSiblingNode() {
  CheckAlive();
  if (!inserted_) return nullptr;
  auto& siblings = tree_->Siblings(this);
  const auto it = std::find(siblings.begin(), siblings.end(), this);
  return it == siblings.begin() ? nullptr : *(it - 1);
}

host::Node* MemoryNode::ParentNode() {
  CheckAlive();
  return parent_;
}

host::Node* MemoryNode::NextNode() {
  CheckAlive();
  if (!inserted_) return nullptr;
  if (!children_.empty()) return children_.front();
  for (MemoryNode* n = this; n != nullptr; n = n->parent_) {
    if (host::Node* next = n->NextSiblingNode()) return next;
  }
  return nullptr;
}

host::DataContainer& MemoryNode::GetNodeData() {
  CheckAlive();
  return data_;
}

// --- Menus --------------------------------------------------------------------------

void MemoryMenu::AddMenuItem(int id, const std::string& text) {
  for (const MenuEntry& e : entries) {
    if (!e.separator && e.id == id) {
      throw host::HostError("the menu already has an item " + std::to_string(id));
    }
  }
  entries.push_back({id, text, false});
}

void MemoryMenu::AddSeparator() { entries.push_back({0, {}, true}); }

// --- Trees ----------------------------------------------------------------------------

std::string MemoryTree::Describe() {
  return "tree \"" + core_.layout->id + "\" of " + core_.dialog->layout().file;
}

void MemoryTree::Reset() {
  for (MemoryNode* root : roots_) MarkDeleted(root);
  for (auto& node : nodes_) node->deleted_ = true;
  roots_.clear();
  columns_.clear();
  tooltips_ = false;
  menu_ = nullptr;
}

void MemoryTree::RequireColumn(int column, const char* operation) const {
  if (columns_.count(column) == 0) {
    throw host::HostError(std::string(operation) + ": " +
                          const_cast<MemoryTree*>(this)->Describe() + " has no column " +
                          std::to_string(column));
  }
}

void MemoryTree::InsertColumn(int column, const std::string& title, int width) {
  if (column < 0) throw host::HostError(Describe() + ": negative column id");
  if (columns_.count(column) != 0) {
    throw host::HostError(Describe() + " already has a column " + std::to_string(column));
  }
  columns_[column] = TreeColumn{column, title, width, true};
}

void MemoryTree::SetColumnTitle(int column, const std::string& title) {
  RequireColumn(column, "SetColumnTitle");
  columns_[column].title = title;
}

void MemoryTree::SetColumnWidth(int column, int width) {
  RequireColumn(column, "SetColumnWidth");
  columns_[column].width = width;
}

void MemoryTree::SetColumnVisible(int column, bool visible) {
  RequireColumn(column, "SetColumnVisible");
  columns_[column].visible = visible;
}

std::vector<TreeColumn> MemoryTree::Columns() const {
  std::vector<TreeColumn> result;
  for (const auto& [id, column] : columns_) result.push_back(column);
  return result;
}

host::Node* MemoryTree::CreateNode(const std::string& display_text) {
  nodes_.push_back(std::make_unique<MemoryNode>(*this, display_text));
  return nodes_.back().get();
}

MemoryNode* MemoryTree::Own(host::Node* node, bool must_be_inserted) {
  auto* own = dynamic_cast<MemoryNode*>(node);
  if (own == nullptr || own->tree_ != this) {
    throw host::HostError("the node is not a node of " + Describe());
  }
  own->CheckAlive();
  if (must_be_inserted && !own->inserted_) {
    throw host::HostError(own->Describe() + " is not inserted in the tree");
  }
  return own;
}

std::vector<MemoryNode*>& MemoryTree::Siblings(MemoryNode* node) {
  return node->parent_ == nullptr ? roots_ : node->parent_->children_;
}

void MemoryTree::InsertNode(host::Node* node, host::Node* parent, host::Node* after,
                            host::NodeInsertOption option) {
  if (node == nullptr) throw host::HostError("InsertNode without a node in " + Describe());
  MemoryNode* n = Own(node, false);
  if (n->inserted_) throw host::HostError(n->Describe() + " is already inserted");
  MemoryNode* p = parent == nullptr ? nullptr : Own(parent, true);
  for (MemoryNode* a = p; a != nullptr; a = a->parent_) {
    if (a == n) throw host::HostError(n->Describe() + " cannot be inserted under itself");
  }
  std::vector<MemoryNode*>& siblings = p == nullptr ? roots_ : p->children_;
  using Pin = MemoryNode::Pin;
  auto first_unpinned = [&] {
    return std::find_if(siblings.begin(), siblings.end(),
                        [](MemoryNode* s) { return s->pin_ != Pin::First; });
  };
  auto first_pinned_last = [&] {
    return std::find_if(siblings.begin(), siblings.end(),
                        [](MemoryNode* s) { return s->pin_ == Pin::Last; });
  };
  std::vector<MemoryNode*>::iterator at;
  if (after != nullptr) {
    MemoryNode* a = Own(after, true);
    at = std::find(siblings.begin(), siblings.end(), a);
    if (at == siblings.end()) {
      throw host::HostError("InsertNode: " + a->Describe() + " is not a sibling under the parent");
    }
    ++at;
  } else {
    switch (option) {
      case host::NodeInsertOption::AlwaysFirst:
        n->pin_ = Pin::First;
        at = siblings.begin();
        break;
      case host::NodeInsertOption::First:
        at = first_unpinned();
        break;
      case host::NodeInsertOption::AlwaysLast:
        n->pin_ = Pin::Last;
        at = siblings.end();
        break;
      case host::NodeInsertOption::Last:
        at = first_pinned_last();
        break;
      case host::NodeInsertOption::Sort: {
        const std::string& key = n->texts_[0];
        at = std::find_if(first_unpinned(), first_pinned_last(),
                          [&](MemoryNode* s) { return s->texts_[0] > key; });
        break;
      }
      default:
        throw host::HostError("InsertNode: unknown placement in " + Describe());
    }
  }
  siblings.insert(at, n);
  n->parent_ = p;
  n->inserted_ = true;
}

void MemoryTree::MarkDeleted(MemoryNode* node) {
  for (MemoryNode* child : node->children_) MarkDeleted(child);
  node->deleted_ = true;
  node->selected_ = false;
}

void MemoryTree::DeleteNode(host::Node* node) {
  if (node == nullptr) throw host::HostError("DeleteNode without a node in " + Describe());
  MemoryNode* n = Own(node, true);
  auto& siblings = Siblings(n);
  siblings.erase(std::find(siblings.begin(), siblings.end(), n));
  MarkDeleted(n);
}

host::Node* MemoryTree::RootNode() { return roots_.empty() ? nullptr : roots_.front(); }

std::vector<host::Node*> MemoryTree::AllNodes() {
  std::vector<host::Node*> all;
  for (host::Node* n = RootNode(); n != nullptr; n = n->NextNode()) all.push_back(n);
  return all;
}

std::vector<host::Node*> MemoryTree::GetSelectedNodes() {
  std::vector<host::Node*> selected;
  for (host::Node* n : AllNodes()) {
    if (static_cast<MemoryNode*>(n)->selected_) selected.push_back(n);
  }
  return selected;
}

void MemoryTree::SelectNode(host::Node* node, bool select, bool fire_callback) {
  if (node == nullptr) throw host::HostError("SelectNode without a node in " + Describe());
  MemoryNode* n = Own(node, true);
  n->selected_ = select;
  if (fire_callback && on_select_) on_select_(this, n, 0, select);
}

void MemoryTree::SelectNodes(const std::vector<host::Node*>& nodes, bool select,
                             bool fire_callback) {
  for (host::Node* node : nodes) SelectNode(node, select, fire_callback);
}

host::TreeListMenu* MemoryTree::CreateMenu() {
  menus_.push_back(std::make_unique<MemoryMenu>());
  return menus_.back().get();
}

void MemoryTree::SetMenu(host::TreeListMenu* menu) {
  if (menu == nullptr) {
    menu_ = nullptr;
    return;
  }
  auto* own = dynamic_cast<MemoryMenu*>(menu);
  if (own == nullptr ||
      std::none_of(menus_.begin(), menus_.end(), [&](const auto& m) { return m.get() == own; })) {
    throw host::HostError("SetMenu: the menu was not created by " + Describe());
  }
  menu_ = own;
}

void MemoryTree::SetEditOptions(const std::vector<std::string>& options, int selected) {
  if (!asking_editor_) {
    throw host::HostError("SetEditOptions outside the edit-control handler of " + Describe() +
                          ": the options would never be shown");
  }
  if (selected < -1 || selected >= static_cast<int>(options.size())) {
    throw host::HostError("SetEditOptions in " + Describe() + ": option " +
                          std::to_string(selected) + " of " + std::to_string(options.size()));
  }
  editor_.options = options;
  editor_.selected = selected;
}

// --- The designer's actions -----------------------------------------------------------

void MemoryTree::Click(MemoryNode* node, int column, bool add) {
  bool select = true;
  if (add) {
    select = !node->selected_;
  } else {
    for (auto& n : nodes_) n->selected_ = false;
  }
  node->selected_ = select;
  if (on_select_) on_select_(this, node, column, select);
}

void MemoryTree::ClickCheckBox(MemoryNode* node) {
  if (node->state_ == host::kNodeNoCheckBox) {
    throw ScriptError(node->Describe() + " has no check box");
  }
  if (on_state_) {
    on_state_(this, node, node->state_);
  } else {
    node->state_ = node->state_ == host::kNodeChecked ? host::kNodeUnchecked : host::kNodeChecked;
  }
}

CellEditor MemoryTree::AskEditor(MemoryNode* node, int column) {
  editor_ = CellEditor{};
  if (!ask_control_) return editor_;
  asking_editor_ = true;
  struct Done {
    bool& flag;
    ~Done() { flag = false; }
  } done{asking_editor_};
  const host::ControlType control = ask_control_(this, node, column);
  CellEditor result = editor_;
  result.control = control;
  if (control == host::ControlType::None) result.options.clear();
  if (control == host::ControlType::None) result.selected = -1;
  return result;
}

bool MemoryTree::CanEditText(MemoryNode* node, int column) {
  return on_begin_ && on_begin_(this, node, column) == host::BeginLabelEditState::Allow;
}

bool MemoryTree::EditCell(MemoryNode* node, int column, const std::string& text) {
  const CellEditor editor = AskEditor(node, column);
  if (editor.control != host::ControlType::None) {
    throw ScriptError("column " + std::to_string(column) + " of " + node->Describe() +
                      " is edited with a list; choose an option instead of typing");
  }
  if (!CanEditText(node, column)) return false;
  const bool accepted =
      !on_end_ || on_end_(this, node, column, text) == host::EndLabelEditState::AcceptText;
  if (accepted && !node->deleted_) node->texts_[column] = text;
  return accepted;
}

bool MemoryTree::ChooseOption(MemoryNode* node, int column, int index) {
  const CellEditor editor = AskEditor(node, column);
  if (editor.control == host::ControlType::None) {
    throw ScriptError("column " + std::to_string(column) + " of " + node->Describe() +
                      " offers no list of options");
  }
  if (index < -1 || index >= static_cast<int>(editor.options.size())) {
    throw ScriptError("column " + std::to_string(column) + " of " + node->Describe() + " offers " +
                      std::to_string(editor.options.size()) + " options; there is no option " +
                      std::to_string(index));
  }
  const std::string text = index < 0 ? std::string() : editor.options[index];
  const bool accepted =
      !on_option_ || on_option_(this, node, column, index, text, editor.control) ==
                         host::EditControlOption::Accept;
  if (accepted && index >= 0 && !node->deleted_) node->texts_[column] = text;
  return accepted;
}

std::vector<MenuEntry> MemoryTree::OpenMenu(MemoryNode* node, int column) {
  menu_ = nullptr;
  if (on_menu_) on_menu_(this, node, column);
  std::vector<MenuEntry> entries = menu_ == nullptr ? std::vector<MenuEntry>{} : menu_->entries;
  menu_ = nullptr;
  return entries;
}

void MemoryTree::ChooseMenuItem(MemoryNode* node, int item_id, int column) {
  const std::vector<MenuEntry> entries = OpenMenu(node, column);
  const bool offered = std::any_of(entries.begin(), entries.end(), [&](const MenuEntry& e) {
    return !e.separator && e.id == item_id;
  });
  if (!offered) {
    std::string list;
    for (const MenuEntry& e : entries) {
      if (!e.separator) list += (list.empty() ? "" : ", ") + std::to_string(e.id) + " " + e.text;
    }
    throw ScriptError("the context menu of " + (node ? node->Describe() : Describe()) +
                      " offers no item " + std::to_string(item_id) +
                      " (offered: " + (list.empty() ? std::string("nothing") : list) + ")");
  }
  if (on_menu_selection_) on_menu_selection_(this, node, item_id);
}

void MemoryTree::DoubleClick(MemoryNode* node, int column) {
  Click(node, column, false);
  if (node->deleted_) return;
  if (on_default_) on_default_(this, node, column);
}

}  // namespace memory
