// The datum marking dialog on turned blocks: preview spheres at the chosen
// point in the body's own system (named, or from the orientation), a stored
// datum read back, and apply on several bodies.
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
  void ExpectSpheres(const std::vector<Point3d>& centres) {
    const std::vector<Point3d> now = Spheres();
    ASSERT_EQ(now.size(), centres.size());
    for (std::size_t i = 0; i < now.size(); ++i) ExpectNear(now[i], centres[i], 1e-4);
  }
  // The chosen face and point as the datum attribute writes them.
  static std::string Datum(DialogDriver& d) {
    return std::to_string(d.Enum("enum01")) + "-" + std::to_string(d.Enum("enum02"));
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
  // Without a named system the orientation is used: one with a field more
  // than the six numbers; with six fields only, measured in the work system
  // as it stands; parallel axes make no system.
  const Point3d oriented_at{0, 300, 0};
  const Tag oriented = TurnedBlock(oriented_at);
  host_.attributes().SetString(oriented, "实体标识", "99999999999999");
  host_.attributes().SetString(oriented, "材料方位", Orientation(","));
  const Tag six = TurnedBlock({300, 300, 0});
  host_.attributes().SetString(six, "材料方位", Orientation());
  const Tag parallel = TurnedBlock({600, 300, 0});
  host_.attributes().SetString(parallel, "材料方位", "1,0,0,-1,0,0,0");
  const Tag unreadable = TurnedBlock({900, 300, 0});
  host_.attributes().SetString(unreadable, "材料方位", "1,0,0,abc,1,0,0");

  SelectDatum dialog(host_);
  dialogs().QueueDriver("SelectDatum.dlx", [&](DialogDriver& d) {
    ExpectSpheres({});
    d.Pick("bodySelect0", {block});
    EXPECT_EQ(Datum(d), "1-8");
    ExpectSpheres({Own(at, 100, 0, 0)});
    const Tag sphere = host_.bodies().PartBodies(host_.session().WorkPart()).back();
    EXPECT_NEAR(host_.bodies().AskBoundingBoxExact(sphere, host::kNullTag).distances[0], 20.0 / 3,
                1e-5);
    d.SelectEnum("enum01", 0);
    d.SelectEnum("enum02", 0);
    ExpectSpheres({Own(at, 0, 60, 20)});  // each preview replaces the last
    d.SelectEnum("enum02", 2);
    ExpectSpheres({Own(at, 100, 60, 20)});
    d.SelectEnum("enum01", 1);
    d.SelectEnum("enum02", 6);  // bottom point six: the minimum corner
    ExpectSpheres({at});
    d.ClearSelection("bodySelect0");
    d.Pick("bodySelect0", {oriented, six});
    ExpectSpheres({oriented_at, host_.bodies().AskBoundingBoxExact(six, wcs).corner});
    d.ClearSelection("bodySelect0");
    ExpectSpheres({});
    // Orientations that make no system or cannot be read raise nothing of
    // their own: those bodies are measured in the work system as it stands,
    // and the bodies picked with them are previewed all the same.
    d.Pick("bodySelect0", {parallel, unreadable, oriented});
    ExpectSpheres({host_.bodies().AskBoundingBoxExact(parallel, wcs).corner,
                   host_.bodies().AskBoundingBoxExact(unreadable, wcs).corner, oriented_at});

    // Values that name no face and point: reported, the choice stays, and
    // the preview follows it.
    for (Tag body : {bad, bad_face}) {
      d.ClearSelection("bodySelect0");
      d.Pick("bodySelect0", {body});
      EXPECT_EQ(Datum(d), "1-6");
      EXPECT_EQ(Spheres().size(), 1u);
    }
    d.Cancel();
  });
  EXPECT_EQ(dialog.Show(), host::kResponseCancel);
  EXPECT_EQ(Attr(block, "标注基准"), "1-8");
  EXPECT_EQ(Attr(bad, "标注基准"), "0-x");
  EXPECT_EQ(Spheres().size(), 1u);  // closing without apply leaves the preview
  // No temporary system is left as the work system.
  EXPECT_EQ(host_.csys().AskWcs(), wcs);
  EXPECT_EQ(Messages(), (std::vector<std::string>{
                            "Block Styler|实体的标注基准\"0-x\"无效，应为\"面-点\"，如0-4",
                            "Block Styler|实体的标注基准\"2-1\"无效，应为\"面-点\"，如0-4"}));
}

TEST_F(SelectDatumTest, ApplyMarksEveryBodyAndRemovesThePreview) {
  const Tag a = host_.AddBody(Shape::Box(80, 50, 25));
  const Tag b = host_.AddBody(Shape::Box(40, 40, 40, {200, 0, 0}));
  const Tag c = TurnedBlock({0, 300, 0});
  host_.attributes().SetString(b, "标注基准", "1-6");
  SelectDatum dialog(host_);
  dialogs().QueueDriver("SelectDatum.dlx", [&](DialogDriver& d) {
    d.Pick("bodySelect0", {a, b, c});
    EXPECT_EQ(Datum(d), "0-0");  // the first body has no datum yet
    EXPECT_EQ(Spheres().size(), 3u);
    d.SelectEnum("enum02", 4);
    ExpectSpheres({{40, 25, 25}, {220, 20, 40}, Own({0, 300, 0}, 50, 30, 20)});
    EXPECT_EQ(d.Apply(), 0);
    ExpectSpheres({});
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
