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
// At most this many hull facet normals are tried as box axes.
constexpr std::size_t kHullFacetDirections = 64;

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

inline bool XyLess(const Point2d& a, const Point2d& b) {
  return a.x < b.x || (a.x == b.x && a.y < b.y);
}

// Andrew's monotone chain over points sorted by XyLess, into `out`
// (counterclockwise from the lowest-x, then lowest-y point).
void ChainSorted(const std::vector<Point2d>& pts, std::vector<Point2d>& out) {
  out.clear();
  const std::size_t n = pts.size();
  if (n < 3) {
    for (const Point2d& p : pts)
      if (out.empty() || p.x != out.back().x || p.y != out.back().y) out.push_back(p);
    return;
  }
  // Turns flatter than a relative 1e-12 count as straight: points that
  // projected onto nearly the same spot would otherwise leave slivers whose
  // rounding breaks the convexity the calipers rely on.
  double y0 = pts[0].y, y1 = pts[0].y;
  for (const Point2d& p : pts) y0 = std::min(y0, p.y), y1 = std::max(y1, p.y);
  const double scale = (pts[n - 1].x - pts[0].x) + (y1 - y0);
  const double flat = 1e-12 * scale * scale;
  out.resize(2 * n);
  std::size_t k = 0;
  for (std::size_t i = 0; i < n; ++i) {
    while (k >= 2 && Cross2(out[k - 2], out[k - 1], pts[i]) <= flat) --k;
    out[k++] = pts[i];
  }
  for (std::size_t i = n - 1, t = k + 1; i-- > 0;) {
    while (k >= t && Cross2(out[k - 2], out[k - 1], pts[i]) <= flat) --k;
    out[k++] = pts[i];
  }
  out.resize(k > 1 ? k - 1 : k);
}

void Hull2dInto(std::vector<Point2d>& pts, std::vector<Point2d>& out) {
  std::sort(pts.begin(), pts.end(), XyLess);
  ChainSorted(pts, out);
}

