#include "host/math.h"

#include <cmath>
#include <numbers>

namespace host {

Vector3d Cross(const Vector3d& a, const Vector3d& b) {
  return {a.Y * b.Z - a.Z * b.Y, a.Z * b.X - a.X * b.Z, a.X * b.Y - a.Y * b.X};
}

Vector3d Negate(const Vector3d& v) { return {-v.X, -v.Y, -v.Z}; }

double Dot(const Vector3d& a, const Vector3d& b) { return a.X * b.X + a.Y * b.Y + a.Z * b.Z; }

double Length(const Vector3d& v) { return std::sqrt(Dot(v, v)); }

Vector3d Unit(const Vector3d& v) {
  const double len = Length(v);
  if (len == 0.0) return v;
  return {v.X / len, v.Y / len, v.Z / len};
}

double AngleBetween(const Vector3d& from, const Vector3d& to, const Vector3d& ccw) {
  const double lf = Length(from), lt = Length(to);
  if (lf == 0.0 || lt == 0.0) return 0.0;
  const Vector3d c = Cross(from, to);
  double angle = std::atan2(Length(c), Dot(from, to));  // 0..pi
  if (Dot(c, ccw) < 0.0) angle = 2.0 * std::numbers::pi - angle;
  return angle;
}

int IsParallel(const Vector3d& a, const Vector3d& b, double tolerance) {
  const double la = Length(a), lb = Length(b);
  if (la == 0.0 || lb == 0.0) return 0;
  const double sine = Length(Cross(a, b)) / (la * lb);
  return sine <= tolerance ? 1 : 0;
}

int Mtx3Initialize(const Vector3d& x, const Vector3d& y, Matrix3x3& matrix) {
  const Vector3d ux = Unit(x);
  if (Length(ux) == 0.0) return 1;
  const double d = Dot(y, ux);
  const Vector3d py{y.X - d * ux.X, y.Y - d * ux.Y, y.Z - d * ux.Z};
  const double lpy = Length(py);
  if (lpy <= 1e-12 * std::max(1.0, Length(y))) return 1;
  const Vector3d uy = Unit(py);
  matrix = Matrix3x3::FromRows(ux, uy, Cross(ux, uy));
  return 0;
}

int Mtx3OrthoNormalize(Matrix3x3& matrix) {
  return Mtx3Initialize(matrix.XAxis(), matrix.YAxis(), matrix);
}

Point3d ToLocal(const Point3d& p, const Point3d& o, const Matrix3x3& m) {
  const Vector3d d{p.X - o.X, p.Y - o.Y, p.Z - o.Z};
  return {Dot(d, m.XAxis()), Dot(d, m.YAxis()), Dot(d, m.ZAxis())};
}

Point3d ToAbsolute(const Point3d& p, const Point3d& o, const Matrix3x3& m) {
  return {o.X + p.X * m.Xx + p.Y * m.Yx + p.Z * m.Zx, o.Y + p.X * m.Xy + p.Y * m.Yy + p.Z * m.Zy,
          o.Z + p.X * m.Xz + p.Y * m.Yz + p.Z * m.Zz};
}

}  // namespace host
