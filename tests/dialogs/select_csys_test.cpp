// The two coordinate-system dialogs: the two-vector one on a turned block
// (vectors picked on its faces, the system they make, its replacement, and the
// refusals) and the pick of an existing system.
#include "dialogs/select_csys.h"
#include "dialogs/spec_csys.h"

#include "dialogs_fixture.h"

namespace {

using namespace dialogs_test;

class SelectCsysTest : public DialogTest {
 protected:
  // The planar face of the block whose outward normal is `normal`.
  Tag Face(const Vector3d& normal) {
    for (Tag face : host_.bodies().BodyFaces(block_)) {
      const host::FaceData d = host_.bodies().AskFaceData(face);
      if (d.type == host::kPlanarFace && host::Dot(d.direction, normal) > 0.9999) return face;
    }
    ADD_FAILURE() << "no face with that normal";
    return host::kNullTag;
  }
  std::size_t Systems() { return host_.csys().PartCsys(host_.session().WorkPart()).size(); }

  // A 100 x 60 x 20 block with a hole, turned 30 degrees about Z.
  Tag block_ = host_.AddBody(Shape::Box(100, 60, 20)
                                 .Drilled({50, 30, 20}, {0, 0, -1}, 10, 20)
                                 .Rotated({0, 0, 0}, {0, 0, 1}, kPi / 6)
                                 .Translated({200, 100, 0}));
  Vector3d x_ = RotZ({1, 0, 0}, kPi / 6);
  Vector3d y_ = RotZ({0, 1, 0}, kPi / 6);
  std::size_t before_ = Systems();
};

TEST_F(SelectCsysTest, TwoPicksMakeTheSystemAndASecondPairReplacesIt) {
  SelectCsys dialog(host_);
  dialogs().QueueDriver("SelectCsys.dlx", [&](DialogDriver& d) {
    d.SetVector("vector0", x_, {200, 100, 0}, {Face(x_)});
    EXPECT_EQ(dialog.GetCsys(), host::kNullTag);  // one vector is not a system
    d.SetVector("vector01", y_, {200, 100, 20}, {Face(y_)});
    const Tag first = dialog.GetCsys();
    ASSERT_NE(first, host::kNullTag);
    EXPECT_EQ(dialog.GetBody(), block_);
    const host::CsysInfo info = host_.csys().AskCsysInfo(first);
    ExpectNear(info.origin, {200, 100, 0});
    ExpectNear(info.matrix.XAxis(), x_, 1e-9);
    ExpectNear(info.matrix.YAxis(), y_, 1e-9);
    EXPECT_EQ(Systems(), before_ + 1);

    // Z up along the top face, X along the block's length, Y not square to
    // it: Y is made perpendicular in the plane of the two.
    d.SetVector("vector0", {0, 0, 1}, {210, 110, 20}, {Face({0, 0, 1})});
    d.SetVector("vector01", {x_.X + 0.2, x_.Y + 0.2, 0.3}, {210, 110, 20}, {Face(x_)});
    EXPECT_FALSE(host_.objects().Exists(first));
    EXPECT_EQ(Systems(), before_ + 1);
    const host::CsysInfo turned = host_.csys().AskCsysInfo(dialog.GetCsys());
    ExpectNear(turned.origin, {210, 110, 20});
    ExpectNear(turned.matrix.XAxis(), {0, 0, 1}, 1e-9);
    EXPECT_NEAR(host::Dot(turned.matrix.YAxis(), turned.matrix.XAxis()), 0, 1e-12);
    EXPECT_NEAR(host::Length(turned.matrix.YAxis()), 1, 1e-12);
    EXPECT_TRUE(d.Ok());
  });
  EXPECT_EQ(dialog.Show(), host::kResponseOk);
  EXPECT_TRUE(host_.objects().Exists(dialog.GetCsys()));
  EXPECT_TRUE(host_.message_log().empty());
}

TEST_F(SelectCsysTest, OkWithoutASystemKeepsTheDialogOpenAndCancelLeavesNone) {
  SelectCsys dialog(host_);
  const std::string refused = "Block Styler|创建坐标系失败，请重新选择矢量";
  dialogs().QueueDriver("SelectCsys.dlx", [&](DialogDriver& d) {
    EXPECT_FALSE(d.Ok());
    EXPECT_EQ(Messages(), std::vector<std::string>{refused});

    // A direction typed in, not picked on the body, makes nothing either.
    d.SetVector("vector0", x_, {0, 0, 0}, {Face(x_)});
    d.SetVector("vector01", y_, {0, 0, 0});
    EXPECT_FALSE(d.Ok());
    EXPECT_EQ(Systems(), before_);

    // A good pair, then two parallel directions: the old system is gone, the
    // new one cannot be made, and OK still refuses.
    d.SetVector("vector01", y_, {0, 0, 0}, {Face(y_)});
    ASSERT_NE(dialog.GetCsys(), host::kNullTag);
    d.SetVector("vector01", {-x_.X, -x_.Y, 0}, {0, 0, 0}, {Face(y_)});
    EXPECT_EQ(dialog.GetCsys(), host::kNullTag);
    EXPECT_FALSE(d.Ok());
    d.Cancel();
  });
  EXPECT_EQ(dialog.Show(), host::kResponseCancel);
  EXPECT_EQ(Systems(), before_);
  EXPECT_EQ(Messages(), (std::vector<std::string>{
                            refused, refused, "Block Styler|指定的向量无法创建坐标系", refused}));
}

// The pick dialog: a picked system's origin and axes, and confirmations
// without a system.
TEST_F(SelectCsysTest, SpecCsysReturnsThePickedSystemAndNothingForNoneABodyOrACancel) {
  const Vector3d x = RotZ({1, 0, 0}, 0.4), y = RotZ({0, 1, 0}, 0.4);
  const Tag csys = MakeCsys({10, -20, 35}, x, y, "BLANK");
  Point3d origin;
  Vector3d xd, yd;
  // Shows `dialog`, picks `picked` (none when null) and confirms or cancels.
  auto show = [&](SpecCsys& dialog, Tag picked, bool ok) {
    dialogs().QueueDriver("SpecCsys.dlx", [&](DialogDriver& d) {
      if (picked != host::kNullTag) d.Pick("coord_system0", {picked});
      if (!ok) return d.Cancel();
      EXPECT_TRUE(d.Ok());
    });
    return dialog.Show();
  };
  SpecCsys dialog(host_);
  EXPECT_EQ(show(dialog, host::kNullTag, true), host::kResponseOk);
  EXPECT_FALSE(dialog.GetSelectedCsys(origin, xd, yd));
  EXPECT_EQ(show(dialog, csys, true), host::kResponseOk);
  EXPECT_TRUE(dialog.GetSelectedCsys(origin, xd, yd));
  EXPECT_EQ(dialog.GetCsys(), csys);
  ExpectNear(origin, {10, -20, 35});
  ExpectNear(xd, x, 1e-9);
  ExpectNear(yd, y, 1e-9);
  // A later confirmation with a body picked: the later one holds.
  show(dialog, block_, true);
  EXPECT_FALSE(dialog.GetSelectedCsys(origin, xd, yd));
  EXPECT_EQ(dialog.GetCsys(), host::kNullTag);

  SpecCsys cancelled(host_);
  EXPECT_EQ(show(cancelled, csys, false), host::kResponseCancel);
  EXPECT_FALSE(cancelled.GetSelectedCsys(origin, xd, yd));
  EXPECT_TRUE(host_.message_log().empty());
}

}  // namespace
