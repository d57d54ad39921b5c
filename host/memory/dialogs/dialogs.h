// The dialog engine of the in-memory host. Dialogs are built from the layout
// files of a layout folder (by default the repository's ui/) and shown
// modally: Show calls the initialise and dialog-shown handlers and then hands
// the dialog to a driver, a function that acts as the designer would (sets
// values, presses buttons, picks bodies, works the trees) and closes the
// dialog with OK, Cancel or the close box. Drivers are queued per layout file
// name, so a dialog opened from a callback of another is driven too.
//
// Errors of the script (no driver queued, a driver that leaves its dialog
// open, an action on a block that is hidden or of another kind, a menu item
// that is not offered) throw ScriptError. It is deliberately not a
// std::exception: the program's own handlers, which catch std::exception,
// cannot swallow it, so it always reaches the test.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/dialogs.h"
#include "host/memory/dialogs/layout.h"

namespace memory {

class MemoryHost;
class MemoryDialog;
class MemoryTree;

// A fault of the script driving the dialogs. Its text is also written to
// standard error when it is raised, so that a test failing on it shows why.
class ScriptError {
 public:
  explicit ScriptError(std::string message);
  const char* what() const noexcept { return message_.c_str(); }

 private:
  std::string message_;
};

// A tree column as the designer sees it.
struct TreeColumn {
  int id = 0;
  std::string title;
  int width = 0;
  bool visible = true;
};

// What the tree offers for editing a cell.
struct CellEditor {
  host::ControlType control = host::ControlType::None;
  std::vector<std::string> options;  // list and combo boxes
  int selected = -1;                 // the preselected option
};

// One entry of a context menu.
struct MenuEntry {
  int id = 0;
  std::string text;
  bool separator = false;
};

// The designer at one shown dialog. Blocks are named by id; texts are GBK
// unless given as std::wstring. Setting a block to the value it already has
// changes nothing and calls no handler; a changed value calls the update
// handler with the block.
class DialogDriver {
 public:
  explicit DialogDriver(MemoryDialog& dialog) : dialog_(&dialog) {}

  const std::string& layout_file() const;
  std::string title() const;
  // The layout the dialog was built from: its buttons and its blocks in
  // layout order, each with its kind and container.
  const Layout& layout() const;
  // True once OK, Cancel or Close has ended the dialog.
  bool closed() const;

  // --- Values ----------------------------------------------------------------
  void SetToggle(const std::string& id, bool value);
  void ClickToggle(const std::string& id);  // flips the check box
  void SetInteger(const std::string& id, int value);
  void SetDouble(const std::string& id, double value);
  void SetString(const std::string& id, const std::string& value);
  void SetString(const std::string& id, const std::wstring& value);
  void SetLines(const std::string& id, const std::vector<std::string>& lines);
  void SelectEnum(const std::string& id, int index);
  void SelectEnumMember(const std::string& id, const std::string& member);
  void SetFolder(const std::string& id, const std::string& path);
  // A vector block: the direction, its point and the geometry it was defined on.
  void SetVector(const std::string& id, const host::Vector3d& direction, const host::Point3d& point,
                 const std::vector<host::Tag>& picked = {});
  void SetPoint(const std::string& id, const host::Point3d& point);
  // Picks objects in the graphics window for a body or coordinate-system
  // selection block. Each object goes through the dialog's filter handler;
  // the accepted ones are added to the selection (or replace it, for a
  // single-object block) and the update handler is called once. Returns the
  // accepted objects. A body selection block takes bodies only.
  std::vector<host::Tag> Pick(const std::string& id, const std::vector<host::Tag>& objects);
  // Removes objects from, or empties, a selection; calls update when it changed.
  void Unpick(const std::string& id, const std::vector<host::Tag>& objects);
  void ClearSelection(const std::string& id);
  // Presses a button: the update handler runs with it.
  void Press(const std::string& id);