// Rotating calipers on a convex polygon (counterclockwise, at least two
// points): the smallest area of a rectangle with a side on one of its edges,
// and the index of the first edge that gives it. Edge vectors are not
// normalised: the supporting points do not depend on the scale, and the area
// needs one division.
double MinRectangle(const std::vector<Point2d>& h, int& best_edge) {
  const int n = static_cast<int>(h.size());
  double best = std::numeric_limits<double>::infinity();
  best_edge = 0;
  int j = 0, k = 0, m = 0;
  auto next = [n](int i) { return i + 1 == n ? 0 : i + 1; };
  for (int i = 0; i < n; ++i) {
    const Point2d& a = h[i];
    const Point2d& b = h[next(i)];
    const double ex = b.x - a.x, ey = b.y - a.y, len2 = ex * ex + ey * ey;
    if (len2 == 0.0) continue;
    auto du = [&](int t) { return h[t].x * ex + h[t].y * ey; };
    auto dv = [&](int t) { return h[t].y * ex - h[t].x * ey; };
    if (i == 0) {
      for (int t = 1; t < n; ++t) {
        if (du(t) > du(j)) j = t;
        if (dv(t) > dv(k)) k = t;
        if (du(t) < du(m)) m = t;
      }
    } else {
      for (int c = 0; c < n && du(next(j)) >= du(j); ++c) j = next(j);
      for (int c = 0; c < n && dv(next(k)) >= dv(k); ++c) k = next(k);
      for (int c = 0; c < n && du(next(m)) <= du(m); ++c) m = next(m);
    }
    const double area = (du(j) - du(m)) * (dv(k) - dv(i)) / len2;
    if (area < best) best = area, best_edge = i;
  }
  return best;
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
  int edge = 0;
  MinRectangle(h, edge);
  const Point2d& a = h[edge];
  const Point2d& b = h[(edge + 1) % n];
  const double len = std::sqrt((b.x - a.x) * (b.x - a.x) + (b.y - a.y) * (b.y - a.y));
  r.ux = (b.x - a.x) / len, r.uy = (b.y - a.y) / len;
  r.u_low = r.v_low = std::numeric_limits<double>::infinity();
  r.u_high = r.v_high = -std::numeric_limits<double>::infinity();
  for (int t = 0; t < n; ++t) {
    const double u = h[t].x * r.ux + h[t].y * r.uy, v = -h[t].x * r.uy + h[t].y * r.ux;
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
    // Half the area-weighted facet normals: the shadow of the hull along d is
    // the sum of |a . d|. Facets of one plane (same outward normal) are
    // summed into one term.
    std::vector<std::pair<V3, V3>> facets;  // unit normal, half area vector
    for (const auto& f : hull.facets) {
      const V3 a = 0.25 * Cross(pts_[f[1]] - pts_[f[0]], pts_[f[2]] - pts_[f[0]]);
      if (Dot(a, a) > 0.0) facets.push_back({Normalized(a), a});
    }
    std::sort(facets.begin(), facets.end(), [](const auto& p, const auto& q) {
      if (p.first.x != q.first.x) return p.first.x < q.first.x;
      if (p.first.y != q.first.y) return p.first.y < q.first.y;
      return p.first.z < q.first.z;
    });
    for (std::size_t i = 0; i < facets.size(); ++i) {
      const V3& n = facets[i].first;
      if (i > 0 && std::fabs(n.x - facets[i - 1].first.x) <= 1e-9 &&
          std::fabs(n.y - facets[i - 1].first.y) <= 1e-9 &&
          std::fabs(n.z - facets[i - 1].first.z) <= 1e-9) {
        areas_.back() = areas_.back() + facets[i].second;
      } else {
        areas_.push_back(facets[i].second);
      }
    }
    order_.resize(pts_.size());
    for (std::size_t i = 0; i < order_.size(); ++i) order_[i] = static_cast<int>(i);
    keyed_.resize(pts_.size());
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
    const std::size_t n = pts_.size();
    // The points are projected in the order the last direction sorted them:
    // successive directions are close, so the order is nearly right and an
    // insertion sort finishes it in about linear time.
    proj_.resize(n);
    double lo = std::numeric_limits<double>::infinity(), hi = -lo;
    for (std::size_t i = 0; i < n; ++i) {
      const V3& p = pts_[order_[i]];
      proj_[i] = {Dot(p, e1), Dot(p, e2)};
      const double w = Dot(p, d);
      lo = std::min(lo, w), hi = std::max(hi, w);
    }
    std::size_t moves = 0;
    for (std::size_t i = 1; i < n && moves <= 8 * n; ++i) {
      const Point2d p = proj_[i];
      const int id = order_[i];
      std::size_t j = i;
      for (; j > 0 && XyLess(p, proj_[j - 1]); --j, ++moves) {
        proj_[j] = proj_[j - 1];
        order_[j] = order_[j - 1];
      }
      proj_[j] = p;
      order_[j] = id;
    }
    if (moves > 8 * n) {  // far from sorted: sort outright
      for (std::size_t i = 0; i < n; ++i) keyed_[i] = {proj_[i], order_[i]};
      std::sort(keyed_.begin(), keyed_.end(),
                [](const auto& a, const auto& b) { return XyLess(a.first, b.first); });
      for (std::size_t i = 0; i < n; ++i) proj_[i] = keyed_[i].first, order_[i] = keyed_[i].second;
    }
    ChainSorted(proj_, ring_);
    Result res;
    res.d = d;
    if (ring_.size() < 2) {  // every point on the axis
      res.volume = 0.0, res.u = e1, res.v = e2;
      return res;
    }
    int edge = 0;
    const double area = MinRectangle(ring_, edge);
    const Point2d& a = ring_[edge];
    const Point2d& b = ring_[(edge + 1) % ring_.size()];
    const double ex = b.x - a.x, ey = b.y - a.y, len = std::sqrt(ex * ex + ey * ey);
    const double ux = ex / len, uy = ey / len;
    res.volume = area * (hi - lo);
    res.u = ux * e1 + uy * e2;
    res.v = (-uy) * e1 + ux * e2;
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
  std::vector<int> order_;
  std::vector<std::pair<Point2d, int>> keyed_;
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

// Drops repeated directions, keeping the first of each in its place.
void Dedupe(std::vector<V3>& dirs) {
  std::vector<std::size_t> order(dirs.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  auto less = [&](std::size_t i, std::size_t j) {
    const V3 &a = dirs[i], &b = dirs[j];
    if (a.x != b.x) return a.x < b.x;
    if (a.y != b.y) return a.y < b.y;
    if (a.z != b.z) return a.z < b.z;
    return i < j;
  };
  std::sort(order.begin(), order.end(), less);
  std::vector<char> keep(dirs.size(), 1);
  for (std::size_t k = 0; k < order.size(); ++k) {
    const V3& d = dirs[order[k]];
    for (std::size_t m = k; m-- > 0 && d.x - dirs[order[m]].x <= 1e-12;) {
      const V3& e = dirs[order[m]];
      if (keep[order[m]] && std::fabs(d.y - e.y) <= 1e-12 && std::fabs(d.z - e.z) <= 1e-12) {
        // The earlier of the two in the list stays.
        if (order[m] < order[k]) {
          keep[order[k]] = 0;
        } else {
          keep[order[m]] = 0;
        }
        break;
      }
    }
  }
  std::vector<V3> out;
  for (std::size_t i = 0; i < dirs.size(); ++i)
    if (keep[i]) out.push_back(dirs[i]);
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
  std::vector<V3> dirs;
  for (const host::Vector3d& d : directions) AddDirection(dirs, ToV3(d));
  for (const V3& d : {V3{1, 0, 0}, V3{0, 1, 0}, V3{0, 0, 1}}) AddDirection(dirs, d);
  {
    // The hull's facets, coplanar ones merged, largest first; on a sampled
    // curved body most are small slivers of the samples, so only the largest
    // kHullFacetDirections are candidates (the guard covers the rest).
    std::vector<std::pair<double, V3>> facets;
    for (const auto& f : hull.facets) {
      const V3 n = Cross(pts[f[1]] - pts[f[0]], pts[f[2]] - pts[f[0]]);
      const double area = Norm(n);
      if (area > 0.0) facets.push_back({area, Canonical((1.0 / area) * n)});
    }
    std::sort(facets.begin(), facets.end(), [](const auto& a, const auto& b) {
      if (a.second.x != b.second.x) return a.second.x < b.second.x;
      if (a.second.y != b.second.y) return a.second.y < b.second.y;
      return a.second.z < b.second.z;
    });
    std::vector<std::pair<double, V3>> merged;
    for (const auto& f : facets) {
      if (!merged.empty() && std::fabs(f.second.x - merged.back().second.x) <= 1e-9 &&
          std::fabs(f.second.y - merged.back().second.y) <= 1e-9 &&
          std::fabs(f.second.z - merged.back().second.z) <= 1e-9) {
        merged.back().first += f.first;
      } else {
        merged.push_back(f);
      }
    }
    std::stable_sort(merged.begin(), merged.end(),
                     [](const auto& a, const auto& b) { return a.first > b.first; });
    if (merged.size() > kHullFacetDirections) merged.resize(kHullFacetDirections);
    for (const auto& f : merged) dirs.push_back(f.second);
  }
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

  // Candidates in ascending order of their lower bound: once a bound is
  // above the best box found, so are all that follow.
  std::vector<std::pair<double, V3>> bounded;
  bounded.reserve(dirs.size());
  for (const V3& d : dirs) bounded.push_back({search.LowerBound(d), d});
  std::stable_sort(bounded.begin(), bounded.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  Search::Result best;
  OrientedBox best_box;
  for (const auto& [bound, d] : bounded) {
    if (bound > best.volume * (1.0 + 1e-9)) break;
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
    // Directions whose box cannot come within 10% of the best are not
    // solved (their lower bound says so), nor kept as starts.
    const double keep = best.volume * 1.1;
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
          // A start still clearly worse than the best box at this step will
          // not overtake it in the little room the finer steps have left;
          // below a sixteenth of the grid step only a start that is already
          // ahead goes on.
          if (cur.volume > guard.volume * (1.0 + 4.0 * s)) break;
          if (s < step / 16 && !(cur.volume < guard.volume * (1.0 - 1e-6))) break;
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
