// The coordinate-system pick dialog: a picked system's origin and axes, and
// confirmations without a system.
#include "dialogs/spec_csys.h"

#include "dialogs_fixture.h"

namespace {

using namespace dialogs_test;

class SpecCsysTest : public DialogTest {};

TEST_F(SpecCsysTest, ReturnsThePickedSystem) {
  const Vector3d x = RotZ({1, 0, 0}, 0.4);
  const Vector3d y = RotZ({0, 1, 0}, 0.4);
  const Tag csys = MakeCsys({10, -20, 35}, x, y, "BLANK");
  SpecCsys dialog(host_);
  dialogs().QueueDriver("SpecCsys.dlx", [&](DialogDriver& d) {
    d.Pick("coord_system0", {csys});
    EXPECT_TRUE(d.Ok());
  });
  EXPECT_EQ(dialog.Show(), host::kResponseOk);
  Point3d origin;
  Vector3d xd, yd;
  EXPECT_TRUE(dialog.GetSelectedCsys(origin, xd, yd));
  EXPECT_EQ(dialog.GetCsys(), csys);
  ExpectPoint(origin, {10, -20, 35});
  ExpectVector(xd, x);
  ExpectVector(yd, y);
}

TEST_F(SpecCsysTest, NothingOrAnotherKindOfObjectIsNoSystem) {
  const Tag block = host_.AddBody(Shape::Box(50, 40, 30));
  const Tag csys = MakeCsys({1, 2, 3}, {0, 1, 0}, {-1, 0, 0});
  SpecCsys dialog(host_);
  Point3d origin;
  Vector3d xd, yd;

  dialogs().QueueDriver("SpecCsys.dlx", [](DialogDriver& d) { EXPECT_TRUE(d.Ok()); });
  dialog.Show();
  EXPECT_FALSE(dialog.GetSelectedCsys(origin, xd, yd));

  // A system confirmed, then a later confirmation with a body picked: the
  // later one holds.
  dialogs().QueueDriver("SpecCsys.dlx", [&](DialogDriver& d) {
    d.Pick("coord_system0", {csys});
    EXPECT_TRUE(d.Ok());
  });
  dialog.Show();
  EXPECT_TRUE(dialog.GetSelectedCsys(origin, xd, yd));
  dialogs().QueueDriver("SpecCsys.dlx", [&](DialogDriver& d) {
    d.Pick("coord_system0", {block});
    EXPECT_TRUE(d.Ok());
  });
  dialog.Show();
  EXPECT_FALSE(dialog.GetSelectedCsys(origin, xd, yd));
  EXPECT_EQ(dialog.GetCsys(), host::kNullTag);

  // Cancel leaves nothing selected either.
  SpecCsys cancelled(host_);
  dialogs().QueueDriver("SpecCsys.dlx", [&](DialogDriver& d) {
    d.Pick("coord_system0", {csys});
    d.Cancel();
  });
  EXPECT_EQ(cancelled.Show(), host::kResponseCancel);
  EXPECT_FALSE(cancelled.GetSelectedCsys(origin, xd, yd));
  EXPECT_TRUE(host_.message_log().empty());
}

}  // namespace