  // --- Trees -----------------------------------------------------------------
  // The tree block, for reading it through the host interface.
  host::Tree& tree(const std::string& id);
  std::vector<TreeColumn> Columns(const std::string& tree_id);
  bool ToolTips(const std::string& tree_id);
  std::vector<host::Node*> TopNodes(const std::string& tree_id);
  std::vector<host::Node*> Children(host::Node* node);
  // Every node in display order.
  std::vector<host::Node*> AllNodes(const std::string& tree_id);
  // The first node, in display order, whose column shows the text; throws
  // ScriptError when there is none. FindNodes: all of them.
  host::Node* FindNode(const std::string& tree_id, int column, const std::string& text);
  std::vector<host::Node*> FindNodes(const std::string& tree_id, int column,
                                     const std::string& text);
  // A click on a row: it becomes the only selected row, then the select
  // handler runs for it. CtrlClick adds or removes one row.
  void Click(host::Node* node, int column = 0);
  void CtrlClick(host::Node* node, int column = 0);
  // A click on a row's check box: the state-change handler gets the state the
  // row has; without a handler the row flips between unchecked and checked.
  void ClickCheckBox(host::Node* node);
  // Clicks the check box when the row is not already in the wanted state.
  void SetChecked(host::Node* node, bool checked);
  // The editor the tree offers for a cell (asks the edit-control handler).
  CellEditor AskEditor(host::Node* node, int column);
  // Whether text editing of the cell may begin (asks the begin-edit handler).
  bool CanEditText(host::Node* node, int column);
  // Types a text into a cell: the cell must not offer a list; when the
  // begin-edit handler refuses, nothing happens and the result is false;
  // otherwise the end-edit handler decides and the result is whether the
  // text was accepted (the cell then shows it).
  bool EditCell(host::Node* node, int column, const std::string& text);
  // Chooses an option of a cell's list by index (-1: none) or by its text;
  // the option-selected handler decides; the result is whether it accepted
  // (the cell then shows the option).
  bool ChooseOption(host::Node* node, int column, int index);
  bool ChooseOption(host::Node* node, int column, const std::string& option);
  // Right-click on a row (or on empty space of the tree): the menu handler
  // builds the menu, which is returned. The menu acts on the rows selected.
  std::vector<MenuEntry> OpenMenu(host::Node* node, int column = 0);
  std::vector<MenuEntry> OpenMenuOnEmptySpace(const std::string& tree_id);
  // Opens the menu and chooses the item with the id; the menu-selection
  // handler runs. Throws ScriptError when the item is not offered.
  void ChooseMenuItem(host::Node* node, int item_id, int column = 0);
  // Double-click on a row: a click, then the default-action handler.
  void DoubleClick(host::Node* node, int column = 0);

  // --- Closing -----------------------------------------------------------------
  // OK: the OK handler (or, without one, the apply handler); the dialog
  // closes when it returns 0. Returns whether the dialog closed.
  bool Ok();
  // Apply: the apply handler's result; the dialog stays open.
  int Apply();
  // Cancel: the cancel handler (or, without one, the close handler); closes.
  void Cancel();
  // The window's close box: the close handler; closes.
  void Close();

  // --- Reading -------------------------------------------------------------------
  host::UIBlock& block(const std::string& id);
  bool Toggle(const std::string& id);
  int Integer(const std::string& id);
  double Double(const std::string& id);
  std::string String(const std::string& id);
  std::wstring WideString(const std::string& id);
  std::vector<std::string> Lines(const std::string& id);
  std::vector<std::string> ListItems(const std::string& id);
  int Enum(const std::string& id);
  std::string EnumText(const std::string& id);
  std::vector<std::string> EnumMembers(const std::string& id);
  std::string Folder(const std::string& id);
  std::vector<host::Tag> Selected(const std::string& id);
  std::string Label(const std::string& id);
  // Shown: the block and every group around it are shown.
  bool IsShown(const std::string& id);
  bool IsEnabled(const std::string& id);

 private:
  MemoryDialog& dialog() const;
  MemoryDialog* dialog_;
};

class MemoryDialogs : public host::Dialogs {
 public:
  using Driver = std::function<void(DialogDriver&)>;

  explicit MemoryDialogs(MemoryHost& host);
  ~MemoryDialogs() override;
  MemoryDialogs(const MemoryDialogs&) = delete;
  MemoryDialogs& operator=(const MemoryDialogs&) = delete;

  // host::Dialogs
  std::unique_ptr<host::BlockDialog> CreateDialog(const std::string& layout_file) override;

  // The local folder (UTF-8) holding the layout files. By default the ui/
  // folder of the sources named by the DIEBOM_SOURCE_DIR environment
  // variable, else the one the build was configured from, else "ui".
  void SetLayoutFolder(const std::string& folder) { layout_folder_ = folder; }
  const std::string& layout_folder() const { return layout_folder_; }

  // Queues a driver for the next Show of a dialog from the layout file.
  void QueueDriver(const std::string& layout_file, Driver driver);
  std::size_t pending_drivers() const;
  std::size_t pending_drivers(const std::string& layout_file) const;
  void ClearDrivers() { drivers_.clear(); }
  // The driver for a dialog shown while none is queued for its layout file
  // (a person at a window, say): without one, such a Show is a ScriptError.
  // Queued drivers still come first. Empty removes it.
  void SetFallbackDriver(Driver driver) { fallback_ = std::move(driver); }

  // The layout files of every dialog created (or attempted) and every Show, in order.
  const std::vector<std::string>& created() const { return created_; }
  const std::vector<std::string>& shown() const { return shown_; }
  // The dialogs being shown now, the innermost last.
  const std::vector<MemoryDialog*>& showing() const { return showing_; }

  // The host's way of pressing a dialog's button by its label: the innermost
  // shown dialog with the title, its first button (in layout order) whose
  // label is the text; the update handler runs with that button. False when
  // no such dialog or button exists.
  bool PressButtonByLabel(const std::string& dialog_title, const std::string& label);

  MemoryHost& host() { return host_; }

  // Used by the dialogs.
  Driver TakeDriver(const std::string& layout_file);
  void NoteShownRequest(const std::string& layout_file);
  void NoteShown(MemoryDialog* dialog);
  void NoteHidden(MemoryDialog* dialog);

 private:
  MemoryHost& host_;
  std::string layout_folder_;
  std::map<std::string, std::deque<Driver>> drivers_;
  Driver fallback_;
  std::vector<std::string> created_, shown_;
  std::vector<MemoryDialog*> showing_;
};

}  // namespace memory
