// The dialog toolkit (BlockStyler): modal dialogs built from layout files, with
// blocks found by id, typed block values, trees with columns, nodes, cell
// editors and context menus, and the dialog's callbacks.
//
// Narrow texts are GBK; wide values are std::wstring. A failed operation
// (an unknown block id, a property the block does not have, a node that is
// not in the tree) throws HostError.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/text.h"
#include "host/types.h"

namespace host {

class UIBlock;
class Tree;
class Node;

// --- Property lists ------------------------------------------------------------

// NXOpen::BlockStyler::PropertyList: the typed values of a block by property
// name ("Value", "Label", "Show", "Path", "SelectedObjects", ...). Asking for a
// property the block does not have, or as another type, throws HostError.
class PropertyList {
 public:
  virtual ~PropertyList() = default;

  // PropertyList::GetPropertyNames.
  virtual std::vector<std::string> GetPropertyNames() = 0;
  // PropertyList::GetLogical / SetLogical.
  virtual bool GetLogical(const std::string& name) = 0;
  virtual void SetLogical(const std::string& name, bool value) = 0;
  // PropertyList::GetInteger / SetInteger.
  virtual int GetInteger(const std::string& name) = 0;
  virtual void SetInteger(const std::string& name, int value) = 0;
  // PropertyList::GetDouble / SetDouble.
  virtual double GetDouble(const std::string& name) = 0;
  virtual void SetDouble(const std::string& name, double value) = 0;
  // PropertyList::GetString / SetString (GBK).
  virtual std::string GetString(const std::string& name) = 0;
  virtual void SetString(const std::string& name, const std::string& value) = 0;
  // PropertyList::GetStrings / SetStrings (GBK lines or list items).
  virtual std::vector<std::string> GetStrings(const std::string& name) = 0;
  virtual void SetStrings(const std::string& name, const std::vector<std::string>& value) = 0;
  // PropertyList::GetEnum / SetEnum: the selected member's index (-1 when the
  // enumeration has no members). Setting an index outside the members throws.
  virtual int GetEnum(const std::string& name) = 0;
  virtual void SetEnum(const std::string& name, int index) = 0;
  // PropertyList::GetEnumAsString / SetEnumAsString: the selected member's
  // text; setting a text that is no member throws.
  virtual std::string GetEnumAsString(const std::string& name) = 0;
  virtual void SetEnumAsString(const std::string& name, const std::string& member) = 0;
  // PropertyList::GetEnumMembers / SetEnumMembers. New members select the
  // first one (index 0), or none (-1) when the list is empty.
  virtual std::vector<std::string> GetEnumMembers(const std::string& name) = 0;
  virtual void SetEnumMembers(const std::string& name, const std::vector<std::string>& members) = 0;
  // PropertyList::GetPoint / SetPoint.
  virtual Point3d GetPoint(const std::string& name) = 0;
  virtual void SetPoint(const std::string& name, const Point3d& value) = 0;
  // PropertyList::GetVector / SetVector.
  virtual Vector3d GetVector(const std::string& name) = 0;
  virtual void SetVector(const std::string& name, const Vector3d& value) = 0;
  // PropertyList::GetTaggedObjectVector / SetTaggedObjectVector.
  virtual std::vector<Tag> GetTaggedObjectVector(const std::string& name) = 0;
  virtual void SetTaggedObjectVector(const std::string& name, const std::vector<Tag>& value) = 0;
};

// --- Blocks ----------------------------------------------------------------------

// NXOpen::BlockStyler::UIBlock: one block of a dialog. Every block has the
// properties "Label" (text), "Show" and "Enable" (logical).
class UIBlock {
 public:
  virtual ~UIBlock() = default;

  // UIBlock::Name: the block id given in the layout file.
  virtual std::string Name() = 0;
  // UIBlock::Type: the block kind, the kType of its class below ("Toggle", ...).
  virtual std::string Type() = 0;
  // UIBlock::GetProperties.
  virtual PropertyList& GetProperties() = 0;

