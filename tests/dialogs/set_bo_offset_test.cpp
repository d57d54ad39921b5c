// The blank offset dialog driven as a designer does: allowances, the common
// side allowance, and the one-way frame marks on a real block.
#include "dialogs/set_bo_offset.h"

#include "dialogs_fixture.h"

namespace {

using namespace dialogs_test;

class SetBoOffsetTest : public DialogTest {
 protected:
  Tag block_ = host_.AddBody(Shape::Box(120, 80, 30).Drilled({60, 40, 30}, {0, 0, -1}, 12, 30));
};

TEST_F(SetBoOffsetTest, OpensWithTheValuesAndEveryFrameOfAnUnmarkedBody) {
  SetBoOffset dialog(host_);
  dialog.SetBomOffset(1.5, 2, 3, 4, 5.25);
  dialog.SetTargetBody(block_);
  dialogs().QueueDriver("SetBoOffset.dlx", [](DialogDriver& d) {
    EXPECT_FALSE(d.Toggle("toggle0"));
    EXPECT_FALSE(d.IsShown("double0"));
    EXPECT_EQ(d.Double("double0"), 0.0);
    const char* ids[] = {"double01", "double02", "double03", "double04", "double05"};
    const double values[] = {1.5, 2, 3, 4, 5.25};
    for (int i = 0; i < 5; ++i) {
      EXPECT_TRUE(d.IsShown(ids[i])) << ids[i];
      EXPECT_EQ(d.Double(ids[i]), values[i]) << ids[i];
    }
    EXPECT_TRUE(d.Toggle("toggle03"));
    EXPECT_TRUE(d.Toggle("toggle01"));
    EXPECT_TRUE(d.Toggle("toggle02"));
    d.SetDouble("double03", 6);
    EXPECT_TRUE(d.Ok());
  });
  EXPECT_EQ(dialog.Show(), host::kResponseOk);
  EXPECT_TRUE(dialog.IsOk());
  double a[5];
  dialog.GetBomOffset(&a[0], &a[1], &a[2], &a[3], &a[4]);
  EXPECT_EQ(std::vector<double>(a, a + 5), (std::vector<double>{1.5, 2, 6, 4, 5.25}));
  EXPECT_EQ(Attr(block_, "TOP_FRAME"), "Y");
  EXPECT_EQ(Attr(block_, "LEFT_FRAME"), "Y");
  EXPECT_EQ(Attr(block_, "BOTTOM_FRAME"), "Y");
  EXPECT_TRUE(host_.message_log().empty());
}

TEST_F(SetBoOffsetTest, OneValueForTheFourSidesButNotTheThickness) {
  SetBoOffset dialog(host_);
  dialog.SetBomOffset(1, 1, 1, 1, 3);
  dialogs().QueueDriver("SetBoOffset.dlx", [](DialogDriver& d) {
    d.SetToggle("toggle0", true);
    EXPECT_TRUE(d.IsShown("double0"));
    for (const char* id : {"double01", "double02", "double03", "double04"}) {
      EXPECT_FALSE(d.IsShown(id)) << id;
    }
    EXPECT_TRUE(d.IsShown("double05"));
    d.SetDouble("double0", 2);
    for (const char* id : {"double01", "double02", "double03", "double04"}) {
      EXPECT_EQ(d.Double(id), 2.0) << id;
    }
    EXPECT_EQ(d.Double("double05"), 3.0);
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
  double a1 = 0, a2 = 0, a3 = 0, a4 = 0, a5 = 0;
  dialog.GetBomOffset(&a1, &a2, &a3, &a4, &a5);
  EXPECT_EQ(std::vector<double>({a1, a2, a3, a4, a5}), (std::vector<double>{2, 2, 2, 2, 4.5}));
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

TEST_F(SetBoOffsetTest, CancelAndNoBodyChangeNothing) {
  SetBoOffset dialog(host_);
  dialog.SetBomOffset(1, 2, 3, 4, 5);
  dialogs().QueueDriver("SetBoOffset.dlx", [](DialogDriver& d) {
    // Without a body the frame toggles keep the layout's state.
    EXPECT_FALSE(d.Toggle("toggle03"));
    d.SetDouble("double01", 8);
    d.Cancel();
  });
  EXPECT_EQ(dialog.Show(), host::kResponseCancel);
  EXPECT_FALSE(dialog.IsOk());
  double a[5];
  dialog.GetBomOffset(&a[0], &a[1], &a[2], &a[3], &a[4]);
  EXPECT_EQ(a[0], 1.0);

  // OK without a body writes no marks anywhere.
  dialog.SetTargetBody(host::kNullTag);
  dialogs().QueueDriver("SetBoOffset.dlx", [](DialogDriver& d) {
    d.SetToggle("toggle03", true);
    EXPECT_TRUE(d.Ok());
  });
  dialog.Show();
  EXPECT_TRUE(dialog.IsOk());
  EXPECT_TRUE(host_.attributes().List(block_).empty());
}

TEST_F(SetBoOffsetTest, ADeletedBodyIsReportedAndTheDialogStaysOpen) {
  SetBoOffset dialog(host_);
  dialog.SetBomOffset(1, 2, 3, 4, 5);
  dialog.SetTargetBody(block_);
  host_.objects().Delete(block_);
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
  double a[5];
  dialog.GetBomOffset(&a[0], &a[1], &a[2], &a[3], &a[4]);
  EXPECT_EQ(a[0], 1.0);
}

}  // namespace
