// The dialog engine of the in-memory host, driven as a designer would.
#include "host/memory/dialogs.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "host/memory/dialog_layout.h"
#include "host/memory/memory_host.h"
#include "host/memory/shape.h"

namespace {

namespace fs = std::filesystem;
using memory::DialogDriver;
using memory::ScriptError;

// Expects `statement` to throw E whose text contains every one of `parts`.
#define EXPECT_THROW_WITH(statement, E, ...)                                  \
  do {                                                                        \
    try {                                                                     \
      statement;                                                              \
      ADD_FAILURE() << "no exception from " #statement;                       \
    } catch (const E& e) {                                                    \
      for (const std::string& part : std::vector<std::string>{__VA_ARGS__}) { \
        EXPECT_NE(std::string(e.what()).find(part), std::string::npos)        \
            << "\"" << e.what() << "\" does not contain \"" << part << "\"";  \
      }                                                                       \
    }                                                                         \
  } while (0)

// A layout used by most tests: every block kind, in groups.
const char8_t kSampleUtf8[] =
    u8R"(<?xml version="1.0" encoding="UTF-8"?>
<dialog title="样例" buttons="ok apply cancel">
  <group id="group0" label="值">
    <toggle id="toggle0" label="开关" value="true"/>
    <integer id="integer0" value="-3"/>
    <double id="double0" value="2.5"/>
    <string id="string0" value="文字">
      <item>甲</item>
      <item>乙</item>
    </string>
    <multiline_string id="lines0">
      <line>第一行</line>
      <line></line>
    </multiline_string>
    <enumeration id="enum0" value="1">
      <member>零</member>
      <member>一</member>
      <member>二</member>
    </enumeration>
    <enumeration id="enum_empty"/>
    <folder_selection id="folder0" value="D:\out"/>
  </group>
  <group id="hidden_group" show="false">
    <toggle id="toggle_hidden"/>
  </group>
  <scrolled_window id="scroll0">
    <body_selection id="bodySelect0" label="实体"/>
    <body_selection id="bodySingle" multiple="false"/>
    <csys_selection id="csys0"/>
    <vector id="vector0" value="1,0,0" point="0,0,5"/>
    <point id="point0" value="1,2,3"/>
    <tree id="tree0"/>
    <button id="button0" label="执行"/>
    <button id="button_off" label="不可用" enable="false"/>
    <label id="label0" label="说明"/>
    <separator id="separator0"/>
  </scrolled_window>
</dialog>
)";

// Layout files are UTF-8, while the program's literals are GBK.
std::string Utf8(const char8_t* text) { return reinterpret_cast<const char*>(text); }
const std::string kSample = Utf8(kSampleUtf8);

class DialogsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "diebom-dialogs-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
    dialogs().SetLayoutFolder(dir_.string());
    WriteLayout("Sample.dlx", kSample);
  }
  void TearDown() override { fs::remove_all(dir_); }

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

TEST_F(DialogsTest, LayoutGivesBlocksKindsContainersAndInitialValues) {
  const memory::Layout layout = memory::ParseLayout("Sample.dlx", kSample);
  EXPECT_EQ(layout.title, "样例");
  EXPECT_TRUE(layout.ok_button && layout.apply_button && layout.cancel_button);
  ASSERT_EQ(layout.blocks.size(), 22u);
  EXPECT_EQ(layout.blocks[0].type, "Group");
  EXPECT_EQ(layout.blocks[1].id, "toggle0");
  EXPECT_EQ(layout.blocks[1].parent, 0);
  EXPECT_EQ(layout.blocks[1].line, 4);
  EXPECT_EQ(layout.blocks[10].id, "toggle_hidden");
  EXPECT_EQ(layout.blocks[10].parent, 9);

  auto dialog = Sample();
  host::CompositeBlock* top = dialog->TopBlock();
  EXPECT_EQ(top->LayoutFile(), "Sample.dlx");
  EXPECT_TRUE(top->Find<host::Toggle>("toggle0")->Value());
  EXPECT_EQ(top->Find<host::IntegerBlock>("integer0")->Value(), -3);
  EXPECT_DOUBLE_EQ(top->Find<host::DoubleBlock>("double0")->Value(), 2.5);
  host::StringBlock* string0 = top->Find<host::StringBlock>("string0");
  EXPECT_EQ(string0->Value(), "文字");
  EXPECT_EQ(string0->WideValue(), L"文字");
  EXPECT_EQ(string0->GetListItems(), (std::vector<std::string>{"甲", "乙"}));
  EXPECT_EQ(top->Find<host::MultilineString>("lines0")->GetValue(),
            (std::vector<std::string>{"第一行", ""}));
  host::Enumeration* enum0 = top->Find<host::Enumeration>("enum0");
  EXPECT_EQ(enum0->Value(), 1);
  EXPECT_EQ(enum0->ValueAsString(), "一");
  EXPECT_EQ(top->Find<host::Enumeration>("enum_empty")->Value(), -1);
  EXPECT_EQ(top->Find<host::Enumeration>("enum_empty")->ValueAsString(), "");
  EXPECT_EQ(top->Find<host::FolderSelection>("folder0")->Path(), "D:\\out");
  EXPECT_TRUE(top->Find<host::BodyCollector>("bodySelect0")->GetSelectedObjects().empty());
  host::SpecifyVector* vector0 = top->Find<host::SpecifyVector>("vector0");
  EXPECT_DOUBLE_EQ(vector0->Vector().X, 1.0);
  EXPECT_DOUBLE_EQ(vector0->Point().Z, 5.0);
  EXPECT_DOUBLE_EQ(top->Find<host::SpecifyPoint>("point0")->Point().Y, 2.0);
  EXPECT_EQ(top->Find<host::Button>("button0")->Label(), "执行");
  EXPECT_FALSE(top->Find<host::Button>("button_off")->Enable());
  EXPECT_EQ(top->FindBlock("label0")->Type(), "Label");
  EXPECT_EQ(top->FindBlock("separator0")->Type(), "Separator");
  EXPECT_EQ(top->FindBlock("scroll0")->Type(), "ScrolledWindow");
  EXPECT_EQ(top->Find<host::Tree>("tree0")->RootNode(), nullptr);
  EXPECT_EQ(&dialog->GetBlockProperties("toggle0"), &top->FindBlock("toggle0")->GetProperties());
}

