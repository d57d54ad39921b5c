// The body service on real solids: box and extents in the work system, point
// mapping, identical bodies, attribute reads and the layer.
#include "blank/body_info.h"

#include "blank_fixture.h"

namespace {

using namespace blank_test;
using blank::BodyInfo;

TEST(BlankBodyInfo, CornersAndExtentsInTheWorkSystem) {
  MemoryHost h;
  const Tag body = h.AddBody(Shape::Box(100, 50, 20, {10, 20, 30}), 7);
  BodyInfo info(h, body);
  ExpectVec({info.GetMaxCorner().X, info.GetMaxCorner().Y, info.GetMaxCorner().Z}, {110, 70, 50},
            1e-6);

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
  ExpectVec({local.X, local.Y, local.Z}, {18, -109, 27}, 1e-6);
  const Point3d back = info.MapPointToABS(local);
  ExpectVec({back.X, back.Y, back.Z}, {info.GetMinCorner().X, info.GetMinCorner().Y, 30}, 1e-9);
}

TEST(BlankBodyInfo, IdenticalBodiesWhereverTheyAre) {
  MemoryHost h;
  Shape part = Shape::Box(120, 60, 25).Drilled({30, 30, 25}, {0, 0, -1}, 10, 25);
  part = part.Drilled({90, 30, 25}, {0, 0, -1}, 10, 25);
  const Tag a = h.AddBody(part);
  const Tag moved = h.AddBody(part.Rotated({5, 5, 5}, {1, 2, 3}, 1.1).Translated({300, 0, 0}));
  const Tag longer = h.AddBody(Shape::Box(120.5, 60, 25)
                                   .Drilled({30, 30, 25}, {0, 0, -1}, 10, 25)
                                   .Drilled({90, 30, 25}, {0, 0, -1}, 10, 25));
  // Same outside, holes elsewhere: the moments differ.
  const Tag holes_moved = h.AddBody(Shape::Box(120, 60, 25)
                                        .Drilled({20, 30, 25}, {0, 0, -1}, 10, 25)
                                        .Drilled({50, 30, 25}, {0, 0, -1}, 10, 25));
  // Same volume and box, another shape: no.
  const Tag plain = h.AddBody(Shape::Box(120, 60, 25));
  BodyInfo info(h, a);
  EXPECT_EQ(info.GetSameBodys(std::vector<Tag>{a, moved, longer, holes_moved, plain}),
            std::vector<Tag>{moved});
  std::vector<BodyInfo> others{BodyInfo(h, plain), BodyInfo(h, moved)};
  EXPECT_EQ(info.GetSameBodys(others), std::vector<Tag>{moved});
  EXPECT_TRUE(info.IsSameBody(info));
  // Nothing temporary is left behind by the comparison.
  const Tag probe = Probe(h);
  BodyInfo(h, a).GetSameBodys(std::vector<Tag>{moved});
  EXPECT_EQ(LiveObjectsSince(h, probe), 0);
}

TEST(BlankBodyInfo, AttributesOfTheBodyOrItsFaces) {
  MemoryHost h;
  const Tag body = h.AddBody(Shape::Box(10, 10, 10));
  BodyInfo info(h, body);
  std::string value = "untouched";
  EXPECT_FALSE(info.GetBodyFacetAttr(body, "转图标识", value));
  EXPECT_EQ(value, "untouched");
  const Tag face = h.bodies().BodyFaces(body)[3];
  h.attributes().SetString(face, "转图标识", "N");
  EXPECT_TRUE(info.GetBodyFacetAttr(body, "转图标识", value));
  EXPECT_EQ(value, "N");
  h.attributes().SetString(body, "转图标识", "Y");  // the body's own wins
  EXPECT_TRUE(info.GetBodyFacetAttr(body, "转图标识", value));
  EXPECT_EQ(value, "Y");
}

TEST(BlankBodyInfo, MinimumVolumeOrientationOfASphereAndASheet) {
  MemoryHost h;
  // A sphere has no vertices at all: its samples alone give the cube.
  const Tag ball = h.AddBody(Shape::Sphere({5, 6, 7}, 12));
  Matrix3x3 m;
  ASSERT_TRUE(BodyInfo(h, ball).GetBodyMinVolumeOrient(m, 0.05));
  const Tag csys = h.csys().CreateTempCsys({}, h.csys().CreateMatrix(m));
  for (double d : h.bodies().AskBoundingBoxExact(ball, csys).distances) EXPECT_NEAR(d, 24.0, 1e-6);
  // A sheet has no volume: false.
  EXPECT_FALSE(BodyInfo(h, h.AddBody(Shape::Sheet(30, 20))).GetBodyMinVolumeOrient(m, 0.05));
}

}  // namespace
