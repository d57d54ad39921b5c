// The memory host against solids whose geometry is known.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <map>
#include <numbers>

#include "host/memory/memory_host.h"

namespace {

using host::Point3d;
using host::Tag;
using host::Vector3d;
using memory::MemoryHost;
using memory::Shape;

constexpr double kPi = std::numbers::pi;

Tag CsysOn(MemoryHost& h, const host::Matrix3x3& m, Point3d origin = {}) {
  return h.csys().CreateTempCsys(origin, h.csys().CreateMatrix(m));
}

TEST(MemoryGeometry, ExactBoxesOfATurnedBlockAndASlantedCylinderInTheirOwnSystems) {
  MemoryHost h;
  const double a = 30.0 * kPi / 180.0;
  const Tag block = h.AddBody(
      Shape::Box(100, 50, 20, {-50, -25, 0}).Rotated({}, {0, 0, 1}, a).Translated({7, 3, 5}));
  host::Matrix3x3 m;
  ASSERT_EQ(host::Mtx3Initialize({std::cos(a), std::sin(a), 0}, {-std::sin(a), std::cos(a), 0}, m),
            0);
  const host::ExactBox box = h.bodies().AskBoundingBoxExact(block, CsysOn(h, m));
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(box.distances[i], (std::array{100, 50, 20})[i], 1e-6);
  // The corner is the turned block's corner, in absolute coordinates.
  const Point3d corner = host::ToAbsolute({-50, -25, 0}, {7, 3, 5}, m);
  EXPECT_NEAR(box.corner.X, corner.X, 1e-6);
  EXPECT_NEAR(box.corner.Y, corner.Y, 1e-6);
  EXPECT_NEAR(box.corner.Z, 5.0, 1e-6);
  EXPECT_NEAR(box.directions[0].X, std::cos(a), 1e-12);
  // In world axes the same block is larger.
  const host::ExactBox world = h.bodies().AskBoundingBoxExact(block, host::kNullTag);
  EXPECT_NEAR(world.distances[0], 100 * std::cos(a) + 50 * std::sin(a), 1e-6);
  EXPECT_NEAR(world.distances[2], 20.0, 1e-6);
  // A slanted cylinder's box is exact, not that of a mesh.
  const Tag pin = h.AddBody(Shape::Cylinder(15, 80, {0, 0, 0}, {1, 1, 0}));
  ASSERT_EQ(host::Mtx3Initialize({1, 1, 0}, {-1, 1, 0}, m), 0);
  const host::ExactBox round = h.bodies().AskBoundingBoxExact(pin, CsysOn(h, m));
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(round.distances[i], (std::array{80, 30, 30})[i], 1e-6);
}

// A plate 200 x 120 x 30 with four holes through its thickness and two in a
// side, a boss on top and a half-cylinder slot cut into one edge.
Shape DrilledPlate() {
  Shape plate = Shape::Box(200, 120, 30);
  for (double x : {30.0, 170.0})
    for (double y : {30.0, 90.0}) plate = plate.Drilled({x, y, -1}, {0, 0, 1}, 12, 32);
  plate = plate.Drilled({-1, 40, 15}, {1, 0, 0}, 8, 60);
  plate = plate.Drilled({-1, 80, 15}, {1, 0, 0}, 8, 60);
  plate = plate.Fuse(Shape::Cylinder(10, 15, {100, 60, 30}));
  plate = plate.Cut(Shape::Cylinder(10, 40, {100, 0, -5}));  // open slot at y = 0
  return plate;
}

TEST(MemoryGeometry, FaceDataTellsHolesFromBossesAndSlotsAndTheVolumeCountsThemAll) {
  MemoryHost h;
  const Tag plate = h.AddBody(DrilledPlate());
  std::map<std::string, int> kinds;
  for (Tag f : h.bodies().BodyFaces(plate)) {
    const host::FaceData d = h.bodies().AskFaceData(f);
    if (d.type != host::kCylindricalFace) continue;
    const std::vector<Tag> edges = h.bodies().FaceEdges(f);
    bool all_closed = true;
    for (Tag e : edges) all_closed = all_closed && h.bodies().AskCurveClosed(e) == 1;
    if (std::abs(d.radius - 10) < 1e-9 && d.norm_dir == 1) {
      ++kinds["boss"];
      EXPECT_NEAR(d.point.X, 100, 1e-9);
    } else if (std::abs(d.radius - 10) < 1e-9) {
      ++kinds["slot"];
      EXPECT_FALSE(all_closed) << "a half-cylinder slot is bounded by open edges";
    } else {
      EXPECT_EQ(d.norm_dir, -1);
      EXPECT_EQ(edges.size(), 2u) << "a hole lists its two circles and no seam";
      EXPECT_TRUE(all_closed);
      if (std::abs(std::abs(d.direction.Z) - 1) < 1e-12) ++kinds["hole z"];
      if (std::abs(std::abs(d.direction.X) - 1) < 1e-12) ++kinds["hole x"];
    }
  }
  EXPECT_EQ(kinds,
            (std::map<std::string, int>{{"boss", 1}, {"hole x", 2}, {"hole z", 4}, {"slot", 1}}));
  const double holes = 4 * kPi * 36 * 30 + 2 * kPi * 16 * 59;  // side holes are blind, 59 deep
  const double boss = kPi * 100 * 15, slot = kPi * 100 / 2 * 30;
  EXPECT_NEAR(h.bodies().Volume(plate), 200 * 120 * 30 - holes + boss - slot, 1e-3);
  const host::Facets facets = h.bodies().AskFacets(plate, 0.01, 0.1);
  EXPECT_GT(facets.triangles.size(), 100u);
  for (const auto& t : facets.triangles)
    for (int i : t) ASSERT_LT(static_cast<std::size_t>(i), facets.vertices.size());
  EXPECT_THROW(h.bodies().AskFacets(plate, 0, 0.1), host::HostError);
}

TEST(MemoryGeometry, PlanarFacesEdgesAndMassPropertiesOfABox) {
  MemoryHost h;
  const Tag box = h.AddBody(Shape::Box(10, 20, 30));
  const std::vector<Tag> faces = h.bodies().BodyFaces(box);
  ASSERT_EQ(faces.size(), 6u);
  EXPECT_EQ(h.bodies().BodyFaces(box), faces) << "face tags are stable";
  int up = 0;
  for (Tag f : faces) {
    const host::FaceData d = h.bodies().AskFaceData(f);
    EXPECT_EQ(d.type, host::kPlanarFace);
    EXPECT_EQ(h.bodies().FaceBody(f), box);
    if (d.direction.Z > 0.999) {
      ++up;
      EXPECT_NEAR(d.box[2], 30, 1e-6);  // the face box may carry the tolerance
    }
  }
  EXPECT_EQ(up, 1) << "plane normals point out of the material";
  const std::vector<Tag> edges = h.bodies().BodyEdges(box);
  ASSERT_EQ(edges.size(), 12u);
  for (Tag e : edges) {
    EXPECT_EQ(h.bodies().AskCurveClosed(e), 0);
    EXPECT_EQ(h.bodies().AskEdgeData(e).kind, host::EdgeKind::kLine);
  }
  EXPECT_NEAR(h.bodies().Volume(box), 6000, 1e-6);
  const host::MassProperties mp = h.bodies().AskMassProperties(box);
  EXPECT_NEAR(mp.centroid.Z, 15, 1e-9);
  EXPECT_LT(mp.principal_moments[0], mp.principal_moments[2]);
}

TEST(MemoryGeometry, NeutralExportAndImportGiveNewBodies) {
  MemoryHost h;
  h.SetWorkingFolder(::testing::TempDir());
  const Tag a = h.AddBody(Shape::Box(10, 20, 30), 5, 36);
  const Tag b = h.AddBody(Shape::Cylinder(5, 10), 5, 108);
  ASSERT_EQ(h.bodies().ExportNeutral({a, b}, "temp.x_t"), 0);
  h.layers().SetWorkLayer(7);
  const std::vector<Tag> read = h.bodies().ImportNeutral("temp.x_t");
  ASSERT_EQ(read.size(), 2u);
  EXPECT_NE(read[0], a);
  EXPECT_NEAR(h.bodies().Volume(read[0]), 6000, 1e-6);
  EXPECT_NEAR(h.bodies().Volume(read[1]), kPi * 250, 1e-6);
  EXPECT_EQ(h.objects().Color(read[1]), 108);
  EXPECT_EQ(h.objects().Layer(read[0]), 7);
  h.platform().WriteFile("junk.x_t", "not a body file");
  EXPECT_THROW(h.bodies().ImportNeutral("junk.x_t"), host::HostError);
  EXPECT_THROW(h.bodies().ImportNeutral("missing.x_t"), host::HostError);
}

TEST(MemoryGeometry, JoinFacesMergesCoplanarFaces) {
  MemoryHost h;
  const Tag body = h.AddBody(Shape::Box(10, 10, 10).Fuse(Shape::Box(10, 10, 10, {10, 0, 0})));
  EXPECT_GT(h.bodies().BodyFaces(body).size(), 6u);
  EXPECT_EQ(h.bodies().JoinFaces(body), 0);
  EXPECT_EQ(h.bodies().BodyFaces(body).size(), 6u);
  EXPECT_NEAR(h.bodies().Volume(body), 2000, 1e-6);
}

TEST(MemoryGeometry, SpheresAndConvexShapes) {
  MemoryHost h;
  const Tag feature = h.bodies().CreateSphere({1, 2, 3}, 10);
  const Tag sphere = h.bodies().AskFeatureBody(feature);
  EXPECT_NEAR(h.bodies().Volume(sphere), 4.0 / 3 * kPi * 125, 1e-6);
  EXPECT_EQ(h.objects().AskTypeAndSubtype(feature).type, host::kFeatureType);
  const Tag tet = h.AddBody(Shape::Tetrahedron({0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}));
  EXPECT_NEAR(h.bodies().Volume(tet), 1.0 / 6, 1e-12);
  // The corners of a cube and its centre: the hull is the cube.
  std::vector<Point3d> points{{1, 1, 1}};
  for (int i = 0; i < 8; ++i) points.push_back({2.0 * (i & 1), 2.0 * (i >> 1 & 1), 2.0 * (i >> 2)});
  const Tag hull = h.AddBody(Shape::ConvexHull(points));
  EXPECT_NEAR(h.bodies().Volume(hull), 8, 1e-9);
  EXPECT_EQ(h.bodies().BodyFaces(hull).size(), 6u);
  std::vector<Point3d> hexagon;
  for (int i = 0; i < 6; ++i) hexagon.push_back({std::cos(i * kPi / 3), std::sin(i * kPi / 3), 0});
  const Tag hex = h.AddBody(Shape::Prism(hexagon, 3));
  EXPECT_NEAR(h.bodies().Volume(hex), 3 * 3 * std::sqrt(3.0) / 2, 1e-9);
}

}  // namespace

