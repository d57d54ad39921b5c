// One run of the tool through ufusr, with the options and material dialogs
// driven as the designer would.
#include <stdexcept>

#include "entry/entry.h"
#include "entry_fixture.h"
#include "material_bom/export_material_bom.h"

namespace {

using entry_test::EntryTest;
using memory::DialogDriver;

void RunTool() { ufusr(nullptr, nullptr, 0); }

// The report of a failed session call, as the system log and the listing get it.
std::string Report(memory::MemoryHost& host, int code, int line, const std::string& call) {
  return text::Format("*** ERROR code %d at line %d in Tarnel:\n+++ ", code, line) +
         host.session().FailMessage(code) + "\n" + call + ";\n";
}

// A material BOM dialog that notes the options it was given and its end.
struct Watch {
  bool shown = false;
  bool destroyed = false;
  int terminations_when_destroyed = -1;
  bool reset = false, same_body = false, third = true;
  int mode = -1;
};

class WatchedBom : public ExportMaterialBom {
 public:
  WatchedBom(host::Host& host, Watch& watch, memory::MemoryHost& memory)
      : ExportMaterialBom(host), watch_(watch), memory_(memory) {}
  ~WatchedBom() override {
    watch_.destroyed = true;
    watch_.terminations_when_destroyed = memory_.terminate_calls();
  }

 private:
  Watch& watch_;
  memory::MemoryHost& memory_;
};

class UfusrTest : public EntryTest {
 protected:
  // Makes the run's material dialog a WatchedBom and drives it: it notes the
  // options it holds while shown, then the designer closes it.
  void WatchMaterialBom() {
    entry::SetMaterialBomFactory([this](host::Host& host) {
      auto bom = std::make_unique<WatchedBom>(host, watch_, host_);
      seen_ = bom.get();
      return bom;
    });
    dialogs().QueueDriver("ExportMaterialBom.dlx", [this](DialogDriver& d) {
      watch_.shown = true;
      watch_.reset = seen_->reset_flag();
      watch_.same_body = seen_->same_body_flag();
      watch_.third = seen_->third_flag();
      watch_.mode = seen_->calculation_mode();
      d.Close();
    });
  }

