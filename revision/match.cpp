#include "revision/match.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>
#include <unordered_map>

#include "blank/body_info.h"

namespace revision {
namespace {

// Volumes of the same part agree within this relative tolerance (as the
// identical-body search compares them).
constexpr double kVolumeTolerance = 1e-5;

struct Body {
  host::Tag tag;
  int layer = 0;
  blank::BodyInfo info;
  blank::BodyInfo::Signature signature;
  bool taken = false;
  std::optional<std::pair<host::Point3d, host::Point3d>> box;  // absolute, min and max

  Body(host::Host& host, host::Tag t) : tag(t), info(host, t) {
    layer = host.objects().Layer(t);
    signature = info.GetSignature();
  }
  const std::pair<host::Point3d, host::Point3d>& Box() {
    if (!box) box.emplace(info.GetMinCorner(), info.GetMaxCorner());
    return *box;
  }
};

double Distance(const host::Point3d& a, const host::Point3d& b) {
  return std::sqrt((a.X - b.X) * (a.X - b.X) + (a.Y - b.Y) * (a.Y - b.Y) +
                   (a.Z - b.Z) * (a.Z - b.Z));
}

// The counts a part never changes by moving: bodies that differ in them are
// never compared.
using CountKey = std::tuple<int, int, int, int>;
CountKey Counts(const blank::BodyInfo::Signature& s) {
  return {s.faces, s.edges, s.vertices, s.circles};
}

bool SameVolume(const blank::BodyInfo::Signature& a, const blank::BodyInfo::Signature& b) {
  return std::fabs(a.volume - b.volume) <=
         kVolumeTolerance * std::max(std::fabs(a.volume), std::fabs(b.volume));
}

bool IsIdentity(const host::Matrix3x3& m) {
  return m.Xx == 1 && m.Xy == 0 && m.Xz == 0 && m.Yx == 0 && m.Yy == 1 && m.Yz == 0 && m.Zx == 0 &&
         m.Zy == 0 && m.Zz == 1;
}

// A grid of centroids with cells of twice the tolerance: the bodies within
// the tolerance of a point lie in the 27 cells around it.
class CentroidGrid {
 public:
  explicit CentroidGrid(double cell) : cell_(cell) {}
  void Add(const host::Point3d& p, std::size_t index) { cells_[Key(Cell(p))].push_back(index); }
  template <typename F>
  void Near(const host::Point3d& p, F visit) const {
    const auto [x, y, z] = Cell(p);
    for (long dx = -1; dx <= 1; ++dx)
      for (long dy = -1; dy <= 1; ++dy)
        for (long dz = -1; dz <= 1; ++dz) {
          const auto it = cells_.find(Key({x + dx, y + dy, z + dz}));
          if (it == cells_.end()) continue;
          for (std::size_t i : it->second) visit(i);
        }
  }

 private:
  std::tuple<long, long, long> Cell(const host::Point3d& p) const {
    return {std::lround(std::floor(p.X / cell_)), std::lround(std::floor(p.Y / cell_)),
            std::lround(std::floor(p.Z / cell_))};
  }
  static std::size_t Key(const std::tuple<long, long, long>& c) {
    const auto [x, y, z] = c;
    return static_cast<std::size_t>(x) * 73856093u ^ static_cast<std::size_t>(y) * 19349663u ^
           static_cast<std::size_t>(z) * 83492791u;
  }
  double cell_;
  std::unordered_map<std::size_t, std::vector<std::size_t>> cells_;
};

// A candidate pair: previous body, current body, centroid distance.
struct Pair {
  std::size_t previous, current;
  double distance;
  blank::BodyInfo::Motion motion;
};

class Matcher {
 public:
  Matcher(host::Host& previous, host::Host& current, const MatchOptions& options)
      : options_(options) {
    for (host::Tag t : SolidBodies(previous)) old_.emplace_back(previous, t);
    for (host::Tag t : SolidBodies(current)) new_.emplace_back(current, t);
    matches_.resize(new_.size());
    for (std::size_t i = 0; i < new_.size(); ++i) matches_[i].current = new_[i].tag;
  }

  MatchResult Run() {
    MatchUnchanged();
    MatchMoved();
    MatchChanged();
    MatchResult result;
    result.bodies = std::move(matches_);
    for (const Body& o : old_) {
      if (o.taken) continue;
      BodyMatch m;
      m.status = Status::kRemoved;
      m.previous = o.tag;
      result.bodies.push_back(m);
    }
    return result;
  }

 private:
  void Take(const Pair& p, Status status) {
    old_[p.previous].taken = new_[p.current].taken = true;
    BodyMatch& m = matches_[p.current];
    m.status = status;
    m.previous = old_[p.previous].tag;
    m.rotation = p.motion.rotation;
    m.translation = p.motion.translation;
  }

  // Takes the pairs nearest first, each body once.
  void TakeNearest(std::vector<Pair>& pairs, Status status) {
    std::stable_sort(pairs.begin(), pairs.end(),
                     [](const Pair& a, const Pair& b) { return a.distance < b.distance; });
    for (const Pair& p : pairs)
      if (!old_[p.previous].taken && !new_[p.current].taken) Take(p, status);
  }

