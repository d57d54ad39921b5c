// The designer's side of a shown dialog.
#include <algorithm>

#include "host/memory/dialogs/engine.h"
#include "host/memory/memory_host.h"
#include "host/objects.h"

namespace memory {

std::string WithArticle(const std::string& type) {
  const bool vowel = !type.empty() && std::string("AEIOU").find(type[0]) != std::string::npos;
  return (vowel ? "an " : "a ") + type;
}

namespace {

// A node the designer acts on: alive, in a tree of this dialog that is shown
// and enabled.
MemoryNode* UsableNode(MemoryDialog& dialog, host::Node* node, const char* action) {
  if (node == nullptr) {
    throw ScriptError(std::string("cannot ") + action + " in " + dialog.layout().file +
                      ": no row given");
  }
  auto* n = dynamic_cast<MemoryNode*>(node);
  if (n == nullptr) throw ScriptError(std::string("cannot ") + action + ": not a tree row");
  if (n->deleted_) {
    throw ScriptError(std::string("cannot ") + action + ": " + n->Describe() + " was deleted");
  }
  if (!n->inserted_) {
    throw ScriptError(std::string("cannot ") + action + ": " + n->Describe() +
                      " is not in the tree");
  }
  if (n->tree().core().dialog != &dialog) {
    throw ScriptError(std::string("cannot ") + action + ": " + n->Describe() + " is not in " +
                      dialog.layout().file);
  }
  dialog.Usable<host::Tree>(n->tree().Name(), action);
  return n;
}

void RequireVisibleColumn(MemoryNode* node, int column, const char* action) {
  std::vector<TreeColumn> columns = node->tree().Columns();
  const auto it = std::find_if(columns.begin(), columns.end(),
                               [&](const TreeColumn& c) { return c.id == column; });
  if (it == columns.end() && column != 0) {
    throw ScriptError(std::string("cannot ") + action + ": " + node->tree().Describe() +
                      " has no column " + std::to_string(column));
  }
  if (it != columns.end() && !it->visible) {
    throw ScriptError(std::string("cannot ") + action + ": column " + std::to_string(column) +
                      " of " + node->tree().Describe() + " is hidden");
  }
}

// "block "x" of F.dlx is an Integer, not a Toggle".
ScriptError WrongKind(const std::string& id, const std::string& file, const std::string& type,
                      const std::string& tail) {
  return ScriptError("block \"" + id + "\" of " + file + " is " + WithArticle(type) + tail);
}

MemoryTree* TreeBlock(MemoryDialog& dialog, const std::string& id) {
  host::UIBlock* block = dialog.ScriptBlock(id);
  auto* tree = dynamic_cast<MemoryTree*>(block);
  if (tree == nullptr) {
    throw WrongKind(id, dialog.layout().file, block->Type(), ", not a Tree");
  }
  return tree;
}

}  // namespace

MemoryDialog& DialogDriver::dialog() const { return *dialog_; }

const std::string& DialogDriver::layout_file() const { return dialog().layout().file; }
std::string DialogDriver::title() const { return dialog().layout().title; }
const Layout& DialogDriver::layout() const { return dialog().layout(); }
bool DialogDriver::closed() const { return dialog().closed(); }

// --- Values ---------------------------------------------------------------------------

void DialogDriver::SetToggle(const std::string& id, bool value) {
  host::Toggle* toggle = dialog().Usable<host::Toggle>(id, "set");
  if (toggle->Value() == value) return;
  toggle->SetValue(value);
  dialog().CallUpdate(toggle);
}

void DialogDriver::ClickToggle(const std::string& id) {
  host::Toggle* toggle = dialog().Usable<host::Toggle>(id, "click");
  toggle->SetValue(!toggle->Value());
  dialog().CallUpdate(toggle);
}

void DialogDriver::SetInteger(const std::string& id, int value) {
  host::IntegerBlock* block = dialog().Usable<host::IntegerBlock>(id, "set");
  if (block->Value() == value) return;
  block->SetValue(value);
  dialog().CallUpdate(block);
}

void DialogDriver::SetDouble(const std::string& id, double value) {
  host::DoubleBlock* block = dialog().Usable<host::DoubleBlock>(id, "set");
  if (block->Value() == value) return;
  block->SetValue(value);
  dialog().CallUpdate(block);
}

void DialogDriver::SetString(const std::string& id, const std::string& value) {
  host::StringBlock* block = dialog().Usable<host::StringBlock>(id, "set");
  if (!text::IsValidGbk(value)) {
    throw ScriptError("the text for block \"" + id + "\" of " + layout_file() + " is not GBK");
  }
  if (block->Value() == value) return;
  block->SetValue(value);
  dialog().CallUpdate(block);
}

void DialogDriver::SetString(const std::string& id, const std::wstring& value) {
  std::string gbk;
  try {
    gbk = text::WideToGbk(value);
  } catch (const text::EncodingError& e) {
    throw ScriptError("the text for block \"" + id + "\" of " + layout_file() +
                      " has characters outside GBK: " + e.what());
  }
  SetString(id, gbk);
}

void DialogDriver::SetLines(const std::string& id, const std::vector<std::string>& lines) {
  host::MultilineString* block = dialog().Usable<host::MultilineString>(id, "set");
  if (block->GetValue() == lines) return;
  block->SetValue(lines);
  dialog().CallUpdate(block);
}

void DialogDriver::SelectEnum(const std::string& id, int index) {
  host::Enumeration* block = dialog().Usable<host::Enumeration>(id, "choose in");
  const std::vector<std::string> members = block->GetEnumMembers();
  if (index < 0 || index >= static_cast<int>(members.size())) {
    throw ScriptError("block \"" + id + "\" of " + layout_file() + " has " +
                      std::to_string(members.size()) + " members; there is no member " +
                      std::to_string(index));
  }
  if (block->Value() == index) return;
  block->SetValue(index);
  dialog().CallUpdate(block);
}

void DialogDriver::SelectEnumMember(const std::string& id, const std::string& member) {
  host::Enumeration* block = dialog().Usable<host::Enumeration>(id, "choose in");
  const std::vector<std::string> members = block->GetEnumMembers();
  const auto it = std::find(members.begin(), members.end(), member);
  if (it == members.end()) {
    throw ScriptError("block \"" + id + "\" of " + layout_file() + " has no member \"" + member +
                      "\"");
  }
  SelectEnum(id, static_cast<int>(it - members.begin()));
}

void DialogDriver::SetFolder(const std::string& id, const std::string& path) {
  host::FolderSelection* block = dialog().Usable<host::FolderSelection>(id, "set");
  if (block->Path() == path) return;
  block->SetPath(path);
  dialog().CallUpdate(block);
}

void DialogDriver::SetVector(const std::string& id, const host::Vector3d& direction,
                             const host::Point3d& point, const std::vector<host::Tag>& picked) {
  host::SpecifyVector* block = dialog().Usable<host::SpecifyVector>(id, "set");
  host::PropertyList& p = block->GetProperties();
  p.SetVector("Vector", direction);
  p.SetPoint("Point", point);
  p.SetTaggedObjectVector("SelectedObjects", picked);
  dialog().CallUpdate(block);
}

void DialogDriver::SetPoint(const std::string& id, const host::Point3d& point) {
  host::SpecifyPoint* block = dialog().Usable<host::SpecifyPoint>(id, "set");
  block->SetPoint(point);
  dialog().CallUpdate(block);
}

std::vector<host::Tag> DialogDriver::Pick(const std::string& id,
                                          const std::vector<host::Tag>& objects) {
  MemoryDialog& d = dialog();
  d.RequireOpen("pick");
  host::UIBlock* block = d.ScriptBlock(id);
  const bool bodies = dynamic_cast<host::BodyCollector*>(block) != nullptr;
  if (bodies) {
    d.Usable<host::BodyCollector>(id, "pick with");
  } else {
    d.Usable<host::SpecifyCSYS>(id, "pick with");
  }
  host::Objects& host_objects = d.owner().host().objects();
  for (host::Tag object : objects) {
    if (!host_objects.Exists(object)) {
      throw ScriptError("cannot pick object " + std::to_string(object) + " with block \"" + id +
                        "\" of " + layout_file() + ": there is no such object");
    }
    if (bodies) {
      const host::TypeAndSubtype t = host_objects.AskTypeAndSubtype(object);
      if (t.type != host::kSolidType || t.subtype != host::kSolidBodySubtype) {
        throw ScriptError("cannot pick object " + std::to_string(object) + " with block \"" + id +
                          "\" of " + layout_file() + ": it selects bodies only");
      }
    }
  }
  const bool multiple = MemoryDialog::Core(block).layout->multiple;
  host::PropertyList& p = block->GetProperties();
  std::vector<host::Tag> selection = p.GetTaggedObjectVector("SelectedObjects");
  std::vector<host::Tag> accepted;
  for (host::Tag object : objects) {
    if (!d.CallFilter(block, object)) continue;
    accepted.push_back(object);
    if (!multiple) {
      selection = {object};
    } else if (std::find(selection.begin(), selection.end(), object) == selection.end()) {
      selection.push_back(object);
    }
  }
  if (accepted.empty()) return accepted;
  p.SetTaggedObjectVector("SelectedObjects", selection);
  d.CallUpdate(block);
  return accepted;
}

void DialogDriver::Unpick(const std::string& id, const std::vector<host::Tag>& objects) {
  MemoryDialog& d = dialog();
  d.RequireOpen("unpick");
  host::UIBlock* block = d.ScriptBlock(id);
  if (dynamic_cast<host::BodyCollector*>(block) != nullptr) {
    d.Usable<host::BodyCollector>(id, "unpick with");
  } else {
    d.Usable<host::SpecifyCSYS>(id, "unpick with");
  }
  host::PropertyList& p = block->GetProperties();
  std::vector<host::Tag> selection = p.GetTaggedObjectVector("SelectedObjects");
  const std::size_t before = selection.size();
  std::erase_if(selection, [&](host::Tag t) {
    return std::find(objects.begin(), objects.end(), t) != objects.end();
  });
  if (selection.size() == before) return;
  p.SetTaggedObjectVector("SelectedObjects", selection);
  d.CallUpdate(block);
}

void DialogDriver::ClearSelection(const std::string& id) { Unpick(id, Selected(id)); }

void DialogDriver::Press(const std::string& id) {
  host::Button* button = dialog().Usable<host::Button>(id, "press");
  dialog().CallUpdate(button);
}

// --- Trees -----------------------------------------------------------------------------

host::Tree& DialogDriver::tree(const std::string& id) { return *TreeBlock(dialog(), id); }

std::vector<TreeColumn> DialogDriver::Columns(const std::string& tree_id) {
  return TreeBlock(dialog(), tree_id)->Columns();
}

bool DialogDriver::ToolTips(const std::string& tree_id) {
  return TreeBlock(dialog(), tree_id)->tooltips();
}

std::vector<host::Node*> DialogDriver::TopNodes(const std::string& tree_id) {
  MemoryTree* t = TreeBlock(dialog(), tree_id);
  return {t->roots().begin(), t->roots().end()};
}

std::vector<host::Node*> DialogDriver::Children(host::Node* node) {
  std::vector<host::Node*> children;
  for (host::Node* c = node->FirstChildNode(); c != nullptr; c = c->NextSiblingNode()) {
    children.push_back(c);
  }
  return children;
}

std::vector<host::Node*> DialogDriver::AllNodes(const std::string& tree_id) {
  return TreeBlock(dialog(), tree_id)->AllNodes();
}

std::vector<host::Node*> DialogDriver::FindNodes(const std::string& tree_id, int column,
                                                 const std::string& text) {
  std::vector<host::Node*> found;
  for (host::Node* n : AllNodes(tree_id)) {
    if (static_cast<MemoryNode*>(n)->texts_[column] == text) found.push_back(n);
  }
  return found;
}

host::Node* DialogDriver::FindNode(const std::string& tree_id, int column,
                                   const std::string& text) {
  const std::vector<host::Node*> found = FindNodes(tree_id, column, text);
  if (found.empty()) {
    throw ScriptError("no row of tree \"" + tree_id + "\" of " + layout_file() + " shows \"" +
                      text + "\" in column " + std::to_string(column));
  }
  return found.front();
}

void DialogDriver::Click(host::Node* node, int column) {
  MemoryNode* n = UsableNode(dialog(), node, "click a row");
  RequireVisibleColumn(n, column, "click a row");
  n->tree().Click(n, column, false);
}

void DialogDriver::CtrlClick(host::Node* node, int column) {
  MemoryNode* n = UsableNode(dialog(), node, "click a row");
  RequireVisibleColumn(n, column, "click a row");
  n->tree().Click(n, column, true);
}

void DialogDriver::ClickCheckBox(host::Node* node) {
  MemoryNode* n = UsableNode(dialog(), node, "click a check box");
  n->tree().ClickCheckBox(n);
}

void DialogDriver::SetChecked(host::Node* node, bool checked) {
  MemoryNode* n = UsableNode(dialog(), node, "click a check box");
  if (n->state_ == (checked ? host::kNodeChecked : host::kNodeUnchecked)) return;
  n->tree().ClickCheckBox(n);
}

CellEditor DialogDriver::AskEditor(host::Node* node, int column) {
  MemoryNode* n = UsableNode(dialog(), node, "edit a cell");
  RequireVisibleColumn(n, column, "edit a cell");
  return n->tree().AskEditor(n, column);
}

bool DialogDriver::CanEditText(host::Node* node, int column) {
  MemoryNode* n = UsableNode(dialog(), node, "edit a cell");
  RequireVisibleColumn(n, column, "edit a cell");
  return n->tree().CanEditText(n, column);
}

bool DialogDriver::EditCell(host::Node* node, int column, const std::string& text) {
  MemoryNode* n = UsableNode(dialog(), node, "edit a cell");
  RequireVisibleColumn(n, column, "edit a cell");
  if (!text::IsValidGbk(text)) throw ScriptError("the text for a cell is not GBK");
  return n->tree().EditCell(n, column, text);
}

bool DialogDriver::ChooseOption(host::Node* node, int column, int index) {
  MemoryNode* n = UsableNode(dialog(), node, "edit a cell");
  RequireVisibleColumn(n, column, "edit a cell");
  return n->tree().ChooseOption(n, column, index);
}

bool DialogDriver::ChooseOption(host::Node* node, int column, const std::string& option) {
  const CellEditor editor = AskEditor(node, column);
  const auto it = std::find(editor.options.begin(), editor.options.end(), option);
  if (it == editor.options.end()) {
    throw ScriptError("column " + std::to_string(column) + " of " +
                      static_cast<MemoryNode*>(node)->Describe() + " offers no option \"" + option +
                      "\"");
  }
  return ChooseOption(node, column, static_cast<int>(it - editor.options.begin()));
}

std::vector<MenuEntry> DialogDriver::OpenMenu(host::Node* node, int column) {
  MemoryNode* n = UsableNode(dialog(), node, "open the context menu");
  return n->tree().OpenMenu(n, column);
}

std::vector<MenuEntry> DialogDriver::OpenMenuOnEmptySpace(const std::string& tree_id) {
  MemoryTree* t = TreeBlock(dialog(), tree_id);
  dialog().Usable<host::Tree>(tree_id, "open the context menu");
  return t->OpenMenu(nullptr, 0);
}

void DialogDriver::ChooseMenuItem(host::Node* node, int item_id, int column) {
  MemoryNode* n = UsableNode(dialog(), node, "open the context menu");
  n->tree().ChooseMenuItem(n, item_id, column);
}

void DialogDriver::DoubleClick(host::Node* node, int column) {
  MemoryNode* n = UsableNode(dialog(), node, "double-click a row");
  RequireVisibleColumn(n, column, "double-click a row");
  n->tree().DoubleClick(n, column);
}

// --- Closing ---------------------------------------------------------------------------

bool DialogDriver::Ok() { return dialog().Ok(); }
int DialogDriver::Apply() { return dialog().Apply(); }
void DialogDriver::Cancel() { dialog().Cancel(); }
void DialogDriver::Close() { dialog().Close(); }

// --- Reading ----------------------------------------------------------------------------

host::UIBlock& DialogDriver::block(const std::string& id) { return *dialog().ScriptBlock(id); }

namespace {

template <class T>
T& Typed(MemoryDialog& dialog, const std::string& id) {
  host::UIBlock* block = dialog.ScriptBlock(id);
  T* typed = dynamic_cast<T*>(block);
  if (typed == nullptr) {
    throw WrongKind(id, dialog.layout().file, block->Type(), ", not " + WithArticle(T::kType));
  }
  return *typed;
}

}  // namespace

bool DialogDriver::Toggle(const std::string& id) {
  return Typed<host::Toggle>(dialog(), id).Value();
}
int DialogDriver::Integer(const std::string& id) {
  return Typed<host::IntegerBlock>(dialog(), id).Value();
}
double DialogDriver::Double(const std::string& id) {
  return Typed<host::DoubleBlock>(dialog(), id).Value();
}
std::string DialogDriver::String(const std::string& id) {
  return Typed<host::StringBlock>(dialog(), id).Value();
}
std::wstring DialogDriver::WideString(const std::string& id) {
  return Typed<host::StringBlock>(dialog(), id).WideValue();
}
std::vector<std::string> DialogDriver::Lines(const std::string& id) {
  return Typed<host::MultilineString>(dialog(), id).GetValue();
}
std::vector<std::string> DialogDriver::ListItems(const std::string& id) {
  return Typed<host::StringBlock>(dialog(), id).GetListItems();
}
int DialogDriver::Enum(const std::string& id) {
  return Typed<host::Enumeration>(dialog(), id).Value();
}
std::string DialogDriver::EnumText(const std::string& id) {
  return Typed<host::Enumeration>(dialog(), id).ValueAsString();
}
std::vector<std::string> DialogDriver::EnumMembers(const std::string& id) {
  return Typed<host::Enumeration>(dialog(), id).GetEnumMembers();
}
std::string DialogDriver::Folder(const std::string& id) {
  return Typed<host::FolderSelection>(dialog(), id).Path();
}
std::vector<host::Tag> DialogDriver::Selected(const std::string& id) {
  host::UIBlock* b = dialog().ScriptBlock(id);
  if (!MemoryDialog::Core(b).properties->Has("SelectedObjects")) {
    throw WrongKind(id, layout_file(), b->Type(), ", which selects nothing");
  }
  return b->GetProperties().GetTaggedObjectVector("SelectedObjects");
}
std::string DialogDriver::Label(const std::string& id) { return block(id).Label(); }
bool DialogDriver::IsShown(const std::string& id) {
  return dialog().Visible(dialog().ScriptBlock(id));
}
bool DialogDriver::IsEnabled(const std::string& id) {
  return dialog().Enabled(dialog().ScriptBlock(id));
}

}  // namespace memory
