// The dialog engine of the in-memory host, driven as a designer would.
#include "host/memory/dialogs/dialogs.h"

#include <gtest/gtest.h>

#include <exception>
#include <filesystem>
#include <fstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "host/memory/dialogs/layout.h"
#include "host/memory/memory_host.h"
#include "host/memory/shape.h"
#include "tests/support/scratch.h"

namespace {

namespace fs = std::filesystem;
using host::HostError;
using memory::DialogDriver;
using memory::ScriptError;
using Strings = std::vector<std::string>;

// Expects `statement` to throw E whose text contains every one of `parts`.
#define EXPECT_THROW_WITH(statement, E, ...)                         \
  do {                                                               \
    try {                                                            \
      statement;                                                     \
      ADD_FAILURE() << "no exception from " #statement;              \
    } catch (const E& e) {                                           \
      for (const std::string& part : Strings{__VA_ARGS__})           \
        EXPECT_PRED_FORMAT2(::testing::IsSubstring, part, e.what()); \
    }                                                                \
  } while (0)

// A layout used by most tests: the block kinds with values, in groups.
const char8_t kSampleUtf8[] =
    u8R"(<?xml version="1.0" encoding="UTF-8"?>
<dialog title="样例" buttons="ok apply cancel">
  <group id="group0" label="值">
    <toggle id="toggle0" label="开关" value="true"/>
    <integer id="integer0" value="-3"/>
    <double id="double0" value="2.5"/>
    <string id="string0" value="文字"><item>甲</item><item>乙</item></string>
    <multiline_string id="lines0"><line>第一行</line><line></line></multiline_string>
    <enumeration id="enum0" value="1">
      <member>零</member><member>一</member><member>二</member>
    </enumeration>
    <enumeration id="enum_empty"/>
  </group>
  <group id="hidden_group" show="false">
    <toggle id="toggle_hidden"/>
  </group>
  <scrolled_window id="scroll0">
    <body_selection id="bodySelect0" label="实体"/>
    <body_selection id="bodySingle" multiple="false"/>
    <csys_selection id="csys0"/>
    <vector id="vector0" value="1,0,0" point="0,0,5"/>
    <tree id="tree0"/>
    <button id="button0" label="执行"/>
    <button id="button_off" label="不可用" enable="false"/>
  </scrolled_window>
</dialog>
)";

// Layout files are UTF-8, while the program's literals are GBK.
std::string Utf8(const char8_t* text) { return reinterpret_cast<const char*>(text); }
const std::string kSample = Utf8(kSampleUtf8);

class DialogsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = test_support::ScratchFolder("dialogs");
    dialogs().SetLayoutFolder(dir_.string());
    WriteLayout("Sample.dlx", kSample);
  }

  memory::MemoryDialogs& dialogs() { return host_.memory_dialogs(); }

  void WriteLayout(const std::string& name, const std::string& xml) {
    std::ofstream(dir_ / name, std::ios::binary) << xml;
  }

  // A dialog from the sample layout whose update handler logs the block ids.
  std::unique_ptr<host::BlockDialog> Sample() {
    auto dialog = host_.dialogs().CreateDialog("Sample.dlx");
    dialog->AddUpdateHandler([this](host::UIBlock* block) {
      updates_.push_back(block->Name());
      return 0;
    });
    return dialog;
  }

  // Shows the sample dialog with one driver.
  int RunSample(host::BlockDialog& dialog, std::function<void(DialogDriver&)> driver) {
    dialogs().QueueDriver("Sample.dlx", std::move(driver));
    return dialog.Show();
  }

  fs::path dir_;
  memory::MemoryHost host_;
  std::vector<std::string> updates_;
};

// --- Layout files ------------------------------------------------------------------

