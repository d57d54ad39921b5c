// Inside the dialog engine: property lists, blocks, trees and the dialog.
// Only the engine and its driver include this header.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/dialogs.h"
#include "host/memory/dialogs/dialogs.h"
#include "host/memory/dialogs/layout.h"

namespace memory {

class MemoryDialog;

// The properties of one block.
class MemoryPropertyList final : public host::PropertyList {
 public:
  // `owner` names the block in messages: block "toggle0" of SetBomOption.dlx.
  explicit MemoryPropertyList(std::string owner) : owner_(std::move(owner)) {}

  void Reset(const std::vector<Property>& properties) { properties_ = properties; }
  PropertyValue& Value(const std::string& name);
  bool Has(const std::string& name) const;

  std::vector<std::string> GetPropertyNames() override;
  bool GetLogical(const std::string& name) override;
  void SetLogical(const std::string& name, bool value) override;
  int GetInteger(const std::string& name) override;
  void SetInteger(const std::string& name, int value) override;
  double GetDouble(const std::string& name) override;
  void SetDouble(const std::string& name, double value) override;
  std::string GetString(const std::string& name) override;
  void SetString(const std::string& name, const std::string& value) override;
  std::vector<std::string> GetStrings(const std::string& name) override;
  void SetStrings(const std::string& name, const std::vector<std::string>& value) override;
  int GetEnum(const std::string& name) override;
  void SetEnum(const std::string& name, int index) override;
  std::string GetEnumAsString(const std::string& name) override;
  void SetEnumAsString(const std::string& name, const std::string& member) override;
  std::vector<std::string> GetEnumMembers(const std::string& name) override;
  void SetEnumMembers(const std::string& name, const std::vector<std::string>& members) override;
  host::Point3d GetPoint(const std::string& name) override;
  void SetPoint(const std::string& name, const host::Point3d& value) override;
  host::Vector3d GetVector(const std::string& name) override;
  void SetVector(const std::string& name, const host::Vector3d& value) override;
  std::vector<host::Tag> GetTaggedObjectVector(const std::string& name) override;
  void SetTaggedObjectVector(const std::string& name, const std::vector<host::Tag>& value) override;

  template <class T>
  T& As(const std::string& name);

 private:
  std::string owner_;
  std::vector<Property> properties_;
};

// What every block of the engine carries.
struct BlockCore {
  MemoryDialog* dialog = nullptr;
  const BlockLayout* layout = nullptr;
  host::UIBlock* parent = nullptr;  // the containing group or scrolled window
  std::unique_ptr<MemoryPropertyList> properties;
};

// The engine side of a block.
class BlockImpl {
 public:
  virtual ~BlockImpl() = default;
  virtual BlockCore& core() = 0;
};

// A block of any kind but the tree: the kind's host class over the core.
template <class Kind>
class MemoryBlock final : public Kind, public BlockImpl {
 public:
  explicit MemoryBlock(BlockCore core) : core_(std::move(core)) {}
  std::string Name() override { return core_.layout->id; }
  std::string Type() override { return core_.layout->type; }
  host::PropertyList& GetProperties() override { return *core_.properties; }
  BlockCore& core() override { return core_; }

 private:
  BlockCore core_;
};

class MemoryTree;

class MemoryDataContainer final : public host::DataContainer {
 public:
  void AddTaggedObject(const std::string& key, host::Tag object) override;
  void SetTaggedObject(const std::string& key, host::Tag object) override;
  host::Tag GetTaggedObject(const std::string& key) override;
  bool HasKey(const std::string& key) override { return objects_.count(key) != 0; }

 private:
  std::map<std::string, host::Tag> objects_;
};

class MemoryNode final : public host::Node {
 public:
  MemoryNode(MemoryTree& tree, std::string text) : tree_(&tree) { texts_[0] = std::move(text); }

  std::string DisplayText() override;
  void SetDisplayText(const std::string& text) override;
  std::string GetColumnDisplayText(int column) override;
  void SetColumnDisplayText(int column, const std::string& text) override;
  int ForegroundColor() override;
  void SetForegroundColor(int color) override;
  void Expand(host::ExpandOption option) override;
  bool Expanded() override;
  int State() override;
  void SetState(int state) override;
  bool IsSelected() override;
  host::Node* FirstChildNode() override;
  host::Node* NextSiblingNode() override;
  host::Node* PreviousSiblingNode() override;
  host::Node* ParentNode() override;
  host::Node* NextNode() override;
  host::DataContainer& GetNodeData() override;