  // The same part in the same place: looked up by centroid, so a die of a
  // thousand bodies is matched in one pass.
  void MatchUnchanged() {
    const double tolerance = options_.place_tolerance;
    CentroidGrid grid(2 * tolerance);
    for (std::size_t i = 0; i < old_.size(); ++i)
      if (old_[i].signature.valid) grid.Add(old_[i].signature.centroid, i);
    std::vector<Pair> pairs;
    for (std::size_t j = 0; j < new_.size(); ++j) {
      Body& n = new_[j];
      if (!n.signature.valid) continue;
      grid.Near(n.signature.centroid, [&](std::size_t i) {
        Body& o = old_[i];
        const double d = Distance(o.signature.centroid, n.signature.centroid);
        if (d > tolerance || Counts(o.signature) != Counts(n.signature) ||
            !SameVolume(o.signature, n.signature))
          return;
        const std::optional<blank::BodyInfo::Motion> motion = o.info.MotionOnto(n.info);
        if (motion && IsIdentity(motion->rotation)) pairs.push_back({i, j, d, *motion});
      });
    }
    TakeNearest(pairs, Status::kUnchanged);
    // A body identical to one that took its place: a second copy.
    for (const Pair& p : pairs) {
      if (new_[p.current].taken || matches_[p.current].twin != host::kNullTag) continue;
      for (const BodyMatch& m : matches_)
        if (m.status == Status::kUnchanged && m.previous == old_[p.previous].tag)
          matches_[p.current].twin = m.current;
    }
  }

  // The same part elsewhere (or turned): the bodies left, compared within
  // groups of equal counts and volume.
  void MatchMoved() {
    std::map<CountKey, std::vector<std::size_t>> old_groups;
    for (std::size_t i = 0; i < old_.size(); ++i)
      if (!old_[i].taken && old_[i].signature.valid)
        old_groups[Counts(old_[i].signature)].push_back(i);
    std::vector<Pair> pairs;
    for (std::size_t j = 0; j < new_.size(); ++j) {
      Body& n = new_[j];
      if (n.taken || !n.signature.valid) continue;
      const auto group = old_groups.find(Counts(n.signature));
      if (group == old_groups.end()) continue;
      for (std::size_t i : group->second) {
        Body& o = old_[i];
        if (!SameVolume(o.signature, n.signature)) continue;
        const std::optional<blank::BodyInfo::Motion> motion = o.info.MotionOnto(n.info);
        if (motion)
          pairs.push_back({i, j, Distance(o.signature.centroid, n.signature.centroid), *motion});
      }
    }
    TakeNearest(pairs, Status::kMoved);
  }

  // A body of the same layer in about the same place: boxes that overlap by
  // the share of the smaller box the options ask.
  void MatchChanged() {
    std::map<int, std::vector<std::size_t>> old_layers;
    for (std::size_t i = 0; i < old_.size(); ++i)
      if (!old_[i].taken) old_layers[old_[i].layer].push_back(i);
    std::vector<Pair> pairs;
    for (std::size_t j = 0; j < new_.size(); ++j) {
      Body& n = new_[j];
      if (n.taken) continue;
      const auto layer = old_layers.find(n.layer);
      if (layer == old_layers.end()) continue;
      for (std::size_t i : layer->second) {
        Body& o = old_[i];
        if (!Overlapping(o, n)) continue;
        pairs.push_back({i, j, CentreDistance(o, n), {}});
      }
    }
    TakeNearest(pairs, Status::kChanged);
  }

  bool Overlapping(Body& a, Body& b) {
    const auto& [alo, ahi] = a.Box();
    const auto& [blo, bhi] = b.Box();
    const double la[3] = {alo.X, alo.Y, alo.Z}, ha[3] = {ahi.X, ahi.Y, ahi.Z};
    const double lb[3] = {blo.X, blo.Y, blo.Z}, hb[3] = {bhi.X, bhi.Y, bhi.Z};
    double va = 1, vb = 1, common = 1;
    for (int k = 0; k < 3; ++k) {
      va *= ha[k] - la[k];
      vb *= hb[k] - lb[k];
      common *= std::max(0.0, std::min(ha[k], hb[k]) - std::max(la[k], lb[k]));
    }
    if (!(va > 0) || !(vb > 0)) return false;
    return common >= options_.overlap * std::min(va, vb);
  }

  // Centroids where both have them, else the centres of the boxes.
  double CentreDistance(Body& a, Body& b) {
    if (a.signature.valid && b.signature.valid)
      return Distance(a.signature.centroid, b.signature.centroid);
    auto centre = [](Body& x) {
      const auto& [lo, hi] = x.Box();
      return host::Point3d{(lo.X + hi.X) / 2, (lo.Y + hi.Y) / 2, (lo.Z + hi.Z) / 2};
    };
    return Distance(centre(a), centre(b));
  }

  MatchOptions options_;
  std::vector<Body> old_, new_;
  std::vector<BodyMatch> matches_;
};

}  // namespace

const char* StatusName(Status status) {
  switch (status) {
    case Status::kUnchanged:
      return "unchanged";
    case Status::kMoved:
      return "moved";
    case Status::kChanged:
      return "changed";
    case Status::kNew:
      return "new";
    case Status::kRemoved:
      return "removed";
  }
  return "";
}

int MatchResult::Count(Status status) const {
  return static_cast<int>(std::count_if(bodies.begin(), bodies.end(),
                                        [&](const BodyMatch& m) { return m.status == status; }));
}

const BodyMatch* MatchResult::OfCurrent(host::Tag body) const {
  for (const BodyMatch& m : bodies)
    if (m.current == body && body != host::kNullTag) return &m;
  return nullptr;
}

std::vector<host::Tag> SolidBodies(host::Host& host) {
  std::vector<host::Tag> out;
  for (host::Tag b : host.bodies().PartBodies(host.session().WorkPart()))
    if (host.bodies().IsSolidBody(b)) out.push_back(b);
  return out;
}

MatchResult MatchBodies(host::Host& previous, host::Host& current, const MatchOptions& options) {
  return Matcher(previous, current, options).Run();
}

}  // namespace revision
