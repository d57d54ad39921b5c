// Vector and matrix arithmetic with the host's semantics (UF_VEC3_*, UF_MTX3_*).
// These are pure functions; on the real host each maps to the named call.
#pragma once

#include "host/types.h"

namespace host {

Vector3d Cross(const Vector3d& a, const Vector3d& b);  // UF_VEC3_cross
Vector3d Negate(const Vector3d& v);                    // UF_VEC3_negate
double Dot(const Vector3d& a, const Vector3d& b);      // UF_VEC3_dot
double Length(const Vector3d& v);                      // UF_VEC3_mag
Vector3d Unit(const Vector3d& v);  // UF_VEC3_unitize; the zero vector stays zero

// UF_VEC3_angle_between: the angle (radians, 0 to 2*pi) from `from` to `to`,
// measured counterclockwise about `ccw`. 0 when either vector is zero.
double AngleBetween(const Vector3d& from, const Vector3d& to, const Vector3d& ccw);

// UF_VEC3_is_parallel: 1 when the two directions are parallel or opposite
// within `tolerance` (the sine of the angle between them), else 0. A zero
// vector is parallel to nothing.
int IsParallel(const Vector3d& a, const Vector3d& b, double tolerance);

// UF_MTX3_initialize: X normalised, Y made perpendicular to X in the plane of
// the two, Z = X x Y. Returns 0, or a non-zero code when the vectors are zero
// or parallel (the matrix is then left unchanged).
int Mtx3Initialize(const Vector3d& x, const Vector3d& y, Matrix3x3& matrix);

// UF_MTX3_ortho_normalize: Gram-Schmidt on the rows (X kept in direction, Y made
// perpendicular to X, Z = X x Y). Returns 0, or non-zero for a degenerate matrix.
int Mtx3OrthoNormalize(Matrix3x3& matrix);

// Point mapping with a coordinate system given by origin and matrix rows.
Point3d ToLocal(const Point3d& absolute, const Point3d& origin, const Matrix3x3& m);
Point3d ToAbsolute(const Point3d& local, const Point3d& origin, const Matrix3x3& m);

}  // namespace host