namespace {

std::string Text(const host::FaceData& d) {
  char s[512];
  std::snprintf(s, sizeof s, "%d %a %a %a %a %a %a %a %a %a %a %a %a %a %a %d", d.type, d.point.X,
                d.point.Y, d.point.Z, d.direction.X, d.direction.Y, d.direction.Z, d.box[0],
                d.box[1], d.box[2], d.box[3], d.box[4], d.box[5], d.radius, d.radius_data,
                d.norm_dir);
  return s;
}

std::string Text(const host::EdgeData& e) {
  char s[512];
  std::snprintf(s, sizeof s, "%d %a %a %a %a %a %a %a %a %a %a", static_cast<int>(e.kind),
                e.start.X, e.start.Y, e.start.Z, e.end.X, e.end.Y, e.end.Z, e.direction.X,
                e.direction.Y, e.direction.Z, e.radius);
  return s;
}

std::string Text(const host::ExactBox& b) {
  char s[512];
  std::snprintf(s, sizeof s, "%a %a %a | %a %a %a", b.corner.X, b.corner.Y, b.corner.Z,
                b.distances[0], b.distances[1], b.distances[2]);
  return s;
}

}  // namespace

// The geometry handed out for another thread answers as the host does, to
// the last bit, also after the body is gone; its facets leave the body bare.
TEST(MemoryGeometry, TakenGeometryAnswersAsTheHostDoes) {
  MemoryHost h;
  const Shape plate = Shape::Box(120, 80, 20)
                          .Drilled({30, 40, 20}, {0, 0, -1}, 10, 20)
                          .Cut(Shape::Cylinder(10, 10, {120, 40, 5}, {0, 0, 1}))
                          .Rotated({}, {1, 2, 3}, 0.4);
  const Tag body = h.AddBody(plate);
  std::unique_ptr<host::BodyGeometry> g = h.bodies().TakeGeometry(body);
  ASSERT_NE(g, nullptr);
  const std::vector<host::BodyGeometry::Face> faces = g->Faces();
  const std::vector<Tag> face_tags = h.bodies().BodyFaces(body);
  ASSERT_EQ(faces.size(), face_tags.size());
  int holes = 0, half_cylinders = 0;
  for (std::size_t i = 0; i < faces.size(); ++i) {
    EXPECT_EQ(Text(faces[i].data), Text(h.bodies().AskFaceData(face_tags[i]))) << i;
    bool closed = true;
    for (Tag e : h.bodies().FaceEdges(face_tags[i]))
      closed = closed && h.bodies().AskCurveClosed(e);
    EXPECT_EQ(faces[i].closed_edges, closed) << i;
    if (faces[i].data.type == host::kCylindricalFace) ++(closed ? holes : half_cylinders);
  }
  EXPECT_EQ(holes, 1);           // the drilled hole, bounded by two circles
  EXPECT_EQ(half_cylinders, 1);  // the notch in the side, bounded by arcs and lines
  const std::vector<host::EdgeData> edges = g->Edges();
  const std::vector<Tag> edge_tags = h.bodies().BodyEdges(body);
  ASSERT_EQ(edges.size(), edge_tags.size());
  for (std::size_t i = 0; i < edges.size(); ++i)
    EXPECT_EQ(Text(edges[i]), Text(h.bodies().AskEdgeData(edge_tags[i]))) << i;
  const host::Matrix3x3 m = host::Matrix3x3::FromRows({0.6, 0.8, 0}, {-0.8, 0.6, 0}, {0, 0, 1});
  EXPECT_EQ(Text(g->AskBoundingBoxExact({1, 2, 3}, m)),
            Text(h.bodies().AskBoundingBoxExact(body, CsysOn(h, m, {1, 2, 3}))));
  EXPECT_EQ(g->Volume(), h.bodies().Volume(body));
  const host::Facets mine = g->AskFacets(0.05, 0.25),
                     host_facets = h.bodies().AskFacets(body, 0.05, 0.25);
  EXPECT_EQ(mine.vertices.size(), host_facets.vertices.size());
  EXPECT_EQ(mine.triangles.size(), host_facets.triangles.size());
  // The body deleted: what was taken still answers.
  const double volume = g->Volume();
  h.objects().Delete(body);
  EXPECT_EQ(g->Volume(), volume);
  EXPECT_EQ(g->Faces().size(), faces.size());
  EXPECT_THROW(h.bodies().TakeGeometry(body), host::HostError);
}