TEST_F(DialogsTest, BadLayoutsAreErrorsNamingFileAndLine) {
  struct Case {
    const char* xml;
    std::vector<std::string> parts;
  };
  const Case cases[] = {
      {"<dialog>\n<toggle id=\"a\">\n</dialog>", {"Bad.dlx, line 3"}},
      {"<window/>", {"Bad.dlx, line 1", "<window>"}},
      {"<dialog>\n  <tgogle id=\"a\"/>\n</dialog>", {"line 2", "unknown element <tgogle>"}},
      {"<dialog>\n<toggle id=\"a\" lable=\"x\"/></dialog>", {"line 2", "\"lable\""}},
      {"<dialog><toggle label=\"x\"/></dialog>", {"<toggle> has no id"}},
      {"<dialog><toggle id=\"a b\"/></dialog>", {"\"a b\"", "spaces"}},
      {"<dialog>\n<toggle id=\"a\"/>\n<group id=\"g\">\n<integer id=\"a\"/></group></dialog>",
       {"line 4", "\"a\" is used twice"}},
      {"<dialog><toggle id=\"a\" value=\"yes\"/></dialog>", {"value=\"yes\"", "true or false"}},
      {"<dialog><integer id=\"a\" value=\"1.5\"/></dialog>", {"not an integer"}},
      {"<dialog><integer id=\"a\" value=\"99999999999\"/></dialog>", {"not an integer"}},
      {"<dialog><double id=\"a\" value=\"abc\"/></dialog>", {"not a number"}},
      {"<dialog><enumeration id=\"a\" value=\"2\"><member>x</member></enumeration></dialog>",
       {"value=\"2\"", "1 members"}},
      {"<dialog><enumeration id=\"a\"><item>x</item></enumeration></dialog>",
       {"<item> is not allowed inside <enumeration>"}},
      {"<dialog><toggle id=\"a\">text</toggle></dialog>", {"text is not allowed inside <toggle>"}},
      {"<dialog>stray</dialog>", {"text is not allowed"}},
      {"<dialog><button id=\"a\" value=\"1\"/></dialog>", {"takes no attribute \"value\""}},
      {"<dialog><vector id=\"a\" value=\"1,0\"/></dialog>", {"three numbers"}},
      {"<dialog><label id=\"a\" label=\"\xF0\x9F\x98\x80\"/></dialog>",
       {"not representable in GBK"}},
      {"<dialog title=\"\xB2\xC4\xC1\xCF\"/>", {"line 1", "not UTF-8", "invalid UTF-8"}},
      {"<dialog buttons=\"ok close\"/>", {"unknown dialog button \"close\""}},
      {"<dialog name=\"x\"/>", {"unknown attribute \"name\" of <dialog>"}},
      {"<dialog><enumeration id=\"a\"><member x=\"1\">m</member></enumeration></dialog>",
       {"takes no attributes"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.xml);
    EXPECT_THROW_WITH(memory::ParseLayout("Bad.dlx", c.xml), host::HostError, c.parts[0]);
    for (const std::string& part : c.parts) {
      EXPECT_THROW_WITH(memory::ParseLayout("Bad.dlx", c.xml), host::HostError, part);
    }
  }
}

TEST_F(DialogsTest, MissingOrMisnamedLayoutFilesAreHostErrors) {
  EXPECT_THROW_WITH(host_.dialogs().CreateDialog("Nothing.dlx"), host::HostError,
                    "Nothing.dlx not found", dir_.string());
  EXPECT_THROW_WITH(host_.dialogs().CreateDialog(""), host::HostError, "no dialog layout file");
  EXPECT_THROW_WITH(host_.dialogs().CreateDialog("ui\\Sample.dlx"), host::HostError,
                    "without a folder");
  WriteLayout("Broken.dlx", "<dialog>\n<toggle id='a'>");
  EXPECT_THROW_WITH(host_.dialogs().CreateDialog("Broken.dlx"), host::HostError, "Broken.dlx");
  EXPECT_EQ(dialogs().created(),
            (std::vector<std::string>{"Nothing.dlx", "", "ui\\Sample.dlx", "Broken.dlx"}));
}

TEST_F(DialogsTest, UnknownBlocksAndWrongKindsNameTheFileAndId) {
  auto dialog = Sample();
  EXPECT_THROW_WITH(dialog->TopBlock()->FindBlock("toggle9"), host::HostError, "Sample.dlx",
                    "\"toggle9\"");
  EXPECT_THROW_WITH(dialog->TopBlock()->Find<host::Toggle>("integer0"), host::HostError,
                    "\"integer0\"", "Sample.dlx", "Integer", "Toggle");
  EXPECT_THROW_WITH(dialog->GetBlockProperties("nope"), host::HostError, "\"nope\"");
}

TEST_F(DialogsTest, PropertyListsAreTyped) {
  auto dialog = Sample();
  host::PropertyList& toggle = dialog->GetBlockProperties("toggle0");
  EXPECT_EQ(toggle.GetPropertyNames(),
            (std::vector<std::string>{"Label", "Show", "Enable", "Value"}));
  EXPECT_THROW_WITH(toggle.GetString("Value"), host::HostError, "\"Value\"", "toggle0",
                    "holds logical, not text");
  EXPECT_THROW_WITH(toggle.GetLogical("Path"), host::HostError, "no property \"Path\"");

  host::PropertyList& e = dialog->GetBlockProperties("enum0");
  EXPECT_THROW_WITH(e.SetEnum("Value", 3), host::HostError, "no member 3");
  EXPECT_THROW_WITH(e.SetEnum("Value", -1), host::HostError, "no member -1");
  EXPECT_THROW_WITH(e.SetEnumAsString("Value", "三"), host::HostError, "no member \"三\"");
  e.SetEnumAsString("Value", "二");
  EXPECT_EQ(e.GetEnum("Value"), 2);
  e.SetEnumMembers("Value", {"A", "B"});
  EXPECT_EQ(e.GetEnum("Value"), 0);
  EXPECT_EQ(e.GetEnumAsString("Value"), "A");
  e.SetEnumMembers("Value", {});
  EXPECT_EQ(e.GetEnum("Value"), -1);

  auto* string0 = dialog->TopBlock()->Find<host::StringBlock>("string0");
  string0->SetWideValue(L"宽字符");
  EXPECT_EQ(string0->Value(), "宽字符");
  EXPECT_THROW(string0->SetWideValue(L"\U0001F600"), text::EncodingError);
  string0->SetValue("\xFF");  // what the program stores is kept as it is
  EXPECT_THROW(string0->WideValue(), text::EncodingError);
  host::PropertyList& body = dialog->GetBlockProperties("bodySelect0");
  body.SetString("Bitmap", "R:\\bmp\\select.bmp");
  EXPECT_EQ(body.GetString("Bitmap"), "R:\\bmp\\select.bmp");
}

// --- Showing and closing ------------------------------------------------------------

TEST_F(DialogsTest, ShowRunsInitialiseShownThenTheDriverAndReturnsTheResponse) {
  auto dialog = Sample();
  std::vector<std::string> events;
  dialog->AddInitializeHandler([&] { events.push_back("initialize"); });
  dialog->AddDialogShownHandler([&] { events.push_back("shown"); });
  dialog->AddOkHandler([&] {
    events.push_back("ok");
    return 0;
  });
  EXPECT_EQ(RunSample(*dialog,
                      [&](DialogDriver& d) {
                        events.push_back("driver");
                        EXPECT_EQ(d.layout_file(), "Sample.dlx");
                        EXPECT_EQ(d.title(), "样例");
                        EXPECT_FALSE(d.closed());
                        EXPECT_TRUE(d.Ok());
                        EXPECT_TRUE(d.closed());
                      }),
            host::kResponseOk);
  EXPECT_EQ(events, (std::vector<std::string>{"initialize", "shown", "driver", "ok"}));
  EXPECT_EQ(dialogs().shown(), std::vector<std::string>{"Sample.dlx"});
  EXPECT_TRUE(dialogs().showing().empty());
}

TEST_F(DialogsTest, ShowWithoutADriverOrADriverThatLeavesItOpenFailsClearly) {
  auto dialog = Sample();
  bool initialised = false;
  dialog->AddInitializeHandler([&] { initialised = true; });
  dialogs().QueueDriver("Other.dlx", [](DialogDriver& d) { d.Close(); });
  EXPECT_THROW_WITH(dialog->Show(), ScriptError, "Sample.dlx was shown but no driver",
                    "queued for Other.dlx");
  EXPECT_FALSE(initialised);
  EXPECT_EQ(dialogs().pending_drivers("Other.dlx"), 1u);

  // The script error is no std::exception: the program's own handlers, which
  // catch those, cannot swallow it.
  bool swallowed = false;
  try {
    try {
      dialog->Show();
    } catch (const std::exception&) {
      swallowed = true;
    }
  } catch (const ScriptError&) {
  }
  EXPECT_FALSE(swallowed);

  dialogs().ClearDrivers();
  EXPECT_THROW_WITH(RunSample(*dialog, [](DialogDriver& d) { d.SetToggle("toggle0", false); }),
                    ScriptError, "driver of Sample.dlx returned without closing");
  EXPECT_TRUE(dialogs().showing().empty());
  EXPECT_THROW_WITH(dialogs().QueueDriver("Sample.dlx", nullptr), ScriptError, "empty driver");
}

TEST_F(DialogsTest, OkKeepsTheDialogOpenWhileTheHandlerFails) {
  auto dialog = Sample();
  int ok_result = 1, applies = 0;
  dialog->AddOkHandler([&] { return ok_result; });
  dialog->AddApplyHandler([&] { return ++applies; });
  EXPECT_EQ(RunSample(*dialog,
                      [&](DialogDriver& d) {
                        EXPECT_FALSE(d.Ok());
                        EXPECT_FALSE(d.closed());
                        EXPECT_EQ(d.Apply(), 1);
                        EXPECT_FALSE(d.closed());
                        ok_result = 0;
                        EXPECT_TRUE(d.Ok());
                      }),
            host::kResponseOk);
  EXPECT_EQ(applies, 1);  // OK runs the OK handler, not apply, when there is one
}

TEST_F(DialogsTest, OkWithoutOkHandlerRunsApply) {
  auto dialog = Sample();
  int applies = 0;
  dialog->AddApplyHandler([&] {
    ++applies;
    return 0;
  });
  EXPECT_EQ(RunSample(*dialog, [](DialogDriver& d) { d.Ok(); }), host::kResponseOk);
  EXPECT_EQ(applies, 1);
}

TEST_F(DialogsTest, CancelAndCloseRunTheirHandlers) {
  auto dialog = Sample();
  std::vector<std::string> events;
  dialog->AddCloseHandler([&] {
    events.push_back("close");
    return 0;
  });
  EXPECT_EQ(RunSample(*dialog, [](DialogDriver& d) { d.Cancel(); }), host::kResponseCancel);
  EXPECT_EQ(RunSample(*dialog, [](DialogDriver& d) { d.Close(); }), host::kResponseClose);
  dialog->AddCancelHandler([&] {
    events.push_back("cancel");
    return 0;
  });
  EXPECT_EQ(RunSample(*dialog, [](DialogDriver& d) { d.Cancel(); }), host::kResponseCancel);
  EXPECT_EQ(events, (std::vector<std::string>{"close", "close", "cancel"}));
}

TEST_F(DialogsTest, OnlyTheDialogsOwnButtonsCanBePressed) {
  WriteLayout("Plain.dlx", "<dialog buttons=\"cancel\"><toggle id=\"t\"/></dialog>");
  auto dialog = host_.dialogs().CreateDialog("Plain.dlx");
  dialogs().QueueDriver("Plain.dlx", [](DialogDriver& d) {
    EXPECT_THROW_WITH(d.Ok(), ScriptError, "Plain.dlx has no OK button");
    EXPECT_THROW_WITH(d.Apply(), ScriptError, "no Apply button");
    d.Close();
    EXPECT_THROW_WITH(d.Cancel(), ScriptError, "not open");
    EXPECT_THROW_WITH(d.SetToggle("t", true), ScriptError, "not open");
    EXPECT_FALSE(d.Toggle("t"));  // reading stays possible
  });
  EXPECT_EQ(dialog->Show(), host::kResponseClose);
}

TEST_F(DialogsTest, EachShowStartsFromTheLayoutsValues) {
  auto dialog = Sample();
  auto* tree = dialog->TopBlock()->Find<host::Tree>("tree0");
  RunSample(*dialog, [&](DialogDriver& d) {
    d.SetToggle("toggle0", false);
    tree->InsertColumn(0, "列", 50);
    tree->InsertNode(tree->CreateNode("行"), nullptr, nullptr, host::NodeInsertOption::Last);
    d.Close();
  });
  host::Node* old_row = tree->RootNode();
  ASSERT_NE(old_row, nullptr);
  RunSample(*dialog, [&](DialogDriver& d) {
    EXPECT_TRUE(d.Toggle("toggle0"));
    EXPECT_TRUE(d.Columns("tree0").empty());
    EXPECT_EQ(tree->RootNode(), nullptr);
    d.Close();
  });
  EXPECT_THROW_WITH(old_row->DisplayText(), host::HostError, "was deleted");
}

TEST_F(DialogsTest, NestedDialogsAreDrivenByTheirOwnQueuedDrivers) {
  WriteLayout("Inner.dlx", Utf8(u8"<dialog title=\"内\"><double id=\"d\" value=\"1\"/></dialog>"));
  auto outer = Sample();
  double confirmed = 0;
  outer->AddUpdateHandler([&](host::UIBlock* block) {
    if (block->Name() == "button0") {
      auto inner = host_.dialogs().CreateDialog("Inner.dlx");
      inner->AddOkHandler([&] {
        confirmed = inner->TopBlock()->Find<host::DoubleBlock>("d")->Value();
        return 0;
      });
      EXPECT_EQ(dialogs().showing().size(), 1u);
      inner->Show();
      EXPECT_EQ(dialogs().showing().size(), 1u);
    }
    return 0;
  });
  dialogs().QueueDriver("Inner.dlx", [&](DialogDriver& d) {
    EXPECT_EQ(dialogs().showing().size(), 2u);
    d.SetDouble("d", 7.5);
    d.Ok();
  });
  RunSample(*outer, [&](DialogDriver& d) {
    d.Press("button0");
    EXPECT_DOUBLE_EQ(confirmed, 7.5);
    d.Close();
  });
  EXPECT_EQ(dialogs().shown(), (std::vector<std::string>{"Sample.dlx", "Inner.dlx"}));
  EXPECT_EQ(dialogs().pending_drivers(), 0u);

  // A nested dialog nobody scripted fails the whole run, not just the callback.
  EXPECT_THROW_WITH(RunSample(*outer,
                              [](DialogDriver& d) {
                                d.Press("button0");
                                d.Close();
                              }),
                    ScriptError, "Inner.dlx was shown but no driver");
  EXPECT_TRUE(dialogs().showing().empty());
}

// --- Values ----------------------------------------------------------------------------

TEST_F(DialogsTest, SettingValuesCallsUpdateOnlyOnChange) {
  auto dialog = Sample();
  RunSample(*dialog, [](DialogDriver& d) {
    d.SetToggle("toggle0", true);  // already on
    d.SetToggle("toggle0", false);
    d.ClickToggle("toggle0");
    d.SetInteger("integer0", -3);
    d.SetInteger("integer0", 4);
    d.SetDouble("double0", 0.25);
    d.SetString("string0", std::string("新"));
    d.SetString("string0", std::wstring(L"新"));
    d.SetString("string0", std::wstring(L"宽"));
    d.SetLines("lines0", {"甲", "乙"});
    d.SelectEnum("enum0", 1);
    d.SelectEnumMember("enum0", "二");
    d.SetFolder("folder0", "E:\\bom");
    d.SetVector("vector0", {0, 1, 0}, {1, 1, 1});
    d.SetPoint("point0", {4, 5, 6});
    d.Press("button0");
    d.Press("button0");
    EXPECT_TRUE(d.Toggle("toggle0"));
    EXPECT_EQ(d.Integer("integer0"), 4);
    EXPECT_DOUBLE_EQ(d.Double("double0"), 0.25);
    EXPECT_EQ(d.String("string0"), "宽");
    EXPECT_EQ(d.WideString("string0"), L"宽");
    EXPECT_EQ(d.ListItems("string0"), (std::vector<std::string>{"甲", "乙"}));
    EXPECT_EQ(d.Lines("lines0"), (std::vector<std::string>{"甲", "乙"}));
    EXPECT_EQ(d.Enum("enum0"), 2);
    EXPECT_EQ(d.EnumText("enum0"), "二");
    EXPECT_EQ(d.EnumMembers("enum0").size(), 3u);
    EXPECT_EQ(d.Folder("folder0"), "E:\\bom");
    EXPECT_DOUBLE_EQ(dynamic_cast<host::SpecifyVector&>(d.block("vector0")).Vector().Y, 1.0);
    EXPECT_EQ(d.Label("button0"), "执行");
    d.Close();
  });
  EXPECT_EQ(updates_, (std::vector<std::string>{"toggle0", "toggle0", "integer0", "double0",
                                                "string0", "string0", "lines0", "enum0", "folder0",
                                                "vector0", "point0", "button0", "button0"}));
}

TEST_F(DialogsTest, TheDesignerCannotUseHiddenDisabledOrMistypedBlocks) {
  auto dialog = Sample();
  RunSample(*dialog, [](DialogDriver& d) {
    EXPECT_THROW_WITH(d.SetToggle("toggle_hidden", true), ScriptError, "\"toggle_hidden\"",
                      "hidden");
    EXPECT_FALSE(d.IsShown("toggle_hidden"));  // its group is hidden
    EXPECT_THROW_WITH(d.Press("button_off"), ScriptError, "disabled");
    EXPECT_FALSE(d.IsEnabled("button_off"));
    EXPECT_THROW_WITH(d.SetToggle("integer0", true), ScriptError, "is a Integer, not a Toggle");
    EXPECT_THROW_WITH(d.Press("nothing"), ScriptError, "Sample.dlx has no block \"nothing\"");
    EXPECT_THROW_WITH(d.SelectEnum("enum0", 3), ScriptError, "3 members", "no member 3");
    EXPECT_THROW_WITH(d.SelectEnumMember("enum0", "九"), ScriptError, "no member \"九\"");
    EXPECT_THROW_WITH(d.SelectEnum("enum_empty", 0), ScriptError, "0 members");
    EXPECT_THROW_WITH(d.SetString("string0", std::string("\x81")), ScriptError, "not GBK");
    EXPECT_THROW_WITH(d.SetString("string0", std::wstring(L"\U0001F600")), ScriptError,
                      "outside GBK");
    EXPECT_THROW_WITH(d.Integer("toggle0"), ScriptError, "not a Integer");
    EXPECT_THROW_WITH(d.Selected("toggle0"), ScriptError, "selects nothing");
    d.block("hidden_group").SetShow(true);  // as the program would
    d.SetToggle("toggle_hidden", true);
    d.Close();
  });
  EXPECT_EQ(updates_, std::vector<std::string>{"toggle_hidden"});
}

// --- Selection -----------------------------------------------------------------------

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
    EXPECT_THROW_WITH(d.Pick("bodySelect0", {9999}), ScriptError, "no such object");
    EXPECT_THROW_WITH(d.Pick("toggle0", {a}), ScriptError, "not a SpecifyCSYS");
    d.Pick("bodySingle", {a, b});
    EXPECT_EQ(d.Selected("bodySingle"), std::vector<host::Tag>{b});
    d.Pick("csys0", {face});
    EXPECT_EQ(d.Selected("csys0"), std::vector<host::Tag>{face});
    d.Unpick("bodySelect0", {a});
    EXPECT_EQ(d.Selected("bodySelect0"), std::vector<host::Tag>{b});
    d.Unpick("bodySelect0", {a});  // not selected: nothing happens
    d.ClearSelection("bodySelect0");
    EXPECT_TRUE(d.Selected("bodySelect0").empty());
    d.Close();
  });
  EXPECT_EQ(filtered, (std::vector<host::Tag>{a, sheet, b, a, sheet, a, b, face}));
  EXPECT_EQ(updates_, (std::vector<std::string>{"bodySelect0", "bodySelect0", "bodySingle", "csys0",
                                                "bodySelect0", "bodySelect0"}));
}

