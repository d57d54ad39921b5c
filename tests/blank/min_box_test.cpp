// The minimum-volume box on point clouds: planar hull and rectangle against a
// brute force, the 3-D hull's invariants, known optima under rotation, and the
// guard search against a dense direction search.
#include "blank/min_box.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

#include "host/math.h"

namespace {

using blank::OrientedBox;
using blank::Point2d;
using host::Matrix3x3;
using host::Point3d;
using host::Vector3d;

Matrix3x3 RandomRotation(std::mt19937& rng) {
  std::normal_distribution<double> n(0.0, 1.0);
  double q[4];
  double len = 0.0;
  for (double& c : q) c = n(rng), len += c * c;
  len = std::sqrt(len);
  for (double& c : q) c /= len;
  const double w = q[0], x = q[1], y = q[2], z = q[3];
  return {1 - 2 * (y * y + z * z), 2 * (x * y - w * z),     2 * (x * z + w * y),
          2 * (x * y + w * z),     1 - 2 * (x * x + z * z), 2 * (y * z - w * x),
          2 * (x * z - w * y),     2 * (y * z + w * x),     1 - 2 * (x * x + y * y)};
}

Point3d Apply(const Matrix3x3& m, const Point3d& p) {
  return {m.Xx * p.X + m.Xy * p.Y + m.Xz * p.Z, m.Yx * p.X + m.Yy * p.Y + m.Yz * p.Z,
          m.Zx * p.X + m.Zy * p.Y + m.Zz * p.Z};
}

std::vector<Point3d> Rotate(const std::vector<Point3d>& pts, const Matrix3x3& m) {
  std::vector<Point3d> out;
  for (const Point3d& p : pts) out.push_back(Apply(m, p));
  return out;
}

std::vector<Point3d> Prism(const std::vector<Point2d>& polygon, double height) {
  std::vector<Point3d> pts;
  for (const Point2d& p : polygon) {
    pts.push_back({p.x, p.y, 0.0});
    pts.push_back({p.x, p.y, height});
  }
  return pts;
}

std::array<double, 3> SortedExtents(const OrientedBox& b) {
  std::array<double, 3> e{b.Extent(0), b.Extent(1), b.Extent(2)};
  std::sort(e.begin(), e.end());
  return e;
}

// Every point lies in the box, and the frame is right-handed orthonormal.
void ExpectValidBox(const OrientedBox& b, const std::vector<Point3d>& pts) {
  const Vector3d x = b.axes.XAxis(), y = b.axes.YAxis(), z = b.axes.ZAxis();
  EXPECT_NEAR(host::Length(x), 1.0, 1e-12);
  EXPECT_NEAR(host::Length(y), 1.0, 1e-12);
  EXPECT_NEAR(host::Dot(x, y), 0.0, 1e-12);
  const Vector3d c = host::Cross(x, y);
  EXPECT_NEAR(host::Dot(c, z), 1.0, 1e-12);
  for (const Point3d& p : pts) {
    const Vector3d v{p.X, p.Y, p.Z};
    const double s[3] = {host::Dot(v, x), host::Dot(v, y), host::Dot(v, z)};
    for (int i = 0; i < 3; ++i) {
      EXPECT_GE(s[i], b.low[i] - 1e-9);
      EXPECT_LE(s[i], b.high[i] + 1e-9);
    }
  }
}

double BruteForceRectangle(const std::vector<Point2d>& pts) {
  const std::vector<Point2d> h = blank::ConvexHull2d(pts);
  double best = std::numeric_limits<double>::infinity();
  for (std::size_t i = 0; i < h.size(); ++i) {
    const Point2d& a = h[i];
    const Point2d& b = h[(i + 1) % h.size()];
    const double l = std::hypot(b.x - a.x, b.y - a.y);
    const double ux = (b.x - a.x) / l, uy = (b.y - a.y) / l;
    double u0 = 1e300, u1 = -1e300, v0 = 1e300, v1 = -1e300;
    for (const Point2d& p : pts) {
      const double u = p.x * ux + p.y * uy, v = -p.x * uy + p.y * ux;
      u0 = std::min(u0, u), u1 = std::max(u1, u), v0 = std::min(v0, v), v1 = std::max(v1, v);
    }
    best = std::min(best, (u1 - u0) * (v1 - v0));
  }
  return best;
}

TEST(BlankMinBox, PlanarHullAndCalipersAgreeWithBruteForce) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> u(-50.0, 50.0);
  for (int round = 0; round < 200; ++round) {
    std::vector<Point2d> pts(3 + round % 60);
    for (Point2d& p : pts) p = {u(rng), u(rng) * (1 + round % 5)};
    const blank::Rectangle2d r = blank::MinAreaRectangle(pts);
    EXPECT_NEAR(r.Area(), BruteForceRectangle(pts), 1e-9 * r.Area()) << round;
    for (const Point2d& p : pts) {
      const double a = p.x * r.ux + p.y * r.uy, b = -p.x * r.uy + p.y * r.ux;
      EXPECT_GE(a, r.u_low - 1e-9);
      EXPECT_LE(a, r.u_high + 1e-9);
      EXPECT_GE(b, r.v_low - 1e-9);
      EXPECT_LE(b, r.v_high + 1e-9);
    }
  }
  // Corners repeated with rounding noise (as the two ends of an edge seen
  // along it project): the noise must not break the calipers.
  std::vector<Point2d> noisy;
  std::uniform_real_distribution<double> tiny(-1e-13, 1e-13);
  for (int round = 0; round < 50; ++round) {
    noisy.clear();
    const double a = 0.1 * round;
    for (const Point2d& c : {Point2d{0, 0}, Point2d{100, 0}, Point2d{100, 20}, Point2d{20, 20},
                             Point2d{20, 60}, Point2d{0, 60}})
      for (int k = 0; k < 3; ++k) {
        const double x = c.x + tiny(rng), y = c.y + tiny(rng);
        noisy.push_back({x * std::cos(a) - y * std::sin(a), x * std::sin(a) + y * std::cos(a)});
      }
    const std::vector<Point2d> hull = blank::ConvexHull2d(noisy);
    EXPECT_EQ(hull.size(), 5u);  // the L's hull: the inner corner drops out
    EXPECT_NEAR(blank::MinAreaRectangle(noisy).Area(), 6000.0, 1e-6) << round;
  }
  // Collinear and repeated points give a segment: zero area, no failure.
  const std::vector<Point2d> line{{0, 0}, {1, 1}, {2, 2}, {2, 2}, {0, 0}};
  EXPECT_EQ(blank::ConvexHull2d(line).size(), 2u);
  EXPECT_DOUBLE_EQ(blank::MinAreaRectangle(line).Area(), 0.0);
  EXPECT_DOUBLE_EQ(blank::MinAreaRectangle({}).Area(), 0.0);
  EXPECT_DOUBLE_EQ(blank::MinAreaRectangle({{3, 4}}).Area(), 0.0);
  // Collinear points on the hull's sides are not hull vertices.
  const std::vector<Point2d> square{{0, 0}, {1, 0}, {2, 0}, {2, 1}, {2, 2}, {0, 2}, {1, 1}};
  EXPECT_EQ(blank::ConvexHull2d(square).size(), 4u);
}

