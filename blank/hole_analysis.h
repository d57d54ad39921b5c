// Simple holes of a body grouped by direction, and the direction rules that
// turn a minimum-volume matrix into a drawing orientation.
#pragma once

#include <cstdint>
#include <vector>

#include "host/host.h"

namespace blank {

// Holes whose axes are parallel (opposite included) to `direction`, the axis
// of the first hole of the group as the host reports it.
struct SimpleHoleInfo {
  host::Vector3d direction;
  std::int32_t count = 1;
};

class HoleAnalysis {
 public:
  // Directions are parallel within this tolerance (the sine of the angle).
  static constexpr double kParallelTolerance = 0.005;

  explicit HoleAnalysis(host::Host& host) : host_(host) {}

  // The body's simple holes: cylindrical faces whose normals point toward the
  // axis and whose edges are all closed curves, grouped by direction in the
  // order the faces come.
  std::vector<SimpleHoleInfo> GetSimpleHoles(host::Tag body);
  // The same from faces already asked (host::BodyGeometry::Faces).
  static std::vector<SimpleHoleInfo> GroupHoles(const std::vector<host::BodyGeometry::Face>& faces);

  // Splits the groups into those parallel to the matrix's X, Y or Z axis and
  // the others, each in input order.
  static void GetMtxNormalHoles(const host::Matrix3x3& matrix,
                                const std::vector<SimpleHoleInfo>& holes,
                                std::vector<SimpleHoleInfo>& normal,
                                std::vector<SimpleHoleInfo>& other);
  // The directions that can serve as X once Z is `z`: for Z along X: Y, Z,
  // -Y, -Z; along Y: X, Z, -X, -Z; along Z: X, Y, -X, -Y; else none.
  static std::vector<host::Vector3d> GetMtxXYDirection(const host::Matrix3x3& matrix,
                                                       const host::Vector3d& z);
  // Ascending by count; equal counts keep their order.
  static void SortByCount(std::vector<SimpleHoleInfo>& holes);

  // The angle between two directions in degrees, 0 to 180.
  static double AngleDegrees(const host::Vector3d& a, const host::Vector3d& b);
  // The candidate nearest to `reference`: the first of equally near ones;
  // the zero vector for an empty list.
  static host::Vector3d NearestDirection(const std::vector<host::Vector3d>& candidates,
                                         const host::Vector3d& reference);
  // `direction` or its reverse, whichever points more toward `reference`;
  // on a tie the reverse.
  static host::Vector3d OrientToward(const host::Vector3d& direction,
                                     const host::Vector3d& reference);

 private:
  host::Host& host_;
};

}  // namespace blank
