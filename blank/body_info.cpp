#include "blank/body_info.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <optional>

#include "blank/body_geometry.h"

namespace blank {
namespace {

// A face that can bound the convex hull with more than its edges: any curved
// face but the hole-like ones (cylinders and cones whose normals point toward
// the axis lie inside the hull of the body's edges).
bool BulgesOut(const host::FaceData& d) {
  if (d.type == host::kPlanarFace) return false;
  if ((d.type == host::kCylindricalFace || d.type == host::kConicalFace) && d.norm_dir == -1)
    return false;
  return true;
}

bool Near(double a, double b, double relative, double absolute = 0.0) {
  return std::fabs(a - b) <= absolute + relative * std::max(std::fabs(a), std::fabs(b));
}

// --- Identical bodies --------------------------------------------------------

using V3 = std::array<double, 3>;
using M3 = std::array<V3, 3>;  // rows

V3 ToV3(const host::Point3d& p) { return {p.X, p.Y, p.Z}; }
V3 ToV3(const host::Vector3d& v) { return {v.X, v.Y, v.Z}; }
V3 Sub(const V3& a, const V3& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
V3 Scaled(const V3& a, double k) { return {a[0] * k, a[1] * k, a[2] * k}; }
double Dot(const V3& a, const V3& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
V3 Cross(const V3& a, const V3& b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
double Norm(const V3& a) { return std::sqrt(Dot(a, a)); }
V3 Unit(const V3& a) {
  const double n = Norm(a);
  return n > 0.0 ? Scaled(a, 1.0 / n) : V3{0, 0, 0};
}
V3 Apply(const M3& r, const V3& p) { return {Dot(r[0], p), Dot(r[1], p), Dot(r[2], p)}; }
double Det(const M3& m) { return Dot(m[0], Cross(m[1], m[2])); }
// Any unit vector perpendicular to the unit vector `u`.
V3 Perpendicular(const V3& u) {
  const V3 t = std::fabs(u[0]) < 0.6 ? V3{1, 0, 0} : V3{0, 1, 0};
  return Unit(Cross(u, t));
}
// The right-handed orthonormal frame (rows) with its X along `x` and its Y in
// the plane of `x` and `y`.
M3 Frame(const V3& x, const V3& y) {
  const V3 e1 = Unit(x);
  const V3 e2 = Unit(Sub(y, Scaled(e1, Dot(y, e1))));
  return {e1, e2, Cross(e1, e2)};
}
// The rotation that takes frame `a` onto frame `b`: R = b^T a.
M3 Between(const M3& a, const M3& b) {
  M3 r{};
  for (int i = 0; i < 3; ++i)
    for (int row = 0; row < 3; ++row)
      for (int col = 0; col < 3; ++col) r[row][col] += b[i][row] * a[i][col];
  return r;
}

// The eigenvector of the largest eigenvalue of a symmetric 4x4 matrix (Jacobi).
std::array<double, 4> LargestEigenvector(std::array<std::array<double, 4>, 4> a) {
  std::array<std::array<double, 4>, 4> v{};
  for (int i = 0; i < 4; ++i) v[i][i] = 1.0;
  for (int sweep = 0; sweep < 50; ++sweep) {
    double off = 0.0;
    for (int p = 0; p < 4; ++p)
      for (int q = p + 1; q < 4; ++q) off += a[p][q] * a[p][q];
    if (off < 1e-30) break;
    for (int p = 0; p < 4; ++p)
      for (int q = p + 1; q < 4; ++q) {
        if (std::fabs(a[p][q]) < 1e-300) continue;
        const double theta = (a[q][q] - a[p][p]) / (2.0 * a[p][q]);
        const double t =
            (theta >= 0 ? 1.0 : -1.0) / (std::fabs(theta) + std::sqrt(theta * theta + 1));
        const double c = 1.0 / std::sqrt(t * t + 1), s = t * c;
        for (int k = 0; k < 4; ++k) {
          const double akp = a[k][p], akq = a[k][q];
          a[k][p] = c * akp - s * akq;
          a[k][q] = s * akp + c * akq;
        }
        for (int k = 0; k < 4; ++k) {
          const double apk = a[p][k], aqk = a[q][k];
          a[p][k] = c * apk - s * aqk;
          a[q][k] = s * apk + c * aqk;
        }
        for (int k = 0; k < 4; ++k) {
          const double vkp = v[k][p], vkq = v[k][q];
          v[k][p] = c * vkp - s * vkq;
          v[k][q] = s * vkp + c * vkq;
        }
      }
  }
  int best = 0;
  for (int i = 1; i < 4; ++i)
    if (a[i][i] > a[best][best]) best = i;
  return {v[0][best], v[1][best], v[2][best], v[3][best]};
}

// The rotation R that brings the points p_i nearest to q_i (least squares,
// about the origin; Horn's quaternion method, so never a reflection).
M3 FitRotation(const std::vector<V3>& p, const std::vector<V3>& q) {
  M3 s{};  // s[a][b] = sum p_a q_b
  for (std::size_t i = 0; i < p.size(); ++i)
    for (int a = 0; a < 3; ++a)
      for (int b = 0; b < 3; ++b) s[a][b] += p[i][a] * q[i][b];
  const double xx = s[0][0], xy = s[0][1], xz = s[0][2], yx = s[1][0], yy = s[1][1], yz = s[1][2],
               zx = s[2][0], zy = s[2][1], zz = s[2][2];
  const std::array<std::array<double, 4>, 4> n{{{xx + yy + zz, yz - zy, zx - xz, xy - yx},
                                                {yz - zy, xx - yy - zz, xy + yx, zx + xz},
                                                {zx - xz, xy + yx, -xx + yy - zz, yz + zy},
                                                {xy - yx, zx + xz, yz + zy, -xx - yy + zz}}};
  const auto [w, x, y, z] = LargestEigenvector(n);
  return {V3{w * w + x * x - y * y - z * z, 2 * (x * y - w * z), 2 * (x * z + w * y)},
          V3{2 * (x * y + w * z), w * w - x * x + y * y - z * z, 2 * (y * z - w * x)},
          V3{2 * (x * z - w * y), 2 * (y * z + w * x), w * w - x * x - y * y + z * z}};
}

// Measures compare within this relative tolerance, positions within this
// distance (mm) and directions within this sine.
constexpr double kRelative = 1e-5;
constexpr double kTolerance = 0.01;
constexpr double kAxisTolerance = 1e-4;
// Below this relative gap two principal moments are taken as equal, and
// their axes as undefined.
constexpr double kMomentGap = 1e-3;
// Rotations tried for a very symmetric body, at most.
constexpr std::size_t kMaxCandidates = 2048;

// A vertex, or a circle (centre, unit axis, radius), about the centroid.
struct Feature {
  bool circle = false;
  V3 p{};
  V3 axis{};
  double radius = 0.0;
};

struct BodyMeasures {
  bool valid = false;
  double volume = 0.0;
  V3 centroid{};
  V3 moments{};  // ascending
  M3 axes{};     // principal axes, right-handed
  int faces = 0, edges = 0, vertices = 0, circles = 0;
  std::vector<Feature> features;  // sorted by p[0]
  double size = 0.0;              // the distance of the farthest feature, or the radius of gyration
};

bool Alike(const Feature& a, const Feature& b, double tolerance, double axis_tolerance) {
  if (a.circle != b.circle) return false;
  if (a.circle &&
      (std::fabs(a.radius - b.radius) > tolerance || Norm(Cross(a.axis, b.axis)) > axis_tolerance))
    return false;
  return Norm(Sub(a.p, b.p)) <= tolerance;
}

// The index of the nearest feature of `in` (sorted by p[0]) alike to `f` and
// not yet used, or -1.
int FindFeature(const std::vector<Feature>& in, const Feature& f, double tolerance,
                double axis_tolerance, const std::vector<char>* used) {
  auto it = std::lower_bound(in.begin(), in.end(), f.p[0] - tolerance,
                             [](const Feature& g, double x) { return g.p[0] < x; });
  int best = -1;
  double best_d = 1e300;
  for (; it != in.end() && it->p[0] <= f.p[0] + tolerance; ++it) {
    const int i = static_cast<int>(it - in.begin());
    if (used && (*used)[i]) continue;
    if (!Alike(f, *it, tolerance, axis_tolerance)) continue;
    const double d = Norm(Sub(f.p, it->p));
    if (d < best_d) best = i, best_d = d;
  }
  return best;
}

Feature Turned(const M3& r, const Feature& f) {
  Feature t = f;
  t.p = Apply(r, f.p);
  t.axis = Apply(r, f.axis);
  return t;
}

// Every feature of `a` turned by `r` lies on its own feature of `b`.
bool Matches(const BodyMeasures& a, const BodyMeasures& b, const M3& r) {
  if (Det(r) <= 0.0) return false;  // a reflection: a mirror image is another part
  std::vector<char> used(b.features.size(), 0);
  for (const Feature& f : a.features) {
    const int i = FindFeature(b.features, Turned(r, f), kTolerance, kAxisTolerance, &used);
    if (i < 0) return false;
    used[i] = 1;
  }
  return true;
}

// `r` fitted to the features it brings near each other; false when some
// feature finds no partner nearby.
bool Refine(const BodyMeasures& a, const BodyMeasures& b, M3& r) {
  const double loose = std::max(10 * kTolerance, 1e-3 * b.size);
  std::vector<V3> p, q;
  for (const Feature& f : a.features) {
    const int i = FindFeature(b.features, Turned(r, f), loose, 1e-2, nullptr);
    if (i < 0) return false;
    p.push_back(f.p);
    q.push_back(b.features[i].p);
    if (f.circle) {  // the axis, as a point at the body's scale
      p.push_back(Scaled(f.axis, b.size));
      const V3 axis = b.features[i].axis;
      q.push_back(Scaled(axis, Dot(Apply(r, f.axis), axis) < 0 ? -b.size : b.size));
    }
  }
  if (p.empty()) return true;
  r = FitRotation(p, q);
  return true;
}

// The rotations worth trying to bring `a` onto `b` about their centroids.
std::vector<M3> CandidateRotations(const BodyMeasures& a, const BodyMeasures& b) {
  std::vector<M3> out;
  const double top = std::max(a.moments[2], 1e-300);
  const bool low_equal = (a.moments[1] - a.moments[0]) < kMomentGap * top;
  const bool high_equal = (a.moments[2] - a.moments[1]) < kMomentGap * top;
  const double loose = std::max(10 * kTolerance, 1e-3 * b.size);
  auto alike_kind = [&](const Feature& f, const Feature& g) {
    return f.circle == g.circle && (!f.circle || std::fabs(f.radius - g.radius) <= loose);
  };
  if (!low_equal && !high_equal) {
    // Distinct moments: the principal frames, each axis either way round.
    static constexpr int kSigns[4][3] = {{1, 1, 1}, {1, -1, -1}, {-1, 1, -1}, {-1, -1, 1}};
    for (const auto& s : kSigns) {
      const M3 fb{Scaled(b.axes[0], s[0]), Scaled(b.axes[1], s[1]), Scaled(b.axes[2], s[2])};
      out.push_back(Between(a.axes, fb));
    }
    return out;
  }
  if (low_equal != high_equal) {
    // One axis of its own (a square plate, a turned part): the axis either
    // way round, then the feature farthest from it onto each feature of the
    // other body at the same height and distance.
    const int k = low_equal ? 2 : 0;
    const V3 ua = a.axes[k];
    auto radial = [](const V3& p, const V3& u) { return Sub(p, Scaled(u, Dot(p, u))); };
    const Feature* far = nullptr;
    double far_r = 1e-6 * std::max(a.size, 1.0);
    for (const Feature& f : a.features) {
      const double r = Norm(radial(f.p, ua));
      if (r > far_r) far = &f, far_r = r;
    }
    for (int sign : {1, -1}) {
      const V3 ub = Scaled(b.axes[k], sign);
      if (!far) {
        out.push_back(Between(Frame(ua, Perpendicular(ua)), Frame(ub, Perpendicular(ub))));
        continue;
      }
      const M3 fa = Frame(ua, radial(far->p, ua));
      for (const Feature& g : b.features) {
        if (!alike_kind(*far, g) || std::fabs(Dot(g.p, ub) - Dot(far->p, ua)) > loose ||
            std::fabs(Norm(radial(g.p, ub)) - far_r) > loose)
          continue;
        out.push_back(Between(fa, Frame(ub, radial(g.p, ub))));
        if (out.size() >= kMaxCandidates) return out;
      }
    }
    return out;
  }
  // No axis of its own (a cube, a sphere): the farthest feature and the one
  // farthest from its line onto every pair of the other body at the same
  // distances and angle.
  const Feature* a1 = nullptr;
  for (const Feature& f : a.features)
    if (!a1 || Norm(f.p) > Norm(a1->p)) a1 = &f;
  if (!a1 || Norm(a1->p) <= 1e-6 * std::max(a.size, 1.0)) {
    out.push_back(M3{V3{1, 0, 0}, V3{0, 1, 0}, V3{0, 0, 1}});
    return out;
  }
  const V3 u1 = Unit(a1->p);
  const Feature* a2 = nullptr;
  double a2_off = 1e-6 * std::max(a.size, 1.0);
  for (const Feature& f : a.features) {
    const double off = Norm(Cross(f.p, u1));
    if (off > a2_off) a2 = &f, a2_off = off;
  }
  for (const Feature& g1 : b.features) {
    if (!alike_kind(*a1, g1) || std::fabs(Norm(g1.p) - Norm(a1->p)) > loose) continue;
    if (!a2) {
      out.push_back(
          Between(Frame(a1->p, Perpendicular(u1)), Frame(g1.p, Perpendicular(Unit(g1.p)))));
      continue;
    }
    const V3 v1 = Unit(g1.p);
    for (const Feature& g2 : b.features) {
      if (!alike_kind(*a2, g2) || std::fabs(Norm(g2.p) - Norm(a2->p)) > loose ||
          std::fabs(Dot(g2.p, v1) - Dot(a2->p, u1)) > loose)
        continue;
      out.push_back(Between(Frame(a1->p, a2->p), Frame(g1.p, g2.p)));
      if (out.size() >= kMaxCandidates) return out;
    }
  }
  return out;
}

bool SameMeasures(const BodyMeasures& a, const BodyMeasures& b) {
  if (a.faces != b.faces || a.edges != b.edges || a.vertices != b.vertices ||
      a.circles != b.circles)
    return false;
  if (!Near(a.volume, b.volume, kRelative)) return false;
  // Moments scale with volume x length^2: compare against the largest.
  const double scale = std::max(a.moments[2], b.moments[2]);
  for (int i = 0; i < 3; ++i)
    if (std::fabs(a.moments[i] - b.moments[i]) > kRelative * scale) return false;
  return true;
}

// The rotation about the centroids that brings `a` onto `b`, if any.
std::optional<M3> RotationOnto(const BodyMeasures& a, const BodyMeasures& b) {
  if (!SameMeasures(a, b)) return std::nullopt;
  for (M3 r : CandidateRotations(a, b)) {
    M3 fitted = r;
    if (!Refine(a, b, fitted)) continue;
    if (Matches(a, b, fitted)) return fitted;
    if (Matches(a, b, r)) return r;
  }
  return std::nullopt;
}

bool SameShape(const BodyMeasures& a, const BodyMeasures& b) {
  return RotationOnto(a, b).has_value();
}

BodyMeasures MeasureBody(host::Host& host, host::Tag body) {
  BodyMeasures m;
  auto& bodies = host.bodies();
  try {
    if (!host.objects().Exists(body) || !bodies.IsSolidBody(body)) return m;
    const host::MassProperties mp = bodies.AskMassProperties(body);
    if (!(mp.volume > 0.0)) return m;
    m.volume = mp.volume;
    m.moments = {mp.principal_moments[0], mp.principal_moments[1], mp.principal_moments[2]};
    const V3 x = Unit(ToV3(mp.principal_axes[0])), y = Unit(ToV3(mp.principal_axes[1]));
    m.axes = {x, y, Cross(x, y)};
    const V3 c = ToV3(mp.centroid);
    m.centroid = c;
    m.faces = static_cast<int>(bodies.BodyFaces(body).size());
    std::vector<Feature> raw;
    const std::vector<host::Tag> edges = bodies.BodyEdges(body);
    m.edges = static_cast<int>(edges.size());
    for (host::Tag edge : edges) {
      const host::EdgeData e = bodies.AskEdgeData(edge);
      const V3 s = ToV3(e.start), t = ToV3(e.end);
      if (Norm(Sub(s, t)) > 1e-7) {  // open: two vertices
        raw.push_back({false, Sub(s, c), {}, 0.0});
        raw.push_back({false, Sub(t, c), {}, 0.0});
      }
      if (e.kind == host::EdgeKind::kCircle)
        raw.push_back({true, Sub(ToV3(e.center), c), Unit(ToV3(e.direction)), e.radius});
    }
    // One feature per vertex and per circle.
    std::sort(raw.begin(), raw.end(),
              [](const Feature& f, const Feature& g) { return f.p[0] < g.p[0]; });
    for (const Feature& f : raw)
      if (FindFeature(m.features, f, 1e-4, 1e-6, nullptr) < 0) {
        m.features.push_back(f);  // in order: `raw` is sorted
      }
    for (const Feature& f : m.features) {
      (f.circle ? m.circles : m.vertices) += 1;
      m.size = std::max(m.size, Norm(f.p));
    }
    m.size = std::max(m.size, std::sqrt(m.moments[2] / m.volume));
    m.valid = true;
  } catch (const host::HostError&) {
    m = BodyMeasures{};
  }
  return m;
}

// --- Round bodies ------------------------------------------------------------
//
// A round body (a round or headed punch, a pin, a bush) has only planes across
// one axis and surfaces turned about it. Every section across the axis is a
// disc, so every box with a side along the axis and a side across it has the
// same, smallest volume: the axis is the orientation, no search needed. The
// side across it is taken as near world X as it goes (world Y for an axis
// along world X), so that a punch standing upright keeps the world axes.

struct RoundAxis {
  V3 point{};
  V3 direction{};  // unit
};

// Directions closer than this (the sine of their angle) are one axis.
constexpr double kRoundAngle = 1e-9;

V3 LineOffset(const V3& p, const RoundAxis& axis) {
  const V3 d = Sub(p, axis.point);
  return Sub(d, Scaled(axis.direction, Dot(d, axis.direction)));
}

std::optional<RoundAxis> FindRoundAxis(const std::vector<host::BodyGeometry::Face>& faces) {
  std::optional<RoundAxis> axis;
  double size = 0.0;
  for (const host::BodyGeometry::Face& f : faces) {
    const auto& b = f.data.box;
    size = std::max(size, Norm(V3{b[3] - b[0], b[4] - b[1], b[5] - b[2]}));
    const int t = f.data.type;
    if (!axis &&
        (t == host::kCylindricalFace || t == host::kConicalFace || t == host::kToroidalFace))
      axis = RoundAxis{ToV3(f.data.point), Unit(ToV3(f.data.direction))};
  }
  if (!axis || Norm(axis->direction) == 0.0) return std::nullopt;
  const double on_axis = 1e-6 * std::max(size, 1.0);
  for (const host::BodyGeometry::Face& f : faces) {
    const host::FaceData& d = f.data;
    const V3 dir = Unit(ToV3(d.direction));
    switch (d.type) {
      case host::kPlanarFace:
        if (Norm(Cross(dir, axis->direction)) > kRoundAngle) return std::nullopt;
        break;
      case host::kCylindricalFace:
      case host::kConicalFace:
      case host::kToroidalFace:
        if (Norm(Cross(dir, axis->direction)) > kRoundAngle ||
            Norm(LineOffset(ToV3(d.point), *axis)) > on_axis)
          return std::nullopt;
        break;
      case host::kSphericalFace:
        if (Norm(LineOffset(ToV3(d.point), *axis)) > on_axis) return std::nullopt;
        break;
      default:
        return std::nullopt;
    }
  }
  return axis;
}

// The box along the round body's axis; its extents are those of the body's
// edges (vertices and circles), which the exact box measured in that
// orientation afterwards may exceed where a sphere or torus bulges.
OrientedBox RoundBox(const RoundAxis& axis, const std::vector<host::EdgeData>& edges) {
  V3 z = axis.direction;
  // One sign for an axis, whichever way the faces report it.
  const double lead = std::fabs(z[0]) >= std::fabs(z[1]) && std::fabs(z[0]) >= std::fabs(z[2])
                          ? z[0]
                          : (std::fabs(z[1]) >= std::fabs(z[2]) ? z[1] : z[2]);
  if (lead < 0.0) z = Scaled(z, -1.0);
  V3 x = Sub(V3{1, 0, 0}, Scaled(z, z[0]));
  if (Norm(x) < 1e-6) x = Sub(V3{0, 1, 0}, Scaled(z, z[1]));
  x = Unit(x);
  const V3 y = Cross(z, x);
  OrientedBox box;
  box.axes = host::Matrix3x3::FromRows({x[0], x[1], x[2]}, {y[0], y[1], y[2]}, {z[0], z[1], z[2]});
  const V3 rows[3] = {x, y, z};
  for (int i = 0; i < 3; ++i) box.low[i] = 1e300, box.high[i] = -1e300;
  auto add = [&](const V3& p, int i, double reach) {
    const double c = Dot(p, rows[i]);
    box.low[i] = std::min(box.low[i], c - reach);
    box.high[i] = std::max(box.high[i], c + reach);
  };
  for (const host::EdgeData& e : edges)
    for (int i = 0; i < 3; ++i) {
      add(ToV3(e.start), i, 0.0);
      add(ToV3(e.end), i, 0.0);
      if (e.kind == host::EdgeKind::kCircle) {
        const double n = Dot(Unit(ToV3(e.direction)), rows[i]);
        add(ToV3(e.center), i, e.radius * std::sqrt(std::max(0.0, 1.0 - n * n)));
      }
    }
  for (int i = 0; i < 3; ++i)
    if (box.low[i] > box.high[i]) box.low[i] = box.high[i] = 0.0;
  return box;
}

}  // namespace

BodyInfo::BodyInfo(host::Host& host, host::Tag body) : host_(&host), body_(body) {}

void BodyInfo::Measure() {
  if (!box_) box_ = host_->bodies().AskBoundingBoxExact(body_, host_->csys().AskWcs());
}

void BodyInfo::Refresh() {
  box_.reset();
  measures_.reset();
  class_.reset();
}

host::Point3d BodyInfo::GetMinCorner() {
  Measure();
  return box_->corner;
}

host::Point3d BodyInfo::GetMaxCorner() {
  Measure();
  host::Point3d p = box_->corner;
  for (int i = 0; i < 3; ++i) {
    p.X += box_->directions[i].X * box_->distances[i];
    p.Y += box_->directions[i].Y * box_->distances[i];
    p.Z += box_->directions[i].Z * box_->distances[i];
  }
  return p;
}

double BodyInfo::GetBodyLength() {
  Measure();
  return box_->distances[0];
}

double BodyInfo::GetBodyWide() {
  Measure();
  return box_->distances[1];
}

double BodyInfo::GetBodyHeight() {
  Measure();
  return box_->distances[2];
}

host::Point3d BodyInfo::MapPointToWCS(const host::Point3d& absolute) {
  return host_->csys().MapPoint(absolute, host::kRootCoords, host::kWorkCoords);
}

host::Point3d BodyInfo::MapPointToABS(const host::Point3d& work) {
  return host_->csys().MapPoint(work, host::kWorkCoords, host::kRootCoords);
}

OrientedBox BodyInfo::MinVolumeBox(double step) {
  const std::unique_ptr<host::BodyGeometry> geometry = TakeBodyGeometry(*host_, body_);
  return MinVolumeBoxOf(*geometry, geometry->Faces(), step);
}

OrientedBox MinVolumeBoxOf(host::BodyGeometry& geometry,
                           const std::vector<host::BodyGeometry::Face>& faces, double step) {
  const std::vector<host::EdgeData> edges = geometry.Edges();
  if (const std::optional<RoundAxis> axis = FindRoundAxis(faces)) return RoundBox(*axis, edges);
  std::vector<host::Vector3d> directions;
  std::vector<host::Point3d> points;
  bool bulges = false;
  host::Point3d lo{1e300, 1e300, 1e300}, hi{-1e300, -1e300, -1e300};
  for (const host::BodyGeometry::Face& face : faces) {
    const host::FaceData& d = face.data;
    if (d.type == host::kPlanarFace || d.type == host::kCylindricalFace ||
        d.type == host::kConicalFace)
      directions.push_back(d.direction);
    bulges = bulges || BulgesOut(d);
    lo = {std::min(lo.X, d.box[0]), std::min(lo.Y, d.box[1]), std::min(lo.Z, d.box[2])};
    hi = {std::max(hi.X, d.box[3]), std::max(hi.Y, d.box[4]), std::max(hi.Z, d.box[5])};
  }
  for (const host::EdgeData& e : edges) {
    if (e.kind != host::EdgeKind::kOther) directions.push_back(e.direction);
    points.push_back(e.start);
    points.push_back(e.end);
  }
  if (bulges || points.size() < 4) {
    // Sample the curved faces. The chord follows the body's size, measured
    // about the centroid of its vertices so that it does not change when the
    // body is turned.
    double size = 0.0;
    if (!points.empty()) {
      host::Point3d c{};
      for (const host::Point3d& p : points) c.X += p.X, c.Y += p.Y, c.Z += p.Z;
      c = {c.X / points.size(), c.Y / points.size(), c.Z / points.size()};
      for (const host::Point3d& p : points)
        size = std::max(size, host::Length({p.X - c.X, p.Y - c.Y, p.Z - c.Z}));
      size *= 2.0;
    }
    if (size <= 0.0 && hi.X >= lo.X) size = host::Length({hi.X - lo.X, hi.Y - lo.Y, hi.Z - lo.Z});
    const double chord = std::max(1e-3, 5e-4 * size);
    const host::Facets facets = geometry.AskFacets(chord, 0.25);
    points.insert(points.end(), facets.vertices.begin(), facets.vertices.end());
  }
  MinBoxOptions options;
  options.step = step;
  return MinimumVolumeBox(points, directions, options);
}

bool BodyInfo::GetBodyMinVolumeOrient(host::Matrix3x3& matrix, double step) {
  const OrientedBox box = MinVolumeBox(step);
  matrix = box.axes;
  return box.Volume() > 0.0;
}

struct BodyInfo::Measures : BodyMeasures {};

// Bodies found the same share one class (a union-find node): a body compared
// with many copies of one part is confirmed against the class once.
struct BodyInfo::SameClass {
  std::shared_ptr<SameClass> parent;
};

const BodyInfo::Measures& BodyInfo::GetMeasures() {
  if (!measures_) {
    auto m = std::make_shared<Measures>();
    static_cast<BodyMeasures&>(*m) = MeasureBody(*host_, body_);
    measures_ = m;
  }
  return *measures_;
}

BodyInfo::SameClass* BodyInfo::Class() {
  if (!class_) class_ = std::make_shared<SameClass>();
  while (class_->parent) class_ = class_->parent;
  return class_.get();
}

bool BodyInfo::IsSameBody(BodyInfo& other) {
  if (other.body_ == body_) return true;
  if (Class() == other.Class()) return true;
  if (!SameShape(GetMeasures(), other.GetMeasures())) return false;
  Class()->parent = other.class_;  // both are roots now
  return true;
}

std::vector<host::Tag> BodyInfo::GetSameBodys(std::vector<BodyInfo>& others) {
  std::vector<host::Tag> same;
  if (!GetMeasures().valid) return same;
  // Classes found different in this search: their other members are too.
  std::vector<const SameClass*> different;
  for (BodyInfo& o : others) {
    if (o.body_ == body_) continue;
    const SameClass* theirs = o.Class();
    if (std::find(different.begin(), different.end(), theirs) != different.end()) continue;
    if (IsSameBody(o))
      same.push_back(o.body_);
    else
      different.push_back(o.Class());
  }
  return same;
}

std::optional<BodyInfo::Motion> BodyInfo::MotionOnto(BodyInfo& other) {
  const BodyMeasures& a = GetMeasures();
  const BodyMeasures& b = other.GetMeasures();
  if (!a.valid || !b.valid || !SameMeasures(a, b)) return std::nullopt;
  const M3 identity{V3{1, 0, 0}, V3{0, 1, 0}, V3{0, 0, 1}};
  std::optional<M3> r;
  if (Matches(a, b, identity))
    r = identity;
  else
    r = RotationOnto(a, b);
  if (!r) return std::nullopt;
  const V3 t = Sub(b.centroid, Apply(*r, a.centroid));
  Motion m;
  m.rotation = host::Matrix3x3::FromRows({(*r)[0][0], (*r)[0][1], (*r)[0][2]},
                                         {(*r)[1][0], (*r)[1][1], (*r)[1][2]},
                                         {(*r)[2][0], (*r)[2][1], (*r)[2][2]});
  m.translation = {t[0], t[1], t[2]};
  return m;
}

BodyInfo::Signature BodyInfo::GetSignature() {
  const BodyMeasures& m = GetMeasures();
  Signature s;
  if (!m.valid) return s;
  s.valid = true;
  s.volume = m.volume;
  s.faces = m.faces, s.edges = m.edges, s.vertices = m.vertices, s.circles = m.circles;
  s.centroid = {m.centroid[0], m.centroid[1], m.centroid[2]};
  return s;
}

std::vector<host::Tag> BodyInfo::GetSameBodys(const std::vector<host::Tag>& others) {
  std::vector<BodyInfo> infos;
  for (host::Tag t : others) infos.emplace_back(*host_, t);
  return GetSameBodys(infos);
}

bool BodyInfo::GetBodyFacetAttr(host::Tag body, const std::string& title, std::string& value) {
  auto& attrs = host_->attributes();
  if (attrs.Has(body, title)) {
    value = attrs.GetString(body, title);
    return true;
  }
  for (host::Tag face : host_->bodies().BodyFaces(body)) {
    if (attrs.Has(face, title)) {
      value = attrs.GetString(face, title);
      return true;
    }
  }
  return false;
}

int BodyInfo::GetBodyLayer() { return host_->objects().Layer(body_); }

}  // namespace blank
