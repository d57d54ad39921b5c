// A body's blank coordinate system and blank size: matrices and coordinate
// systems from direction vectors, parallel tests, the exact box of a body in
// the work coordinate system, the blank extents with the half-unit rule, the
// spec string and the allowance applied to a stored spec.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "blank/material_param.h"
#include "host/host.h"

namespace blank {

// The half-unit rule for an extent v >= 0: a fraction under 0.005 is kept as
// it is; above 0.505 the extent goes up to the next integer; otherwise it
// becomes the integer part + 0.5 (so 10.503 gives 10.5 and 10.506 gives 11).
double HalfUnit(double v);
// |raw|, rounded by the half-unit rule when `mode` is 0.
double BlankExtent(double raw, int mode);

// "%.1fx%.1fx%.1f" and the round part's "Φ%.1fxH%.1f" (diameter, height).
std::string FormatSpec(double x, double y, double z);
std::string FormatRoundSpec(double diameter, double height);

// The allowance "a1_a2_a3_a4_a5" applied to the size "s1xs2xs3":
// "%.1fx%.1fx%.1f" of (s1 + a3 + a4, s2 + a1 + a2, s3 + a5). An allowance that
// does not have exactly five parts counts as all zero. Nothing when the size
// does not have exactly three parts.
std::optional<std::string> ApplyAllowance(const std::string& spec, const std::string& allowance);

// Minimum and maximum corner of a body's exact box, in absolute coordinates.
struct BoxCorners {
  host::Point3d min, max;
};

class BlankGeometry {
 public:
  BlankGeometry(host::Host& host, const BomOptions& options);

  // The matrix from two vectors (X normalised, Y made perpendicular to X in
  // their plane, Z = X x Y). Zero or parallel vectors throw host::HostError.
  host::Matrix3x3 CreateMatrix(const host::Vector3d& x, const host::Vector3d& y);
  // A temporary system at the absolute origin on the matrix, taken unchanged.
  host::Tag CrateTempCsys(const host::Matrix3x3& matrix);
  // A permanent system at the absolute origin; the matrix is orthonormalised
  // first, in place (only this one does that).
  host::Tag CreateCsys(host::Matrix3x3& matrix);

  // The host's parallel test (opposite directions are parallel).
  static bool IsVectotParallel(const host::Vector3d& a, const host::Vector3d& b, double tolerance);
  // A's X and A's Y are each parallel (0.005) to one of B's axes: the same
  // system up to a permutation and reversal of axes.
  static bool IsMatrixPannel(const host::Matrix3x3& a, const host::Matrix3x3& b);

  // Makes `csys` the work coordinate system (and leaves it so) and returns
  // the unrounded volume of the body's exact box in it.
  double GetBodyVolumeOnCsys(host::Tag body, host::Tag csys);

  // The exact box of the body along the work coordinate system's axes.
  BoxCorners AskExactBox(host::Tag body);
  // Absolute to work coordinates and back.
  host::Point3d MapToWork(const host::Point3d& absolute);
  host::Point3d MapToAbsolute(const host::Point3d& work);

  // The blank extents along the work coordinate system's X, Y and Z, with the
  // calculation mode's rule.
  std::array<double, 3> BlankExtents(host::Tag body);
  // The size string of the extents: the round part's form when the body carries
  // "圆件" = "Y" (X extent and Z extent), else "%.1fx%.1fx%.1f".
  std::string SpecOf(host::Tag body, const std::array<double, 3>& extents);

  // Applies the body's "材料余量" to its "材料规格" and writes the result
  // back. Nothing (and nothing written) when either attribute is missing or
  // the size is not of three parts; otherwise the new size string.
  std::optional<std::string> ResetBodyOffset(host::Tag body);

  // Temporary systems and matrices made while a scope is open are deleted
  // when it closes (after the caller has restored its work coordinate system).
  class TemporaryScope {
   public:
    explicit TemporaryScope(BlankGeometry& geometry);
    ~TemporaryScope();
    TemporaryScope(const TemporaryScope&) = delete;
    TemporaryScope& operator=(const TemporaryScope&) = delete;

   private:
    BlankGeometry& geometry_;
    std::size_t mark_;
  };

  const BomOptions& options() const { return options_; }

 private:
  void EnsureInitialized();
  void Track(host::Tag object);

  host::Host& host_;
  BomOptions options_;
  int scopes_ = 0;
  std::vector<host::Tag> temporaries_;
};

}  // namespace blank
