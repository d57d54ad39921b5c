#include "blank/hole_analysis.h"

#include <algorithm>
#include <numbers>

#include "blank/blank_geometry.h"
#include "blank/body_geometry.h"

namespace blank {

std::vector<SimpleHoleInfo> HoleAnalysis::GetSimpleHoles(host::Tag body) {
  return GroupHoles(TakeBodyGeometry(host_, body)->Faces());
}

std::vector<SimpleHoleInfo> HoleAnalysis::GroupHoles(
    const std::vector<host::BodyGeometry::Face>& faces) {
  std::vector<SimpleHoleInfo> groups;
  for (const host::BodyGeometry::Face& face : faces) {
    const host::FaceData& data = face.data;
    if (data.type != host::kCylindricalFace || data.norm_dir != -1 || !face.closed_edges) continue;
    auto it = std::find_if(groups.begin(), groups.end(), [&](const SimpleHoleInfo& g) {
      return BlankGeometry::IsVectotParallel(g.direction, data.direction, kParallelTolerance);
    });
    if (it != groups.end()) {
      ++it->count;
    } else {
      groups.push_back({data.direction, 1});
    }
  }
  return groups;
}

void HoleAnalysis::GetMtxNormalHoles(const host::Matrix3x3& m,
                                     const std::vector<SimpleHoleInfo>& holes,
                                     std::vector<SimpleHoleInfo>& normal,
                                     std::vector<SimpleHoleInfo>& other) {
  for (const SimpleHoleInfo& h : holes) {
    const bool along =
        BlankGeometry::IsVectotParallel(h.direction, m.XAxis(), kParallelTolerance) ||
        BlankGeometry::IsVectotParallel(h.direction, m.YAxis(), kParallelTolerance) ||
        BlankGeometry::IsVectotParallel(h.direction, m.ZAxis(), kParallelTolerance);
    (along ? normal : other).push_back(h);
  }
}

std::vector<host::Vector3d> HoleAnalysis::GetMtxXYDirection(const host::Matrix3x3& m,
                                                            const host::Vector3d& z) {
  const host::Vector3d x = m.XAxis(), y = m.YAxis(), w = m.ZAxis();
  if (BlankGeometry::IsVectotParallel(z, x, kParallelTolerance))
    return {y, w, host::Negate(y), host::Negate(w)};
  if (BlankGeometry::IsVectotParallel(z, y, kParallelTolerance))
    return {x, w, host::Negate(x), host::Negate(w)};
  if (BlankGeometry::IsVectotParallel(z, w, kParallelTolerance))
    return {x, y, host::Negate(x), host::Negate(y)};
  return {};
}

void HoleAnalysis::SortByCount(std::vector<SimpleHoleInfo>& holes) {
  std::stable_sort(
      holes.begin(), holes.end(),
      [](const SimpleHoleInfo& a, const SimpleHoleInfo& b) { return a.count < b.count; });
}

double HoleAnalysis::AngleDegrees(const host::Vector3d& a, const host::Vector3d& b) {
  // Measured about the cross product, the smaller of the two ways round.
  const double angle = host::AngleBetween(a, b, host::Cross(a, b));
  return std::min(angle, 2 * std::numbers::pi - angle) * 180.0 / std::numbers::pi;
}

host::Vector3d HoleAnalysis::NearestDirection(const std::vector<host::Vector3d>& candidates,
                                              const host::Vector3d& reference) {
  double best_angle = 360.0;
  host::Vector3d best{0, 0, 0};
  for (const host::Vector3d& c : candidates) {
    const double a = AngleDegrees(c, reference);
    if (a < best_angle) {
      best_angle = a;
      best = c;
    }
  }
  return best;
}

host::Vector3d HoleAnalysis::OrientToward(const host::Vector3d& direction,
                                          const host::Vector3d& reference) {
  const double a = AngleDegrees(direction, reference);
  const double b = AngleDegrees(host::Negate(direction), reference);
  return b > a ? direction : host::Negate(direction);
}

}  // namespace blank
