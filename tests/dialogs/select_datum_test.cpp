// The datum marking dialog on turned blocks: preview spheres at the chosen
// point in the body's own system, a stored datum read back, the fallbacks of
// the system, and apply on several bodies.
#include "dialogs/select_datum.h"

#include "dialogs_fixture.h"
#include "host/text.h"

namespace {

using namespace dialogs_test;

constexpr const char* kId = "01020304050006";

class SelectDatumTest : public DialogTest {
 protected:
  // A 100 x 60 x 20 block with a hole, turned about Z and moved so that its
  // own corner (0, 0, 0) is at `at`.
  Tag TurnedBlock(const Point3d& at) {
    return host_.AddBody(Shape::Box(100, 60, 20)
                             .Drilled({30, 30, 20}, {0, 0, -1}, 12, 20)
                             .Rotated({0, 0, 0}, {0, 0, 1}, turn_)
                             .Translated({at.X, at.Y, at.Z}));
  }
  // A point of the block given in its own system.
  Point3d Own(const Point3d& at, double x, double y, double z) {
    const Vector3d v = RotZ({x, y, 0}, turn_);
    return {at.X + v.X, at.Y + v.Y, at.Z + z};
  }
  // The centres of the preview spheres in the part (bodies of colour 186).
  std::vector<Point3d> Spheres() {
    std::vector<Point3d> out;
    for (Tag body : host_.bodies().PartBodies(host_.session().WorkPart()))
      if (host_.objects().Color(body) == 186)
        out.push_back(host_.bodies().AskMassProperties(body).centroid);
    return out;
  }
  std::string Orientation(const char* tail = "") {
    const Vector3d x = RotZ({1, 0, 0}, turn_);
    return text::Format("%.15f,%.15f,0,%.15f,%.15f,0%s", x.X, x.Y, -x.Y, x.X, tail);
  }

