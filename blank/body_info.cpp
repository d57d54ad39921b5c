#include "blank/body_info.h"

#include <algorithm>
#include <cmath>

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

}  // namespace

BodyInfo::BodyInfo(host::Host& host, host::Tag body) : host_(&host), body_(body) {}

void BodyInfo::Measure() {
  if (!box_) box_ = host_->bodies().AskBoundingBoxExact(body_, host_->csys().AskWcs());
}

void BodyInfo::Refresh() {
  box_.reset();
  signature_.reset();
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
  auto& bodies = host_->bodies();
  std::vector<host::Vector3d> directions;
  std::vector<host::Point3d> points;
  bool bulges = false;
  host::Point3d lo{1e300, 1e300, 1e300}, hi{-1e300, -1e300, -1e300};
  for (host::Tag face : bodies.BodyFaces(body_)) {
    const host::FaceData d = bodies.AskFaceData(face);
    if (d.type == host::kPlanarFace || d.type == host::kCylindricalFace ||
        d.type == host::kConicalFace)
      directions.push_back(d.direction);
    bulges = bulges || BulgesOut(d);
    lo = {std::min(lo.X, d.box[0]), std::min(lo.Y, d.box[1]), std::min(lo.Z, d.box[2])};
    hi = {std::max(hi.X, d.box[3]), std::max(hi.Y, d.box[4]), std::max(hi.Z, d.box[5])};
  }
  for (host::Tag edge : bodies.BodyEdges(body_)) {
    const host::EdgeData e = bodies.AskEdgeData(edge);
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
    const host::Facets facets = bodies.AskFacets(body_, chord, 0.25);
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

const BodyInfo::Signature& BodyInfo::GetSignature() {
  if (signature_) return *signature_;
  Signature s;
  const host::MassProperties mp = host_->bodies().AskMassProperties(body_);
  s.volume = mp.volume;
  s.area = mp.area;
  s.moments = mp.principal_moments;
  std::sort(s.moments.begin(), s.moments.end());
  // Exact extents in the minimum-volume orientation, through a temporary system.
  const OrientedBox box = MinVolumeBox(0.05);
  auto& csys = host_->csys();
  const host::Tag m = csys.CreateMatrix(box.axes);
  const host::Tag t = csys.CreateTempCsys({0, 0, 0}, m);
  const host::ExactBox exact = host_->bodies().AskBoundingBoxExact(body_, t);
  host_->objects().Delete(t);
  host_->objects().Delete(m);
  s.extents = exact.distances;
  std::sort(s.extents.begin(), s.extents.end());
  signature_ = s;
  return *signature_;
}

bool BodyInfo::IsSameBody(BodyInfo& other) {
  if (other.body_ == body_) return true;
  const Signature& a = GetSignature();
  const Signature& b = other.GetSignature();
  const double rel = 1e-5;
  if (!Near(a.volume, b.volume, rel) || !Near(a.area, b.area, rel)) return false;
  // Moments scale with volume x length^2: compare against the largest.
  const double moment_scale = std::max(a.moments[2], b.moments[2]);
  for (int i = 0; i < 3; ++i) {
    if (std::fabs(a.moments[i] - b.moments[i]) > rel * moment_scale) return false;
    if (!Near(a.extents[i], b.extents[i], rel, 0.01)) return false;
  }
  return true;
}

std::vector<host::Tag> BodyInfo::GetSameBodys(std::vector<BodyInfo>& others) {
  std::vector<host::Tag> same;
  for (BodyInfo& o : others)
    if (o.body_ != body_ && IsSameBody(o)) same.push_back(o.body_);
  return same;
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