TEST_F(DialogsTest, BadLayoutsAreErrorsNamingFileAndLine) {
  const std::pair<const char*, Strings> cases[] = {
      {"<dialog>\n<toggle id=\"a\">\n</dialog>", {"line 3"}},
      {"<window/>", {"line 1", "<window>"}},
      {"<dialog>\n  <tgogle id=\"a\"/>\n</dialog>", {"line 2", "unknown element <tgogle>"}},
      {"<dialog>\n<toggle id=\"a\" lable=\"x\"/></dialog>", {"line 2", "\"lable\""}},
      {"<dialog><toggle label=\"x\"/></dialog>", {"<toggle> has no id"}},
      {"<dialog>\n<toggle id=\"a\"/>\n<group id=\"g\">\n<integer id=\"a\"/></group></dialog>",
       {"line 4", "\"a\" is used twice"}},
      {"<dialog><toggle id=\"a\" value=\"yes\"/></dialog>", {"value=\"yes\"", "true or false"}},
      {"<dialog><double id=\"a\" value=\"abc\"/></dialog>", {"not a number"}},
      {"<dialog><enumeration id=\"a\" value=\"2\"><member>x</member></enumeration></dialog>",
       {"value=\"2\"", "1 members"}},
      {"<dialog><enumeration id=\"a\"><item>x</item></enumeration></dialog>",
       {"<item> is not allowed inside <enumeration>"}},
      {"<dialog><toggle id=\"a\">text</toggle></dialog>", {"text is not allowed inside <toggle>"}},
      {"<dialog><label id=\"a\" label=\"\xF0\x9F\x98\x80\"/></dialog>",
       {"not representable in GBK"}},
      {"<dialog title=\"\xB2\xC4\xC1\xCF\"/>", {"line 1", "not UTF-8", "invalid UTF-8"}},
      {"<dialog buttons=\"ok close\"/>", {"unknown dialog button \"close\""}},
  };
  for (const auto& [xml, parts] : cases) {
    SCOPED_TRACE(xml);
    EXPECT_THROW_WITH(memory::ParseLayout("Bad.dlx", xml), HostError, "Bad.dlx, line ");
    EXPECT_THROW_WITH(memory::ParseLayout("Bad.dlx", xml), HostError, parts);
  }
}

TEST_F(DialogsTest, MissingFilesUnknownBlocksAndWrongTypesAreNamed) {
  EXPECT_THROW_WITH(host_.dialogs().CreateDialog("Nothing.dlx"), HostError, "Nothing.dlx not found",
                    dir_.string());
  EXPECT_THROW_WITH(host_.dialogs().CreateDialog(""), HostError, "no dialog layout file");
  EXPECT_THROW_WITH(host_.dialogs().CreateDialog("ui\\Sample.dlx"), HostError, "without a folder");
  WriteLayout("Broken.dlx", "<dialog>\n<toggle id='a'>");
  EXPECT_THROW_WITH(host_.dialogs().CreateDialog("Broken.dlx"), HostError, "Broken.dlx");

  auto dialog = Sample();
  EXPECT_THROW_WITH(dialog->TopBlock()->FindBlock("toggle9"), HostError, "Sample.dlx",
                    "\"toggle9\"");
  EXPECT_THROW_WITH(dialog->TopBlock()->Find<host::Toggle>("integer0"), HostError, "\"integer0\"",
                    "Sample.dlx", "Integer", "Toggle");
  EXPECT_THROW_WITH(dialog->GetBlockProperties("nope"), HostError, "Sample.dlx", "\"nope\"");

  host::PropertyList& toggle = dialog->GetBlockProperties("toggle0");
  EXPECT_THROW_WITH(toggle.GetString("Value"), HostError, "\"Value\"", "toggle0",
                    "holds logical, not text");
  EXPECT_THROW_WITH(toggle.GetLogical("Path"), HostError, "no property \"Path\"");
  host::PropertyList& e = dialog->GetBlockProperties("enum0");
  EXPECT_THROW_WITH(e.SetEnum("Value", 3), HostError, "no member 3");
  EXPECT_THROW_WITH(e.SetEnumAsString("Value", "三"), HostError, "no member \"三\"");
}

// --- Showing and closing ------------------------------------------------------------

