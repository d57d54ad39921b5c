// The coordinate-system pick dialog: a picked system's origin and axes, and
// confirmations without a system.
#include "dialogs/spec_csys.h"

#include "dialogs_fixture.h"

namespace {

using namespace dialogs_test;

TEST_F(DialogTest, SpecCsysReturnsThePickedSystemAndNothingForNoneABodyOrACancel) {
  const Vector3d x = RotZ({1, 0, 0}, 0.4), y = RotZ({0, 1, 0}, 0.4);
  const Tag csys = MakeCsys({10, -20, 35}, x, y, "BLANK");
  const Tag block = host_.AddBody(Shape::Box(50, 40, 30));
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
  show(dialog, block, true);
  EXPECT_FALSE(dialog.GetSelectedCsys(origin, xd, yd));
  EXPECT_EQ(dialog.GetCsys(), host::kNullTag);

  SpecCsys cancelled(host_);
  EXPECT_EQ(show(cancelled, csys, false), host::kResponseCancel);
  EXPECT_FALSE(cancelled.GetSelectedCsys(origin, xd, yd));
  EXPECT_TRUE(host_.message_log().empty());
}

}  // namespace