  // UIBlock::Label / SetLabel.
  std::string Label() { return GetProperties().GetString("Label"); }
  void SetLabel(const std::string& label) { GetProperties().SetString("Label", label); }
  // UIBlock::Show / SetShow: whether the block is shown.
  bool Show() { return GetProperties().GetLogical("Show"); }
  void SetShow(bool show) { GetProperties().SetLogical("Show", show); }
  // UIBlock::Enable / SetEnable.
  bool Enable() { return GetProperties().GetLogical("Enable"); }
  void SetEnable(bool enable) { GetProperties().SetLogical("Enable", enable); }
};

// NXOpen::BlockStyler::Group: a titled, collapsible group of blocks.
class Group : public UIBlock {
 public:
  static constexpr const char* kType = "Group";
};

// NXOpen::BlockStyler::ScrolledWindow: a scrolling container of blocks.
class ScrolledWindow : public UIBlock {
 public:
  static constexpr const char* kType = "ScrolledWindow";
};

// NXOpen::BlockStyler::Separator.
class Separator : public UIBlock {
 public:
  static constexpr const char* kType = "Separator";
};

// NXOpen::BlockStyler::Label: a caption ("Label" is its text).
class LabelBlock : public UIBlock {
 public:
  static constexpr const char* kType = "Label";
};

// NXOpen::BlockStyler::Button: pressing it calls the update handler with it.
class Button : public UIBlock {
 public:
  static constexpr const char* kType = "Button";
};

// NXOpen::BlockStyler::Toggle: a check box ("Value").
class Toggle : public UIBlock {
 public:
  static constexpr const char* kType = "Toggle";
  // Toggle::Value / SetValue.
  bool Value() { return GetProperties().GetLogical("Value"); }
  void SetValue(bool value) { GetProperties().SetLogical("Value", value); }
};

// NXOpen::BlockStyler::IntegerBlock ("Value").
class IntegerBlock : public UIBlock {
 public:
  static constexpr const char* kType = "Integer";
  // IntegerBlock::Value / SetValue.
  int Value() { return GetProperties().GetInteger("Value"); }
  void SetValue(int value) { GetProperties().SetInteger("Value", value); }
};

// NXOpen::BlockStyler::DoubleBlock ("Value").
class DoubleBlock : public UIBlock {
 public:
  static constexpr const char* kType = "Double";
  // DoubleBlock::Value / SetValue.
  double Value() { return GetProperties().GetDouble("Value"); }
  void SetValue(double value) { GetProperties().SetDouble("Value", value); }
};

// NXOpen::BlockStyler::StringBlock: a one-line text ("Value") with an optional
// drop-down list ("ListItems").
class StringBlock : public UIBlock {
 public:
  static constexpr const char* kType = "String";
  // StringBlock::Value / SetValue (GBK).
  std::string Value() { return GetProperties().GetString("Value"); }
  void SetValue(const std::string& value) { GetProperties().SetString("Value", value); }
  // StringBlock::WideValue / SetWideValue.
  std::wstring WideValue() { return text::GbkToWide(Value()); }
  void SetWideValue(const std::wstring& value) { SetValue(text::WideToGbk(value)); }
  // StringBlock::GetListItems / SetListItems.
  std::vector<std::string> GetListItems() { return GetProperties().GetStrings("ListItems"); }
  void SetListItems(const std::vector<std::string>& items) {
    GetProperties().SetStrings("ListItems", items);
  }
};

// NXOpen::BlockStyler::MultilineString: lines of text ("Value").
class MultilineString : public UIBlock {
 public:
  static constexpr const char* kType = "MultilineString";
  // MultilineString::GetValue / SetValue (GBK lines).
  std::vector<std::string> GetValue() { return GetProperties().GetStrings("Value"); }
  void SetValue(const std::vector<std::string>& lines) {
    GetProperties().SetStrings("Value", lines);
  }
};

// NXOpen::BlockStyler::Enumeration: a choice list ("Value").
class Enumeration : public UIBlock {
 public:
  static constexpr const char* kType = "Enumeration";
  // Enumeration::ValueAsString / GetProperties()->GetEnum("Value").
  int Value() { return GetProperties().GetEnum("Value"); }
  void SetValue(int index) { GetProperties().SetEnum("Value", index); }
  std::string ValueAsString() { return GetProperties().GetEnumAsString("Value"); }
  void SetValueAsString(const std::string& member) {
    GetProperties().SetEnumAsString("Value", member);
  }
  // Enumeration::GetEnumMembers / SetEnumMembers.
  std::vector<std::string> GetEnumMembers() { return GetProperties().GetEnumMembers("Value"); }
  void SetEnumMembers(const std::vector<std::string>& members) {
    GetProperties().SetEnumMembers("Value", members);
  }
};

// NXOpen::BlockStyler::FolderSelection ("Path").
class FolderSelection : public UIBlock {
 public:
  static constexpr const char* kType = "FolderSelection";
  // FolderSelection::Path / SetPath (GBK).
  std::string Path() { return GetProperties().GetString("Path"); }
  void SetPath(const std::string& path) { GetProperties().SetString("Path", path); }
};

// NXOpen::BlockStyler::BodyCollector: bodies picked in the graphics window
// ("SelectedObjects"); picks pass the dialog's filter handler.
class BodyCollector : public UIBlock {
 public:
  static constexpr const char* kType = "BodyCollector";
  // BodyCollector::GetSelectedObjects / SetSelectedObjects.
  std::vector<Tag> GetSelectedObjects() {
    return GetProperties().GetTaggedObjectVector("SelectedObjects");
  }
  void SetSelectedObjects(const std::vector<Tag>& objects) {
    GetProperties().SetTaggedObjectVector("SelectedObjects", objects);
  }
};

// NXOpen::BlockStyler::SpecifyCSYS: a picked coordinate system ("SelectedObjects").
class SpecifyCSYS : public UIBlock {
 public:
  static constexpr const char* kType = "SpecifyCSYS";
  // SpecifyCSYS::GetSelectedObjects / SetSelectedObjects.
  std::vector<Tag> GetSelectedObjects() {
    return GetProperties().GetTaggedObjectVector("SelectedObjects");
  }
  void SetSelectedObjects(const std::vector<Tag>& objects) {
    GetProperties().SetTaggedObjectVector("SelectedObjects", objects);
  }
};

// NXOpen::BlockStyler::SpecifyVector: a direction ("Vector") at a point
// ("Point"), defined on the picked geometry ("SelectedObjects").
class SpecifyVector : public UIBlock {
 public:
  static constexpr const char* kType = "SpecifyVector";
  Vector3d Vector() { return GetProperties().GetVector("Vector"); }
  Point3d Point() { return GetProperties().GetPoint("Point"); }
  std::vector<Tag> GetSelectedObjects() {
    return GetProperties().GetTaggedObjectVector("SelectedObjects");
  }
};

// NXOpen::BlockStyler::SpecifyPoint ("Point").
class SpecifyPoint : public UIBlock {
 public:
  static constexpr const char* kType = "SpecifyPoint";
  Point3d Point() { return GetProperties().GetPoint("Point"); }
  void SetPoint(const Point3d& point) { GetProperties().SetPoint("Point", point); }
};

// --- Trees -------------------------------------------------------------------------

// NXOpen::BlockStyler::Tree::NodeInsertOption. With an "after" node the new
// node follows it; otherwise First/AlwaysFirst put it before its siblings,
// Last/AlwaysLast after them, and Sort among them by display text.
enum class NodeInsertOption : int {
  First = 0,
  Last = 1,
  Sort = 2,
  AlwaysFirst = 3,
  AlwaysLast = 4
};
// NXOpen::BlockStyler::Tree::ControlType: the editor of a cell.
enum class ControlType : int { None = 0, ListBox = 1, ComboBox = 2 };
// NXOpen::BlockStyler::Tree::BeginLabelEditState.
enum class BeginLabelEditState : int { Allow = 0, Disallow = 1 };
// NXOpen::BlockStyler::Tree::EndLabelEditState.
enum class EndLabelEditState : int { AcceptText = 0, RejectText = 1 };
// NXOpen::BlockStyler::Tree::EditControlOption.
enum class EditControlOption : int { Accept = 0, Reject = 1 };
// NXOpen::BlockStyler::Node::ExpandOption.
enum class ExpandOption : int { Toggle = 0, Expand = 1, Collapse = 2 };

// Node check states (Node::State / SetState): no check box, unchecked, checked.
inline constexpr int kNodeNoCheckBox = 0;
inline constexpr int kNodeUnchecked = 1;
inline constexpr int kNodeChecked = 2;

// NXOpen::DataContainer / PropertyContainer of a node: tagged objects by key
// (the logic keeps a row's body under "Data").
class DataContainer {
 public:
  virtual ~DataContainer() = default;
  // DataContainer::AddTaggedObject: adds the key; throws when it exists.
  virtual void AddTaggedObject(const std::string& key, Tag object) = 0;
  // PropertyContainer::SetTaggedObject: adds or replaces.
  virtual void SetTaggedObject(const std::string& key, Tag object) = 0;
  // PropertyContainer::GetTaggedObject: throws HostError for a missing key.
  virtual Tag GetTaggedObject(const std::string& key) = 0;
  // Whether the key is held (PropertyContainer::GetPropertyNames contains it).
  virtual bool HasKey(const std::string& key) = 0;
};

// NXOpen::BlockStyler::Node: one row of a tree. Column 0 is the display text.
// A node created but not inserted has no parent and no siblings. Using a
// deleted node throws HostError.
class Node {
 public:
  virtual ~Node() = default;

