#include "blank/blank_geometry.h"

#include <cmath>
#include <cstdlib>

#include "config/csv.h"
#include "host/text.h"

namespace blank {

double HalfUnit(double v) {
  const double whole = std::trunc(v);
  const double f = v - whole;
  if (std::fabs(f) < 0.005) return v;
  return f > 0.505 ? whole + 1.0 : whole + 0.5;
}

double BlankExtent(double raw, int mode) {
  const double v = std::fabs(raw);
  return mode == 0 ? HalfUnit(v) : v;
}

std::string FormatSpec(double x, double y, double z) {
  return text::Format(ValueFormats::kSpec, x, y, z);
}

std::string FormatRoundSpec(double diameter, double height) {
  return text::Format(ValueFormats::kRoundSpec, diameter, height);
}

std::optional<std::string> ApplyAllowance(const std::string& spec, const std::string& allowance) {
  double a[5] = {0, 0, 0, 0, 0};
  const std::vector<std::string> parts = config::SplitString(allowance, "_");
  if (parts.size() == 5) {
    for (int i = 0; i < 5; ++i) a[i] = std::atof(parts[i].c_str());
  }
  const std::vector<std::string> s = config::SplitString(spec, "x");
  if (s.size() != 3) return std::nullopt;
  return FormatSpec(std::atof(s[0].c_str()) + a[2] + a[3], std::atof(s[1].c_str()) + a[0] + a[1],
                    std::atof(s[2].c_str()) + a[4]);
}

BlankGeometry::BlankGeometry(host::Host& host, const BomOptions& options)
    : host_(host), options_(options) {}

void BlankGeometry::EnsureInitialized() {
  if (host_.session().IsInitialized() == 0) host_.session().Initialize();
}

void BlankGeometry::Track(host::Tag object) {
  if (scopes_ > 0) temporaries_.push_back(object);
}

BlankGeometry::TemporaryScope::TemporaryScope(BlankGeometry& geometry)
    : geometry_(geometry), mark_(geometry.temporaries_.size()) {
  ++geometry_.scopes_;
}

BlankGeometry::TemporaryScope::~TemporaryScope() {
  --geometry_.scopes_;
  auto& list = geometry_.temporaries_;
  // Newest first: a system goes before the matrix it stands on.
  while (list.size() > mark_) {
    const host::Tag t = list.back();
    list.pop_back();
    try {
      if (geometry_.host_.objects().Exists(t)) geometry_.host_.objects().Delete(t);
    } catch (const std::exception&) {
      // A temporary the host already dropped: nothing to clean.
    }
  }
}

host::Matrix3x3 BlankGeometry::CreateMatrix(const host::Vector3d& x, const host::Vector3d& y) {
  EnsureInitialized();
  host::Matrix3x3 m;
  const int code = host::Mtx3Initialize(x, y, m);
  if (code != 0)
    throw host::HostError(text::Format("the vectors do not define a matrix (code %d)", code));
  return m;
}

host::Tag BlankGeometry::CrateTempCsys(const host::Matrix3x3& matrix) {
  EnsureInitialized();
  const host::Tag m = host_.csys().CreateMatrix(matrix);
  Track(m);
  const host::Tag csys = host_.csys().CreateTempCsys({0, 0, 0}, m);
  Track(csys);
  return csys;
}

host::Tag BlankGeometry::CreateCsys(host::Matrix3x3& matrix) {
  EnsureInitialized();
  const int code = host::Mtx3OrthoNormalize(matrix);
  if (code != 0)
    throw host::HostError(text::Format("the matrix cannot be orthonormalised (code %d)", code));
  const host::Tag m = host_.csys().CreateMatrix(matrix);
  return host_.csys().CreateCsys({0, 0, 0}, m);
}

bool BlankGeometry::IsVectotParallel(const host::Vector3d& a, const host::Vector3d& b,
                                     double tolerance) {
  return host::IsParallel(a, b, tolerance) == 1;
}

bool BlankGeometry::IsMatrixPannel(const host::Matrix3x3& a, const host::Matrix3x3& b) {
  const double tol = 0.005;
  auto along_b = [&](const host::Vector3d& v) {
    return IsVectotParallel(v, b.XAxis(), tol) || IsVectotParallel(v, b.YAxis(), tol) ||
           IsVectotParallel(v, b.ZAxis(), tol);
  };
  return along_b(a.XAxis()) && along_b(a.YAxis());
}

double BlankGeometry::GetBodyVolumeOnCsys(host::Tag body, host::Tag csys) {
  EnsureInitialized();
  host_.csys().SetWcs(csys);
  const BoxCorners box = AskExactBox(body);
  const host::Point3d lo = MapToWork(box.min), hi = MapToWork(box.max);
  return std::fabs(hi.X - lo.X) * std::fabs(hi.Y - lo.Y) * std::fabs(hi.Z - lo.Z);
}

BoxCorners BlankGeometry::AskExactBox(host::Tag body) {
  EnsureInitialized();
  const host::ExactBox b = host_.bodies().AskBoundingBoxExact(body, host_.csys().AskWcs());
  BoxCorners c;
  c.min = b.corner;
  c.max = b.corner;
  for (int i = 0; i < 3; ++i) {
    c.max.X += b.directions[i].X * b.distances[i];
    c.max.Y += b.directions[i].Y * b.distances[i];
    c.max.Z += b.directions[i].Z * b.distances[i];
  }
  return c;
}

host::Point3d BlankGeometry::MapToWork(const host::Point3d& absolute) {
  return host_.csys().MapPoint(absolute, host::kRootCoords, host::kWorkCoords);
}

host::Point3d BlankGeometry::MapToAbsolute(const host::Point3d& work) {
  return host_.csys().MapPoint(work, host::kWorkCoords, host::kRootCoords);
}

std::array<double, 3> BlankGeometry::BlankExtents(host::Tag body) {
  const BoxCorners box = AskExactBox(body);
  const host::Point3d lo = MapToWork(box.min), hi = MapToWork(box.max);
  return {BlankExtent(hi.X - lo.X, options_.mode), BlankExtent(hi.Y - lo.Y, options_.mode),
          BlankExtent(hi.Z - lo.Z, options_.mode)};
}

std::string BlankGeometry::SpecOf(host::Tag body, const std::array<double, 3>& e) {
  auto& attrs = host_.attributes();
  if (attrs.Has(body, BodyAttributeTitles::kRoundPart) &&
      attrs.GetString(body, BodyAttributeTitles::kRoundPart) == "Y")
    return FormatRoundSpec(e[0], e[2]);
  return FormatSpec(e[0], e[1], e[2]);
}

std::optional<std::string> BlankGeometry::ResetBodyOffset(host::Tag body) {
  EnsureInitialized();
  auto& attrs = host_.attributes();
  if (!attrs.Has(body, BodyAttributeTitles::kSpec) ||
      !attrs.Has(body, BodyAttributeTitles::kAllowance))
    return std::nullopt;
  const std::optional<std::string> spec =
      ApplyAllowance(attrs.GetString(body, BodyAttributeTitles::kSpec),
                     attrs.GetString(body, BodyAttributeTitles::kAllowance));
  if (spec) attrs.SetString(body, BodyAttributeTitles::kSpec, *spec);
  return spec;
}

}  // namespace blank