  // Engine side.
  MemoryTree& tree() { return *tree_; }
  void CheckAlive();
  std::string Describe();  // "row \"text\" of tree ..." for messages

  MemoryTree* tree_;
  std::map<int, std::string> texts_;
  int color_ = 0;
  bool expanded_ = false;
  int state_ = host::kNodeNoCheckBox;
  bool selected_ = false;
  bool inserted_ = false;
  bool deleted_ = false;
  enum class Pin { None, First, Last } pin_ = Pin::None;
  MemoryNode* parent_ = nullptr;
  std::vector<MemoryNode*> children_;
  MemoryDataContainer data_;
};

class MemoryMenu final : public host::TreeListMenu {
 public:
  void AddMenuItem(int id, const std::string& text) override;
  void AddSeparator() override;
  std::vector<MenuEntry> entries;
};

class MemoryTree final : public host::Tree, public BlockImpl {
 public:
  explicit MemoryTree(BlockCore core) : core_(std::move(core)) {}

  std::string Name() override { return core_.layout->id; }
  std::string Type() override { return core_.layout->type; }
  host::PropertyList& GetProperties() override { return *core_.properties; }
  BlockCore& core() override { return core_; }

  void InsertColumn(int column, const std::string& title, int width) override;
  void SetColumnTitle(int column, const std::string& title) override;
  void SetColumnWidth(int column, int width) override;
  void SetColumnVisible(int column, bool visible) override;
  void SetShowToolTips(bool show) override { tooltips_ = show; }
  host::Node* CreateNode(const std::string& display_text) override;
  void InsertNode(host::Node* node, host::Node* parent, host::Node* after,
                  host::NodeInsertOption option) override;
  void DeleteNode(host::Node* node) override;
  host::Node* RootNode() override;
  std::vector<host::Node*> GetSelectedNodes() override;
  void SelectNode(host::Node* node, bool select, bool fire_callback) override;
  void SelectNodes(const std::vector<host::Node*>& nodes, bool select, bool fire_callback) override;
  host::TreeListMenu* CreateMenu() override;
  void SetMenu(host::TreeListMenu* menu) override;
  void SetEditOptions(const std::vector<std::string>& options, int selected) override;

  void SetOnSelectHandler(SelectHandler h) override { on_select_ = std::move(h); }
  void SetOnStateChangeHandler(StateChangeHandler h) override { on_state_ = std::move(h); }
  void SetOnBeginLabelEditHandler(BeginLabelEditHandler h) override { on_begin_ = std::move(h); }
  void SetOnEndLabelEditHandler(EndLabelEditHandler h) override { on_end_ = std::move(h); }
  void SetOnEditOptionSelectedHandler(EditOptionSelectedHandler h) override {
    on_option_ = std::move(h);
  }
  void SetAskEditControlHandler(AskEditControlHandler h) override { ask_control_ = std::move(h); }
  void SetOnMenuHandler(MenuHandler h) override { on_menu_ = std::move(h); }
  void SetOnMenuSelectionHandler(MenuSelectionHandler h) override {
    on_menu_selection_ = std::move(h);
  }
  void SetOnDefaultActionHandler(DefaultActionHandler h) override { on_default_ = std::move(h); }

  // Engine side: the designer's actions (see DialogDriver) and reading.
  void Reset();  // an empty tree without columns, as when the dialog opens
  std::string Describe();
  MemoryNode* Own(host::Node* node, bool must_be_inserted);  // a node of this tree, alive
  bool HasColumn(int column) const { return columns_.count(column) != 0; }
  std::vector<TreeColumn> Columns() const;
  bool tooltips() const { return tooltips_; }
  std::vector<MemoryNode*>& Siblings(MemoryNode* node);  // the list holding the node
  std::vector<MemoryNode*>& roots() { return roots_; }
  std::vector<host::Node*> AllNodes();

  void Click(MemoryNode* node, int column, bool add);
  void ClickCheckBox(MemoryNode* node);
  CellEditor AskEditor(MemoryNode* node, int column);
  bool CanEditText(MemoryNode* node, int column);
  bool EditCell(MemoryNode* node, int column, const std::string& text);
  bool ChooseOption(MemoryNode* node, int column, int index);
  std::vector<MenuEntry> OpenMenu(MemoryNode* node, int column);
  void ChooseMenuItem(MemoryNode* node, int item_id, int column);
  void DoubleClick(MemoryNode* node, int column);

 private:
  void RequireColumn(int column, const char* operation) const;
  void MarkDeleted(MemoryNode* node);