TEST_F(DialogsTest, ShowRunsTheHandlersInOrderAndNestedDialogsGetTheirOwnDrivers) {
  // A dialog shown from a handler of another is driven by its own queued
  // driver. Without an OK handler, OK runs apply; there is no Apply button
  // unless the layout has one.
  WriteLayout("Plain.dlx", "<dialog buttons=\"ok cancel\"/>");
  auto plain = host_.dialogs().CreateDialog("Plain.dlx");
  plain->AddApplyHandler([] { return 1; });
  dialogs().QueueDriver("Plain.dlx", [&](DialogDriver& d) {
    EXPECT_EQ(dialogs().showing().size(), 2u);
    EXPECT_FALSE(d.Ok());
    EXPECT_THROW_WITH(d.Apply(), ScriptError, "Plain.dlx has no Apply button");
    d.Cancel();
  });
  auto dialog = Sample();
  std::vector<std::string> events;
  int ok_result = 1;
  dialog->AddInitializeHandler([&] { events.push_back("initialize"); });
  dialog->AddDialogShownHandler([&] { events.push_back("shown"); });
  dialog->AddApplyHandler([&] {
    events.push_back("apply");
    EXPECT_EQ(plain->Show(), host::kResponseCancel);
    return 7;
  });
  dialog->AddOkHandler([&] {
    events.push_back("ok");
    return ok_result;
  });
  const int response = RunSample(*dialog, [&](DialogDriver& d) {
    events.push_back("driver");
    EXPECT_FALSE(d.Ok());
    EXPECT_EQ(d.Apply(), 7);
    ok_result = 0;
    EXPECT_TRUE(d.Ok());
  });
  EXPECT_EQ(response, host::kResponseOk);
  EXPECT_EQ(events, (Strings{"initialize", "shown", "driver", "ok", "apply", "ok"}));
  EXPECT_EQ(dialogs().shown(), (Strings{"Sample.dlx", "Plain.dlx"}));
  EXPECT_TRUE(dialogs().showing().empty());
}

TEST_F(DialogsTest, CancelAndCloseRunTheirHandlersAndEachShowStartsAfresh) {
  auto dialog = Sample();
  auto* tree = dialog->TopBlock()->Find<host::Tree>("tree0");
  std::vector<std::string> events;
  dialog->AddCloseHandler([&] {
    events.push_back("close");
    return 0;
  });
  // Without a cancel handler, Cancel runs close.
  int response = RunSample(*dialog, [&](DialogDriver& d) {
    d.SetToggle("toggle0", false);
    tree->InsertColumn(0, "列", 50);
    tree->InsertNode(tree->CreateNode("行"), nullptr, nullptr, host::NodeInsertOption::Last);
    d.Cancel();
  });
  EXPECT_EQ(response, host::kResponseCancel);
  host::Node* old_row = tree->RootNode();
  ASSERT_NE(old_row, nullptr);
  dialog->AddCancelHandler([&] {
    events.push_back("cancel");
    return 0;
  });
  response = RunSample(*dialog, [&](DialogDriver& d) {
    EXPECT_TRUE(d.Toggle("toggle0"));
    EXPECT_TRUE(d.Columns("tree0").empty());
    EXPECT_EQ(tree->RootNode(), nullptr);
    d.Close();
  });
  EXPECT_EQ(response, host::kResponseClose);
  EXPECT_THROW_WITH(old_row->DisplayText(), HostError, "was deleted");
  EXPECT_EQ(RunSample(*dialog, [](DialogDriver& d) { d.Cancel(); }), host::kResponseCancel);
  EXPECT_EQ(events, (Strings{"close", "close", "cancel"}));
}

// The program's own handlers catch std::exception; a script error must pass them.
static_assert(!std::is_base_of_v<std::exception, ScriptError>);

TEST_F(DialogsTest, ShowWithoutADriverOrADriverThatLeavesItOpenFailsClearly) {
  auto dialog = Sample();
  bool initialised = false;
  dialog->AddInitializeHandler([&] { initialised = true; });
  dialogs().QueueDriver("Other.dlx", [](DialogDriver& d) { d.Close(); });
  EXPECT_THROW_WITH(dialog->Show(), ScriptError, "Sample.dlx was shown but no driver",
                    "queued for Other.dlx");
  EXPECT_FALSE(initialised);

  dialogs().ClearDrivers();
  EXPECT_THROW_WITH(RunSample(*dialog, [](DialogDriver& d) { d.SetToggle("toggle0", false); }),
                    ScriptError, "driver of Sample.dlx returned without closing");
  EXPECT_TRUE(dialogs().showing().empty());
}