// --- Trees ------------------------------------------------------------------------------

class TreeTest : public DialogsTest {
 protected:
  void SetUp() override {
    DialogsTest::SetUp();
    dialog_ = Sample();
    tree_ = dialog_->TopBlock()->Find<host::Tree>("tree0");
  }

  // Inserts the columns and the rows: A (A1, A2), B, with check boxes.
  void Fill() {
    tree_->InsertColumn(0, "序号", 60);
    tree_->InsertColumn(1, "名称", 120);
    tree_->InsertColumn(2, "备注", 80);
    a_ = Row("A", nullptr);
    a1_ = Row("A1", a_);
    a2_ = Row("A2", a_);
    b_ = Row("B", nullptr);
  }
  host::Node* Row(const std::string& text, host::Node* parent) {
    host::Node* n = tree_->CreateNode(text);
    tree_->InsertNode(n, parent, nullptr, host::NodeInsertOption::Last);
    n->SetState(host::kNodeChecked);
    n->SetColumnDisplayText(1, text + "名");
    return n;
  }
  void Run(std::function<void(DialogDriver&)> driver) {
    RunSample(*dialog_, [&](DialogDriver& d) {
      Fill();
      driver(d);
      if (!d.closed()) d.Close();
    });
  }
  std::vector<std::string> Texts(const std::vector<host::Node*>& nodes) {
    std::vector<std::string> texts;
    for (host::Node* n : nodes) texts.push_back(n->DisplayText());
    return texts;
  }

