// The two-vector coordinate-system dialog on a turned block: vectors picked
// on its faces, the system they make, its replacement, and the refusals.
#include "dialogs/select_csys.h"

#include "dialogs_fixture.h"

namespace {

using namespace dialogs_test;

class SelectCsysTest : public DialogTest {
 protected:
  // A 100 x 60 x 20 block with a hole, turned 30 degrees about Z.
  const double turn_ = kPi / 6;
  Tag block_ = host_.AddBody(Shape::Box(100, 60, 20)
                                 .Drilled({50, 30, 20}, {0, 0, -1}, 10, 20)
                                 .Rotated({0, 0, 0}, {0, 0, 1}, kPi / 6)
                                 .Translated({200, 100, 0}));
  Vector3d x_ = RotZ({1, 0, 0}, turn_);
  Vector3d y_ = RotZ({0, 1, 0}, turn_);
};

TEST_F(SelectCsysTest, TwoPicksMakeTheSystemAndASecondPairReplacesIt) {
  const Tag x_face = FaceWithNormal(block_, x_);
  const Tag y_face = FaceWithNormal(block_, y_);
  const Tag top = FaceWithNormal(block_, {0, 0, 1});
  const std::size_t before = PartCsys().size();
  SelectCsys dialog(host_);
  Tag first = host::kNullTag;
  dialogs().QueueDriver("SelectCsys.dlx", [&](DialogDriver& d) {
    d.SetVector("vector0", x_, {200, 100, 0}, {x_face});
    EXPECT_EQ(dialog.GetCsys(), host::kNullTag);  // one vector is not a system
    d.SetVector("vector01", y_, {200, 100, 20}, {y_face});
    first = dialog.GetCsys();
    ASSERT_NE(first, host::kNullTag);
    EXPECT_EQ(dialog.GetBody(), block_);
    const host::CsysInfo info = host_.csys().AskCsysInfo(first);
    ExpectPoint(info.origin, {200, 100, 0});
    ExpectVector(info.matrix.XAxis(), x_);
    ExpectVector(info.matrix.YAxis(), y_);
    EXPECT_EQ(PartCsys().size(), before + 1);

    // Z up along the top face, X along the block's length, Y not square to
    // it: Y is made perpendicular in the plane of the two.
    d.SetVector("vector0", {0, 0, 1}, {210, 110, 20}, {top});
    d.SetVector("vector01", {x_.X + 0.2, x_.Y + 0.2, 0.3}, {210, 110, 20}, {x_face});
    const Tag second = dialog.GetCsys();
    EXPECT_NE(second, first);
    EXPECT_FALSE(host_.objects().Exists(first));
    EXPECT_EQ(PartCsys().size(), before + 1);
    const host::CsysInfo turned = host_.csys().AskCsysInfo(second);
    ExpectPoint(turned.origin, {210, 110, 20});
    ExpectVector(turned.matrix.XAxis(), {0, 0, 1});
    EXPECT_NEAR(host::Dot(turned.matrix.YAxis(), turned.matrix.XAxis()), 0, 1e-12);
    EXPECT_NEAR(host::Length(turned.matrix.YAxis()), 1, 1e-12);
    EXPECT_TRUE(d.Ok());
  });
  EXPECT_EQ(dialog.Show(), host::kResponseOk);
  EXPECT_TRUE(host_.objects().Exists(dialog.GetCsys()));
  EXPECT_EQ(dialog.GetBody(), block_);
  EXPECT_TRUE(host_.message_log().empty());
}

TEST_F(SelectCsysTest, OkWithoutASystemKeepsTheDialogOpen) {
  const Tag x_face = FaceWithNormal(block_, x_);
  const std::size_t before = PartCsys().size();
  SelectCsys dialog(host_);
  const std::string refused = "Block Styler|创建坐标系失败，请重新选择矢量";
  dialogs().QueueDriver("SelectCsys.dlx", [&](DialogDriver& d) {
    EXPECT_FALSE(d.Ok());
    EXPECT_EQ(Messages(), std::vector<std::string>{refused});

    // A direction typed in, not picked on the body, makes nothing either.
    d.SetVector("vector0", x_, {0, 0, 0}, {x_face});
    d.SetVector("vector01", y_, {0, 0, 0});
    EXPECT_FALSE(d.Ok());
    EXPECT_EQ(PartCsys().size(), before);

    // A good pair, then two parallel directions: the old system is gone, the
    // new one cannot be made, and OK still refuses.
    d.SetVector("vector01", y_, {0, 0, 0}, {FaceWithNormal(block_, y_)});
    ASSERT_NE(dialog.GetCsys(), host::kNullTag);
    d.SetVector("vector01", {-x_.X, -x_.Y, 0}, {0, 0, 0}, {FaceWithNormal(block_, y_)});
    EXPECT_EQ(dialog.GetCsys(), host::kNullTag);
    EXPECT_EQ(PartCsys().size(), before);
    EXPECT_FALSE(d.Ok());
    d.Cancel();
  });
  EXPECT_EQ(dialog.Show(), host::kResponseCancel);
  EXPECT_EQ(Messages(), (std::vector<std::string>{
                            refused, refused, "Block Styler|指定的向量无法创建坐标系", refused}));
}

}  // namespace
