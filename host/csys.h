// Coordinate systems, the work coordinate system (WCS) and point mapping.
// Vector and matrix arithmetic is in host/math.h.
#pragma once

#include <vector>

#include "host/types.h"

namespace host {

// UF_CSYS_map_point coordinate codes.
enum CoordSpace : int { kRootCoords = 1, kWorkCoords = 3 };

struct CsysInfo {
  Point3d origin;
  Matrix3x3 matrix;
};

class CoordinateSystems {
 public:
  virtual ~CoordinateSystems() = default;

  // UF_CSYS_create_matrix: a matrix object holding the nine values unchanged.
  virtual Tag CreateMatrix(const Matrix3x3& matrix) = 0;
  // UF_CSYS_create_temp_csys: a temporary system (not listed with the part's
  // systems, not saved) on a matrix object.
  virtual Tag CreateTempCsys(const Point3d& origin, Tag matrix) = 0;
  // UF_CSYS_create_csys / CoordinateSystemCollection::CreateCoordinateSystem:
  // a permanent system of the work part, on the work layer.
  virtual Tag CreateCsys(const Point3d& origin, Tag matrix) = 0;
  // UF_CSYS_ask_csys_info / CoordinateSystem::Origin, Orientation.
  virtual CsysInfo AskCsysInfo(Tag csys) = 0;
  // UF_CSYS_ask_wcs: the system the WCS currently is.
  virtual Tag AskWcs() = 0;
  // UF_CSYS_set_wcs / WCS::SetCoordinateSystemCartesianAtCsys.
  virtual void SetWcs(Tag csys) = 0;
  // UF_CSYS_map_point between root (absolute) and work coordinates.
  virtual Point3d MapPoint(const Point3d& point, int from, int to) = 0;
  // CoordinateSystemCollection iteration: the permanent systems of a part.
  virtual std::vector<Tag> PartCsys(Tag part) = 0;
  // XformCollection::CreateXformByPointXDirZDir at the origin, its orientation:
  // Z normalised, X projected perpendicular to Z, Y = Z x X.
  virtual Matrix3x3 XformOrientation(const Vector3d& x_direction, const Vector3d& z_direction) = 0;
};

}  // namespace host
