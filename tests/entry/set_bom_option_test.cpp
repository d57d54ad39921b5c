// The options dialog: its tip text, the toggle coupling and the options it
// hands over.
#include "entry/set_bom_option.h"

#include <fstream>

#include "entry_fixture.h"
#include "host/text.h"

namespace {

using entry_test::EntryTest;
using memory::DialogDriver;

class SetBomOptionTest : public EntryTest {
 protected:
  // Shows the options dialog with the driver; "cancelled", or the options
  // handed over when confirmed.
  std::string ShowWith(std::function<void(DialogDriver&)> driver) {
    SetBomOption option(host_);
    dialogs().QueueDriver("SetBomOption.dlx", std::move(driver));
    option.Show();
    if (!option.IsOk()) return "cancelled";
    bool a = false, b = false, c = true;
    int n = -1;
    option.GetOption(a, b, c, n);
    return text::Format("a=%d b=%d c=%d n=%d", a, b, c, n);
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
};

TEST_F(SetBomOptionTest, TheDependentToggleTicksSameBodiesAndOkHandsOverTheOptions) {
  // a: "toggle02", b: "toggle0", c: always false ("toggle01" is never read),
  // n: the first entry of "enum0".
  EXPECT_EQ(ShowWith([](DialogDriver& d) {
              d.SetToggle("toggle01", true);
              EXPECT_TRUE(d.Toggle("toggle0"));
              d.SetToggle("toggle0", false);  // unticking "toggle0" unticks "toggle01"
              EXPECT_FALSE(d.Toggle("toggle01"));
              d.SetToggle("toggle0", true);  // ticking it leaves "toggle01" off
              EXPECT_FALSE(d.Toggle("toggle01"));
              EXPECT_TRUE(d.Ok());
            }),
            "a=0 b=1 c=0 n=0");
  EXPECT_EQ(ShowWith([](DialogDriver& d) { d.Cancel(); }), "cancelled");
}

// Which set is active is the configuration folder's business; here: the
// tip comes from that folder, line by line, and is empty without a file.
TEST_F(SetBomOptionTest, TheTipShowsTheActiveSetsFileLineByLine) {
  EXPECT_TRUE(Tip().empty());
  host_.UnsetVariable("RQConfig");  // no configuration folder at all
  EXPECT_TRUE(Tip().empty());
  host_.SetVariable("RQConfig", "R:");
  Write("R:\\config\\standard.csv", "文件夹名称,有效配置\nA,N\nB,Y\n");
  Write("R:\\config\\B\\bom_tip_config.txt", "提示：\r\n先选择图层");
  EXPECT_EQ(Tip(), (std::vector<std::string>{"提示：", "先选择图层"}));
  EXPECT_TRUE(host_.message_log().empty());
}

TEST_F(SetBomOptionTest, ALayoutWithoutABlockIsReportedAndOkKeepsTheDialogOpen) {
  std::ofstream(UseLayouts({}) / "SetBomOption.dlx", std::ios::binary) << R"(<dialog>
    <multiline_string id="multiline_string0"/>
    <enumeration id="enum0"><member>0</member></enumeration>
    <toggle id="toggle0"/>
    <toggle id="toggle01"/>
  </dialog>)";
  ShowWith([&](DialogDriver& d) {
    ASSERT_EQ(host_.message_log().size(), 1u);
    EXPECT_EQ(host_.message_log()[0].title, "Block Styler");
    EXPECT_EQ(host_.message_log()[0].type, host::kErrorMessage);
    EXPECT_NE(host_.message_log()[0].lines.at(0).find("\"toggle02\""), std::string::npos);
    EXPECT_FALSE(d.Ok());
    EXPECT_EQ(host_.message_log().size(), 2u);
    d.Cancel();
  });
}

}  // namespace