  std::unique_ptr<host::BlockDialog> dialog_;
  host::Tree* tree_ = nullptr;
  host::Node *a_ = nullptr, *a1_ = nullptr, *a2_ = nullptr, *b_ = nullptr;
  std::vector<std::string> events_;
};

TEST_F(TreeTest, ColumnsNodesAndNavigation) {
  Run([&](DialogDriver& d) {
    tree_->SetColumnTitle(2, "说明");
    tree_->SetColumnWidth(2, 90);
    tree_->SetColumnVisible(1, false);
    tree_->SetShowToolTips(true);
    const std::vector<memory::TreeColumn> columns = d.Columns("tree0");
    ASSERT_EQ(columns.size(), 3u);
    EXPECT_EQ(columns[2].title, "说明");
    EXPECT_EQ(columns[2].width, 90);
    EXPECT_FALSE(columns[1].visible);
    EXPECT_TRUE(d.ToolTips("tree0"));
    EXPECT_THROW_WITH(tree_->InsertColumn(1, "x", 1), host::HostError, "already has a column 1");
    EXPECT_THROW_WITH(tree_->SetColumnTitle(5, "x"), host::HostError, "no column 5");
    EXPECT_THROW_WITH(a_->SetColumnDisplayText(7, "x"), host::HostError, "no column 7");

    EXPECT_EQ(tree_->RootNode(), a_);
    EXPECT_EQ(a_->FirstChildNode(), a1_);
    EXPECT_EQ(a1_->NextSiblingNode(), a2_);
    EXPECT_EQ(a2_->PreviousSiblingNode(), a1_);
    EXPECT_EQ(a2_->NextSiblingNode(), nullptr);
    EXPECT_EQ(a2_->ParentNode(), a_);
    EXPECT_EQ(a_->ParentNode(), nullptr);
    EXPECT_EQ(a2_->NextNode(), b_);
    EXPECT_EQ(b_->NextNode(), nullptr);
    EXPECT_EQ(Texts(d.AllNodes("tree0")), (std::vector<std::string>{"A", "A1", "A2", "B"}));
    EXPECT_EQ(Texts(d.TopNodes("tree0")), (std::vector<std::string>{"A", "B"}));
    EXPECT_EQ(Texts(d.Children(a_)), (std::vector<std::string>{"A1", "A2"}));
    EXPECT_EQ(d.FindNode("tree0", 1, "A2名"), a2_);
    EXPECT_EQ(d.FindNodes("tree0", 1, "none").size(), 0u);
    EXPECT_THROW_WITH(d.FindNode("tree0", 1, "none"), ScriptError, "shows \"none\" in column 1");
    EXPECT_EQ(a_->GetColumnDisplayText(0), "A");
    EXPECT_EQ(a_->GetColumnDisplayText(2), "");

    a_->SetForegroundColor(186);
    EXPECT_EQ(a_->ForegroundColor(), 186);
    EXPECT_FALSE(a_->Expanded());
    a_->Expand(host::ExpandOption::Expand);
    EXPECT_TRUE(a_->Expanded());
    a_->Expand(host::ExpandOption::Toggle);
    EXPECT_FALSE(a_->Expanded());
    EXPECT_THROW_WITH(a_->SetState(3), host::HostError, "no check state 3");

    host::DataContainer& data = a1_->GetNodeData();
    EXPECT_FALSE(data.HasKey("Data"));
    EXPECT_THROW_WITH(data.GetTaggedObject("Data"), host::HostError, "no key \"Data\"");
    data.AddTaggedObject("Data", 42);
    EXPECT_THROW_WITH(data.AddTaggedObject("Data", 43), host::HostError, "already holds");
    data.SetTaggedObject("Data", 44);
    EXPECT_EQ(data.GetTaggedObject("Data"), 44u);
  });
}