  // Node::DisplayText / SetDisplayText.
  virtual std::string DisplayText() = 0;
  virtual void SetDisplayText(const std::string& text) = 0;
  // Node::GetColumnDisplayText / SetColumnDisplayText; the column must have
  // been inserted (column 0 is the display text).
  virtual std::string GetColumnDisplayText(int column) = 0;
  virtual void SetColumnDisplayText(int column, const std::string& text) = 0;
  // Node::ForegroundColor / SetForegroundColor: a colour index (0: the default).
  virtual int ForegroundColor() = 0;
  virtual void SetForegroundColor(int color) = 0;
  // Node::Expand / Expanded.
  virtual void Expand(ExpandOption option) = 0;
  virtual bool Expanded() = 0;
  // Node::State / SetState: kNodeNoCheckBox, kNodeUnchecked or kNodeChecked.
  virtual int State() = 0;
  virtual void SetState(int state) = 0;
  // Node::IsSelected.
  virtual bool IsSelected() = 0;
  // Node::FirstChildNode, NextSiblingNode, PreviousSiblingNode, ParentNode:
  // null when there is none.
  virtual Node* FirstChildNode() = 0;
  virtual Node* NextSiblingNode() = 0;
  virtual Node* PreviousSiblingNode() = 0;
  virtual Node* ParentNode() = 0;
  // Node::NextNode: the next node in display order (depth first), null after the last.
  virtual Node* NextNode() = 0;
  // Node::GetNodeData.
  virtual DataContainer& GetNodeData() = 0;
};

// NXOpen::BlockStyler::TreeListMenu: a context menu built in the menu handler.
class TreeListMenu {
 public:
  virtual ~TreeListMenu() = default;
  // TreeListMenu::AddMenuItem: an item with its id and text (GBK).
  virtual void AddMenuItem(int id, const std::string& text) = 0;
  // TreeListMenu::AddSeparator.
  virtual void AddSeparator() = 0;
};

// NXOpen::BlockStyler::Tree: a tree list with columns. The handlers receive the
// tree and the node the designer acted on (null for empty space where noted).
class Tree : public UIBlock {
 public:
  static constexpr const char* kType = "Tree";