  BlockCore core_;
  std::map<int, TreeColumn> columns_;
  bool tooltips_ = false;
  std::vector<std::unique_ptr<MemoryNode>> nodes_;  // every node ever created
  std::vector<MemoryNode*> roots_;
  std::vector<std::unique_ptr<MemoryMenu>> menus_;
  MemoryMenu* menu_ = nullptr;  // set by the menu handler
  bool asking_editor_ = false;
  CellEditor editor_;

  SelectHandler on_select_;
  StateChangeHandler on_state_;
  BeginLabelEditHandler on_begin_;
  EndLabelEditHandler on_end_;
  EditOptionSelectedHandler on_option_;
  AskEditControlHandler ask_control_;
  MenuHandler on_menu_;
  MenuSelectionHandler on_menu_selection_;
  DefaultActionHandler on_default_;
};

class MemoryDialog final : public host::BlockDialog, public host::CompositeBlock {
 public:
  MemoryDialog(MemoryDialogs& owner, Layout layout);
  ~MemoryDialog() override;

  // host::BlockDialog
  void AddOkHandler(OkHandler h) override { ok_ = std::move(h); }
  void AddUpdateHandler(UpdateHandler h) override { update_ = std::move(h); }
  void AddInitializeHandler(InitializeHandler h) override { initialize_ = std::move(h); }
  void AddDialogShownHandler(DialogShownHandler h) override { shown_ = std::move(h); }
  void AddApplyHandler(ApplyHandler h) override { apply_ = std::move(h); }
  void AddCancelHandler(CancelHandler h) override { cancel_ = std::move(h); }
  void AddCloseHandler(CloseHandler h) override { close_ = std::move(h); }
  void AddFilterHandler(FilterHandler h) override { filter_ = std::move(h); }
  int Show() override;
  host::CompositeBlock* TopBlock() override { return this; }
  host::PropertyList& GetBlockProperties(const std::string& block_id) override;

  // host::CompositeBlock
  host::UIBlock* FindBlock(const std::string& id) override;
  std::string LayoutFile() override { return layout_.file; }

  // Engine side.
  const Layout& layout() const { return layout_; }
  MemoryDialogs& owner() { return owner_; }
  bool showing() const { return showing_; }
  bool closed() const { return closed_; }
  const std::vector<std::unique_ptr<host::UIBlock>>& blocks() const { return blocks_; }
  static BlockCore& Core(host::UIBlock* block);

  // The block with the id for a script action; ScriptError when missing.
  host::UIBlock* ScriptBlock(const std::string& id);
  // The block, which must be of the kind, shown and enabled, in an open dialog.
  template <class T>
  T* Usable(const std::string& id, const char* action);
  // Whether the block and every container around it are shown / enabled.
  bool Visible(host::UIBlock* block);
  bool Enabled(host::UIBlock* block);
  void RequireOpen(const char* action) const;

  int CallUpdate(host::UIBlock* block);
  bool CallFilter(host::UIBlock* block, host::Tag object);

  bool Ok();
  int Apply();
  void Cancel();
  void Close();

 private:
  void End(int response);

  MemoryDialogs& owner_;
  Layout layout_;
  std::vector<std::unique_ptr<host::UIBlock>> blocks_;
  std::map<std::string, host::UIBlock*> by_id_;
  bool showing_ = false;
  bool closed_ = false;
  int response_ = host::kResponseInvalid;

  OkHandler ok_;
  UpdateHandler update_;
  InitializeHandler initialize_;
  DialogShownHandler shown_;
  ApplyHandler apply_;
  CancelHandler cancel_;
  CloseHandler close_;
  FilterHandler filter_;
};

// "a Toggle", "an Integer".
std::string WithArticle(const std::string& type);

template <class T>
T* MemoryDialog::Usable(const std::string& id, const char* action) {
  RequireOpen(action);
  host::UIBlock* block = ScriptBlock(id);
  T* typed = dynamic_cast<T*>(block);
  if (typed == nullptr) {
    throw ScriptError(std::string("cannot ") + action + " block \"" + id + "\" of " + layout_.file +
                      ": it is " + WithArticle(block->Type()) + ", not " + WithArticle(T::kType));
  }
  if (!Visible(block)) {
    throw ScriptError(std::string("cannot ") + action + " block \"" + id + "\" of " + layout_.file +
                      ": it is hidden");
  }
  if (!Enabled(block)) {
    throw ScriptError(std::string("cannot ") + action + " block \"" + id + "\" of " + layout_.file +
                      ": it is disabled");
  }
  return typed;
}

}  // namespace memory