TEST_F(TreeTest, InsertPlacementsAndDeletion) {
  Run([&](DialogDriver& d) {
    host::Node* first = tree_->CreateNode("0");
    tree_->InsertNode(first, nullptr, nullptr, host::NodeInsertOption::AlwaysFirst);
    host::Node* last = tree_->CreateNode("Z");
    tree_->InsertNode(last, nullptr, nullptr, host::NodeInsertOption::AlwaysLast);
    host::Node* c = tree_->CreateNode("C");
    tree_->InsertNode(c, nullptr, nullptr, host::NodeInsertOption::Last);  // before Z
    host::Node* sorted = tree_->CreateNode("AA");
    tree_->InsertNode(sorted, nullptr, nullptr, host::NodeInsertOption::Sort);
    host::Node* front = tree_->CreateNode("F");
    tree_->InsertNode(front, nullptr, nullptr, host::NodeInsertOption::First);  // after 0
    host::Node* after = tree_->CreateNode("after A1");
    tree_->InsertNode(after, a_, a1_, host::NodeInsertOption::Last);
    EXPECT_EQ(Texts(d.TopNodes("tree0")),
              (std::vector<std::string>{"0", "F", "A", "AA", "B", "C", "Z"}));
    EXPECT_EQ(Texts(d.Children(a_)), (std::vector<std::string>{"A1", "after A1", "A2"}));

    host::Node* loose = tree_->CreateNode("loose");
    EXPECT_EQ(loose->NextSiblingNode(), nullptr);
    EXPECT_THROW_WITH(tree_->InsertNode(c, nullptr, nullptr, host::NodeInsertOption::Last),
                      host::HostError, "already inserted");
    EXPECT_THROW_WITH(tree_->InsertNode(loose, loose, nullptr, host::NodeInsertOption::Last),
                      host::HostError, "not inserted");
    EXPECT_THROW_WITH(tree_->InsertNode(loose, b_, a1_, host::NodeInsertOption::Last),
                      host::HostError, "not a sibling");
    EXPECT_THROW_WITH(tree_->InsertNode(nullptr, nullptr, nullptr, host::NodeInsertOption::Last),
                      host::HostError, "without a node");

    tree_->SelectNode(a2_, true, false);
    tree_->DeleteNode(a_);
    EXPECT_EQ(Texts(d.TopNodes("tree0")),
              (std::vector<std::string>{"0", "F", "AA", "B", "C", "Z"}));
    EXPECT_TRUE(tree_->GetSelectedNodes().empty());
    EXPECT_THROW_WITH(a2_->DisplayText(), host::HostError, "\"A2\"", "was deleted");
    EXPECT_THROW_WITH(tree_->DeleteNode(a_), host::HostError, "was deleted");
    EXPECT_THROW_WITH(d.Click(a2_), ScriptError, "was deleted");
    EXPECT_THROW_WITH(d.Click(loose), ScriptError, "not in the tree");
  });
}