TEST(BlankMinBox, HullOfABoxWithPointsOnItsFacesHasOnlyTheCorners) {
  std::vector<Point3d> pts;
  for (int i = 0; i <= 10; ++i)
    for (int j = 0; j <= 10; ++j) {
      pts.push_back({i * 10.0, j * 5.0, 0.0});
      pts.push_back({i * 10.0, j * 5.0, 20.0});
      pts.push_back({i * 10.0, 0.0, j * 2.0});
      pts.push_back({0.0, i * 5.0, j * 2.0});
      pts.push_back({50.0, 25.0, 10.0});  // inside
    }
  std::mt19937 rng(3);
  const Matrix3x3 r = RandomRotation(rng);
  const blank::Hull hull = blank::ConvexHull(Rotate(pts, r));
  EXPECT_EQ(hull.dimension, 3);
  // Every corner is a hull vertex, the inner point is not, and the surface is
  // closed and triangulated (F = 2V - 4). Points on the faces may remain as
  // vertices when they were met before the corners; they lie on the boundary.
  EXPECT_EQ(hull.facets.size(), 2 * hull.vertices.size() - 4);
  int corners = 0;
  for (const Point3d& v : hull.vertices) {
    const Point3d back{r.Xx * v.X + r.Yx * v.Y + r.Zx * v.Z, r.Xy * v.X + r.Yy * v.Y + r.Zy * v.Z,
                       r.Xz * v.X + r.Yz * v.Y + r.Zz * v.Z};
    const bool x_side = std::fabs(back.X) < 1e-9 || std::fabs(back.X - 100) < 1e-9;
    const bool y_side = std::fabs(back.Y) < 1e-9 || std::fabs(back.Y - 50) < 1e-9;
    const bool z_side = std::fabs(back.Z) < 1e-9 || std::fabs(back.Z - 20) < 1e-9;
    EXPECT_TRUE(x_side || y_side || z_side);
    if (x_side && y_side && z_side) ++corners;
  }
  EXPECT_EQ(corners, 8);
}

