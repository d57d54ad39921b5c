#include "blank/orientation.h"

#include <cmath>

#include "blank/body_geometry.h"
#include "blank/body_info.h"
#include "host/text.h"

namespace blank {
namespace {

const host::Vector3d kUp{0, 0, 1};
const host::Vector3d kRight{1, 0, 0};

std::vector<host::Vector3d> SixAxes(const host::Matrix3x3& m) {
  return {host::Negate(m.XAxis()),
          host::Negate(m.YAxis()),
          host::Negate(m.ZAxis()),
          m.XAxis(),
          m.YAxis(),
          m.ZAxis()};
}

bool IsZero(const host::Vector3d& v) { return v.X == 0.0 && v.Y == 0.0 && v.Z == 0.0; }

}  // namespace

host::Matrix3x3 Orientation::MatrixFromXZ(const host::Vector3d& x, const host::Vector3d& z,
                                          const host::Matrix3x3& fallback) {
  if (IsZero(x) || IsZero(z)) return fallback;
  return host_.csys().XformOrientation(x, z);
}

OrientationFacts Orientation::Measure(host::BodyGeometry& geometry) {
  OrientationFacts facts;
  const std::vector<host::BodyGeometry::Face> faces = geometry.Faces();
  facts.holes = HoleAnalysis::GroupHoles(faces);
  facts.min_box = MinVolumeBoxOf(geometry, faces, kStep).axes;
  if (facts.holes.empty()) {
    const host::Matrix3x3 world;
    facts.abs_volume = BoxVolumeIn(geometry.AskBoundingBoxExact({}, world), {}, world);
    facts.min_volume =
        BoxVolumeIn(geometry.AskBoundingBoxExact({}, facts.min_box), {}, facts.min_box);
  }
  return facts;
}

host::Matrix3x3 Orientation::ChooseOrientation(host::Tag body) {
  return ChooseOrientation(Measure(*TakeBodyGeometry(host_, body)));
}

host::Matrix3x3 Orientation::ChooseOrientation(const OrientationFacts& facts) {
  Log("读取组合孔");
  Log("获取体积最小的方位");
  const host::Matrix3x3& m = facts.min_box;
  host::Matrix3x3 result;  // identity
  if (facts.holes.empty()) {
    const double abs_volume = facts.abs_volume, min_volume = facts.min_volume;
    Log(text::Format("absVolume:%f", abs_volume));
    Log(text::Format("minVolume:%f", min_volume));
    if (!(min_volume > abs_volume) && !(std::fabs(abs_volume - min_volume) < kVolumeTolerance)) {
      const host::Vector3d z = HoleAnalysis::NearestDirection(SixAxes(m), kUp);
      const host::Vector3d x =
          HoleAnalysis::NearestDirection(HoleAnalysis::GetMtxXYDirection(m, z), kRight);
      result = MatrixFromXZ(x, z, m);
    }
  } else {
    Log("获取孔最多的方向");
    std::vector<SimpleHoleInfo> normal, other;
    HoleAnalysis::GetMtxNormalHoles(m, facts.holes, normal, other);
    host::Vector3d z;
    if (normal.empty()) {
      z = HoleAnalysis::NearestDirection(SixAxes(m), kUp);
    } else {
      HoleAnalysis::SortByCount(normal);
      z = HoleAnalysis::OrientToward(normal.back().direction, kUp);
    }
    const host::Vector3d x =
        HoleAnalysis::NearestDirection(HoleAnalysis::GetMtxXYDirection(m, z), kRight);
    result = MatrixFromXZ(x, z, m);
  }
  return result;
}

host::Tag Orientation::PlaceBlankCsys(host::Tag body, const host::Matrix3x3& orientation,
                                      const std::string& identity, bool replace) {
  const host::Tag temp = geometry_.CrateTempCsys(orientation);
  const host::Vector3d x = orientation.XAxis(), y = orientation.YAxis();
  host_.attributes().SetString(
      body, BodyAttributeTitles::kOrientation,
      text::Format(ValueFormats::kOrientation, x.X, x.Y, x.Z, y.X, y.Y, y.Z));
  host_.session().UpdateModel();
  host_.csys().SetWcs(temp);

  const BoxCorners box = geometry_.AskExactBox(body);
  const host::Point3d lo = geometry_.MapToWork(box.min), hi = geometry_.MapToWork(box.max);
  const host::Point3d origin =
      geometry_.MapToAbsolute({(lo.X + hi.X) / 2, (lo.Y + hi.Y) / 2, std::min(lo.Z, hi.Z)});
  host::Matrix3x3 axes = orientation;
  host::Mtx3OrthoNormalize(axes);
  const host::Tag csys = host_.csys().CreateCsys(origin, host_.csys().CreateMatrix(axes));

  if (replace)
    for (host::Tag old : CsysNamed(identity)) host_.objects().Delete(old);
  host_.objects().SetName(csys, identity);
  host_.objects().SetLayer(csys, kCsysLayer);
  host_.objects().SetBlanked(csys, true);
  host_.csys().SetWcs(csys);
  return csys;
}

std::vector<host::Tag> Orientation::GetLayerCsys(int layer) {
  std::vector<host::Tag> out;
  for (host::Tag t : host_.layers().ObjectsOnLayer(layer))
    if (host_.objects().AskTypeAndSubtype(t).type == host::kCoordinateSystemType) out.push_back(t);
  return out;
}

std::vector<host::Tag> Orientation::CsysNamed(const std::string& name) {
  std::vector<host::Tag> out;
  for (host::Tag t : host_.csys().PartCsys(host_.session().WorkPart()))
    if (host_.objects().Name(t) == name) out.push_back(t);
  return out;
}

}  // namespace blank
