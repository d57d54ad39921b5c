// The body service on real solids: box and extents in the work system, point
// mapping, identical bodies, attribute reads and the layer.
#include "blank/body_info.h"

#include <algorithm>

#include "blank_fixture.h"

namespace {

using namespace blank_test;
using blank::BodyInfo;

TEST(BlankBodyInfo, CornersAndExtentsInTheWorkSystem) {
  MemoryHost h;
  const Tag body = h.AddBody(Shape::Box(100, 50, 20, {10, 20, 30}), 7);
  BodyInfo info(h, body);
  ExpectVec(info.GetMaxCorner(), {110, 70, 50}, 1e-6);

  // A work system turned 90 degrees about Z at (1, 2, 3): the box is measured
  // along its axes after a refresh, and points map both ways.
  const Matrix3x3 m{0, 1, 0, -1, 0, 0, 0, 0, 1};
  const Tag wcs = h.csys().CreateTempCsys({1, 2, 3}, h.csys().CreateMatrix(m));
  h.csys().SetWcs(wcs);
  EXPECT_NEAR(info.GetBodyLength(), 100, 1e-6);  // kept from the first measure
  info.Refresh();
  EXPECT_NEAR(info.GetBodyLength(), 50, 1e-6);
  EXPECT_NEAR(info.GetBodyWide(), 100, 1e-6);
  const Point3d local = info.MapPointToWCS(info.GetMinCorner());
  ExpectVec(local, {18, -109, 27}, 1e-6);
  ExpectVec(info.MapPointToABS(local), {info.GetMinCorner().X, info.GetMinCorner().Y, 30});
}

// A punch with a rectangular shank, a round head off the shank's middle and a
// pilot hole: no symmetry at all.
Shape ShapedPunch(double hole_x = 6.0, double shank = 60.0) {
  return Shape::Box(20, 12, shank)
      .Fuse(Shape::Cylinder(11, 8, {8, 6, shank}))
      .Drilled({hole_x, 6, 0}, {0, 0, 1}, 4, 20);
}

// The outline mirrored in the YZ plane, counterclockwise again.
std::vector<Point3d> Mirrored(std::vector<Point3d> outline) {
  for (Point3d& p : outline) p.X = -p.X;
  std::reverse(outline.begin(), outline.end());
  return outline;
}

// The bodies among `others` that are the same part as `body`.
std::vector<Tag> Same(MemoryHost& h, Tag body, const std::vector<Tag>& others) {
  return BodyInfo(h, body).GetSameBodys(others);
}

// An L block with legs of different lengths and a blind hole from the top in
// the long leg (a flat profile alone would be its own mirror image, turned
// over).
Shape LBlock(bool mirrored) {
  const std::vector<Point3d> outline{{0, 0, 0},   {80, 0, 0},  {80, 20, 0},
                                     {25, 20, 0}, {25, 50, 0}, {0, 50, 0}};
  return Shape::Prism(mirrored ? Mirrored(outline) : outline, 15)
      .Drilled({mirrored ? -60.0 : 60.0, 10, 15}, {0, 0, -1}, 8, 6);
}

TEST(BlankBodyInfo, TurnedCopiesAreTheSameWhateverTheirSymmetry) {
  MemoryHost h;
  const Shape punch = ShapedPunch();
  const Tag a = h.AddBody(punch);
  const Tag turned_z =
      h.AddBody(punch.Rotated({0, 0, 0}, {0, 0, 1}, Deg(37)).Translated({200, 0, 0}));
  const Tag turned_any =
      h.AddBody(punch.Rotated({3, 1, 4}, {1, -2, 0.5}, Deg(37)).Translated({0, 300, 50}));
  // Numerical noise: a shift and a turn of 1e-9, a shank 1e-9 longer.
  const Tag noisy = h.AddBody(
      punch.Rotated({0, 0, 0}, {0, 0, 1}, Deg(37) + 1e-9).Translated({400 + 1e-9, 1e-9, 0}));
  const Tag longer = h.AddBody(ShapedPunch(6.0, 60 + 1e-9).Rotated({}, {1, 1, 1}, 2.0));
  // The body itself is not listed; the pilot hole 0.1 mm off is another part.
  const Tag hole_off = h.AddBody(ShapedPunch(6.1));
  EXPECT_EQ(Same(h, a, {a, turned_z, turned_any, noisy, longer, hole_off}),
            (std::vector<Tag>{turned_z, turned_any, noisy, longer}));
  const Tag probe = Probe(h);
  std::vector<BodyInfo> others{BodyInfo(h, hole_off), BodyInfo(h, turned_z)};
  EXPECT_EQ(BodyInfo(h, a).GetSameBodys(others), std::vector<Tag>{turned_z});
  EXPECT_EQ(LiveObjectsSince(h, probe), 0);  // nothing temporary is left behind

  // Equal principal moments leave the principal axes undefined: a square
  // plate with a symmetric hole pattern (one axis of its own), a round punch
  // with a flat, a cube with a hole along one edge, a plain cube (no axis of its own).
  auto plate = [](double hx) {
    Shape s = Shape::Box(100, 100, 20);
    for (Point3d c : {Point3d{20, 20, 20}, {80, 20, 20}, {20, 80, 20}, {80, 80, 20}})
      s = s.Drilled(c, {0, 0, -1}, 10, 20);
    return s.Drilled({hx, 50, 20}, {0, 0, -1}, 6, 20);
  };
  const Shape round = Shape::Cylinder(8, 50)
                          .Fuse(Shape::Cylinder(12, 6, {0, 0, 50}))
                          .Cut(Shape::Box(4, 20, 20, {6, -10, 0}));
  const Shape cube = Shape::Box(40, 40, 40).Drilled({0, 0, 40}, {0, 0, -1}, 10, 40);
  for (const Shape& s : {plate(50), round, cube, Shape::Box(40, 40, 40)}) {
    const Tag p = h.AddBody(s);
    const Tag q =
        h.AddBody(s.Rotated({10, 20, 30}, {0.3, -0.4, 1}, Deg(37)).Translated({0, 0, 500}));
    const Tag r = h.AddBody(s.Rotated({0, 0, 0}, {0, 0, 1}, Deg(90)));
    EXPECT_EQ(Same(h, p, {q, r}), (std::vector<Tag>{q, r}));
  }
  // The plate's middle hole 0.1 mm off the centre: another part, whichever way it lies.
  const Tag centred = h.AddBody(plate(50));
  const Tag off = h.AddBody(plate(50.1));
  const Tag off_turned = h.AddBody(plate(50.1).Rotated({50, 50, 0}, {0, 0, 1}, Deg(180)));
  EXPECT_TRUE(Same(h, centred, {off, off_turned}).empty());
  EXPECT_EQ(Same(h, off, {centred, off_turned}), std::vector<Tag>{off_turned});
}

TEST(BlankBodyInfo, AMirrorImageIsAnotherPart) {
  MemoryHost h;
  const Tag left = h.AddBody(LBlock(false));
  const Tag right = h.AddBody(LBlock(true));
  const Tag right_turned = h.AddBody(LBlock(true).Rotated({}, {0, 0, 1}, Deg(180)));
  const Tag right_flipped = h.AddBody(LBlock(true).Rotated({}, {1, 0, 0}, Deg(180)));
  const Tag left_turned = h.AddBody(LBlock(false).Rotated({}, {1, 1, 0}, Deg(123)));
  EXPECT_EQ(Same(h, left, {right, right_turned, right_flipped, left_turned}),
            std::vector<Tag>{left_turned});
  EXPECT_EQ(Same(h, right, {left, right_turned, right_flipped}),
            (std::vector<Tag>{right_turned, right_flipped}));
  // A symmetric part is its own mirror image: an equal-legged L block.
  const std::vector<Point3d> even{{0, 0, 0},   {50, 0, 0},  {50, 20, 0},
                                  {20, 20, 0}, {20, 50, 0}, {0, 50, 0}};
  const Tag mirror = h.AddBody(Shape::Prism(Mirrored(even), 10));
  EXPECT_EQ(Same(h, h.AddBody(Shape::Prism(even, 10)), {mirror}), std::vector<Tag>{mirror});
}

TEST(BlankBodyInfo, BodiesThatCannotBeMeasuredAreNeverTheSame) {
  MemoryHost h;
  const Tag block = h.AddBody(Shape::Box(30, 20, 10));
  const Tag copy = h.AddBody(Shape::Box(30, 20, 10, {100, 0, 0}));
  const Tag sheet = h.AddBody(Shape::Sheet(30, 20));
  const Tag sheet2 = h.AddBody(Shape::Sheet(30, 20, {0, 50, 0}));
  const Tag gone = h.AddBody(Shape::Box(30, 20, 10, {0, 100, 0}));
  h.objects().Delete(gone);
  EXPECT_EQ(Same(h, block, {sheet, gone, host::kNullTag, copy, block}), std::vector<Tag>{copy});
  EXPECT_TRUE(Same(h, sheet, {sheet2, block}).empty());
  EXPECT_TRUE(Same(h, gone, {block, copy}).empty());
  // No volume, no orientation.
  Matrix3x3 m;
  EXPECT_FALSE(BodyInfo(h, sheet).GetBodyMinVolumeOrient(m, 0.05));
}

TEST(BlankBodyInfo, AttributesOfTheBodyOrItsFaces) {
  MemoryHost h;
  const Tag body = h.AddBody(Shape::Box(10, 10, 10));
  BodyInfo info(h, body);
  // Whether found, and the value (left alone when not found).
  auto facet_attr = [&] {
    std::string value = "untouched";
    return std::to_string(info.GetBodyFacetAttr(body, "转图标识", value)) + " " + value;
  };
  EXPECT_EQ(facet_attr(), "0 untouched");
  h.attributes().SetString(h.bodies().BodyFaces(body)[3], "转图标识", "N");
  EXPECT_EQ(facet_attr(), "1 N");
  h.attributes().SetString(body, "转图标识", "Y");  // the body's own wins
  EXPECT_EQ(facet_attr(), "1 Y");
}

}  // namespace

