// The blank orientation of real bodies and the named blank coordinate system.
#include "blank/orientation.h"

#include <algorithm>
#include <cstdio>
#include <random>

#include "blank/body_info.h"
#include "blank/material_param_calculator.h"
#include "blank_fixture.h"

namespace {

using namespace blank_test;
using blank::MaterialParamCalculator;

struct BlankOrienting : ::testing::Test {
  MemoryHost h;
  config::MaterialBomSettings settings = DieShopSettings();
  MaterialParamCalculator calc{h, blank::BomOptions{}, settings};

  Matrix3x3 OrientationOf(Tag body) { return calc.orientation().ChooseOrientation(body); }
};

TEST_F(BlankOrienting, CuboidsLieAlongTheirLongEdgeNearestWorldXWithZUp) {
  // 100 x 50 x 20 turned 30 degrees about Z: the long edge runs at 30 degrees
  // (nearest +X), the short one at 120 degrees.
  const double a = Deg(30);
  const Tag body =
      h.AddBody(Shape::Box(100, 50, 20).Rotated({}, {0, 0, 1}, a).Translated({40, -7, 3}));
  const Matrix3x3 m = OrientationOf(body);
  ExpectVec(m.XAxis(), Rot({1, 0, 0}, a));
  ExpectVec(m.ZAxis(), {0, 0, 1});
  // Turned -60 degrees: the long edge at -60 and the short one at 30, so X
  // follows the short edge now.
  const Tag other = h.AddBody(Shape::Box(100, 50, 20).Rotated({}, {0, 0, 1}, Deg(-60)));
  ExpectVec(OrientationOf(other).XAxis(), Rot({1, 0, 0}, a));
  // Tilted about X: Z becomes the axis nearest world +Z.
  const Matrix3x3 t = OrientationOf(h.AddBody(Shape::Box(100, 50, 20).Rotated({}, {1, 0, 0}, a)));
  ExpectVec(t.ZAxis(), {0, -std::sin(a), std::cos(a)});
  ExpectVec(t.XAxis(), {1, 0, 0});
  // Along the world axes: exactly the identity.
  const Matrix3x3 i = OrientationOf(h.AddBody(Shape::Box(30, 200, 80, {5, 5, 5})));
  ExpectVec(i.XAxis(), {1, 0, 0}, 0);
  ExpectVec(i.YAxis(), {0, 1, 0}, 0);
  ExpectVec(i.ZAxis(), {0, 0, 1}, 0);
}

TEST_F(BlankOrienting, PlateWithHolesTakesZAlongTheMostHoles) {
  // The plate stands on its long side: its four holes run along world Y, two
  // more along world X. Z follows the four; Y is perpendicular to world Z, a
  // tie that the reverse direction wins.
  Shape plate = Shape::Box(200, 30, 120);
  for (int i = 0; i < 4; ++i) plate = plate.Drilled({30.0 + 45 * i, 0, 60}, {0, 1, 0}, 12, 30);
  plate = plate.Drilled({0, 15, 30}, {1, 0, 0}, 8, 200);
  plate = plate.Drilled({200, 15, 90}, {-1, 0, 0}, 8, 200);
  const Matrix3x3 m = OrientationOf(h.AddBody(plate));
  ExpectVec(m.ZAxis(), {0, -1, 0});
  ExpectVec(m.XAxis(), {1, 0, 0});
  // Turned about Z, the holes still decide and X stays nearest world X.
  const Matrix3x3 t = OrientationOf(h.AddBody(plate.Rotated({}, {0, 0, 1}, Deg(20))));
  EXPECT_TRUE(blank::BlankGeometry::IsVectotParallel(t.ZAxis(), Rot({0, 1, 0}, Deg(20)), 1e-9));
  ExpectVec(t.XAxis(), Rot({1, 0, 0}, Deg(20)));
}

TEST_F(BlankOrienting, CalcBodyMinOrientLeavesOneHiddenNamedSystem) {
  const double a = Deg(30);
  const Tag body =
      h.AddBody(Shape::Box(100, 50, 20).Rotated({}, {0, 0, 1}, a).Translated({10, 20, 30}));
  h.attributes().SetString(body, "实体标识", "11211826280123");
  const Tag wcs_before = h.csys().AskWcs();

  calc.CalcBodyMinOrient(body);
  std::vector<Tag> named = CsysNamed(h, "11211826280123");
  ASSERT_EQ(named.size(), 1u);
  EXPECT_EQ(h.objects().Layer(named[0]), 256);
  EXPECT_TRUE(h.objects().IsBlanked(named[0]));
  // Origin: X and Y at the centre of the box, Z on its lower face.
  const host::CsysInfo info = h.csys().AskCsysInfo(named[0]);
  const Point3d centre = host::ToAbsolute({50, 25, 0}, {10, 20, 30}, info.matrix);
  ExpectVec(info.origin, {centre.X, centre.Y, 30}, 1e-6);
  ExpectVec(info.matrix.XAxis(), Rot({1, 0, 0}, a));
  // The orientation attribute: X then Y, fifteen decimals.
  const std::string recorded = Attr(h, body, "材料方位");
  double v[6];
  ASSERT_EQ(std::sscanf(recorded.c_str(), "%lf,%lf,%lf,%lf,%lf,%lf", &v[0], &v[1], &v[2], &v[3],
                        &v[4], &v[5]),
            6)
      << recorded;
  ExpectVec(Vector3d{v[0], v[1], v[2]}, Rot({1, 0, 0}, a), 1e-12);
  ExpectVec(Vector3d{v[3], v[4], v[5]}, Rot({0, 1, 0}, a), 1e-12);
  EXPECT_NE(recorded.find(".866025403784439"), std::string::npos);
  EXPECT_EQ(h.csys().AskWcs(), wcs_before);

  // Recomputing replaces the system instead of adding a second one; nothing
  // temporary is left on the part.
  const Tag probe = Probe(h);
  calc.CalcBodyMinOrient(body);
  named = CsysNamed(h, "11211826280123");
  ASSERT_EQ(named.size(), 1u);
  EXPECT_GT(named[0], probe);
  EXPECT_EQ(LiveObjectsSince(h, probe), 2);  // the new system and its matrix
  // The layer's systems are listed, not a body on that layer.
  h.AddBody(Shape::Box(10, 10, 10), 256);
  EXPECT_EQ(calc.orientation().GetLayerCsys(256), named);
  EXPECT_TRUE(calc.orientation().GetLayerCsys(1).empty());
}

TEST_F(BlankOrienting, CalcBodyMinOrientNamesABodyWithoutIdentity) {
  h.SetClock({2026, 3, 4, 5, 6, 7, 89});
  const Tag body = h.AddBody(Shape::Box(10, 20, 30));
  const Tag twin = h.AddBody(Shape::Box(10, 20, 30, {50, 0, 0}));
  calc.CalcBodyMinOrient(body);
  calc.CalcBodyMinOrient(twin);
  // Same clock, two bodies: the second takes the next millisecond.
  EXPECT_EQ(Attr(h, body, "实体标识"), "03040506070089");
  EXPECT_EQ(Attr(h, twin, "实体标识"), "03040506070090");
  EXPECT_EQ(CsysNamed(h, "03040506070090").size(), 1u);
}

// The minimum-volume search through the host, on what the kernel gives: a
// pocket's inner corners, holes, curved faces, a sphere without vertices.
// Exact at any rotation, and independent of it.
TEST_F(BlankOrienting, MinimumVolumeOrientationOfRealBodies) {
  struct Case {
    const char* name;
    Shape shape;
    double optimum;
  };
  const std::vector<Case> cases = {
      {"pocket", Shape::Box(120, 80, 40).Cut(Shape::Box(60, 40, 20, {30, 20, 25})), 120 * 80 * 40},
      {"punch", Shape::Cylinder(15, 80), 30 * 30 * 80},
      {"cone", Shape::Cone(20, 10, 60), 40 * 40 * 60},
      {"drilled", Shape::Box(90, 60, 20).Drilled({0, 0, 20}, {0, 0, -1}, 15, 20), 90 * 60 * 20},
      {"ball", Shape::Sphere({5, 6, 7}, 12), 24 * 24 * 24},
  };
  std::mt19937 rng(3);
  std::uniform_real_distribution<double> u(-1, 1);
  for (const Case& c : cases) {
    std::array<double, 3> first{};
    for (int i = 0; i < 5; ++i) {
      Shape s = c.shape;
      if (i > 0) s = s.Rotated({1, 2, 3}, {u(rng), u(rng), u(rng)}, Deg(180) * u(rng));
      if (i == 1) s = c.shape.Rotated({}, {0, 0, 1}, Deg(90));
      const Tag body = h.AddBody(s);
      Matrix3x3 m;
      ASSERT_TRUE(blank::BodyInfo(h, body).GetBodyMinVolumeOrient(m, 0.05));
      const Tag csys = h.csys().CreateTempCsys({}, h.csys().CreateMatrix(m));
      std::array<double, 3> e = h.bodies().AskBoundingBoxExact(body, csys).distances;
      EXPECT_NEAR(e[0] * e[1] * e[2] / c.optimum, 1.0, 1e-7) << c.name << " rotation " << i;
      std::sort(e.begin(), e.end());
      if (i == 0) first = e;
      for (int k = 0; k < 3; ++k) EXPECT_NEAR(e[k], first[k], 1e-6) << c.name;
    }
  }
}

}  // namespace
