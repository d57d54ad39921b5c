// The minimum-volume box on point clouds: the planar rectangle against
// brute force, known optima under rotation, and the guard search
// against a dense direction search.
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
constexpr double kPi = std::numbers::pi;

Matrix3x3 RandomRotation(std::mt19937& rng) {
  std::normal_distribution<double> n(0.0, 1.0);
  Matrix3x3 m;
  host::Mtx3Initialize({n(rng), n(rng), n(rng)}, {n(rng), n(rng), n(rng)}, m);
  return m;
}

std::vector<Point3d> Rotate(const std::vector<Point3d>& pts, const Matrix3x3& m) {
  std::vector<Point3d> out;
  for (const Point3d& p : pts) out.push_back(host::ToLocal(p, {}, m));
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
  EXPECT_NEAR(host::Dot(host::Cross(x, y), z), 1.0, 1e-12);
  int outside = 0;
  for (const Point3d& p : pts) {
    const Point3d l = host::ToLocal(p, {}, b.axes);
    const double s[3] = {l.X, l.Y, l.Z};
    for (int i = 0; i < 3; ++i) outside += s[i] < b.low[i] - 1e-9 || s[i] > b.high[i] + 1e-9;
  }
  EXPECT_EQ(outside, 0);
}

// The smallest rectangle with a side along the line through any two points:
// the optimum has a side on a hull edge, whose ends are two of the points.
double BruteForceRectangle(const std::vector<Point2d>& pts) {
  double best = std::numeric_limits<double>::infinity();
  for (const Point2d& a : pts)
    for (const Point2d& b : pts) {
      const double l = std::hypot(b.x - a.x, b.y - a.y);
      if (l == 0.0) continue;
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

TEST(BlankMinBox, PlanarRectangleAgreesWithBruteForce) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> u(-50.0, 50.0);
  for (int round = 0; round < 200; ++round) {
    std::vector<Point2d> pts(3 + round % 60);
    for (Point2d& p : pts) p = {u(rng), u(rng) * (1 + round % 5)};
    const blank::Rectangle2d r = blank::MinAreaRectangle(pts);
    EXPECT_NEAR(r.Area(), BruteForceRectangle(pts), 1e-9 * r.Area()) << round;
  }
  // Corners repeated with rounding noise (as the two ends of an edge seen
  // along it project): the noise must not break the calipers.
  std::uniform_real_distribution<double> tiny(-1e-13, 1e-13);
  for (int round = 0; round < 50; ++round) {
    std::vector<Point2d> noisy;
    const double a = 0.1 * round;
    for (const Point2d& c : {Point2d{0, 0}, Point2d{100, 0}, Point2d{100, 20}, Point2d{20, 20},
                             Point2d{20, 60}, Point2d{0, 60}})
      for (int k = 0; k < 3; ++k) {
        const double x = c.x + tiny(rng), y = c.y + tiny(rng);
        noisy.push_back({x * std::cos(a) - y * std::sin(a), x * std::sin(a) + y * std::cos(a)});
      }
    EXPECT_NEAR(blank::MinAreaRectangle(noisy).Area(), 6000.0, 1e-6) << round;
  }
  // Collinear, repeated, one or no points: zero area, no failure.
  EXPECT_DOUBLE_EQ(blank::MinAreaRectangle({{0, 0}, {1, 1}, {2, 2}, {2, 2}, {0, 0}}).Area(), 0.0);
  EXPECT_DOUBLE_EQ(blank::MinAreaRectangle({}).Area(), 0.0);
  EXPECT_DOUBLE_EQ(blank::MinAreaRectangle({{3, 4}}).Area(), 0.0);
}

TEST(BlankMinBox, DegenerateSetsGiveFlatBoxesWithoutFailing) {
  EXPECT_DOUBLE_EQ(blank::MinimumVolumeBox({}, {}).Volume(), 0.0);
  const OrientedBox one = blank::MinimumVolumeBox({{1, 2, 3}, {1, 2, 3}}, {});
  EXPECT_DOUBLE_EQ(one.Volume(), 0.0);
  EXPECT_DOUBLE_EQ(one.low[0], 1.0);

  const std::vector<Point3d> line{{0, 0, 0}, {1, 2, 3}, {2, 4, 6}};
  const OrientedBox seg = blank::MinimumVolumeBox(line, {});
  EXPECT_NEAR(SortedExtents(seg)[2], std::sqrt(56.0), 1e-12);
  EXPECT_NEAR(SortedExtents(seg)[1], 0.0, 1e-12);

  // A rotated 30 x 10 rectangle: the flat box is 30 x 10 x 0.
  std::mt19937 rng(5);
  const auto flat =
      Rotate({{0, 0, 0}, {30, 0, 0}, {30, 10, 0}, {0, 10, 0}, {15, 5, 0}}, RandomRotation(rng));
  const auto e = SortedExtents(blank::MinimumVolumeBox(flat, {}));
  EXPECT_NEAR(e[0], 0.0, 1e-9);
  EXPECT_NEAR(e[1], 10.0, 1e-9);
  EXPECT_NEAR(e[2], 30.0, 1e-9);
}

// Prisms and blocks have their optimum with an axis along a face normal (a
// block with many points on its faces and one inside tests the hull's
// coplanar cases); the regular tetrahedron's is the cube on its corners
// (every face-flush box is twice as large). The box must be exact (1e-9) at
// every rotation, with the same extents, and hold every point.
TEST(BlankMinBox, KnownOptimaAreExactAtEveryRotation) {
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
  for (const double a : {0.0, 1.0, 2.0, 3.0, 4.0, 5.0})
    hex.push_back({20 * std::cos(a * kPi / 3), 20 * std::sin(a * kPi / 3)});
  cases.push_back({"hexagon", Prism(hex, 15), 40 * 20 * std::sqrt(3.0) * 15});
  // A right-angled wedge: flush with a leg or the slanted face, the same volume.
  cases.push_back({"wedge", Prism({{0, 0}, {100, 0}, {0, 30}}, 10), 100 * 30 * 10});
  cases.push_back({"tetrahedron", {{1, 1, 1}, {1, -1, -1}, {-1, 1, -1}, {-1, -1, 1}}, 8});
  std::vector<Point3d> faces;
  for (int i = 0; i <= 10; ++i)
    for (int j = 0; j <= 10; ++j) {
      faces.push_back({i * 10.0, j * 5.0, 0.0});
      faces.push_back({i * 10.0, j * 5.0, 20.0});
      faces.push_back({i * 10.0, 0.0, j * 2.0});
      faces.push_back({0.0, i * 5.0, j * 2.0});
      faces.push_back({50.0, 25.0, 10.0});
    }
  cases.push_back({"block with points on its faces", faces, 100 * 50 * 20});
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
      // A zero candidate direction is ignored.
      const OrientedBox b = blank::MinimumVolumeBox(pts, std::vector<Vector3d>{{0, 0, 0}});
      EXPECT_NEAR(b.Volume() / c.optimum, 1.0, 1e-9) << c.name << " rotation " << i;
      ExpectValidBox(b, pts);
      const auto e = SortedExtents(b);
      if (i == 0) first = e;
      for (int k = 0; k < 3; ++k) EXPECT_NEAR(e[k], first[k], 1e-9 * first[2]) << c.name;
    }
  }
}

// Dense reference: the best box over many directions, each solved exactly
// about its axis.
double DenseSearch(const std::vector<Point3d>& pts, int n) {
  double best = std::numeric_limits<double>::infinity();
  const double golden = kPi * (3.0 - std::sqrt(5.0));
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
    worst = std::max(worst, guarded.Volume() / DenseSearch(pts, 6000));
    // Same input, same answer.
    const OrientedBox again = blank::MinimumVolumeBox(pts, {});
    EXPECT_EQ(again.Volume(), guarded.Volume());
    EXPECT_EQ(again.axes.Xx, guarded.axes.Xx);
  }
  EXPECT_LE(worst, 1.01);
  // A large cloud: every point is in the box.
  std::vector<Point3d> cloud(2000);
  for (Point3d& p : cloud) p = {10 * n(rng), 3 * n(rng), 20 * n(rng)};
  ExpectValidBox(blank::MinimumVolumeBox(cloud, {}), cloud);
}

}  // namespace
