// The blank offset dialog driven as a designer does: allowances, the common
// side allowance, and the one-way frame marks on a real block.
#include "dialogs/set_bo_offset.h"

#include "dialogs_fixture.h"

namespace {

using namespace dialogs_test;

constexpr const char* kSides[] = {"double01", "double02", "double03", "double04"};

class SetBoOffsetTest : public DialogTest {
 protected:
  static std::vector<double> Offsets(SetBoOffset& dialog) {
    std::vector<double> a(5);
    dialog.GetBomOffset(&a[0], &a[1], &a[2], &a[3], &a[4]);
    return a;
  }
  Tag block_ = host_.AddBody(Shape::Box(120, 80, 30).Drilled({60, 40, 30}, {0, 0, -1}, 12, 30));
};

TEST_F(SetBoOffsetTest, OpensWithTheValuesAndOneValueServesTheFourSidesButNotTheThickness) {
  SetBoOffset dialog(host_);
  dialog.SetBomOffset(1.5, 2, 3, 4, 5.25);
  dialog.SetTargetBody(block_);
  dialogs().QueueDriver("SetBoOffset.dlx", [](DialogDriver& d) {
    EXPECT_FALSE(d.Toggle("toggle0"));
    EXPECT_FALSE(d.IsShown("double0"));
    EXPECT_EQ(d.Double("double0"), 0.0);
    const double values[] = {1.5, 2, 3, 4};
    for (int i = 0; i < 4; ++i) {
      EXPECT_TRUE(d.IsShown(kSides[i])) << kSides[i];
      EXPECT_EQ(d.Double(kSides[i]), values[i]) << kSides[i];
    }
    EXPECT_EQ(d.Double("double05"), 5.25);
    // An unmarked body: every frame ticked.
    for (const char* frame : {"toggle03", "toggle01", "toggle02"}) EXPECT_TRUE(d.Toggle(frame));

    d.SetToggle("toggle0", true);
    EXPECT_TRUE(d.IsShown("double0"));
    EXPECT_TRUE(d.IsShown("double05"));
    d.SetDouble("double0", 2);
    for (const char* id : kSides) {
      EXPECT_FALSE(d.IsShown(id)) << id;
      EXPECT_EQ(d.Double(id), 2.0) << id;
    }
    EXPECT_EQ(d.Double("double05"), 5.25);
    // Off and on again: the four fields come back, then go again.
    d.SetToggle("toggle0", false);
    EXPECT_TRUE(d.IsShown("double01"));
    EXPECT_FALSE(d.IsShown("double0"));
    d.SetDouble("double01", 9);
    d.SetToggle("toggle0", true);
    d.SetDouble("double05", 4.5);
    EXPECT_TRUE(d.Ok());
  });
  EXPECT_EQ(dialog.Show(), host::kResponseOk);
  EXPECT_EQ(Offsets(dialog), (std::vector<double>{2, 2, 2, 2, 4.5}));
  for (const char* frame : {"TOP_FRAME", "LEFT_FRAME", "BOTTOM_FRAME"})
    EXPECT_EQ(Attr(block_, frame), "Y");
  EXPECT_TRUE(host_.message_log().empty());
}

TEST_F(SetBoOffsetTest, UntickingAFrameKeepsItsMark) {
  host_.attributes().SetString(block_, "TOP_FRAME", "Y");
  host_.attributes().SetString(block_, "LEFT_FRAME", "N");
  SetBoOffset dialog(host_);
  dialog.SetTargetBody(block_);
  dialogs().QueueDriver("SetBoOffset.dlx", [](DialogDriver& d) {
    EXPECT_TRUE(d.Toggle("toggle03"));
    EXPECT_FALSE(d.Toggle("toggle01"));  // marked, but not "Y"
    EXPECT_FALSE(d.Toggle("toggle02"));  // not marked while others are
    d.SetToggle("toggle03", false);
    d.SetToggle("toggle02", true);
    EXPECT_TRUE(d.Ok());
  });
  dialog.Show();
  EXPECT_EQ(Attr(block_, "TOP_FRAME"), "Y");
  EXPECT_EQ(Attr(block_, "LEFT_FRAME"), "N");
  EXPECT_EQ(Attr(block_, "BOTTOM_FRAME"), "Y");
}

TEST_F(SetBoOffsetTest, ADeletedBodyIsReportedAndCancelOrNoBodyChangeNothing) {
  SetBoOffset dialog(host_);
  dialog.SetBomOffset(1, 2, 3, 4, 5);
  const Tag gone = host_.AddBody(Shape::Box(10, 10, 10, {300, 0, 0}));
  dialog.SetTargetBody(gone);
  host_.objects().Delete(gone);
  dialogs().QueueDriver("SetBoOffset.dlx", [&](DialogDriver& d) {
    ASSERT_EQ(host_.message_log().size(), 1u);  // shown: the marks cannot be read
    EXPECT_EQ(host_.message_log()[0].title, "Block Styler");
    EXPECT_EQ(host_.message_log()[0].type, host::kErrorMessage);
    d.SetDouble("double01", 7);
    d.SetToggle("toggle03", true);
    EXPECT_FALSE(d.Ok());  // the mark cannot be written
    EXPECT_EQ(host_.message_log().size(), 2u);
    d.Cancel();
  });
  EXPECT_EQ(dialog.Show(), host::kResponseCancel);
  EXPECT_FALSE(dialog.IsOk());
  EXPECT_EQ(Offsets(dialog), (std::vector<double>{1, 2, 3, 4, 5}));

  // Without a body the frame toggles keep the layout's state, and OK writes
  // no marks anywhere.
  dialog.SetTargetBody(host::kNullTag);
  dialogs().QueueDriver("SetBoOffset.dlx", [](DialogDriver& d) {
    EXPECT_FALSE(d.Toggle("toggle03"));
    d.SetToggle("toggle03", true);
    EXPECT_TRUE(d.Ok());
  });
  EXPECT_EQ(dialog.Show(), host::kResponseOk);
  EXPECT_TRUE(host_.attributes().List(block_).empty());
}

}  // namespace
