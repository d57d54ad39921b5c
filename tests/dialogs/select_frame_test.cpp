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
  std::vector<bool> Toggles(DialogDriver& d) {
    return {d.Toggle("toggle0"), d.Toggle("toggle01"), d.Toggle("toggle02")};
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
    using B = std::vector<bool>;
    EXPECT_EQ(Toggles(d), (B{false, false, false}));
    d.Pick("bodySelect0", {unmarked});
    EXPECT_EQ(Toggles(d), (B{true, true, true}));
    d.ClearSelection("bodySelect0");  // an empty selection changes nothing
    EXPECT_EQ(Toggles(d), (B{true, true, true}));
    d.Pick("bodySelect0", {left});
    EXPECT_EQ(Toggles(d), (B{false, true, false}));
    d.Pick("bodySelect0", {unmarked});  // not the first of the selection
    EXPECT_EQ(Toggles(d), (B{false, true, false}));
    d.ClearSelection("bodySelect0");
    d.Pick("bodySelect0", {other_value});
    EXPECT_EQ(Toggles(d), (B{false, false, false}));
    d.Cancel();
  });
  EXPECT_EQ(dialog.Show(), host::kResponseCancel);
  EXPECT_TRUE(dialog.GetSelectedBodies().empty());
  EXPECT_EQ(Attr(unmarked, "TOP_FRAME"), "<none>");
  EXPECT_EQ(Attr(other_value, "TOP_FRAME"), "y");
}

TEST_F(SelectFrameTest, ApplyOnlyAddsMarks) {
  const Tag a = Plate(0);
  const Tag b = Plate(200);
  host_.attributes().SetString(a, "BOTTOM_FRAME", "Y");
  SelectFrame dialog(host_);
  dialogs().QueueDriver("SelectFrame.dlx", [&](DialogDriver& d) {
    d.Pick("bodySelect0", {a, b});
    EXPECT_EQ(Toggles(d), (std::vector<bool>{false, false, true}));
    d.SetToggle("toggle0", true);
    d.SetToggle("toggle02", false);
    EXPECT_EQ(d.Apply(), 0);
    d.Unpick("bodySelect0", {a});  // b is first now: it has a mark
    EXPECT_EQ(Toggles(d), (std::vector<bool>{true, false, false}));
    d.SetToggle("toggle01", true);
    d.SetToggle("toggle0", false);
    EXPECT_TRUE(d.Ok());
  });
  EXPECT_EQ(dialog.Show(), host::kResponseOk);
  EXPECT_EQ(Attr(a, "TOP_FRAME"), "Y");
  EXPECT_EQ(Attr(a, "LEFT_FRAME"), "<none>");
  EXPECT_EQ(Attr(a, "BOTTOM_FRAME"), "Y");
  EXPECT_EQ(Attr(b, "TOP_FRAME"), "Y");
  EXPECT_EQ(Attr(b, "LEFT_FRAME"), "Y");
  EXPECT_EQ(Attr(b, "BOTTOM_FRAME"), "<none>");
  EXPECT_EQ(dialog.GetSelectedBodies(), (std::vector<Tag>{a, b, b}));
}

TEST_F(SelectFrameTest, ABodyDeletedWhileSelectedIsSkipped) {
  const Tag a = Plate(0);
  const Tag b = Plate(200);
  SelectFrame dialog(host_);
  dialogs().QueueDriver("SelectFrame.dlx", [&](DialogDriver& d) {
    d.Pick("bodySelect0", {a, b});
    host_.objects().Delete(a);
    EXPECT_TRUE(d.Ok());
  });
  dialog.Show();
  EXPECT_EQ(dialog.GetSelectedBodies(), std::vector<Tag>{b});
  EXPECT_EQ(Attr(b, "TOP_FRAME"), "Y");
  EXPECT_TRUE(host_.message_log().empty());
}

}  // namespace
