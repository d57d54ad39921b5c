#include "blank/min_box.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <unordered_map>
#include <utility>

namespace blank {
namespace {

struct V3 {
  double x = 0.0, y = 0.0, z = 0.0;
};
inline V3 operator+(const V3& a, const V3& b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
inline V3 operator-(const V3& a, const V3& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
inline V3 operator*(double s, const V3& a) { return {s * a.x, s * a.y, s * a.z}; }
inline double Dot(const V3& a, const V3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline V3 Cross(const V3& a, const V3& b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double Norm(const V3& a) { return std::sqrt(Dot(a, a)); }
inline V3 Normalized(const V3& a) {
  const double n = Norm(a);
  return n > 0.0 ? (1.0 / n) * a : V3{};
}
inline V3 ToV3(const host::Point3d& p) { return {p.X, p.Y, p.Z}; }
inline V3 ToV3(const host::Vector3d& p) { return {p.X, p.Y, p.Z}; }
inline host::Vector3d ToVector(const V3& v) { return {v.x, v.y, v.z}; }
inline host::Matrix3x3 Frame(const V3& x, const V3& y, const V3& z) {
  return host::Matrix3x3::FromRows(ToVector(x), ToVector(y), ToVector(z));
}

// Two unit vectors completing `d` (unit) to a right-handed frame (e1, e2, d).
void Complete(const V3& d, V3& e1, V3& e2) {
  const double ax = std::fabs(d.x), ay = std::fabs(d.y), az = std::fabs(d.z);
  V3 helper = ax <= ay && ax <= az ? V3{1, 0, 0} : (ay <= az ? V3{0, 1, 0} : V3{0, 0, 1});
  e1 = Normalized(Cross(helper, d));
  e2 = Cross(d, e1);
}

// ---------------------------------------------------------------------------
// Quickhull.

class HullBuilder {
 public:
  HullBuilder(const std::vector<V3>& points, double eps) : p_(points), eps_(eps) {}

  Hull Build() {
    Hull hull;
    if (p_.empty()) return hull;
    int a = 0, b = 0, c = 0, d = 0;
    hull.dimension = Simplex(a, b, c, d);
    if (hull.dimension < 3) {
      for (int i : {a, b, c}) {
        if (hull.vertices.size() < static_cast<std::size_t>(hull.dimension) + 1)
          hull.vertices.push_back({p_[i].x, p_[i].y, p_[i].z});
      }
      return hull;
    }
    owner_.reserve(p_.size() * 8);
    AddFace(a, c, b);
    AddFace(a, b, d);
    AddFace(b, c, d);
    AddFace(c, a, d);
    std::vector<int> all;
    all.reserve(p_.size());
    for (int i = 0; i < static_cast<int>(p_.size()); ++i)
      if (i != a && i != b && i != c && i != d) all.push_back(i);
    Assign(all, 0, -1);
    for (std::size_t f = 0; f < faces_.size(); ++f) {
      if (faces_[f].alive && !faces_[f].outside.empty()) AddPoint(static_cast<int>(f));
    }
    std::vector<int> remap(p_.size(), -1);
    for (const Face& f : faces_) {
      if (!f.alive) continue;
      std::array<int, 3> t{};
      for (int k = 0; k < 3; ++k) {
        int& r = remap[f.v[k]];
        if (r < 0) {
          r = static_cast<int>(hull.vertices.size());
          hull.vertices.push_back({p_[f.v[k]].x, p_[f.v[k]].y, p_[f.v[k]].z});
        }
        t[k] = r;
      }
      hull.facets.push_back(t);
    }
    return hull;
  }

 private:
  struct Face {
    int v[3];
    V3 n;
    double d = 0.0;
    std::vector<int> outside;
    bool alive = true;
    int seen = -1;  // the point whose visibility was last tested
    bool visible = false;
  };

  static std::uint64_t Key(int a, int b) {
    return (static_cast<std::uint64_t>(static_cast<std::uint32_t>(a)) << 32) |
           static_cast<std::uint32_t>(b);
  }
  double Dist(const Face& f, int i) const { return Dot(f.n, p_[i]) - f.d; }

  // The initial simplex; returns the dimension of the point set.
  int Simplex(int& a, int& b, int& c, int& d) const {
    const int n = static_cast<int>(p_.size());
    int ext[6] = {0, 0, 0, 0, 0, 0};
    for (int i = 1; i < n; ++i) {
      if (p_[i].x < p_[ext[0]].x) ext[0] = i;
      if (p_[i].x > p_[ext[1]].x) ext[1] = i;
      if (p_[i].y < p_[ext[2]].y) ext[2] = i;
      if (p_[i].y > p_[ext[3]].y) ext[3] = i;
      if (p_[i].z < p_[ext[4]].z) ext[4] = i;
      if (p_[i].z > p_[ext[5]].z) ext[5] = i;
    }
    double best = -1.0;
    for (int i = 0; i < 6; ++i)
      for (int j = i + 1; j < 6; ++j) {
        const double l = Norm(p_[ext[i]] - p_[ext[j]]);
        if (l > best) best = l, a = ext[i], b = ext[j];
      }
    c = d = a;
    if (best <= eps_) return 0;
    const V3 dir = Normalized(p_[b] - p_[a]);
    best = -1.0;
    for (int i = 0; i < n; ++i) {
      const double l = Norm(Cross(p_[i] - p_[a], dir));
      if (l > best) best = l, c = i;
    }
    if (best <= eps_) return 1;
    const V3 normal = Normalized(Cross(p_[b] - p_[a], p_[c] - p_[a]));
    best = -1.0;
    double signed_best = 0.0;
    for (int i = 0; i < n; ++i) {
      const double s = Dot(p_[i] - p_[a], normal);
      if (std::fabs(s) > best) best = std::fabs(s), signed_best = s, d = i;
    }
    if (best <= eps_) return 2;
    if (signed_best < 0.0) std::swap(b, c);  // d lies above the triangle (a, b, c)
    return 3;
  }

  int AddFace(int a, int b, int c) {
    Face f;
    f.v[0] = a, f.v[1] = b, f.v[2] = c;
    f.n = Normalized(Cross(p_[b] - p_[a], p_[c] - p_[a]));
    f.d = Dot(f.n, p_[a]);
    const int id = static_cast<int>(faces_.size());
    faces_.push_back(std::move(f));
    owner_[Key(a, b)] = id;
    owner_[Key(b, c)] = id;
    owner_[Key(c, a)] = id;
    return id;
  }

  // Gives each point to the face (from `first` on) it lies farthest above.
  void Assign(const std::vector<int>& points, std::size_t first, int skip) {
    for (int i : points) {
      if (i == skip) continue;
      double best = eps_;
      int face = -1;
      for (std::size_t f = first; f < faces_.size(); ++f) {
        if (!faces_[f].alive) continue;
        const double dist = Dist(faces_[f], i);
        if (dist > best) best = dist, face = static_cast<int>(f);
      }
      if (face >= 0) faces_[face].outside.push_back(i);
    }
  }

  void AddPoint(int start) {
    const Face& f0 = faces_[start];
    int q = f0.outside.front();
    double far = Dist(f0, q);
    for (int i : f0.outside) {
      const double dist = Dist(f0, i);
      if (dist > far) far = dist, q = i;
    }
    // The faces that see q: a connected region around `start`.
    std::vector<int> visible{start};
    faces_[start].seen = q, faces_[start].visible = true;
    std::vector<std::pair<int, int>> horizon;
    for (std::size_t k = 0; k < visible.size(); ++k) {
      const int fi = visible[k];
      for (int e = 0; e < 3; ++e) {
        const int a = faces_[fi].v[e], b = faces_[fi].v[(e + 1) % 3];
        const auto it = owner_.find(Key(b, a));
        if (it == owner_.end()) continue;
        Face& g = faces_[it->second];
        if (g.seen != q) {
          g.seen = q;
          g.visible = Dist(g, q) > eps_;
          if (g.visible) {
            visible.push_back(it->second);
            continue;
          }
        }
        if (!g.visible) horizon.emplace_back(a, b);
      }
    }
    std::vector<int> orphans;
    for (int fi : visible) {
      Face& f = faces_[fi];
      f.alive = false;
      orphans.insert(orphans.end(), f.outside.begin(), f.outside.end());
      f.outside.clear();
      f.outside.shrink_to_fit();
      for (int e = 0; e < 3; ++e) {
        const auto it = owner_.find(Key(f.v[e], f.v[(e + 1) % 3]));
        if (it != owner_.end() && it->second == fi) owner_.erase(it);
      }
    }
    const std::size_t first = faces_.size();
    for (const auto& [a, b] : horizon) AddFace(a, b, q);
    Assign(orphans, first, q);
  }

  const std::vector<V3>& p_;
  double eps_;
  std::vector<Face> faces_;
  std::unordered_map<std::uint64_t, int> owner_;
};

double Scale(const std::vector<V3>& p) {
  if (p.empty()) return 0.0;
  V3 lo = p[0], hi = p[0];
  for (const V3& q : p) {
    lo = {std::min(lo.x, q.x), std::min(lo.y, q.y), std::min(lo.z, q.z)};
    hi = {std::max(hi.x, q.x), std::max(hi.y, q.y), std::max(hi.z, q.z)};
  }
  return Norm(hi - lo);
}

// ---------------------------------------------------------------------------
// Planar hull and rectangle.

inline double Cross2(const Point2d& o, const Point2d& a, const Point2d& b) {
  return (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x);
}

// Andrew's monotone chain into `out` (counterclockwise, starting at the
// lowest-x, then lowest-y point); `pts` is sorted in place.
void Hull2dInto(std::vector<Point2d>& pts, std::vector<Point2d>& out) {
  out.clear();
  std::sort(pts.begin(), pts.end(), [](const Point2d& a, const Point2d& b) {
    return a.x < b.x || (a.x == b.x && a.y < b.y);
  });
  const std::size_t n = pts.size();
  if (n < 3) {
    for (const Point2d& p : pts)
      if (out.empty() || p.x != out.back().x || p.y != out.back().y) out.push_back(p);
    return;
  }
  out.resize(2 * n);
  std::size_t k = 0;
  for (std::size_t i = 0; i < n; ++i) {
    while (k >= 2 && Cross2(out[k - 2], out[k - 1], pts[i]) <= 0.0) --k;
    out[k++] = pts[i];
  }
  for (std::size_t i = n - 1, t = k + 1; i-- > 0;) {
    while (k >= t && Cross2(out[k - 2], out[k - 1], pts[i]) <= 0.0) --k;
    out[k++] = pts[i];
  }
  out.resize(k > 1 ? k - 1 : k);
}

Rectangle2d RectangleOfHull(const std::vector<Point2d>& h) {
  Rectangle2d r;
  const int n = static_cast<int>(h.size());
  if (n == 0) return r;
  if (n == 1) {
    r.u_low = r.u_high = h[0].x;
    r.v_low = r.v_high = h[0].y;
    return r;
  }
  auto du = [&](int i, double ux, double uy) { return h[i].x * ux + h[i].y * uy; };
  auto dv = [&](int i, double ux, double uy) { return -h[i].x * uy + h[i].y * ux; };
  double best = std::numeric_limits<double>::infinity();
  int best_edge = 0;
  int j = 0, k = 0, m = 0;
  for (int i = 0; i < n; ++i) {
    const Point2d& a = h[i];
    const Point2d& b = h[(i + 1) % n];
    const double ex = b.x - a.x, ey = b.y - a.y, len = std::hypot(ex, ey);
    if (len == 0.0) continue;
    const double ux = ex / len, uy = ey / len;
    if (i == 0) {
      for (int t = 1; t < n; ++t) {
        if (du(t, ux, uy) > du(j, ux, uy)) j = t;
        if (dv(t, ux, uy) > dv(k, ux, uy)) k = t;
        if (du(t, ux, uy) < du(m, ux, uy)) m = t;
      }
    } else {
      for (int c = 0; c < n && du((j + 1) % n, ux, uy) >= du(j, ux, uy); ++c) j = (j + 1) % n;
      for (int c = 0; c < n && dv((k + 1) % n, ux, uy) >= dv(k, ux, uy); ++c) k = (k + 1) % n;
      for (int c = 0; c < n && du((m + 1) % n, ux, uy) <= du(m, ux, uy); ++c) m = (m + 1) % n;
    }
    const double area = (du(j, ux, uy) - du(m, ux, uy)) * (dv(k, ux, uy) - dv(i, ux, uy));
    if (area < best) best = area, best_edge = i;
  }
  const Point2d& a = h[best_edge];
  const Point2d& b = h[(best_edge + 1) % n];
  const double len = std::hypot(b.x - a.x, b.y - a.y);
  r.ux = (b.x - a.x) / len, r.uy = (b.y - a.y) / len;
  r.u_low = r.v_low = std::numeric_limits<double>::infinity();
  r.u_high = r.v_high = -std::numeric_limits<double>::infinity();
  for (int t = 0; t < n; ++t) {
    const double u = du(t, r.ux, r.uy), v = dv(t, r.ux, r.uy);
    r.u_low = std::min(r.u_low, u), r.u_high = std::max(r.u_high, u);
    r.v_low = std::min(r.v_low, v), r.v_high = std::max(r.v_high, v);
  }
  return r;
}

// ---------------------------------------------------------------------------
// The search over directions on a fixed hull.

class Search {
 public:
  Search(const Hull& hull) {
    pts_.reserve(hull.vertices.size());
    for (const host::Point3d& p : hull.vertices) pts_.push_back(ToV3(p));
    for (const auto& f : hull.facets) {
      // Half the area-weighted normal: the shadow of the hull along d is the
      // sum of |n . d| over the facets.
      areas_.push_back(0.25 * Cross(pts_[f[1]] - pts_[f[0]], pts_[f[2]] - pts_[f[0]]));
    }
    proj_.reserve(pts_.size());
    ring_.reserve(2 * pts_.size() + 2);
  }

  struct Result {
    double volume = std::numeric_limits<double>::infinity();
    V3 u, v, d;
  };

  // The best box with third axis `d` (unit).
  Result Around(const V3& d) {
    V3 e1, e2;
    Complete(d, e1, e2);
    proj_.clear();
    double lo = std::numeric_limits<double>::infinity(), hi = -lo;
    for (const V3& p : pts_) {
      proj_.push_back({Dot(p, e1), Dot(p, e2)});
      const double w = Dot(p, d);
      lo = std::min(lo, w), hi = std::max(hi, w);
    }
    Hull2dInto(proj_, ring_);
    const Rectangle2d r = RectangleOfHull(ring_);
    Result res;
    res.volume = r.Area() * (hi - lo);
    res.u = r.ux * e1 + r.uy * e2;
    res.v = (-r.uy) * e1 + r.ux * e2;
    res.d = d;
    return res;
  }

  // A lower bound of the volume of any box with third axis `d`: the hull's
  // width along d times the area of its shadow on the plane normal to d.
  double LowerBound(const V3& d) const {
    double lo = std::numeric_limits<double>::infinity(), hi = -lo;
    for (const V3& p : pts_) {
      const double w = Dot(p, d);
      lo = std::min(lo, w), hi = std::max(hi, w);
    }
    double shadow = 0.0;
    for (const V3& a : areas_) shadow += std::fabs(Dot(a, d));
    return (hi - lo) * shadow;
  }

  const std::vector<V3>& points() const { return pts_; }

 private:
  std::vector<V3> pts_;
  std::vector<V3> areas_;
  std::vector<Point2d> proj_, ring_;
};

double SurfaceArea(const OrientedBox& b) {
  const double x = b.Extent(0), y = b.Extent(1), z = b.Extent(2);
  return x * y + y * z + z * x;
}

// Sign-free canonical form: the component of largest magnitude positive.
V3 Canonical(const V3& d) {
  const double ax = std::fabs(d.x), ay = std::fabs(d.y), az = std::fabs(d.z);
  const double lead = ax >= ay && ax >= az ? d.x : (ay >= az ? d.y : d.z);
  return lead < 0.0 ? (-1.0) * d : d;
}

void AddDirection(std::vector<V3>& dirs, const V3& d) {
  const V3 u = Normalized(d);
  if (Dot(u, u) > 0.5) dirs.push_back(Canonical(u));
}

void Dedupe(std::vector<V3>& dirs) {
  std::sort(dirs.begin(), dirs.end(), [](const V3& a, const V3& b) {
    if (a.x != b.x) return a.x < b.x;
    if (a.y != b.y) return a.y < b.y;
    return a.z < b.z;
  });
  std::vector<V3> out;
  for (const V3& d : dirs) {
    bool dup = false;
    for (auto it = out.rbegin(); it != out.rend() && d.x - it->x <= 1e-12; ++it) {
      if (std::fabs(d.y - it->y) <= 1e-12 && std::fabs(d.z - it->z) <= 1e-12) {
        dup = true;
        break;
      }
    }
    if (!dup) out.push_back(d);
  }
  dirs.swap(out);
}

}  // namespace

// ---------------------------------------------------------------------------

Hull ConvexHull(const std::vector<host::Point3d>& points) {
  std::vector<V3> p;
  p.reserve(points.size());
  for (const host::Point3d& q : points) p.push_back(ToV3(q));
  const double eps = std::max(1e-10 * Scale(p), 1e-300);
  return HullBuilder(p, eps).Build();
}

std::vector<Point2d> ConvexHull2d(std::vector<Point2d> points) {
  std::vector<Point2d> out;
  Hull2dInto(points, out);
  return out;
}

Rectangle2d MinAreaRectangle(const std::vector<Point2d>& points) {
  return RectangleOfHull(ConvexHull2d(points));
}

OrientedBox BoxAlong(const std::vector<host::Point3d>& points, const host::Matrix3x3& axes) {
  OrientedBox box;
  box.axes = axes;
  const V3 rows[3] = {ToV3(axes.XAxis()), ToV3(axes.YAxis()), ToV3(axes.ZAxis())};
  if (points.empty()) return box;
  for (int i = 0; i < 3; ++i) {
    box.low[i] = std::numeric_limits<double>::infinity();
    box.high[i] = -std::numeric_limits<double>::infinity();
  }
  for (const host::Point3d& q : points) {
    const V3 p = ToV3(q);
    for (int i = 0; i < 3; ++i) {
      const double c = Dot(p, rows[i]);
      box.low[i] = std::min(box.low[i], c);
      box.high[i] = std::max(box.high[i], c);
    }
  }
  return box;
}

OrientedBox BestBoxAround(const std::vector<host::Point3d>& points,
                          const host::Vector3d& direction) {
  const V3 d = Normalized(ToV3(direction));
  if (points.empty() || Dot(d, d) < 0.5) return BoxAlong(points, {});
  Hull hull;
  hull.vertices = points;
  Search search(hull);
  const Search::Result r = search.Around(d);
  return BoxAlong(points, Frame(r.u, r.v, r.d));
}

OrientedBox MinimumVolumeBox(const std::vector<host::Point3d>& points,
                             const std::vector<host::Vector3d>& directions,
                             const MinBoxOptions& options) {
  const Hull hull = ConvexHull(points);
  if (hull.dimension == 0) return BoxAlong(points, {});
  if (hull.dimension < 3) {
    // A degenerate set: a segment or a planar patch. Lay Z across it (plane
    // normal) or along it (segment) and take the best box around that axis.
    const V3 a = ToV3(hull.vertices[0]), b = ToV3(hull.vertices[1]);
    V3 axis = b - a;
    if (hull.dimension == 2) axis = Cross(b - a, ToV3(hull.vertices[2]) - a);
    return BestBoxAround(points, ToVector(Normalized(axis)));
  }

  Search search(hull);
  const std::vector<V3>& pts = search.points();

  // Candidate directions.
  std::vector<V3> dirs = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  for (const host::Vector3d& d : directions) AddDirection(dirs, ToV3(d));
  for (const auto& f : hull.facets)
    AddDirection(dirs, Cross(pts[f[1]] - pts[f[0]], pts[f[2]] - pts[f[0]]));
  {
    // Boxes whose opposite faces hold two skew hull edges (the regular
    // tetrahedron's cube): normals of pairs of edge directions, when the
    // hull has few of them.
    std::vector<V3> edges;
    for (const auto& f : hull.facets)
      for (int e = 0; e < 3; ++e) {
        const int a = f[e], b = f[(e + 1) % 3];
        if (a < b) AddDirection(edges, pts[b] - pts[a]);
      }
    Dedupe(edges);
    if (edges.size() <= 24) {
      for (std::size_t i = 0; i < edges.size(); ++i)
        for (std::size_t j = i + 1; j < edges.size(); ++j)
          AddDirection(dirs, Cross(edges[i], edges[j]));
    }
  }
  Dedupe(dirs);

  Search::Result best;
  OrientedBox best_box;
  for (const V3& d : dirs) {
    const Search::Result r = search.Around(d);
    if (!(r.volume <= best.volume * (1.0 + 1e-9))) continue;
    const OrientedBox box = BoxAlong(hull.vertices, Frame(r.u, r.v, r.d));
    // Near-equal volumes: the smaller surface decides, so that the choice
    // does not hang on rounding.
    if (r.volume < best.volume * (1.0 - 1e-9) || SurfaceArea(box) < SurfaceArea(best_box)) {
      best = r;
      best_box = box;
    }
  }

  if (options.step > 0.0) {
    const double step = options.step;
    // Guard search in the frame of the best candidate box. Every frame has an
    // axis within acos(1/sqrt(3)) of that frame's Z (up to sign), so that cap
    // is enough.
    const V3 fx = best.u, fy = best.v, fz = best.d;
    const double cap = std::acos(1.0 / std::sqrt(3.0)) + 0.5 * step;
    const double keep = best.volume * 1.25;
    std::vector<Search::Result> found;
    for (int ring = 0; ring * step <= cap; ++ring) {
      const double theta = ring * step;
      const int count =
          ring == 0
              ? 1
              : std::max(
                    1, static_cast<int>(std::ceil(2 * std::numbers::pi * std::sin(theta) / step)));
      for (int k = 0; k < count; ++k) {
        const double phi = 2 * std::numbers::pi * k / count;
        const V3 d = Normalized(std::sin(theta) * std::cos(phi) * fx +
                                std::sin(theta) * std::sin(phi) * fy + std::cos(theta) * fz);
        if (search.LowerBound(d) >= keep) continue;
        const Search::Result r = search.Around(d);
        if (r.volume < keep) found.push_back(r);
      }
    }
    std::stable_sort(
        found.begin(), found.end(),
        [](const Search::Result& a, const Search::Result& b) { return a.volume < b.volume; });
    // Starts: the best candidate, then the best guard directions that are
    // apart from the starts already taken.
    std::vector<Search::Result> starts{best};
    const double apart = std::cos(2.0 * step);
    for (const Search::Result& r : found) {
      if (static_cast<int>(starts.size()) > options.refine_starts) break;
      bool near = false;
      for (const Search::Result& s : starts) {
        if (std::fabs(Dot(s.d, r.d)) >= apart || std::fabs(Dot(s.u, r.d)) >= apart ||
            std::fabs(Dot(s.v, r.d)) >= apart) {
          near = true;
          break;
        }
      }
      if (!near) starts.push_back(r);
    }
    Search::Result guard = best;
    for (Search::Result cur : starts) {
      double s = 0.5 * step;
      int evaluations = 0;
      while (s >= options.refine_to && evaluations < 4000) {
        V3 t1, t2;
        Complete(cur.d, t1, t2);
        Search::Result next = cur;
        for (int k = 0; k < 8; ++k) {
          const double a = 2 * std::numbers::pi * k / 8;
          const V3 d = Normalized(cur.d + s * (std::cos(a) * t1 + std::sin(a) * t2));
          const Search::Result r = search.Around(d);
          ++evaluations;
          if (r.volume < next.volume) next = r;
        }
        if (next.volume < cur.volume) {
          cur = next;
        } else {
          s *= 0.5;
        }
      }
      if (cur.volume < guard.volume) guard = cur;
    }
    if (guard.volume < best.volume * (1.0 - 1e-9)) {
      best = guard;
      best_box = BoxAlong(hull.vertices, Frame(best.u, best.v, best.d));
    }
  }
  return best_box;
}

}  // namespace blank