TEST_F(TreeTest, ClicksSelectRowsAndCallTheSelectHandler) {
  tree_->SetOnSelectHandler([&](host::Tree* tree, host::Node* node, int column, bool selected) {
    EXPECT_EQ(tree, tree_);
    events_.push_back(node->DisplayText() + ":" + std::to_string(column) + ":" +
                      (selected ? "on" : "off"));
  });
  Run([&](DialogDriver& d) {
    d.Click(a1_, 1);
    d.CtrlClick(b_);
    EXPECT_EQ(Texts(tree_->GetSelectedNodes()), (std::vector<std::string>{"A1", "B"}));
    d.Click(a2_);
    EXPECT_EQ(Texts(tree_->GetSelectedNodes()), std::vector<std::string>{"A2"});
    d.CtrlClick(a2_);
    EXPECT_TRUE(tree_->GetSelectedNodes().empty());
    tree_->SelectNodes({a_, b_}, true, false);  // programmatic, quietly
    tree_->SelectNode(a_, false, true);
    EXPECT_TRUE(b_->IsSelected());
    tree_->SetColumnVisible(2, false);
    EXPECT_THROW_WITH(d.Click(b_, 2), ScriptError, "column 2", "hidden");
    EXPECT_THROW_WITH(d.Click(b_, 9), ScriptError, "no column 9");
    EXPECT_THROW_WITH(d.Click(nullptr), ScriptError, "no row given");
  });
  EXPECT_EQ(events_,
            (std::vector<std::string>{"A1:1:on", "B:0:on", "A2:0:on", "A2:0:off", "A:0:off"}));
}

TEST_F(TreeTest, CheckBoxesReportTheStateTheRowHad) {
  Run([&](DialogDriver& d) {
    // Without a handler the row flips.
    d.ClickCheckBox(b_);
    EXPECT_EQ(b_->State(), host::kNodeUnchecked);
    d.SetChecked(b_, false);
    EXPECT_EQ(b_->State(), host::kNodeUnchecked);
    tree_->SetOnStateChangeHandler([&](host::Tree*, host::Node* node, int state) {
      events_.push_back(node->DisplayText() + ":" + std::to_string(state));
      node->SetState(state == host::kNodeUnchecked ? host::kNodeChecked : host::kNodeUnchecked);
    });
    d.SetChecked(b_, true);
    d.SetChecked(b_, true);  // already checked: no click
    d.ClickCheckBox(a_);
    EXPECT_EQ(b_->State(), host::kNodeChecked);
    EXPECT_EQ(a_->State(), host::kNodeUnchecked);
    host::Node* plain = tree_->CreateNode("plain");
    tree_->InsertNode(plain, nullptr, nullptr, host::NodeInsertOption::Last);
    EXPECT_THROW_WITH(d.ClickCheckBox(plain), ScriptError, "\"plain\"", "no check box");
  });
  EXPECT_EQ(events_, (std::vector<std::string>{"B:1", "A:2"}));
}