TEST_F(DialogsTest, AFallbackDriverTakesTheDialogsNobodyQueuedADriverFor) {
  std::vector<std::string> fallback_saw;
  dialogs().SetFallbackDriver([&](DialogDriver& d) {
    fallback_saw.push_back(d.layout_file());
    d.Cancel();
  });
  WriteLayout("Other.dlx", kSample);
  auto dialog = Sample();
  auto other = host_.dialogs().CreateDialog("Other.dlx");
  // Nested: the queued driver of the outer dialog opens the other one, which
  // nobody queued a driver for.
  dialogs().QueueDriver("Sample.dlx", [&](DialogDriver& d) {
    EXPECT_EQ(other->Show(), host::kResponseCancel);
    d.Ok();
  });
  EXPECT_EQ(dialog->Show(), host::kResponseOk);
  EXPECT_EQ(fallback_saw, (Strings{"Other.dlx"}));
  EXPECT_EQ(dialog->Show(), host::kResponseCancel) << "the queue is empty again";
  EXPECT_EQ(fallback_saw, (Strings{"Other.dlx", "Sample.dlx"}));

  dialogs().SetFallbackDriver(nullptr);
  EXPECT_THROW_WITH(dialog->Show(), ScriptError, "no driver is queued");
}

// --- Values and selections ------------------------------------------------------------

TEST_F(DialogsTest, ValuesComeFromTheLayoutChangesCallUpdateAndHiddenOrDisabledBlocksRefuse) {
  auto dialog = Sample();
  RunSample(*dialog, [](DialogDriver& d) {
    EXPECT_EQ(d.ListItems("string0"), (Strings{"甲", "乙"}));
    EXPECT_EQ(d.Lines("lines0"), (Strings{"第一行", ""}));
    EXPECT_EQ(d.Enum("enum_empty"), -1);
    EXPECT_DOUBLE_EQ(dynamic_cast<host::SpecifyVector&>(d.block("vector0")).Point().Z, 5.0);
    d.SetToggle("toggle0", true);  // already on
    d.SetToggle("toggle0", false);
    d.ClickToggle("toggle0");
    d.SetInteger("integer0", -3);  // unchanged
    d.SetDouble("double0", 0.25);
    d.SetString("string0", std::string("新"));
    d.SetString("string0", std::wstring(L"新"));  // the same text
    d.SelectEnumMember("enum0", "二");
    d.SelectEnum("enum0", 2);  // unchanged
    d.SetLines("lines0", {"甲", "乙"});
    d.SetVector("vector0", {0, 1, 0}, {1, 1, 1});
    d.Press("button0");
    d.Press("button0");  // every press counts
    EXPECT_TRUE(d.Toggle("toggle0"));
    EXPECT_EQ(d.WideString("string0"), L"新");
    EXPECT_EQ(d.EnumText("enum0"), "二");
    EXPECT_DOUBLE_EQ(dynamic_cast<host::SpecifyVector&>(d.block("vector0")).Vector().Y, 1.0);
    // The designer cannot use hidden, disabled or mistyped blocks.
    EXPECT_THROW_WITH(d.SetToggle("toggle_hidden", true), ScriptError, "\"toggle_hidden\"",
                      "hidden");
    EXPECT_THROW_WITH(d.Press("button_off"), ScriptError, "disabled");
    EXPECT_THROW_WITH(d.SetToggle("integer0", true), ScriptError, "is an Integer, not a Toggle");
    EXPECT_THROW_WITH(d.Press("nothing"), ScriptError, "Sample.dlx has no block \"nothing\"");
    EXPECT_THROW_WITH(d.SelectEnum("enum0", 3), ScriptError, "3 members", "no member 3");
    d.block("hidden_group").SetShow(true);  // as the program would
    d.SetToggle("toggle_hidden", true);
    d.Close();
  });
  EXPECT_EQ(updates_, (Strings{"toggle0", "toggle0", "double0", "string0", "enum0", "lines0",
                               "vector0", "button0", "button0", "toggle_hidden"}));
}