  // Tree::OnSelectCallback (tree, node, column, selected).
  using SelectHandler = std::function<void(Tree*, Node*, int, bool)>;
  // Tree::OnStateChangeCallback (tree, node, state): the state the node had
  // when its check box was clicked; the handler sets the new state.
  using StateChangeHandler = std::function<void(Tree*, Node*, int)>;
  // Tree::OnBeginLabelEditCallback (tree, node, column).
  using BeginLabelEditHandler = std::function<BeginLabelEditState(Tree*, Node*, int)>;
  // Tree::OnEndLabelEditCallback (tree, node, column, edited text): on
  // AcceptText the cell takes the text.
  using EndLabelEditHandler =
      std::function<EndLabelEditState(Tree*, Node*, int, const std::string&)>;
  // Tree::OnEditOptionSelectedCallback (tree, node, column, option index, option
  // text, control): on Accept the cell takes the option's text.
  using EditOptionSelectedHandler =
      std::function<EditControlOption(Tree*, Node*, int, int, const std::string&, ControlType)>;
  // Tree::AskEditControlCallback (tree, node, column): a list or combo box
  // edits the cell with the options set by SetEditOptions during the call;
  // None lets the cell be edited as text when the begin-edit handler allows.
  using AskEditControlHandler = std::function<ControlType(Tree*, Node*, int)>;
  // Tree::OnMenuCallback (tree, node or null, column): builds the context menu
  // with CreateMenu, AddMenuItem and SetMenu.
  using MenuHandler = std::function<void(Tree*, Node*, int)>;
  // Tree::OnMenuSelectionCallback (tree, node, menu item id).
  using MenuSelectionHandler = std::function<void(Tree*, Node*, int)>;
  // Tree::OnDefaultActionCallback (tree, node, column): a double-click.
  using DefaultActionHandler = std::function<void(Tree*, Node*, int)>;