TEST(BlankMinBox, HullOfARandomCloudContainsEveryPointAndFacesOutward) {
  std::mt19937 rng(11);
  std::normal_distribution<double> n(0.0, 10.0);
  std::vector<Point3d> pts(2000);
  for (Point3d& p : pts) p = {n(rng), 0.3 * n(rng), 2.0 * n(rng)};
  const blank::Hull hull = blank::ConvexHull(pts);
  ASSERT_EQ(hull.dimension, 3);
  EXPECT_EQ(hull.facets.size(), 2 * hull.vertices.size() - 4);
  Point3d c{};
  for (const Point3d& v : hull.vertices) c.X += v.X, c.Y += v.Y, c.Z += v.Z;
  c = {c.X / hull.vertices.size(), c.Y / hull.vertices.size(), c.Z / hull.vertices.size()};
  for (const auto& f : hull.facets) {
    const Point3d& a = hull.vertices[f[0]];
    const Vector3d e1{hull.vertices[f[1]].X - a.X, hull.vertices[f[1]].Y - a.Y,
                      hull.vertices[f[1]].Z - a.Z};
    const Vector3d e2{hull.vertices[f[2]].X - a.X, hull.vertices[f[2]].Y - a.Y,
                      hull.vertices[f[2]].Z - a.Z};
    const Vector3d nrm = host::Unit(host::Cross(e1, e2));
    EXPECT_GT(host::Dot(nrm, {a.X - c.X, a.Y - c.Y, a.Z - c.Z}), 0.0);
    for (const Point3d& p : pts) ASSERT_LE(host::Dot(nrm, {p.X - a.X, p.Y - a.Y, p.Z - a.Z}), 1e-6);
  }
}

TEST(BlankMinBox, DegenerateSetsGiveFlatBoxesWithoutFailing) {
  EXPECT_EQ(blank::ConvexHull({}).dimension, 0);
  const OrientedBox none = blank::MinimumVolumeBox({}, {});
  EXPECT_DOUBLE_EQ(none.Volume(), 0.0);
  const OrientedBox one = blank::MinimumVolumeBox({{1, 2, 3}, {1, 2, 3}}, {});
  EXPECT_DOUBLE_EQ(one.Volume(), 0.0);
  EXPECT_DOUBLE_EQ(one.low[0], 1.0);

  const std::vector<Point3d> line{{0, 0, 0}, {1, 2, 3}, {2, 4, 6}};
  EXPECT_EQ(blank::ConvexHull(line).dimension, 1);
  const OrientedBox seg = blank::MinimumVolumeBox(line, {});
  EXPECT_NEAR(SortedExtents(seg)[2], std::sqrt(56.0), 1e-12);
  EXPECT_NEAR(SortedExtents(seg)[1], 0.0, 1e-12);

  // A rotated 30 x 10 rectangle: the flat box is 30 x 10 x 0.
  std::mt19937 rng(5);
  const auto flat =
      Rotate({{0, 0, 0}, {30, 0, 0}, {30, 10, 0}, {0, 10, 0}, {15, 5, 0}}, RandomRotation(rng));
  EXPECT_EQ(blank::ConvexHull(flat).dimension, 2);
  const auto e = SortedExtents(blank::MinimumVolumeBox(flat, {}));
  EXPECT_NEAR(e[0], 0.0, 1e-9);
  EXPECT_NEAR(e[1], 10.0, 1e-9);
  EXPECT_NEAR(e[2], 30.0, 1e-9);
}

// Prisms and blocks have their optimum with an axis along a face normal: the
// box must be exact (1e-9) at every rotation, with the same extents.
TEST(BlankMinBox, PrismaticSetsGiveTheExactOptimumAtEveryRotation) {
  struct Case {
    const char* name;
    std::vector<Point3d> pts;
    double optimum;
  };
  std::vector<Case> cases;
  cases.push_back({"plate", Prism({{0, 0}, {300, 0}, {300, 200}, {0, 200}}, 25), 300 * 200 * 25});
  cases.push_back(
      {"L", Prism({{0, 0}, {100, 0}, {100, 20}, {20, 20}, {20, 60}, {0, 60}}, 30), 100 * 60 * 30});
  std::vector<Point2d> hex;
  for (int k = 0; k < 6; ++k)
    hex.push_back(
        {20 * std::cos(k * std::numbers::pi / 3), 20 * std::sin(k * std::numbers::pi / 3)});
  cases.push_back({"hexagon", Prism(hex, 15), 40 * 20 * std::sqrt(3.0) * 15});
  // A slanted wedge: its best box is flush with the slanted face.
  cases.push_back(
      {"wedge", Prism({{0, 0}, {100, 0}, {0, 30}}, 10),
       100 * 30 / std::sqrt(100 * 100 + 30 * 30) * std::sqrt(100 * 100 + 30 * 30) * 10});
  std::mt19937 rng(42);
  for (const Case& c : cases) {
    std::array<double, 3> first{};
    for (int i = 0; i < 50; ++i) {
      Matrix3x3 r = RandomRotation(rng);
      if (i == 0) r = {};
      if (i == 1) r = {0, -1, 0, 1, 0, 0, 0, 0, 1};  // exactly 90 degrees
      if (i == 2) {                                  // a tiny angle
        const double a = 1e-7;
        r = {std::cos(a), -std::sin(a), 0, std::sin(a), std::cos(a), 0, 0, 0, 1};
      }
      const auto pts = Rotate(c.pts, r);
      const OrientedBox b = blank::MinimumVolumeBox(pts, {});
      EXPECT_LE(b.Volume(), c.optimum * (1 + 1e-9)) << c.name << " rotation " << i;
      EXPECT_GE(b.Volume(), c.optimum * (1 - 1e-9)) << c.name << " rotation " << i;
      ExpectValidBox(b, pts);
      const auto e = SortedExtents(b);
      if (i == 0) first = e;
      for (int k = 0; k < 3; ++k) EXPECT_NEAR(e[k], first[k], 1e-9 * first[2]) << c.name;
    }
  }
}

