#include "host/memory/shape.h"

#include <BRepAlgoAPI_Cut.hxx>
#include <BRepAlgoAPI_Fuse.hxx>
#include <BRepBuilderAPI_MakeFace.hxx>
#include <BRepBuilderAPI_MakePolygon.hxx>
#include <BRepBuilderAPI_MakeSolid.hxx>
#include <BRepBuilderAPI_Sewing.hxx>
#include <BRepBuilderAPI_Transform.hxx>
#include <BRepCheck_Analyzer.hxx>
#include <BRepGProp.hxx>
#include <BRepPrimAPI_MakeBox.hxx>
#include <BRepPrimAPI_MakeCone.hxx>
#include <BRepPrimAPI_MakeCylinder.hxx>
#include <BRepPrimAPI_MakePrism.hxx>
#include <BRepPrimAPI_MakeSphere.hxx>
#include <GProp_GProps.hxx>
#include <ShapeFix_Solid.hxx>
#include <TopExp_Explorer.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Shell.hxx>
#include <gp_Ax2.hxx>
#include <gp_Pln.hxx>

#include <algorithm>
#include <cmath>

#include "host/memory/model.h"

namespace memory {
namespace {

gp_Pnt P(const host::Point3d& p) { return {p.X, p.Y, p.Z}; }
gp_Dir D(const host::Vector3d& v) { return {v.X, v.Y, v.Z}; }

Shape Make(const TopoDS_Shape& s) {
  if (s.IsNull()) throw host::HostError("the modelling operation gave no shape");
  return Shape(std::make_unique<ShapeData>(ShapeData{s}));
}

// The single solid of a Boolean result, or the result itself.
TopoDS_Shape SingleSolid(const TopoDS_Shape& s) {
  TopoDS_Shape solid;
  int n = 0;
  for (TopExp_Explorer ex(s, TopAbs_SOLID); ex.More(); ex.Next(), ++n) solid = ex.Current();
  return n == 1 ? solid : s;
}

// A solid from planar polygons (each a closed loop of points), sewn together.
TopoDS_Shape Polyhedron(const std::vector<std::vector<gp_Pnt>>& faces) {
  BRepBuilderAPI_Sewing sewing(1e-7);
  for (const auto& loop : faces) {
    BRepBuilderAPI_MakePolygon poly;
    for (const auto& p : loop) poly.Add(p);
    poly.Close();
    sewing.Add(BRepBuilderAPI_MakeFace(poly.Wire(), true).Face());
  }
  sewing.Perform();
  TopoDS_Shape sewn = sewing.SewedShape();
  TopExp_Explorer ex(sewn, TopAbs_SHELL);
  if (!ex.More()) throw host::HostError("the faces do not close into a solid");
  BRepBuilderAPI_MakeSolid maker(TopoDS::Shell(ex.Current()));
  TopoDS_Solid solid = maker.Solid();
  GProp_GProps props;
  BRepGProp::VolumeProperties(solid, props);
  if (props.Mass() < 0) solid.Reverse();
  return solid;
}

}  // namespace

Shape::Shape() : data_(std::make_unique<ShapeData>()) {}
Shape::~Shape() = default;
Shape::Shape(std::unique_ptr<ShapeData> data) : data_(std::move(data)) {}
Shape::Shape(const Shape& other) : data_(std::make_unique<ShapeData>(*other.data_)) {}
Shape& Shape::operator=(const Shape& other) {
  *data_ = *other.data_;
  return *this;
}

Shape Shape::Box(double dx, double dy, double dz, const host::Point3d& corner) {
  return Make(BRepPrimAPI_MakeBox(P(corner), dx, dy, dz).Shape());
}

Shape Shape::Cylinder(double radius, double height, const host::Point3d& base,
                      const host::Vector3d& axis) {
  return Make(BRepPrimAPI_MakeCylinder(gp_Ax2(P(base), D(axis)), radius, height).Shape());
}

Shape Shape::Cone(double r1, double r2, double height, const host::Point3d& base,
                  const host::Vector3d& axis) {
  return Make(BRepPrimAPI_MakeCone(gp_Ax2(P(base), D(axis)), r1, r2, height).Shape());
}

Shape Shape::Sphere(const host::Point3d& centre, double radius) {
  return Make(BRepPrimAPI_MakeSphere(P(centre), radius).Shape());
}

Shape Shape::Prism(const std::vector<host::Point3d>& polygon, double height) {
  BRepBuilderAPI_MakePolygon poly;
  for (const auto& p : polygon) poly.Add(gp_Pnt(p.X, p.Y, 0.0));
  poly.Close();
  TopoDS_Face face = BRepBuilderAPI_MakeFace(poly.Wire(), true).Face();
  return Make(BRepPrimAPI_MakePrism(face, gp_Vec(0, 0, height)).Shape());
}

Shape Shape::Tetrahedron(const host::Point3d& a, const host::Point3d& b, const host::Point3d& c,
                         const host::Point3d& d) {
  const gp_Pnt A = P(a), B = P(b), C = P(c), Dd = P(d);
  return Make(Polyhedron({{A, B, C}, {A, B, Dd}, {B, C, Dd}, {C, A, Dd}}));
}

Shape Shape::ConvexHull(const std::vector<host::Point3d>& points) {
  // Gift-wrapping by brute force over point triples: fine for the few dozen
  // points of a test or benchmark polytope. Coplanar points are merged into
  // one face per plane, ordered around its centre.
  const std::size_t n = points.size();
  if (n < 4) throw host::HostError("a convex hull needs at least four points");
  std::vector<gp_Pnt> pts;
  for (const auto& p : points) pts.push_back(P(p));
  double scale = 0;
  for (const auto& p : pts) scale = std::max(scale, p.XYZ().Modulus());
  const double eps = 1e-9 * std::max(1.0, scale);
  std::vector<std::pair<gp_Dir, double>> planes;
  std::vector<std::vector<gp_Pnt>> faces;
  for (std::size_t i = 0; i < n; ++i)
    for (std::size_t j = i + 1; j < n; ++j)
      for (std::size_t k = j + 1; k < n; ++k) {
        gp_Vec nrm = gp_Vec(pts[i], pts[j]).Crossed(gp_Vec(pts[i], pts[k]));
        if (nrm.Magnitude() < eps) continue;
        nrm.Normalize();
        double off = nrm.XYZ().Dot(pts[i].XYZ());
        bool pos = false, neg = false;
        for (const auto& p : pts) {
          const double d = nrm.XYZ().Dot(p.XYZ()) - off;
          if (d > eps) pos = true;
          if (d < -eps) neg = true;
        }
        if (pos && neg) continue;
        if (pos) {
          nrm.Reverse();
          off = -off;
        }
        const gp_Dir dir(nrm);
        bool seen = false;
        for (const auto& pl : planes)
          if (pl.first.IsEqual(dir, 1e-9) && std::abs(pl.second - off) < eps) seen = true;
        if (seen) continue;
        planes.emplace_back(dir, off);
        std::vector<gp_Pnt> on;
        gp_XYZ centre(0, 0, 0);
        for (const auto& p : pts)
          if (std::abs(dir.XYZ().Dot(p.XYZ()) - off) <= eps) {
            on.push_back(p);
            centre += p.XYZ();
          }
        centre /= static_cast<double>(on.size());
        const gp_Dir u(gp_Vec(gp_Pnt(centre), on.front()));
        const gp_Dir v = dir.Crossed(u);
        std::sort(on.begin(), on.end(), [&](const gp_Pnt& a, const gp_Pnt& b) {
          const gp_XYZ da = a.XYZ() - centre, db = b.XYZ() - centre;
          return std::atan2(da.Dot(v.XYZ()), da.Dot(u.XYZ())) <
                 std::atan2(db.Dot(v.XYZ()), db.Dot(u.XYZ()));
        });
        faces.push_back(on);
      }
  return Make(Polyhedron(faces));
}

Shape Shape::Sheet(double dx, double dy, const host::Point3d& corner) {
  gp_Pln plane(P(corner), gp_Dir(0, 0, 1));
  return Make(BRepBuilderAPI_MakeFace(plane, 0.0, dx, 0.0, dy).Face());
}

Shape Shape::Cut(const Shape& tool) const {
  BRepAlgoAPI_Cut op(data_->shape, tool.data_->shape);
  if (!op.IsDone()) throw host::HostError("the cut failed");
  return Make(SingleSolid(op.Shape()));
}

Shape Shape::Fuse(const Shape& other) const {
  BRepAlgoAPI_Fuse op(data_->shape, other.data_->shape);
  if (!op.IsDone()) throw host::HostError("the fuse failed");
  return Make(SingleSolid(op.Shape()));
}

Shape Shape::Drilled(const host::Point3d& entry, const host::Vector3d& direction, double diameter,
                     double depth) const {
  return Cut(Cylinder(diameter / 2.0, depth, entry, direction));
}

Shape Shape::Translated(const host::Vector3d& by) const {
  gp_Trsf t;
  t.SetTranslation(gp_Vec(by.X, by.Y, by.Z));
  return Make(BRepBuilderAPI_Transform(data_->shape, t, true).Shape());
}

Shape Shape::Rotated(const host::Point3d& origin, const host::Vector3d& axis,
                     double radians) const {
  gp_Trsf t;
  t.SetRotation(gp_Ax1(P(origin), D(axis)), radians);
  return Make(BRepBuilderAPI_Transform(data_->shape, t, true).Shape());
}

bool Shape::IsNull() const { return data_->shape.IsNull(); }

bool Shape::IsSolid() const {
  if (data_->shape.IsNull()) return false;
  TopExp_Explorer ex(data_->shape, TopAbs_SOLID);
  return ex.More();
}

}  // namespace memory