TEST_F(TreeTest, CellsAreEditedAsTextOrFromALists) {
  tree_->SetAskEditControlHandler([&](host::Tree* tree, host::Node*, int column) {
    if (column != 1) return host::ControlType::None;
    tree->SetEditOptions({"", "甲", "乙"}, 1);
    return host::ControlType::ListBox;
  });
  tree_->SetOnBeginLabelEditHandler([&](host::Tree*, host::Node*, int column) {
    return column == 2 ? host::BeginLabelEditState::Allow : host::BeginLabelEditState::Disallow;
  });
  tree_->SetOnEndLabelEditHandler(
      [&](host::Tree*, host::Node* node, int column, const std::string& text) {
        events_.push_back("end " + node->DisplayText() + ":" + std::to_string(column) + ":" + text);
        return text == "拒绝" ? host::EndLabelEditState::RejectText
                              : host::EndLabelEditState::AcceptText;
      });
  tree_->SetOnEditOptionSelectedHandler([&](host::Tree*, host::Node* node, int column, int index,
                                            const std::string& text, host::ControlType control) {
    events_.push_back("option " + node->DisplayText() + ":" + std::to_string(column) + ":" +
                      std::to_string(index) + ":" + text + ":" +
                      std::to_string(static_cast<int>(control)));
    return index == 2 ? host::EditControlOption::Reject : host::EditControlOption::Accept;
  });
  Run([&](DialogDriver& d) {
    const memory::CellEditor list = d.AskEditor(a_, 1);
    EXPECT_EQ(list.control, host::ControlType::ListBox);
    EXPECT_EQ(list.options, (std::vector<std::string>{"", "甲", "乙"}));
    EXPECT_EQ(list.selected, 1);
    EXPECT_EQ(d.AskEditor(a_, 2).control, host::ControlType::None);
    EXPECT_TRUE(d.AskEditor(a_, 2).options.empty());
    EXPECT_TRUE(d.CanEditText(a_, 2));
    EXPECT_FALSE(d.CanEditText(a_, 0));

    EXPECT_TRUE(d.EditCell(a_, 2, "备注文字"));
    EXPECT_EQ(a_->GetColumnDisplayText(2), "备注文字");
    EXPECT_FALSE(d.EditCell(a_, 2, "拒绝"));
    EXPECT_EQ(a_->GetColumnDisplayText(2), "备注文字");
    EXPECT_FALSE(d.EditCell(a_, 0, "X"));  // refused before any text is typed
    EXPECT_EQ(a_->DisplayText(), "A");
    EXPECT_THROW_WITH(d.EditCell(a_, 1, "X"), ScriptError, "edited with a list");

    EXPECT_TRUE(d.ChooseOption(b_, 1, "甲"));
    EXPECT_EQ(b_->GetColumnDisplayText(1), "甲");
    EXPECT_FALSE(d.ChooseOption(b_, 1, 2));
    EXPECT_EQ(b_->GetColumnDisplayText(1), "甲");
    EXPECT_TRUE(d.ChooseOption(b_, 1, -1));  // nothing chosen: the cell keeps its text
    EXPECT_EQ(b_->GetColumnDisplayText(1), "甲");
    EXPECT_THROW_WITH(d.ChooseOption(b_, 1, 3), ScriptError, "offers 3 options", "no option 3");
    EXPECT_THROW_WITH(d.ChooseOption(b_, 1, "丙"), ScriptError, "no option \"丙\"");
    EXPECT_THROW_WITH(d.ChooseOption(b_, 2, 0), ScriptError, "offers no list");
    EXPECT_THROW_WITH(tree_->SetEditOptions({"x"}, 0), host::HostError,
                      "outside the edit-control handler");
  });
  EXPECT_EQ(events_,
            (std::vector<std::string>{"end A:2:备注文字", "end A:2:拒绝", "option B:1:1:甲:1",
                                      "option B:1:2:乙:1", "option B:1:-1::1"}));
}