TEST_F(DialogsTest, PicksPassTheFilterAndTakeBodiesOnly) {
  const host::Tag a = host_.AddBody(memory::Shape::Box(10, 10, 10));
  const host::Tag b = host_.AddBody(memory::Shape::Box(5, 5, 5, {20, 0, 0}));
  const host::Tag sheet = host_.AddBody(memory::Shape::Sheet(5, 5));
  const host::Tag face = host_.bodies().BodyFaces(a).front();
  auto dialog = Sample();
  std::vector<host::Tag> filtered;
  dialog->AddFilterHandler([&](host::UIBlock* block, host::Tag object) {
    filtered.push_back(object);
    if (block->Name() == "csys0") return host::kSelectionAccept;
    return host_.bodies().IsSolidBody(object) ? host::kSelectionAccept : host::kSelectionReject;
  });
  RunSample(*dialog, [&](DialogDriver& d) {
    EXPECT_EQ(d.Pick("bodySelect0", {a, sheet}), std::vector<host::Tag>{a});
    EXPECT_EQ(d.Pick("bodySelect0", {b, a}), (std::vector<host::Tag>{b, a}));
    EXPECT_EQ(d.Selected("bodySelect0"), (std::vector<host::Tag>{a, b}));
    EXPECT_TRUE(d.Pick("bodySelect0", {sheet}).empty());  // rejected: no update
    EXPECT_THROW_WITH(d.Pick("bodySelect0", {face}), ScriptError, "selects bodies only");
    d.Pick("bodySingle", {a, b});
    EXPECT_EQ(d.Selected("bodySingle"), std::vector<host::Tag>{b});
    d.Pick("csys0", {face});
    d.Unpick("bodySelect0", {a});
    EXPECT_EQ(d.Selected("bodySelect0"), std::vector<host::Tag>{b});
    d.Unpick("bodySelect0", {a});  // not selected: nothing happens
    d.Close();
  });
  EXPECT_EQ(filtered, (std::vector<host::Tag>{a, sheet, b, a, sheet, a, b, face}));
  EXPECT_EQ(updates_,
            (Strings{"bodySelect0", "bodySelect0", "bodySingle", "csys0", "bodySelect0"}));
}

// --- Trees ------------------------------------------------------------------------------

class TreeTest : public DialogsTest {
 protected:
  void SetUp() override {
    DialogsTest::SetUp();
    dialog_ = Sample();
    tree_ = dialog_->TopBlock()->Find<host::Tree>("tree0");
  }

  // Shows the dialog with three columns and the checked rows A (A1, A2), B,
  // runs the driver and closes the dialog if the driver did not.
  void Run(std::function<void(DialogDriver&)> driver) {
    RunSample(*dialog_, [&](DialogDriver& d) {
      for (int i = 0; const char* title : {"序号", "名称", "备注"})
        tree_->InsertColumn(i++, title, 80);
      a_ = Row("A", nullptr);
      a1_ = Row("A1", a_);
      a2_ = Row("A2", a_);
      b_ = Row("B", nullptr);
      driver(d);
      if (!d.closed()) d.Close();
    });
  }
  host::Node* Row(const std::string& text, host::Node* parent, host::Node* after = nullptr,
                  host::NodeInsertOption option = host::NodeInsertOption::Last) {
    host::Node* n = tree_->CreateNode(text);
    tree_->InsertNode(n, parent, after, option);
    n->SetState(host::kNodeChecked);
    n->SetColumnDisplayText(1, text + "名");
    return n;
  }
  Strings Texts(const std::vector<host::Node*>& nodes) {
    Strings texts;
    for (host::Node* n : nodes) texts.push_back(n->DisplayText());
    return texts;
  }

  std::unique_ptr<host::BlockDialog> dialog_;
  host::Tree* tree_ = nullptr;
  host::Node *a_ = nullptr, *a1_ = nullptr, *a2_ = nullptr, *b_ = nullptr;
  std::vector<std::string> events_;
};

