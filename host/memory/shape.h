// Solids for the in-memory host, built from primitives. A Shape is a value
// (cheap to copy); the geometry kernel stays behind it.
#pragma once

#include <memory>
#include <vector>

#include "host/types.h"

namespace memory {

struct ShapeData;  // the kernel's shape; see host/memory/model.h

class Shape {
 public:
  Shape();
  ~Shape();
  Shape(const Shape&);
  Shape& operator=(const Shape&);

  // A box with one corner at `corner` and edges along the world axes.
  static Shape Box(double dx, double dy, double dz, const host::Point3d& corner = {});
  // A cylinder of `radius` whose base circle is centred at `base`, along `axis`.
  static Shape Cylinder(double radius, double height, const host::Point3d& base = {},
                        const host::Vector3d& axis = {0, 0, 1});
  // A cone frustum (radius r1 at the base, r2 at the top) along `axis`.
  static Shape Cone(double r1, double r2, double height, const host::Point3d& base = {},
                    const host::Vector3d& axis = {0, 0, 1});
  static Shape Sphere(const host::Point3d& centre, double radius);
  // A prism: the closed polygon (in the XY plane at z = 0, counterclockwise)
  // extruded by `height` along +Z.
  static Shape Prism(const std::vector<host::Point3d>& polygon, double height);
  // The tetrahedron with the four given corners.
  static Shape Tetrahedron(const host::Point3d& a, const host::Point3d& b, const host::Point3d& c,
                           const host::Point3d& d);
  // The convex polytope of the points (a solid bounded by planar faces).
  static Shape ConvexHull(const std::vector<host::Point3d>& points);
  // A rectangular sheet (a face, not a solid) in the XY plane.
  static Shape Sheet(double dx, double dy, const host::Point3d& corner = {});

  Shape Cut(const Shape& tool) const;
  Shape Fuse(const Shape& other) const;
  // A through or blind hole: a cylinder of `diameter` from `entry` along `direction`.
  Shape Drilled(const host::Point3d& entry, const host::Vector3d& direction, double diameter,
                double depth) const;
  Shape Translated(const host::Vector3d& by) const;
  // Rotation by `radians` about the line through `origin` along `axis`.
  Shape Rotated(const host::Point3d& origin, const host::Vector3d& axis, double radians) const;

  bool IsNull() const;
  bool IsSolid() const;

  const ShapeData& data() const { return *data_; }
  explicit Shape(std::unique_ptr<ShapeData> data);

 private:
  std::unique_ptr<ShapeData> data_;
};

}  // namespace memory
