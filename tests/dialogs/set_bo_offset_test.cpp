// The blank offset dialog driven as a designer does: allowances, the common
// side allowance, and the one-way frame marks on a real block.
#include "dialogs/set_bo_offset.h"

#include "dialogs_fixture.h"
#include "host/text.h"

namespace {

using namespace dialogs_test;

class SetBoOffsetTest : public DialogTest {
 protected:
  static std::vector<double> Offsets(SetBoOffset& dialog) {
    std::vector<double> a(5);
    dialog.GetBomOffset(&a[0], &a[1], &a[2], &a[3], &a[4]);
    return a;
  }
  // The common side value, the four sides and the thickness, a hidden field
  // in brackets.
  static std::string Fields(DialogDriver& d) {
    std::string out;
    for (const char* id : {"double0", "double01", "double02", "double03", "double04", "double05"})
      out += text::Format(d.IsShown(id) ? " %g" : " (%g)", d.Double(id));
    return out;
  }
  Tag block_ = host_.AddBody(Shape::Box(120, 80, 30).Drilled({60, 40, 30}, {0, 0, -1}, 12, 30));
};

TEST_F(SetBoOffsetTest, OneValueServesTheFourSidesButNotTheThicknessAndFrameMarksAreOnlyAdded) {
  SetBoOffset dialog(host_);
  dialog.SetBomOffset(1.5, 2, 3, 4, 5.25);
  dialog.SetTargetBody(block_);
  dialogs().QueueDriver("SetBoOffset.dlx", [](DialogDriver& d) {
    EXPECT_FALSE(d.Toggle("toggle0"));
    EXPECT_EQ(Fields(d), " (0) 1.5 2 3 4 5.25");
    // An unmarked body: every frame ticked.
    EXPECT_EQ(Ticks(d, "toggle03"), "111");
    d.SetToggle("toggle0", true);
    d.SetDouble("double0", 2);
    EXPECT_EQ(Fields(d), " 2 (2) (2) (2) (2) 5.25");
    // Off and on again: the four fields come back, then go again.
    d.SetToggle("toggle0", false);
    EXPECT_EQ(Fields(d), " (2) 2 2 2 2 5.25");
    d.SetDouble("double01", 9);
    d.SetToggle("toggle0", true);
    d.SetDouble("double05", 4.5);
    EXPECT_TRUE(d.Ok());
  });
  EXPECT_EQ(dialog.Show(), host::kResponseOk);
  EXPECT_EQ(Offsets(dialog), (std::vector<double>{2, 2, 2, 2, 4.5}));
  EXPECT_EQ(Frames(block_), "Y|Y|Y");

  // Marked but not "Y", or not marked while others are: unticked. Unticking
  // keeps a mark.
  host_.attributes().SetString(block_, "LEFT_FRAME", "N");
  host_.attributes().Delete(block_, host::kStringAttribute, "BOTTOM_FRAME");
  dialogs().QueueDriver("SetBoOffset.dlx", [](DialogDriver& d) {
    EXPECT_EQ(Ticks(d, "toggle03"), "100");
    d.SetToggle("toggle03", false);
    d.SetToggle("toggle02", true);
    EXPECT_TRUE(d.Ok());
  });
  dialog.Show();
  EXPECT_EQ(Frames(block_), "Y|N|Y");
  EXPECT_TRUE(host_.message_log().empty());
}

TEST_F(SetBoOffsetTest, ADeletedBodyIsReportedAndTheOkPressedBeforeTheFailureStands) {
  SetBoOffset dialog(host_);
  dialog.SetBomOffset(1, 2, 3, 4, 5);
  const Tag gone = host_.AddBody(Shape::Box(10, 10, 10, {300, 0, 0}));
  dialog.SetTargetBody(gone);
  host_.objects().Delete(gone);
  const std::string unreadable = "Block Styler|no object with tag " + std::to_string(gone);
  dialogs().QueueDriver("SetBoOffset.dlx", [&](DialogDriver& d) {
    ASSERT_EQ(Messages(), std::vector<std::string>{unreadable});  // the marks cannot be read
    EXPECT_EQ(host_.message_log()[0].type, host::kErrorMessage);
    d.SetDouble("double01", 7);
    d.SetToggle("toggle03", true);
    EXPECT_FALSE(d.Ok());  // the mark cannot be written
    EXPECT_EQ(Messages(), (std::vector<std::string>{unreadable, unreadable}));
    d.Cancel();
  });
  EXPECT_EQ(dialog.Show(), host::kResponseCancel);
  // OK was pressed and its values taken before the mark failed.
  EXPECT_TRUE(dialog.IsOk());
  EXPECT_EQ(Offsets(dialog), (std::vector<double>{7, 2, 3, 4, 5}));

  // Cancelled at once, a new dialog reports no OK and keeps its values.
  SetBoOffset cancelled(host_);
  cancelled.SetBomOffset(1, 2, 3, 4, 5);
  dialogs().QueueDriver("SetBoOffset.dlx", [](DialogDriver& d) {
    d.SetDouble("double01", 9);
    d.Cancel();
  });
  EXPECT_EQ(cancelled.Show(), host::kResponseCancel);
  EXPECT_FALSE(cancelled.IsOk());
  EXPECT_EQ(Offsets(cancelled), (std::vector<double>{1, 2, 3, 4, 5}));

  // Without a body the frame toggles keep the layout's state, and OK writes
  // no marks anywhere.
  dialog.SetTargetBody(host::kNullTag);
  dialogs().QueueDriver("SetBoOffset.dlx", [](DialogDriver& d) {
    EXPECT_EQ(Ticks(d, "toggle03"), "000");
    d.SetToggle("toggle03", true);
    EXPECT_TRUE(d.Ok());
  });
  EXPECT_EQ(dialog.Show(), host::kResponseOk);
  EXPECT_TRUE(host_.attributes().List(block_).empty());
}

}  // namespace