TEST_F(TreeTest, ColumnsRowsPlacementsAndDeletion) {
  Run([&](DialogDriver& d) {
    tree_->SetColumnTitle(2, "说明");
    tree_->SetColumnVisible(1, false);
    const std::vector<memory::TreeColumn> columns = d.Columns("tree0");
    ASSERT_EQ(columns.size(), 3u);
    EXPECT_EQ(columns[2].title, "说明");
    EXPECT_FALSE(columns[1].visible);
    EXPECT_THROW_WITH(tree_->InsertColumn(1, "x", 1), HostError, "already has a column 1");
    EXPECT_THROW_WITH(a_->SetColumnDisplayText(7, "x"), HostError, "no column 7");
    EXPECT_THROW_WITH(a_->SetState(3), HostError, "no check state 3");
    EXPECT_EQ(a2_->NextNode(), b_);  // depth first
    EXPECT_EQ(d.FindNode("tree0", 1, "A2名"), a2_);
    EXPECT_THROW_WITH(a1_->GetNodeData().GetTaggedObject("Data"), HostError, "no key \"Data\"");

    Row("C", nullptr);
    Row("F", nullptr, nullptr, host::NodeInsertOption::First);
    Row("after A1", a_, a1_);
    EXPECT_EQ(Texts(d.TopNodes("tree0")), (Strings{"F", "A", "B", "C"}));
    EXPECT_EQ(Texts(d.Children(a_)), (Strings{"A1", "after A1", "A2"}));
    EXPECT_THROW_WITH(tree_->InsertNode(b_, nullptr, nullptr, host::NodeInsertOption::Last),
                      HostError, "already inserted");
    EXPECT_THROW_WITH(Row("loose", b_, a1_), HostError, "not a sibling");

    tree_->SelectNode(a2_, true, false);
    tree_->DeleteNode(a_);
    EXPECT_EQ(Texts(d.AllNodes("tree0")), (Strings{"F", "B", "C"}));
    EXPECT_TRUE(tree_->GetSelectedNodes().empty());
    EXPECT_THROW_WITH(a2_->DisplayText(), HostError, "\"A2\"", "was deleted");
  });
}

TEST_F(TreeTest, ClicksSelectRowsAndCheckBoxesReportTheStateTheRowHad) {
  tree_->SetOnSelectHandler([&](host::Tree*, host::Node* node, int column, bool selected) {
    events_.push_back(node->DisplayText() + ":" + std::to_string(column) + ":" +
                      (selected ? "on" : "off"));
  });
  Run([&](DialogDriver& d) {
    d.Click(a1_, 1);
    d.Click(a2_);
    EXPECT_EQ(Texts(tree_->GetSelectedNodes()), Strings{"A2"});
    tree_->SelectNodes({a_, b_}, true, false);  // programmatic, quietly
    tree_->SelectNode(a_, false, true);
    EXPECT_TRUE(b_->IsSelected());
    tree_->SetColumnVisible(2, false);
    EXPECT_THROW_WITH(d.Click(b_, 2), ScriptError, "column 2", "hidden");

    d.ClickCheckBox(b_);  // without a handler the row flips
    EXPECT_EQ(b_->State(), host::kNodeUnchecked);
    tree_->SetOnStateChangeHandler([&](host::Tree*, host::Node* node, int state) {
      events_.push_back(node->DisplayText() + ":" + std::to_string(state));
      node->SetState(state == host::kNodeUnchecked ? host::kNodeChecked : host::kNodeUnchecked);
    });
    d.ClickCheckBox(b_);
    d.ClickCheckBox(a_);
    EXPECT_EQ(b_->State(), host::kNodeChecked);
    EXPECT_EQ(a_->State(), host::kNodeUnchecked);

    d.block("scroll0").SetShow(false);  // the tree's container
    EXPECT_THROW_WITH(d.Click(a_), ScriptError, "\"tree0\"", "hidden");
  });
  EXPECT_EQ(events_, (Strings{"A1:1:on", "A2:0:on", "A:0:off", "B:1", "A:2"}));
}