  Watch watch_;
  ExportMaterialBom* seen_ = nullptr;
};

TEST_F(UfusrTest, CancellingTheOptionsEndsTheRunWithoutMaterialDialogOrTermination) {
  dialogs().QueueDriver("SetBomOption.dlx", [](DialogDriver& d) { d.Cancel(); });
  RunTool();
  dialogs().QueueDriver("SetBomOption.dlx", [](DialogDriver& d) { d.Close(); });
  RunTool();
  EXPECT_EQ(dialogs().created(),
            (std::vector<std::string>{"SetBomOption.dlx", "SetBomOption.dlx"}));
  EXPECT_TRUE(host_.message_log().empty());
  EXPECT_EQ(host_.initialize_calls(), 4);
  EXPECT_EQ(host_.terminate_calls(), 0);
  EXPECT_EQ(host_.syslog(), "");
  EXPECT_EQ(host_.listing(), "");
}

TEST_F(UfusrTest, ConfirmedOptionsReachTheMaterialDialogInOrder) {
  // a: clear the designer ("toggle02"), b: same bodies ("toggle0"), c: always
  // false, n: the calculation mode ("enum0").
  WatchMaterialBom();
  dialogs().QueueDriver("SetBomOption.dlx", [](DialogDriver& d) {
    d.SetToggle("toggle02", true);
    d.SelectEnum("enum0", 1);
    EXPECT_TRUE(d.Ok());
  });
  RunTool();
  EXPECT_TRUE(watch_.shown);
  EXPECT_TRUE(watch_.reset);
  EXPECT_FALSE(watch_.same_body);
  EXPECT_FALSE(watch_.third);
  EXPECT_EQ(watch_.mode, 1);
  EXPECT_TRUE(watch_.destroyed);  // through BaseBom's virtual destructor
  EXPECT_EQ(watch_.terminations_when_destroyed, 0);
  EXPECT_EQ(host_.initialize_calls(), 2);
  EXPECT_EQ(host_.terminate_calls(), 1);
  EXPECT_EQ(host_.syslog(), "");

  watch_ = {};
  WatchMaterialBom();
  dialogs().QueueDriver("SetBomOption.dlx", [](DialogDriver& d) {
    d.SetToggle("toggle01", true);  // ticks "toggle0" too, and is never read itself
    EXPECT_TRUE(d.Ok());
  });
  RunTool();
  EXPECT_FALSE(watch_.reset);
  EXPECT_TRUE(watch_.same_body);
  EXPECT_FALSE(watch_.third);
  EXPECT_EQ(watch_.mode, 0);  // the first entry: rounded extents
  EXPECT_EQ(host_.terminate_calls(), 2);
  EXPECT_EQ(dialogs().shown(),
            (std::vector<std::string>{"SetBomOption.dlx", "ExportMaterialBom.dlx",
                                      "SetBomOption.dlx", "ExportMaterialBom.dlx"}));
}

TEST_F(UfusrTest, ARealMaterialDialogIsShownAndClosed) {
  dialogs().QueueDriver("SetBomOption.dlx", [](DialogDriver& d) { d.Ok(); });
  dialogs().QueueDriver("ExportMaterialBom.dlx", [](DialogDriver& d) {
    EXPECT_EQ(d.title(), "材料BOM");
    d.Close();
  });
  RunTool();
  EXPECT_EQ(dialogs().pending_drivers(), 0u);
  EXPECT_EQ(host_.terminate_calls(), 1);
}

TEST_F(UfusrTest, AFailedInitialisationIsReportedAndNothingElseRuns) {
  host_.SetInitializeResult(5);
  RunTool();
  const std::string report = Report(host_, 5, 127, "UF_initialize()");
  EXPECT_EQ(report.rfind("*** ERROR code 5 at line 127 in Tarnel:\n+++ ", 0), 0u);
  EXPECT_EQ(host_.syslog(), report);
  EXPECT_EQ(host_.listing(), report);
  EXPECT_EQ(host_.initialize_calls(), 1);
  EXPECT_EQ(host_.terminate_calls(), 0);
  EXPECT_TRUE(dialogs().created().empty());
  EXPECT_TRUE(host_.message_log().empty());
}

TEST_F(UfusrTest, AReportGoesToTheSystemLogOnlyWhenTheListingDoesNotOpen) {
  host_.SetInitializeResult(5);
  host_.SetListingOpenResult(1);
  RunTool();
  EXPECT_EQ(host_.syslog(), Report(host_, 5, 127, "UF_initialize()"));
  EXPECT_EQ(host_.listing(), "");
}

TEST_F(UfusrTest, AFailedTerminationIsReported) {
  host_.SetTerminateResult(3);
  dialogs().QueueDriver("SetBomOption.dlx", [](DialogDriver& d) { d.Ok(); });
  dialogs().QueueDriver("ExportMaterialBom.dlx", [](DialogDriver& d) { d.Close(); });
  RunTool();
  EXPECT_EQ(host_.syslog(), Report(host_, 3, 229, "UF_terminate()"));
  EXPECT_EQ(host_.listing(), Report(host_, 3, 229, "UF_terminate()"));
  EXPECT_TRUE(host_.message_log().empty());
}

TEST_F(UfusrTest, AnExceptionWhileTheMaterialDialogIsBuiltIsShownAndTheSessionStillEnds) {
  // The material dialog's layout file is missing, so the host cannot create it.
  dialogs().SetLayoutFolder(LayoutFolder({"SetBomOption.dlx"}));
  std::string expected;
  try {
    host_.dialogs().CreateDialog("ExportMaterialBom.dlx");
  } catch (const host::HostError& e) {
    expected = e.what();
  }
  ASSERT_NE(expected.find("ExportMaterialBom.dlx"), std::string::npos);

  dialogs().QueueDriver("SetBomOption.dlx", [](DialogDriver& d) { d.Ok(); });
  RunTool();
  ASSERT_EQ(host_.message_log().size(), 1u);
  const memory::MessageRecord& box = host_.message_log()[0];
  EXPECT_EQ(box.title, "导出BOM");
  EXPECT_EQ(box.type, host::kErrorMessage);
  EXPECT_EQ(box.lines, std::vector<std::string>{expected});
  EXPECT_EQ(host_.terminate_calls(), 1);
  EXPECT_EQ(host_.syslog(), "");

  // Any exception of the standard kind, with its own text.
  entry::SetMaterialBomFactory([](host::Host&) -> std::unique_ptr<ExportMaterialBom> {
    throw std::runtime_error("材料BOM无法创建");
  });
  dialogs().QueueDriver("SetBomOption.dlx", [](DialogDriver& d) { d.Ok(); });
  RunTool();
  ASSERT_EQ(host_.message_log().size(), 2u);
  EXPECT_EQ(host_.message_log()[1].title, "导出BOM");
  EXPECT_EQ(host_.message_log()[1].lines, std::vector<std::string>{"材料BOM无法创建"});
  EXPECT_EQ(host_.terminate_calls(), 2);
}

TEST_F(UfusrTest, AnOptionsDialogThatCannotBeBuiltIsShownAndTheSessionEnds) {
  dialogs().SetLayoutFolder(LayoutFolder({}));
  RunTool();
  ASSERT_EQ(host_.message_log().size(), 1u);
  EXPECT_EQ(host_.message_log()[0].title, "导出BOM");
  EXPECT_NE(host_.message_log()[0].lines.at(0).find("SetBomOption.dlx"), std::string::npos);
  EXPECT_EQ(host_.terminate_calls(), 1);
}

TEST_F(UfusrTest, ScriptFaultsPassThroughTheEntryUncaught) {
  // Nobody scripted the options dialog: the test fails instead of hanging.
  EXPECT_THROW(RunTool(), memory::ScriptError);
  dialogs().QueueDriver("SetBomOption.dlx", [](DialogDriver& d) { d.SetToggle("toggle0", true); });
  EXPECT_THROW(RunTool(), memory::ScriptError);
  // Confirmed, but the material dialog was not scripted.
  dialogs().QueueDriver("SetBomOption.dlx", [](DialogDriver& d) { d.Ok(); });
  EXPECT_THROW(RunTool(), memory::ScriptError);
  EXPECT_TRUE(host_.message_log().empty());
  EXPECT_EQ(host_.terminate_calls(), 0);
}

TEST_F(UfusrTest, TheLibraryAsksToBeUnloadedAtOnce) { EXPECT_EQ(ufusr_ask_unload(), 1); }

TEST_F(UfusrTest, RunningWithoutAHostIsAnError) {
  entry::SetHost(nullptr);
  EXPECT_THROW(RunTool(), std::logic_error);
}

TEST_F(UfusrTest, ReportErrorWritesNothingForSuccessAndReturnsTheCode) {
  EXPECT_EQ(entry::ReportError("Tarnel", 10, "UF_x()", 0), 0);
  EXPECT_EQ(host_.syslog(), "");
  EXPECT_FALSE(host_.listing_open());
  EXPECT_EQ(entry::ReportError("other.cpp", 42, "UF_y(1)", 7), 7);
  EXPECT_EQ(host_.syslog(), "*** ERROR code 7 at line 42 in other.cpp:\n+++ " +
                                host_.session().FailMessage(7) + "\nUF_y(1);\n");
  EXPECT_EQ(host_.listing(), host_.syslog());
}

}  // namespace
