// The options dialog: its tip text, the toggle coupling and the options it
// hands over.
#include "entry/set_bom_option.h"

#include <fstream>

#include "entry_fixture.h"

namespace {

using entry_test::EntryTest;
using memory::DialogDriver;

class SetBomOptionTest : public EntryTest {
 protected:
  struct Options {
    bool a = false, b = false, c = true;
    int n = -1;
  };

  // Shows the options dialog with the driver; the options when confirmed.
  Options ShowWith(std::function<void(DialogDriver&)> driver, bool* confirmed = nullptr) {
    SetBomOption option(host_);
    dialogs().QueueDriver("SetBomOption.dlx", std::move(driver));
    option.Show();
    Options o;
    if (confirmed != nullptr) *confirmed = option.IsOk();
    if (option.IsOk()) option.GetOption(o.a, o.b, o.c, o.n);
    return o;
  }

  // The tip lines the dialog shows.
  std::vector<std::string> Tip() {
    std::vector<std::string> lines;
    ShowWith([&](DialogDriver& d) {
      lines = d.Lines("multiline_string0");
      d.Cancel();
    });
    return lines;
  }

  // A layout folder with a variant of the options layout.
  void UseLayout(const std::string& utf8_xml) {
    const std::string folder = LayoutFolder({});
    std::ofstream(std::filesystem::path(folder) / "SetBomOption.dlx", std::ios::binary) << utf8_xml;
    dialogs().SetLayoutFolder(folder);
  }
};

TEST_F(SetBomOptionTest, TickingTheDependentToggleTicksSameBodiesAndNotTheReverse) {
  ShowWith([](DialogDriver& d) {
    EXPECT_FALSE(d.Toggle("toggle0"));
    EXPECT_FALSE(d.Toggle("toggle01"));
    d.SetToggle("toggle01", true);
    EXPECT_TRUE(d.Toggle("toggle0"));
    d.SetToggle("toggle01", false);  // unticking leaves "toggle0" as it is
    EXPECT_TRUE(d.Toggle("toggle0"));
    d.SetToggle("toggle01", true);
    d.SetToggle("toggle0", false);  // unticking "toggle0" unticks "toggle01"
    EXPECT_FALSE(d.Toggle("toggle01"));
    d.SetToggle("toggle0", true);  // ticking it leaves "toggle01" off
    EXPECT_FALSE(d.Toggle("toggle01"));
    d.SetToggle("toggle02", true);  // other blocks couple nothing
    d.SelectEnum("enum0", 1);
    EXPECT_TRUE(d.Toggle("toggle0"));
    EXPECT_FALSE(d.Toggle("toggle01"));
    d.Cancel();
  });
  EXPECT_TRUE(host_.message_log().empty());
}

TEST_F(SetBomOptionTest, FromATickedDependentToggleAndAnUntickedSameBodiesToggle) {
  // A layout whose dependent toggle starts ticked and "toggle0" unticked.
  UseLayout(R"(<dialog>
    <multiline_string id="multiline_string0"/>
    <enumeration id="enum0"><member>0</member><member>1</member></enumeration>
    <toggle id="toggle0"/>
    <toggle id="toggle01" value="true"/>
    <toggle id="toggle02"/>
  </dialog>)");
  const Options o = ShowWith([](DialogDriver& d) {
    d.SetToggle("toggle0", true);
    EXPECT_FALSE(d.Toggle("toggle01"));
    d.Ok();
  });
  EXPECT_TRUE(o.b);
  // Unticking the dependent toggle never ticks "toggle0".
  const Options p = ShowWith([](DialogDriver& d) {
    d.SetToggle("toggle01", false);
    EXPECT_FALSE(d.Toggle("toggle0"));
    d.Ok();
  });
  EXPECT_FALSE(p.b);
}

TEST_F(SetBomOptionTest, OkStoresTheOptions) {
  bool confirmed = false;
  Options o = ShowWith(
      [](DialogDriver& d) {
        d.SetToggle("toggle01", true);  // ticks "toggle0"
        d.SetToggle("toggle02", true);
        d.SelectEnum("enum0", 1);
        EXPECT_TRUE(d.Ok());
      },
      &confirmed);
  EXPECT_TRUE(confirmed);
  EXPECT_TRUE(o.a);
  EXPECT_TRUE(o.b);
  EXPECT_FALSE(o.c);  // "toggle01" is never read
  EXPECT_EQ(o.n, 1);

  o = ShowWith([](DialogDriver& d) {
    EXPECT_EQ(d.Enum("enum0"), 0);
    d.Ok();
  });
  EXPECT_FALSE(o.a);
  EXPECT_FALSE(o.b);
  EXPECT_FALSE(o.c);
  EXPECT_EQ(o.n, 0);

  ShowWith(
      [](DialogDriver& d) {
        d.SetToggle("toggle02", true);
        d.Cancel();
      },
      &confirmed);
  EXPECT_FALSE(confirmed);
}

TEST_F(SetBomOptionTest, TheTipShowsTheFilesLinesWithAnEmptyLastOne) {
  Write("R:\\config\\bom_tip_config.txt", "A\nB\n");
  EXPECT_EQ(Tip(), (std::vector<std::string>{"A", "B", ""}));
  Write("R:\\config\\bom_tip_config.txt", "提示：先选择图层\r\n二");
  EXPECT_EQ(Tip(), (std::vector<std::string>{"提示：先选择图层", "二"}));
  Write("R:\\config\\bom_tip_config.txt", "");
  EXPECT_EQ(Tip(), std::vector<std::string>{""});
  EXPECT_TRUE(host_.message_log().empty());
}

TEST_F(SetBomOptionTest, TheTipComesFromTheActiveConfigurationSet) {
  Write("R:\\config\\standard.csv", "文件夹名称,有效配置\nA,N\nB,Y\n");
  Write("R:\\config\\bom_tip_config.txt", "root\n");
  Write("R:\\config\\B\\bom_tip_config.txt", "set B");
  EXPECT_EQ(Tip(), std::vector<std::string>{"set B"});
}

TEST_F(SetBomOptionTest, AMissingTipLeavesTheTextEmptyWithoutAMessage) {
  EXPECT_TRUE(Tip().empty());
  host_.UnsetVariable("RQConfig");
  EXPECT_TRUE(Tip().empty());
  EXPECT_TRUE(host_.message_log().empty());
}

TEST_F(SetBomOptionTest, ALayoutWithoutABlockIsReportedAndOkKeepsTheDialogOpen) {
  UseLayout(R"(<dialog>
    <multiline_string id="multiline_string0"/>
    <enumeration id="enum0"><member>0</member></enumeration>
    <toggle id="toggle0"/>
    <toggle id="toggle01"/>
  </dialog>)");
  ShowWith([&](DialogDriver& d) {
    ASSERT_EQ(host_.message_log().size(), 1u);
    EXPECT_EQ(host_.message_log()[0].title, "Block Styler");
    EXPECT_EQ(host_.message_log()[0].type, host::kErrorMessage);
    EXPECT_NE(host_.message_log()[0].lines.at(0).find("\"toggle02\""), std::string::npos);
    d.SetToggle("toggle0", true);  // the coupling fails and is reported too
    EXPECT_EQ(host_.message_log().size(), 2u);
    EXPECT_FALSE(d.Ok());
    EXPECT_EQ(host_.message_log().size(), 3u);
    EXPECT_EQ(host_.message_log()[2].title, "Block Styler");
    d.Cancel();
  });
}

TEST_F(SetBomOptionTest, ABlockOfTheWrongKindIsReported) {
  UseLayout(R"(<dialog>
    <multiline_string id="multiline_string0"/>
    <enumeration id="enum0"/>
    <string id="toggle0"/>
    <toggle id="toggle01"/>
    <toggle id="toggle02"/>
  </dialog>)");
  ShowWith([&](DialogDriver& d) { d.Cancel(); });
  ASSERT_EQ(host_.message_log().size(), 1u);
  EXPECT_NE(host_.message_log()[0].lines.at(0).find("is a String, not a Toggle"),
            std::string::npos);
}

TEST_F(SetBomOptionTest, AMissingLayoutMakesTheConstructorThrow) {
  dialogs().SetLayoutFolder(LayoutFolder({}));
  try {
    SetBomOption option(host_);
    ADD_FAILURE() << "constructed without a layout";
  } catch (const host::HostError& e) {
    EXPECT_NE(std::string(e.what()).find("SetBomOption.dlx"), std::string::npos);
  }
}

TEST_F(SetBomOptionTest, FileQueriesAskTheConfigurationFolderAndPlatform) {
  SetBomOption option(host_);
  EXPECT_EQ(option.GetConfigFolderPath(), "R:\\config");
  Write("R:\\config\\x.txt", "1\n2");
  EXPECT_TRUE(option.IsFileExist("R:\\config\\x.txt"));
  EXPECT_TRUE(option.IsFileExist("R:\\config"));
  EXPECT_FALSE(option.IsFileExist("R:\\config\\y.txt"));
  EXPECT_EQ(option.GetFileContent("R:\\config\\x.txt"), (std::vector<std::string>{"1", "2"}));
  EXPECT_TRUE(option.GetFileContent("R:\\config\\y.txt").empty());
}

}  // namespace