  // Tree::InsertColumn (column id, title, width); throws when the id exists.
  virtual void InsertColumn(int column, const std::string& title, int width) = 0;
  // Tree::SetColumnTitle, SetColumnWidth, SetColumnVisible.
  virtual void SetColumnTitle(int column, const std::string& title) = 0;
  virtual void SetColumnWidth(int column, int width) = 0;
  virtual void SetColumnVisible(int column, bool visible) = 0;
  // Tree::SetShowToolTips.
  virtual void SetShowToolTips(bool show) = 0;

  // Tree::CreateNode: a new node, not yet in the tree (owned by the tree).
  virtual Node* CreateNode(const std::string& display_text) = 0;
  // Tree::InsertNode (node, parent or null for a top-level node, after or
  // null, placement).
  virtual void InsertNode(Node* node, Node* parent, Node* after, NodeInsertOption option) = 0;
  // Tree::DeleteNode: removes the node with its children.
  virtual void DeleteNode(Node* node) = 0;
  // Tree::RootNode: the first top-level node, null for an empty tree.
  virtual Node* RootNode() = 0;
  // Tree::GetSelectedNodes, in display order.
  virtual std::vector<Node*> GetSelectedNodes() = 0;
  // Tree::SelectNode / SelectNodes (select or deselect; call the select handler or not).
  virtual void SelectNode(Node* node, bool select, bool fire_callback) = 0;
  virtual void SelectNodes(const std::vector<Node*>& nodes, bool select, bool fire_callback) = 0;

  // Tree::CreateMenu / SetMenu: the menu shown for the current right-click.
  virtual TreeListMenu* CreateMenu() = 0;
  virtual void SetMenu(TreeListMenu* menu) = 0;
  // Tree::SetEditOptions: the choices of the cell being asked for (GBK), and
  // the preselected one (-1: none).
  virtual void SetEditOptions(const std::vector<std::string>& options, int selected) = 0;