TEST_F(TreeTest, CellsAreEditedAsTextOrFromALists) {
  Run([&](DialogDriver& d) {
    // Without handlers no cell is editable.
    EXPECT_EQ(d.AskEditor(a_, 1).control, host::ControlType::None);
    EXPECT_FALSE(d.EditCell(a_, 1, "x"));

    tree_->SetAskEditControlHandler([&](host::Tree* tree, host::Node*, int column) {
      if (column != 1) return host::ControlType::None;
      tree->SetEditOptions({"", "甲", "乙"}, 1);
      return host::ControlType::ListBox;
    });
    tree_->SetOnBeginLabelEditHandler([&](host::Tree*, host::Node*, int column) {
      return column == 2 ? host::BeginLabelEditState::Allow : host::BeginLabelEditState::Disallow;
    });
    tree_->SetOnEndLabelEditHandler([&](host::Tree*, host::Node*, int, const std::string& text) {
      return text == "拒绝" ? host::EndLabelEditState::RejectText
                            : host::EndLabelEditState::AcceptText;
    });
    tree_->SetOnEditOptionSelectedHandler([&](host::Tree*, host::Node* node, int column, int index,
                                              const std::string& text, host::ControlType control) {
      EXPECT_EQ(control, host::ControlType::ListBox);
      events_.push_back(node->DisplayText() + std::to_string(column) + ":" + std::to_string(index) +
                        text);
      return index == 2 ? host::EditControlOption::Reject : host::EditControlOption::Accept;
    });

    const memory::CellEditor list = d.AskEditor(a_, 1);
    EXPECT_EQ(list.control, host::ControlType::ListBox);
    EXPECT_EQ(list.options, (Strings{"", "甲", "乙"}));
    EXPECT_EQ(list.selected, 1);
    EXPECT_TRUE(d.EditCell(a_, 2, "备注"));
    EXPECT_FALSE(d.EditCell(a_, 2, "拒绝"));
    EXPECT_EQ(a_->GetColumnDisplayText(2), "备注");
    EXPECT_FALSE(d.EditCell(a_, 0, "X"));  // refused before any text is typed

    EXPECT_TRUE(d.ChooseOption(b_, 1, "甲"));
    EXPECT_FALSE(d.ChooseOption(b_, 1, 2));
    EXPECT_TRUE(d.ChooseOption(b_, 1, -1));  // nothing chosen: the cell keeps its text
    EXPECT_EQ(b_->GetColumnDisplayText(1), "甲");
    EXPECT_THROW_WITH(tree_->SetEditOptions({"x"}, 0), HostError,
                      "outside the edit-control handler");
  });
  EXPECT_EQ(events_, (Strings{"B1:1甲", "B1:2乙", "B1:-1"}));
}

TEST_F(TreeTest, ContextMenusDoubleClicksAndButtonsPressedByDialogTitleAndLabel) {
  Run([&](DialogDriver& d) {
    // Without a menu handler there is no menu.
    EXPECT_TRUE(d.OpenMenu(a_).empty());

    tree_->SetOnMenuHandler([&](host::Tree* tree, host::Node* node, int) {
      host::TreeListMenu* menu = tree->CreateMenu();
      if (node != nullptr) {  // empty space: an empty menu
        menu->AddMenuItem(0, "隐藏");
        menu->AddMenuItem(1, "显示");
        if (node->ParentNode() != nullptr) {
          menu->AddSeparator();
          menu->AddMenuItem(2, "取消相同件");
        }
        EXPECT_THROW_WITH(menu->AddMenuItem(0, "again"), HostError, "already has an item 0");
      }
      tree->SetMenu(menu);
    });
    tree_->SetOnMenuSelectionHandler([&](host::Tree*, host::Node* node, int item) {
      events_.push_back("menu " + node->DisplayText() + ":" + std::to_string(item));
    });
    tree_->SetOnDefaultActionHandler([&](host::Tree*, host::Node* node, int column) {
      events_.push_back("double " + node->DisplayText() + ":" + std::to_string(column) + ":" +
                        (node->IsSelected() ? "selected" : "not selected"));
      for (const char* title : {"样例", "别的"})
        for (const char* label : {"执行", "没有"})
          if (host_.platform().PressDialogButton(title, label)) events_.push_back(label);
    });
    const std::vector<memory::MenuEntry> child = d.OpenMenu(a1_);
    ASSERT_EQ(child.size(), 4u);
    EXPECT_TRUE(child[2].separator);
    EXPECT_EQ(child[3].text, "取消相同件");
    EXPECT_TRUE(d.OpenMenuOnEmptySpace("tree0").empty());
    d.ChooseMenuItem(a1_, 2);
    EXPECT_THROW_WITH(d.ChooseMenuItem(a_, 2), ScriptError, "offers no item 2",
                      "offered: 0 隐藏, 1 显示");
    d.DoubleClick(b_, 1);
  });
  EXPECT_EQ(events_, (Strings{"menu A1:2", "double B:1:selected", "执行"}));
  EXPECT_EQ(updates_, Strings{"button0"});
  // With no dialog shown there is no window to find.
  EXPECT_FALSE(host_.platform().PressDialogButton("样例", "执行"));
}

}  // namespace