  const double turn_ = kPi / 6;
};

TEST_F(SelectDatumTest, TheStoredDatumAndEachChoiceArePreviewedInTheBodysOwnSystem) {
  const Point3d at{50, 40, 10};
  const Tag block = TurnedBlock(at);
  host_.attributes().SetString(block, "实体标识", kId);
  host_.attributes().SetString(block, "材料方位", "0,0,1,1,0,0");  // the named system wins
  host_.attributes().SetString(block, "标注基准", "1-8");
  // The body's system, then a later one of the same name that must not be used.
  MakeCsys({7, 7, 7}, RotZ({1, 0, 0}, turn_), RotZ({0, 1, 0}, turn_), kId);
  MakeCsys({0, 0, 0}, {0, 0, 1}, {1, 0, 0}, kId);
  const Tag wcs = MakeCsys({5, 5, 5}, {0, 1, 0}, {-1, 0, 0});
  host_.csys().SetWcs(wcs);
  const Tag bad = TurnedBlock({300, 0, 0});
  const Tag bad_face = TurnedBlock({600, 0, 0});
  host_.attributes().SetString(bad, "标注基准", "0-x");
  host_.attributes().SetString(bad_face, "标注基准", "2-1");

  SelectDatum dialog(host_);
  dialogs().QueueDriver("SelectDatum.dlx", [&](DialogDriver& d) {
    EXPECT_TRUE(Spheres().empty());
    d.Pick("bodySelect0", {block});
    EXPECT_EQ(d.Enum("enum01"), 1);
    EXPECT_EQ(d.Enum("enum02"), 8);
    ASSERT_EQ(Spheres().size(), 1u);
    ExpectNear(Spheres()[0], Own(at, 100, 0, 0), 1e-4);
    const Tag sphere = host_.bodies().PartBodies(host_.session().WorkPart()).back();
    EXPECT_NEAR(host_.bodies().AskBoundingBoxExact(sphere, host::kNullTag).distances[0], 20.0 / 3,
                1e-5);

    d.SelectEnum("enum01", 0);
    d.SelectEnum("enum02", 0);
    ASSERT_EQ(Spheres().size(), 1u);  // each preview replaces the last
    ExpectNear(Spheres()[0], Own(at, 0, 60, 20), 1e-4);
    d.SelectEnum("enum02", 2);
    ExpectNear(Spheres()[0], Own(at, 100, 60, 20), 1e-4);
    d.SelectEnum("enum01", 1);
    d.SelectEnum("enum02", 6);  // bottom point six: the minimum corner
    ExpectNear(Spheres()[0], at, 1e-4);
    EXPECT_EQ(host_.csys().AskWcs(), wcs);

    // Values that name no face and point: reported, the choice stays, and
    // the preview follows it.
    for (Tag body : {bad, bad_face}) {
      d.ClearSelection("bodySelect0");
      d.Pick("bodySelect0", {body});
      EXPECT_EQ(d.Enum("enum01"), 1);
      EXPECT_EQ(d.Enum("enum02"), 6);
      EXPECT_EQ(Spheres().size(), 1u);
    }
    d.Cancel();
  });
  EXPECT_EQ(dialog.Show(), host::kResponseCancel);
  EXPECT_EQ(Attr(block, "标注基准"), "1-8");
  EXPECT_EQ(Attr(bad, "标注基准"), "0-x");
  EXPECT_EQ(Spheres().size(), 1u);  // closing without apply leaves the preview
  const std::vector<std::string> messages = Messages();
  ASSERT_EQ(messages.size(), 2u);
  EXPECT_NE(messages[0].find("Block Styler|"), std::string::npos);
  EXPECT_NE(messages[0].find("0-x"), std::string::npos);
  EXPECT_NE(messages[1].find("2-1"), std::string::npos);
}

TEST_F(SelectDatumTest, WithoutANamedSystemTheOrientationIsUsed) {
  const Point3d at{0, 0, 0}, plain_at{300, 0, 0};
  // The identity names no system; the orientation has a field more than
  // the six numbers.
  const Tag oriented = TurnedBlock(at);
  host_.attributes().SetString(oriented, "实体标识", "99999999999999");
  host_.attributes().SetString(oriented, "材料方位", Orientation(","));
  // Six fields only: measured in the work system as it stands.
  const Tag six = TurnedBlock(plain_at);
  host_.attributes().SetString(six, "材料方位", Orientation());
  const Tag parallel = TurnedBlock({600, 0, 0});
  host_.attributes().SetString(parallel, "材料方位", "1,0,0,-1,0,0,0");
  const Tag wcs = host_.csys().AskWcs();

  SelectDatum dialog(host_);
  dialogs().QueueDriver("SelectDatum.dlx", [&](DialogDriver& d) {
    d.SelectEnum("enum01", 1);
    d.SelectEnum("enum02", 6);
    d.Pick("bodySelect0", {oriented, six});
    ASSERT_EQ(Spheres().size(), 2u);
    ExpectNear(Spheres()[0], at, 1e-4);
    ExpectNear(Spheres()[1], host_.bodies().AskBoundingBoxExact(six, 0).corner, 1e-4);

    d.ClearSelection("bodySelect0");
    EXPECT_TRUE(Spheres().empty());
    d.Pick("bodySelect0", {parallel});
    EXPECT_TRUE(Spheres().empty());
    d.Cancel();
  });
  dialog.Show();
  ASSERT_EQ(Messages().size(), 1u);
  EXPECT_NE(Messages()[0].find("Block Styler|实体的材料方位\"1,0,0,-1,0,0,0\""), std::string::npos);
  // No temporary system is left as the work system.
  EXPECT_EQ(host_.csys().AskWcs(), wcs);
}

TEST_F(SelectDatumTest, ApplyMarksEveryBodyAndRemovesThePreview) {
  const Tag a = host_.AddBody(Shape::Box(80, 50, 25));
  const Tag b = host_.AddBody(Shape::Box(40, 40, 40, {200, 0, 0}));
  const Tag c = TurnedBlock({0, 300, 0});
  host_.attributes().SetString(b, "标注基准", "1-6");
  SelectDatum dialog(host_);
  dialogs().QueueDriver("SelectDatum.dlx", [&](DialogDriver& d) {
    d.Pick("bodySelect0", {a, b, c});
    EXPECT_EQ(d.Enum("enum01"), 0);  // the first body has no datum yet
    EXPECT_EQ(Spheres().size(), 3u);
    d.SelectEnum("enum02", 4);
    ASSERT_EQ(Spheres().size(), 3u);
    ExpectNear(Spheres()[0], {40, 25, 25}, 1e-4);
    EXPECT_EQ(d.Apply(), 0);
    EXPECT_TRUE(Spheres().empty());
    EXPECT_EQ(d.Apply(), 0);
    d.Unpick("bodySelect0", {c});
    d.SelectEnum("enum01", 1);
    EXPECT_TRUE(d.Ok());
  });
  EXPECT_EQ(dialog.Show(), host::kResponseOk);
  EXPECT_EQ(Attr(a, "标注基准"), "1-4");
  EXPECT_EQ(Attr(b, "标注基准"), "1-4");
  EXPECT_EQ(Attr(c, "标注基准"), "0-4");
  EXPECT_EQ(dialog.GetSelectedBodies(), (std::vector<Tag>{a, b, c, a, b, c, a, b}));
  EXPECT_TRUE(Spheres().empty());
  EXPECT_TRUE(host_.message_log().empty());
}

}  // namespace