  // Handler setters.
  virtual void SetOnSelectHandler(SelectHandler handler) = 0;
  virtual void SetOnStateChangeHandler(StateChangeHandler handler) = 0;
  virtual void SetOnBeginLabelEditHandler(BeginLabelEditHandler handler) = 0;
  virtual void SetOnEndLabelEditHandler(EndLabelEditHandler handler) = 0;
  virtual void SetOnEditOptionSelectedHandler(EditOptionSelectedHandler handler) = 0;
  virtual void SetAskEditControlHandler(AskEditControlHandler handler) = 0;
  virtual void SetOnMenuHandler(MenuHandler handler) = 0;
  virtual void SetOnMenuSelectionHandler(MenuSelectionHandler handler) = 0;
  virtual void SetOnDefaultActionHandler(DefaultActionHandler handler) = 0;
};

// --- Dialogs --------------------------------------------------------------------------

// NXOpen::BlockStyler::BlockDialog::DialogResponse: what Show returns.
enum DialogResponse : int {
  kResponseInvalid = 0,
  kResponseOk = 1,
  kResponseApply = 2,
  kResponseBack = 3,
  kResponseCancel = 4,
  kResponseClose = 5,
};

// Results of the filter handler (UF_UI_SEL_REJECT, UF_UI_SEL_ACCEPT).
inline constexpr int kSelectionReject = 0;
inline constexpr int kSelectionAccept = 1;

// NXOpen::BlockStyler::CompositeBlock: the dialog's top block.
class CompositeBlock {
 public:
  virtual ~CompositeBlock() = default;
  // CompositeBlock::FindBlock: the block with the id, at any depth; throws
  // HostError naming the layout file and the id when there is none.
  virtual UIBlock* FindBlock(const std::string& id) = 0;
  // The layout file the dialog was created from (for messages).
  virtual std::string LayoutFile() = 0;

  // FindBlock with the cast to the block's class; throws HostError when the
  // block is of another kind.
  template <class T>
  T* Find(const std::string& id) {
    UIBlock* block = FindBlock(id);
    T* typed = dynamic_cast<T*>(block);
    if (typed == nullptr) ThrowKindMismatch(id, block->Type(), T::kType);
    return typed;
  }

 private:
  [[noreturn]] void ThrowKindMismatch(const std::string& id, const std::string& actual,
                                      const char* wanted) {
    throw HostError("block \"" + id + "\" of " + LayoutFile() + " is a " + actual + ", not a " +
                    wanted);
  }
};

// NXOpen::BlockStyler::BlockDialog. The handlers are the dialog class's member
// callbacks; each Add... replaces an earlier handler of its kind.
class BlockDialog {
 public:
  virtual ~BlockDialog() = default;

  using InitializeHandler = std::function<void()>;
  using DialogShownHandler = std::function<void()>;
  // Update (block): a value changed or a button was pressed.
  using UpdateHandler = std::function<int(UIBlock*)>;
  // OK and Apply: 0 on success; OK keeps the dialog open on any other result.
  using OkHandler = std::function<int()>;
  using ApplyHandler = std::function<int()>;
  using CancelHandler = std::function<int()>;
  using CloseHandler = std::function<int()>;
  // Filter (selection block, object): kSelectionAccept or kSelectionReject.
  using FilterHandler = std::function<int(UIBlock*, Tag)>;

  // BlockDialog::AddOkHandler, AddUpdateHandler, AddInitializeHandler,
  // AddDialogShownHandler, AddApplyHandler, AddCancelHandler,
  // AddCloseHandler, AddFilterHandler.
  virtual void AddOkHandler(OkHandler handler) = 0;
  virtual void AddUpdateHandler(UpdateHandler handler) = 0;
  virtual void AddInitializeHandler(InitializeHandler handler) = 0;
  virtual void AddDialogShownHandler(DialogShownHandler handler) = 0;
  virtual void AddApplyHandler(ApplyHandler handler) = 0;
  virtual void AddCancelHandler(CancelHandler handler) = 0;
  virtual void AddCloseHandler(CloseHandler handler) = 0;
  virtual void AddFilterHandler(FilterHandler handler) = 0;

  // BlockDialog::Show: modal. Calls the initialise handler, then the
  // dialog-shown handler, and returns the DialogResponse when the designer
  // closes the dialog with OK, Cancel or the window's close box.
  virtual int Show() = 0;
  // BlockDialog::TopBlock.
  virtual CompositeBlock* TopBlock() = 0;
  // BlockDialog::GetBlockProperties (block id).
  virtual PropertyList& GetBlockProperties(const std::string& block_id) = 0;
};

class Dialogs {
 public:
  virtual ~Dialogs() = default;

  // NXOpen::UI::CreateDialog: a dialog from its layout file, named without a
  // folder ("SetBomOption.dlx"); throws HostError when the file is missing or
  // not a valid layout.
  virtual std::unique_ptr<BlockDialog> CreateDialog(const std::string& layout_file) = 0;
};

}  // namespace host
