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

// A material dialog that notes how many terminations preceded its end.
struct WatchedBom : ExportMaterialBom {
  WatchedBom(memory::MemoryHost& host, int& noted)
      : ExportMaterialBom(host), host(host), noted(noted) {}
  ~WatchedBom() override { noted = host.terminate_calls(); }
  memory::MemoryHost& host;
  int& noted;
};

using UfusrTest = EntryTest;

TEST_F(UfusrTest, CancellingTheOptionsEndsTheRunWithoutMaterialDialogOrTermination) {
  EXPECT_EQ(ufusr_ask_unload(), 1);
  dialogs().QueueDriver("SetBomOption.dlx", [](DialogDriver& d) { d.Cancel(); });
  RunTool();
  dialogs().QueueDriver("SetBomOption.dlx", [](DialogDriver& d) { d.Close(); });
  RunTool();
  EXPECT_EQ(dialogs().created(),
            (std::vector<std::string>{"SetBomOption.dlx", "SetBomOption.dlx"}));
  EXPECT_TRUE(host_.message_log().empty());
  EXPECT_EQ(host_.terminate_calls(), 0);
  EXPECT_EQ(host_.syslog() + host_.listing(), "");
  entry::SetHost(nullptr);
  EXPECT_THROW(RunTool(), std::logic_error);
}

TEST_F(UfusrTest, ConfirmedOptionsReachTheMaterialDialogInOrder) {
  // a: clear the designer ("toggle02"), b: same bodies ("toggle0"), c: always
  // false, n: the calculation mode ("enum0").
  int terminations_when_destroyed = -1;
  ExportMaterialBom* bom = nullptr;
  entry::SetMaterialBomFactory([&](host::Host&) {
    auto made = std::make_unique<WatchedBom>(host_, terminations_when_destroyed);
    bom = made.get();
    return made;
  });
  dialogs().QueueDriver("SetBomOption.dlx", [](DialogDriver& d) {
    d.SetToggle("toggle02", true);
    d.SelectEnum("enum0", 1);
    EXPECT_TRUE(d.Ok());
  });
  dialogs().QueueDriver("ExportMaterialBom.dlx", [&](DialogDriver& d) {
    EXPECT_EQ(text::Format("%d %d %d %d", bom->reset_flag(), bom->same_body_flag(),
                           bom->third_flag(), bom->calculation_mode()),
              "1 0 0 1");
    d.Close();
  });
  RunTool();
  EXPECT_EQ(dialogs().pending_drivers(), 0u);
  // Initialised twice, terminated once; the dialog destroyed through the base
  // class, before the session ended.
  EXPECT_EQ(text::Format("%d %d %d", host_.initialize_calls(), host_.terminate_calls(),
                         terminations_when_destroyed),
            "2 1 0");
  EXPECT_EQ(host_.syslog(), "");
}

TEST_F(UfusrTest, FailedSessionCallsAreReportedToTheSystemLogAndTheListing) {
  auto logs = [&] { return host_.syslog() + "--- listing:\n" + host_.listing(); };
  host_.SetInitializeResult(5);
  RunTool();
  const std::string report = Report(host_, 5, 127, "UF_initialize()");
  EXPECT_EQ(logs(), report + "--- listing:\n" + report);
  EXPECT_EQ(host_.terminate_calls(), 0);
  EXPECT_TRUE(dialogs().created().empty());

  // When the listing does not open, the system log alone gets the report.
  host_.SetListingOpenResult(1);
  RunTool();
  EXPECT_EQ(logs(), report + report + "--- listing:\n" + report);

  // A failed termination, after a run through the real material dialog.
  host_.SetInitializeResult(0);
  host_.SetListingOpenResult(0);
  host_.SetTerminateResult(3);
  dialogs().QueueDriver("SetBomOption.dlx", [](DialogDriver& d) { d.Ok(); });
  dialogs().QueueDriver("ExportMaterialBom.dlx", [](DialogDriver& d) {
    EXPECT_EQ(d.title(), "材料BOM");
    d.Close();
  });
  RunTool();
  EXPECT_EQ(dialogs().pending_drivers(), 0u);
  const std::string termination = Report(host_, 3, 229, "UF_terminate()");
  EXPECT_EQ(logs(), report + report + termination + "--- listing:\n" + report + termination);
  // Without a configuration the dialog says which file is missing, and only that.
  ASSERT_EQ(host_.message_log().size(), 1u);
  EXPECT_EQ(host_.message_log()[0].title, "材料BOM");
}

TEST_F(UfusrTest, AnExceptionWhileADialogIsBuiltIsShownAndTheSessionStillEnds) {
  // The material dialog's layout file is missing, so the host cannot create it.
  UseLayouts({"SetBomOption.dlx"});
  dialogs().QueueDriver("SetBomOption.dlx", [](DialogDriver& d) { d.Ok(); });
  RunTool();
  ASSERT_EQ(host_.message_log().size(), 1u);
  EXPECT_EQ(host_.message_log()[0].title, "导出BOM");
  EXPECT_EQ(host_.message_log()[0].type, host::kErrorMessage);
  EXPECT_NE(host_.message_log()[0].lines.at(0).find("ExportMaterialBom.dlx"), std::string::npos);
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

}  // namespace
