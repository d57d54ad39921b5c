// Value types shared by the host interface and the logic: object handles and
// the double-precision geometry records of the host.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace host {

// An object handle (NXOpen::TaggedObject::Tag). 0 is the null tag.
using Tag = std::uint32_t;
inline constexpr Tag kNullTag = 0;

struct Vector3d {  // NXOpen::Vector3d
  double X = 0.0, Y = 0.0, Z = 0.0;
};

struct Point3d {  // NXOpen::Point3d
  double X = 0.0, Y = 0.0, Z = 0.0;
};

// NXOpen::Matrix3x3: the rows are the X, Y and Z axes of a coordinate system.
struct Matrix3x3 {
  double Xx = 1.0, Xy = 0.0, Xz = 0.0;
  double Yx = 0.0, Yy = 1.0, Yz = 0.0;
  double Zx = 0.0, Zy = 0.0, Zz = 1.0;

  Vector3d XAxis() const { return {Xx, Xy, Xz}; }
  Vector3d YAxis() const { return {Yx, Yy, Yz}; }
  Vector3d ZAxis() const { return {Zx, Zy, Zz}; }
  static Matrix3x3 FromRows(const Vector3d& x, const Vector3d& y, const Vector3d& z) {
    return {x.X, x.Y, x.Z, y.X, y.Y, y.Z, z.X, z.Y, z.Z};
  }
};

// A failed host operation (NXOpen::NXException on the real host).
class HostError : public std::runtime_error {
 public:
  explicit HostError(const std::string& what) : std::runtime_error(what) {}
};

}  // namespace host
