// The blank orientation of a body: the minimum-volume matrix turned so that
// Z points up as far as possible (or along the direction most holes run) and
// X along world X as far as possible, and the named blank coordinate system
// kept hidden on layer 256.
#pragma once

#include <string>
#include <vector>

#include "blank/blank_geometry.h"
#include "blank/hole_analysis.h"
#include "host/host.h"

namespace blank {

// What a body's orientation is chosen from, measured on its geometry alone
// (so on whichever thread may use that geometry).
struct OrientationFacts {
  std::vector<SimpleHoleInfo> holes;
  // The orientation of the body's smallest box.
  host::Matrix3x3 min_box;
  // Without holes: the unrounded volumes of the exact box in world axes and
  // in `min_box`.
  double abs_volume = 0.0, min_volume = 0.0;
};

class Orientation {
 public:
  static constexpr int kCsysLayer = 256;
  // Angular resolution of the minimum-volume search, radians.
  static constexpr double kStep = 0.05;
  // Volumes closer than this keep the world axes.
  static constexpr double kVolumeTolerance = 0.0005;

  Orientation(host::Host& host, BlankGeometry& geometry, HoleAnalysis& holes)
      : host_(host), geometry_(geometry), holes_(holes) {}

  // The orientation of the body's blank (rows X, Y, Z). The work coordinate
  // system is as before when it returns.
  host::Matrix3x3 ChooseOrientation(host::Tag body);
  // The same from facts measured before.
  host::Matrix3x3 ChooseOrientation(const OrientationFacts& facts);
  // The facts of a body's geometry.
  static OrientationFacts Measure(host::BodyGeometry& geometry);

  // Records the orientation on the body ("材料方位"), measures the body in it
  // and leaves a permanent system named `identity` at the blank (X and Y at
  // the box's centre, Z at its lower face) on layer 256, blanked, in place of
  // any earlier system of that name (`replace` false: the caller knows there
  // is none). That system is the work coordinate system afterwards; its tag
  // is returned.
  host::Tag PlaceBlankCsys(host::Tag body, const host::Matrix3x3& orientation,
                           const std::string& identity, bool replace = true);

  // The coordinate systems on a layer.
  std::vector<host::Tag> GetLayerCsys(int layer);
  // The part's coordinate systems named `name`, in the part's order.
  std::vector<host::Tag> CsysNamed(const std::string& name);

  // The matrix with X and Z from the two directions (Z kept, X made
  // perpendicular to it); `fallback` when X is the zero vector.
  host::Matrix3x3 MatrixFromXZ(const host::Vector3d& x, const host::Vector3d& z,
                               const host::Matrix3x3& fallback);

 private:
  void Log(const std::string&) {}  // step names: markers only

  host::Host& host_;
  BlankGeometry& geometry_;
  HoleAnalysis& holes_;
};

}  // namespace blank
