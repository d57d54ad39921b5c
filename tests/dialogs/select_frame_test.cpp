// The frame-face marking dialog: the toggles read from a picked body, and the
// marks apply adds without ever removing one.
#include "dialogs/select_frame.h"

#include "dialogs_fixture.h"

namespace {

using namespace dialogs_test;

class SelectFrameTest : public DialogTest {
 protected:
  Tag Plate(double x) {
    return host_.AddBody(
        Shape::Box(120, 80, 25, {x, 0, 0}).Drilled({x + 20, 20, 25}, {0, 0, -1}, 10, 25));
  }
};

TEST_F(SelectFrameTest, TheTogglesFollowThePickedBodyAndCancelMarksNothing) {
  const Tag unmarked = Plate(0);
  const Tag left = Plate(200);
  const Tag other_value = Plate(400);
  host_.attributes().SetString(left, "LEFT_FRAME", "Y");
  host_.attributes().SetString(other_value, "TOP_FRAME", "y");
  host_.attributes().SetString(other_value, "BOTTOM_FRAME", "Y ");
  SelectFrame dialog(host_);
  dialogs().QueueDriver("SelectFrame.dlx", [&](DialogDriver& d) {
    EXPECT_EQ(Ticks(d, "toggle0"), "000");
    d.Pick("bodySelect0", {unmarked});
    EXPECT_EQ(Ticks(d, "toggle0"), "111");
    d.ClearSelection("bodySelect0");  // an empty selection changes nothing
    EXPECT_EQ(Ticks(d, "toggle0"), "111");
    d.Pick("bodySelect0", {left});
    EXPECT_EQ(Ticks(d, "toggle0"), "010");
    d.Pick("bodySelect0", {unmarked});  // not the first of the selection
    EXPECT_EQ(Ticks(d, "toggle0"), "010");
    d.ClearSelection("bodySelect0");
    d.Pick("bodySelect0", {other_value});
    EXPECT_EQ(Ticks(d, "toggle0"), "000");
    d.Cancel();
  });
  EXPECT_EQ(dialog.Show(), host::kResponseCancel);
  EXPECT_TRUE(dialog.GetSelectedBodies().empty());
  EXPECT_EQ(Frames(unmarked), "<none>|<none>|<none>");
  EXPECT_EQ(Frames(other_value), "y|<none>|Y ");
}

TEST_F(SelectFrameTest, ApplyOnlyAddsMarksAndABodyDeletedWhileSelectedIsSkipped) {
  const Tag a = Plate(0);
  const Tag b = Plate(200);
  host_.attributes().SetString(a, "BOTTOM_FRAME", "Y");
  SelectFrame dialog(host_);
  dialogs().QueueDriver("SelectFrame.dlx", [&](DialogDriver& d) {
    d.Pick("bodySelect0", {a, b});
    EXPECT_EQ(Ticks(d, "toggle0"), "001");
    d.SetToggle("toggle0", true);
    d.SetToggle("toggle02", false);
    EXPECT_EQ(d.Apply(), 0);
    d.Unpick("bodySelect0", {a});  // b is first now: it has a mark
    const Tag gone = Plate(400);   // deleted while selected: skipped
    d.Pick("bodySelect0", {gone});
    host_.objects().Delete(gone);
    EXPECT_EQ(Ticks(d, "toggle0"), "100");
    d.SetToggle("toggle01", true);
    d.SetToggle("toggle0", false);
    EXPECT_TRUE(d.Ok());
  });
  EXPECT_EQ(dialog.Show(), host::kResponseOk);
  EXPECT_EQ(Frames(a), "Y|<none>|Y");
  EXPECT_EQ(Frames(b), "Y|Y|<none>");
  EXPECT_EQ(dialog.GetSelectedBodies(), (std::vector<Tag>{a, b, b}));
  EXPECT_TRUE(host_.message_log().empty());
}

}  // namespace