TEST_F(TreeTest, ContextMenusAndDoubleClicks) {
  tree_->SetOnMenuHandler([&](host::Tree* tree, host::Node* node, int) {
    host::TreeListMenu* menu = tree->CreateMenu();
    if (node == nullptr) {
      tree->SetMenu(menu);  // empty space: an empty menu
      return;
    }
    menu->AddMenuItem(0, "隐藏");
    menu->AddMenuItem(1, "显示");
    if (node->ParentNode() != nullptr) {
      menu->AddSeparator();
      menu->AddMenuItem(2, "取消相同件");
    }
    EXPECT_THROW_WITH(menu->AddMenuItem(0, "again"), host::HostError, "already has an item 0");
    tree->SetMenu(menu);
  });
  tree_->SetOnMenuSelectionHandler([&](host::Tree*, host::Node* node, int item) {
    events_.push_back("menu " + node->DisplayText() + ":" + std::to_string(item));
  });
  tree_->SetOnDefaultActionHandler([&](host::Tree*, host::Node* node, int column) {
    events_.push_back("double " + node->DisplayText() + ":" + std::to_string(column) + ":" +
                      (node->IsSelected() ? "selected" : "not selected"));
  });
  Run([&](DialogDriver& d) {
    EXPECT_EQ(d.OpenMenu(a_).size(), 2u);
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
  EXPECT_EQ(events_, (std::vector<std::string>{"menu A1:2", "double B:1:selected"}));
}

TEST_F(TreeTest, WithoutHandlersNothingIsEditableAndNoMenuShows) {
  Run([&](DialogDriver& d) {
    EXPECT_EQ(d.AskEditor(a_, 1).control, host::ControlType::None);
    EXPECT_FALSE(d.EditCell(a_, 1, "x"));
    EXPECT_TRUE(d.OpenMenu(a_).empty());
    EXPECT_THROW_WITH(d.ChooseMenuItem(a_, 0), ScriptError, "offered: nothing");
    d.DoubleClick(a_);
    EXPECT_TRUE(a_->IsSelected());
  });
}

TEST_F(TreeTest, ATreeInAHiddenGroupCannotBeUsed) {
  Run([&](DialogDriver& d) {
    d.block("scroll0").SetShow(false);
    EXPECT_THROW_WITH(d.Click(a_), ScriptError, "\"tree0\"", "hidden");
    EXPECT_THROW_WITH(d.tree("toggle0"), ScriptError, "not a Tree");
  });
}

// --- Pressing a button by its label ------------------------------------------------------

TEST_F(TreeTest, ADialogButtonIsPressedByTheDialogsTitleAndTheButtonsLabel) {
  tree_->SetOnDefaultActionHandler([&](host::Tree*, host::Node*, int) {
    const std::string label = dialog_->TopBlock()->FindBlock("button0")->Label();
    events_.push_back(host_.platform().PressDialogButton("样例", label) ? "pressed" : "missed");
    events_.push_back(host_.platform().PressDialogButton("样例", "没有") ? "pressed" : "missed");
    events_.push_back(host_.platform().PressDialogButton("别的", label) ? "pressed" : "missed");
  });
  Run([&](DialogDriver& d) { d.DoubleClick(a_); });
  EXPECT_EQ(events_, (std::vector<std::string>{"pressed", "missed", "missed"}));
  EXPECT_EQ(updates_, std::vector<std::string>{"button0"});
  // With no dialog shown there is no window to find.
  EXPECT_FALSE(host_.platform().PressDialogButton("样例", "执行"));
}

// --- The shipped layouts -------------------------------------------------------------------

TEST(ShippedLayouts, EveryLayoutHoldsTheBlocksItsDialogLooksUp) {
  const char* source = std::getenv("DIEBOM_SOURCE_DIR");
  ASSERT_NE(source, nullptr) << "run through ctest, which names the source folder";
  const std::string folder = std::string(source) + "/ui";
  struct Expect {
    const char* file;
    const char* title;
    std::vector<std::pair<std::string, std::string>> blocks;  // id, kind
  };
  std::vector<std::pair<std::string, std::string>> material = {
      {"group", "Group"},
      {"group4", "Group"},
      {"group3", "Group"},
      {"group1", "Group"},
      {"group2", "Group"},
      {"group6", "Group"},
      {"tree_control0", "Tree"},
      {"tree_control01", "Tree"},
      {"scrolledWindow", "ScrolledWindow"},
      {"scrolledWindow1", "ScrolledWindow"},
      {"scrolledWindow2", "ScrolledWindow"},
      {"bodySelect0", "BodyCollector"},
      {"nativeFolderBrowser0", "FolderSelection"},
      {"integer0", "Integer"}};
  for (const char* s : {"string03", "string02", "string031", "string01", "string032", "string033",
                        "string0", "string034", "string035", "string036", "string04"}) {
    material.push_back({s, "String"});
  }
  for (const char* b :
       {"button03", "button02", "button01", "button0", "button04", "button05", "button06",
        "button061", "button0611", "button010", "button011", "button012", "button013", "button07",
        "button08", "button09", "button019"}) {
    material.push_back({b, "Button"});
  }
  const std::vector<Expect> expects = {
      {"SetBomOption.dlx",
       nullptr,
       {{"multiline_string0", "MultilineString"},
        {"enum0", "Enumeration"},
        {"toggle0", "Toggle"},
        {"toggle02", "Toggle"},
        {"toggle01", "Toggle"}}},
      {"ExportMaterialBom.dlx", "材料BOM", material},
      {"ExportPartBom.dlx",
       nullptr,
       {{"group", "Group"},        {"string0", "String"},
        {"label0", "Label"},       {"string01", "String"},
        {"label01", "Label"},      {"enum0", "Enumeration"},
        {"string02", "String"},    {"label02", "Label"},
        {"string03", "String"},    {"label03", "Label"},
        {"enum01", "Enumeration"}, {"group1", "Group"},
        {"tree_control0", "Tree"}, {"scrolledWindow", "ScrolledWindow"},
        {"group2", "Group"},       {"group3", "Group"},
        {"enum02", "Enumeration"}, {"bodySelect0", "BodyCollector"},
        {"button02", "Button"},    {"button03", "Button"},
        {"button01", "Button"},    {"button0", "Button"}}},
      {"SetBoOffset.dlx",
       nullptr,
       {{"group0", "Group"},
        {"toggle0", "Toggle"},
        {"double0", "Double"},
        {"double01", "Double"},
        {"double02", "Double"},
        {"double03", "Double"},
        {"double04", "Double"},
        {"double05", "Double"},
        {"group", "Group"},
        {"toggle03", "Toggle"},
        {"toggle01", "Toggle"},
        {"toggle02", "Toggle"}}},
      {"SelectCsys.dlx",
       nullptr,
       {{"group", "Group"},
        {"vector0", "SpecifyVector"},
        {"group1", "Group"},
        {"vector01", "SpecifyVector"}}},
      {"SpecCsys.dlx", nullptr, {{"group0", "Group"}, {"coord_system0", "SpecifyCSYS"}}},
      {"SelectDatum.dlx",
       nullptr,
       {{"group0", "Group"},
        {"bodySelect0", "BodyCollector"},
        {"separator0", "Separator"},
        {"enum0", "Enumeration"},
        {"enum01", "Enumeration"},
        {"enum02", "Enumeration"}}},
      {"SelectFrame.dlx",
       nullptr,
       {{"group0", "Group"},
        {"bodySelect0", "BodyCollector"},
        {"group", "Group"},
        {"toggle0", "Toggle"},
        {"toggle01", "Toggle"},
        {"toggle02", "Toggle"}}},
  };
  for (const Expect& e : expects) {
    SCOPED_TRACE(e.file);
    memory::Layout layout;
    ASSERT_NO_THROW(layout = memory::LoadLayout(folder, e.file));
    if (e.title != nullptr) {
      EXPECT_EQ(layout.title, e.title);
    }
    for (const auto& [id, kind] : e.blocks) {
      const auto it = std::find_if(layout.blocks.begin(), layout.blocks.end(),
                                   [&](const memory::BlockLayout& b) { return b.id == id; });
      ASSERT_NE(it, layout.blocks.end()) << id;
      EXPECT_EQ(it->type, kind) << id;
    }
  }
  const memory::Layout datum = memory::LoadLayout(folder, "SelectDatum.dlx");
  for (const memory::BlockLayout& b : datum.blocks) {
    const std::size_t members =
        b.type == "Enumeration" ? std::get<memory::EnumValue>(b.properties[3].value).members.size()
                                : 0;
    if (b.id == "enum01") {
      EXPECT_EQ(members, 2u);
    } else if (b.id == "enum02") {
      EXPECT_EQ(members, 9u);
    }
  }
}

}  // namespace