namespace {

TEST(BlankBodyInfo, TheMotionOntoTheSamePartInAnotherModel) {
  // The punch in one model; in another, the same punch slid, and turned a
  // quarter about Z.
  MemoryHost before, after;
  BodyInfo info(before, before.AddBody(ShapedPunch(), 90));
  BodyInfo slid(after, after.AddBody(ShapedPunch().Translated({100, 0, 5}), 90));
  BodyInfo turned(after, after.AddBody(ShapedPunch().Rotated({0, 0, 0}, {0, 0, 1}, Deg(90)), 90));

  const std::optional<BodyInfo::Motion> s = info.MotionOnto(slid);
  ASSERT_TRUE(s.has_value());
  EXPECT_EQ(s->rotation.Xx, 1) << "slid, not turned";
  EXPECT_EQ(s->rotation.Yy, 1);
  ExpectVec(s->translation, {100, 0, 5}, 1e-6);

  const std::optional<BodyInfo::Motion> t = info.MotionOnto(turned);
  ASSERT_TRUE(t.has_value());
  // X goes onto Y: the point (1, 0, 0) of the punch lies at (0, 1, 0).
  ExpectVec(Vector3d{t->rotation.Xx, t->rotation.Yx, t->rotation.Zx}, {0, 1, 0}, 1e-6);
  ExpectVec(Vector3d{t->rotation.Xy, t->rotation.Yy, t->rotation.Zy}, {-1, 0, 0}, 1e-6);
  ExpectVec(t->translation, {0, 0, 0}, 1e-6);

  // A mirror image, a longer punch and a body without volume: no motion.
  BodyInfo left(before, before.AddBody(LBlock(false), 80));
  BodyInfo right(after, after.AddBody(LBlock(true).Translated({0, 500, 0}), 80));
  EXPECT_FALSE(left.MotionOnto(right).has_value());
  BodyInfo longer(after, after.AddBody(ShapedPunch(6.0, 61.0), 90));
  EXPECT_FALSE(info.MotionOnto(longer).has_value());
  BodyInfo sheet(after, after.AddBody(Shape::Sheet(10, 10), 90));
  EXPECT_FALSE(info.MotionOnto(sheet).has_value());
  EXPECT_TRUE(info.GetSignature().valid);
  EXPECT_FALSE(sheet.GetSignature().valid);
}

}  // namespace