TEST(BlankMinBox, RegularTetrahedronGetsTheCube) {
  // Corners of a cube of side 2: the optimum is that cube (volume 8); every
  // face-flush box is twice as large.
  const std::vector<Point3d> tet{{1, 1, 1}, {1, -1, -1}, {-1, 1, -1}, {-1, -1, 1}};
  std::mt19937 rng(9);
  for (int i = 0; i < 20; ++i) {
    const auto pts = Rotate(tet, RandomRotation(rng));
    const OrientedBox b = blank::MinimumVolumeBox(pts, {});
    EXPECT_NEAR(b.Volume(), 8.0, 8e-9);
    ExpectValidBox(b, pts);
  }
}

// Dense reference: the best box over many directions, each solved exactly
// about its axis.
double DenseSearch(const std::vector<Point3d>& pts, int n) {
  double best = std::numeric_limits<double>::infinity();
  const double golden = std::numbers::pi * (3.0 - std::sqrt(5.0));
  for (int i = 0; i < n; ++i) {
    const double z = 1.0 - (i + 0.5) / n;  // upper hemisphere
    const double r = std::sqrt(1 - z * z);
    const Vector3d d{r * std::cos(golden * i), r * std::sin(golden * i), z};
    best = std::min(best, blank::BestBoxAround(pts, d).Volume());
  }
  return best;
}

TEST(BlankMinBox, GuardSearchBeatsADenseSearchOnRandomPolytopes) {
  std::mt19937 rng(2024);
  std::normal_distribution<double> n(0.0, 1.0);
  double worst = 0.0;
  for (int round = 0; round < 6; ++round) {
    std::vector<Point3d> pts(40);
    for (Point3d& p : pts) p = {30 * n(rng), 20 * n(rng), 10 * n(rng)};
    const OrientedBox guarded = blank::MinimumVolumeBox(pts, {});
    blank::MinBoxOptions no_guard;
    no_guard.step = 0.0;
    const OrientedBox plain = blank::MinimumVolumeBox(pts, {}, no_guard);
    ExpectValidBox(guarded, pts);
    EXPECT_LE(guarded.Volume(), plain.Volume());
    const double ref = DenseSearch(pts, 6000);
    worst = std::max(worst, guarded.Volume() / ref);
    // Same input, same answer.
    const OrientedBox again = blank::MinimumVolumeBox(pts, {});
    EXPECT_EQ(again.Volume(), guarded.Volume());
    EXPECT_EQ(again.axes.Xx, guarded.axes.Xx);
  }
  EXPECT_LE(worst, 1.01);
}

TEST(BlankMinBox, CandidateDirectionsAreHonoured) {
  // A point set whose hull facets do not show the best axis, given by the
  // caller (as a cylinder axis would be): zero and repeated directions are
  // ignored.
  std::vector<Point3d> pts;
  for (int k = 0; k < 8; ++k) {
    const double a = k * std::numbers::pi / 4 + 0.1;
    pts.push_back({10 * std::cos(a), 10 * std::sin(a), 0});
    pts.push_back({10 * std::cos(a), 10 * std::sin(a), 50});
  }
  std::mt19937 rng(1);
  const Matrix3x3 r = RandomRotation(rng);
  const Vector3d axis{r.Xz, r.Yz, r.Zz};
  const OrientedBox b = blank::MinimumVolumeBox(
      Rotate(pts, r), std::vector<Vector3d>{{0, 0, 0}, axis, host::Negate(axis)});
  EXPECT_NEAR(SortedExtents(b)[2], 50.0, 1e-9);
}

}  // namespace
