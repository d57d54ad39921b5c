// Bodies, faces, edges and measurement on the kernel's exact geometry.
#include <BRepAdaptor_Curve.hxx>
#include <BRepAdaptor_Surface.hxx>
#include <BRepAlgoAPI_Common.hxx>
#include <BRepBndLib.hxx>
#include <BRepBuilderAPI_Copy.hxx>
#include <BRepClass3d_SolidClassifier.hxx>
#include <BRepClass_FaceClassifier.hxx>
#include <BRepExtrema_DistShapeShape.hxx>
#include <BRepGProp.hxx>
#include <BRepLProp_SLProps.hxx>
#include <BRepMesh_IncrementalMesh.hxx>
#include <BRepPrimAPI_MakeSphere.hxx>
#include <BRepTools.hxx>
#include <BRep_Builder.hxx>
#include <BRep_Tool.hxx>
#include <Bnd_Box.hxx>
#include <ElSLib.hxx>
#include <GProp_GProps.hxx>
#include <GProp_PrincipalProps.hxx>
#include <Poly_Triangulation.hxx>
#include <ShapeUpgrade_UnifySameDomain.hxx>
#include <Standard_Failure.hxx>
#include <TopExp.hxx>
#include <TopExp_Explorer.hxx>
#include <TopTools_IndexedMapOfShape.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Compound.hxx>
#include <gp_Ax3.hxx>
#include <gp_Lin.hxx>

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <limits>
#include <memory>
#include <numbers>
#include <optional>
#include <sstream>

#include "host/memory/families.h"
#include "host/text.h"

namespace memory {
namespace {

host::Point3d ToPoint(const gp_Pnt& p) { return {p.X(), p.Y(), p.Z()}; }
host::Vector3d ToVector(const gp_Dir& d) { return {d.X(), d.Y(), d.Z()}; }

bool IsSolidShape(const TopoDS_Shape& s) {
  TopExp_Explorer ex(s, TopAbs_SOLID);
  return ex.More();
}

// The transformation from absolute coordinates into a system's coordinates.
// A matrix that is not orthonormal (a temporary system made from raw values)
// is measured along its orthonormalised axes.
gp_Trsf AbsoluteToLocal(const host::Point3d& origin, const host::Matrix3x3& m) {
  host::Matrix3x3 ortho = m;
  if (host::Mtx3OrthoNormalize(ortho) != 0) throw host::HostError("degenerate coordinate system");
  gp_Ax3 ax(gp_Pnt(origin.X, origin.Y, origin.Z), gp_Dir(ortho.Zx, ortho.Zy, ortho.Zz),
            gp_Dir(ortho.Xx, ortho.Xy, ortho.Xz));
  gp_Trsf t;
  t.SetTransformation(ax);
  return t;
}

double ShapeVolume(const TopoDS_Shape& s) {
  GProp_GProps props;
  BRepGProp::VolumeProperties(s, props);
  return std::abs(props.Mass());
}

// UF_MODL_ask_face_data of one face.
host::FaceData FaceDataOf(const TopoDS_Face& fs) {
  BRepAdaptor_Surface s(fs, true);
  host::FaceData d;
  // The host's face box is close to the smallest, not the smallest.
  Bnd_Box box;
  BRepBndLib::Add(fs, box, false);
  if (!box.IsVoid()) {
    double x0, y0, z0, x1, y1, z1;
    box.Get(x0, y0, z0, x1, y1, z1);
    d.box = {x0, y0, z0, x1, y1, z1};
  }
  // The outward normal in the middle of the face.
  const double u = (s.FirstUParameter() + s.LastUParameter()) / 2;
  const double v = (s.FirstVParameter() + s.LastVParameter()) / 2;
  BRepLProp_SLProps props(s, u, v, 1, 1e-9);
  gp_Dir normal(0, 0, 1);
  if (props.IsNormalDefined()) {
    normal = props.Normal();
    if (fs.Orientation() == TopAbs_REVERSED) normal.Reverse();
  }
  const gp_Pnt mid = s.Value(u, v);
  auto axis_sign = [&](const gp_Ax1& axis) {
    // +1 when the normal points away from the axis (a boss), -1 toward it (a hole).
    const gp_Vec to_point(axis.Location(), mid);
    const gp_Vec radial =
        to_point - gp_Vec(axis.Direction()) * to_point.Dot(gp_Vec(axis.Direction()));
    return radial.Dot(gp_Vec(normal)) >= 0 ? 1 : -1;
  };
  switch (s.GetType()) {
    case GeomAbs_Plane: {
      d.type = host::kPlanarFace;
      d.point = ToPoint(mid);
      d.direction = ToVector(normal);
      break;
    }
    case GeomAbs_Cylinder: {
      const gp_Cylinder c = s.Cylinder();
      d.type = host::kCylindricalFace;
      d.point = ToPoint(c.Location());
      d.direction = ToVector(c.Axis().Direction());
      d.radius = c.Radius();
      d.norm_dir = axis_sign(c.Axis());
      break;
    }
    case GeomAbs_Cone: {
      const gp_Cone c = s.Cone();
      d.type = host::kConicalFace;
      d.point = ToPoint(c.Location());
      d.direction = ToVector(c.Axis().Direction());
      d.radius = c.RefRadius();
      d.radius_data = c.SemiAngle();
      d.norm_dir = axis_sign(c.Axis());
      break;
    }
    case GeomAbs_Sphere: {
      const gp_Sphere sp = s.Sphere();
      d.type = host::kSphericalFace;
      d.point = ToPoint(sp.Location());
      d.direction = ToVector(sp.Position().Direction());
      d.radius = sp.Radius();
      d.norm_dir = gp_Vec(sp.Location(), mid).Dot(gp_Vec(normal)) >= 0 ? 1 : -1;
      break;
    }
    case GeomAbs_Torus: {
      const gp_Torus t = s.Torus();
      d.type = host::kToroidalFace;
      d.point = ToPoint(t.Location());
      d.direction = ToVector(t.Axis().Direction());
      d.radius = t.MajorRadius();
      d.radius_data = t.MinorRadius();
      break;
    }
    case GeomAbs_OffsetSurface:
      d.type = host::kOffsetFace;
      d.point = ToPoint(mid);
      d.direction = ToVector(normal);
      break;
    case GeomAbs_SurfaceOfExtrusion:
    case GeomAbs_SurfaceOfRevolution:
      d.type = host::kSweptFace;
      d.point = ToPoint(mid);
      d.direction = ToVector(normal);
      break;
    default:
      d.type = host::kParametricFace;
      d.point = ToPoint(mid);
      d.direction = ToVector(normal);
      break;
  }
  return d;
}

// UF_MODL_ask_curve_closed.
int CurveClosed(const TopoDS_Edge& e) {
  if (BRep_Tool::IsClosed(e)) return 1;
  BRepAdaptor_Curve c(e);
  return c.Value(c.FirstParameter()).Distance(c.Value(c.LastParameter())) <= 1e-7 ? 1 : 0;
}

host::EdgeData EdgeDataOf(const TopoDS_Edge& e) {
  BRepAdaptor_Curve c(e);
  host::EdgeData d;
  d.start = ToPoint(c.Value(c.FirstParameter()));
  d.end = ToPoint(c.Value(c.LastParameter()));
  if (c.GetType() == GeomAbs_Line) {
    d.kind = host::EdgeKind::kLine;
    d.direction = ToVector(c.Line().Direction());
  } else if (c.GetType() == GeomAbs_Circle) {
    d.kind = host::EdgeKind::kCircle;
    d.direction = ToVector(c.Circle().Axis().Direction());
    d.center = ToPoint(c.Circle().Location());
    d.radius = c.Circle().Radius();
  }
  return d;
}

// The indices (in `map`, the shape's edge map) of the body's edges as the
// host lists them: seam edges of periodic faces and degenerated edges are no
// edges of the body for the host.
std::vector<int> ListedEdges(const TopoDS_Shape& shape, const TopTools_IndexedMapOfShape& map) {
  TopTools_IndexedMapOfShape seams;
  for (TopExp_Explorer f(shape, TopAbs_FACE); f.More(); f.Next())
    for (TopExp_Explorer e(f.Current(), TopAbs_EDGE); e.More(); e.Next())
      if (BRep_Tool::IsClosed(TopoDS::Edge(e.Current()), TopoDS::Face(f.Current())))
        seams.Add(e.Current());
  std::vector<int> out;
  for (int i = 1; i <= map.Extent(); ++i)
    if (!seams.Contains(map(i)) && !BRep_Tool::Degenerated(TopoDS::Edge(map(i)))) out.push_back(i);
  return out;
}

// The boundary edges of a face, each once, without seams and degenerated edges.
std::vector<TopoDS_Edge> OwnEdges(const TopoDS_Face& fs) {
  std::vector<TopoDS_Edge> out;
  TopTools_IndexedMapOfShape seen;
  for (TopExp_Explorer e(fs, TopAbs_EDGE); e.More(); e.Next()) {
    const TopoDS_Edge edge = TopoDS::Edge(e.Current());
    if (BRep_Tool::IsClosed(edge, fs) || BRep_Tool::Degenerated(edge) || seen.Contains(edge))
      continue;
    seen.Add(edge);
    out.push_back(edge);
  }
  return out;
}

host::ExactBox ExactBoxOf(const TopoDS_Shape& shape, const host::Point3d& origin,
                          const host::Matrix3x3& matrix) {
  host::Matrix3x3 axes = matrix;
  host::Mtx3OrthoNormalize(axes);
  const gp_Trsf to_local = AbsoluteToLocal(origin, matrix);
  Bnd_Box box;
  BRepBndLib::AddOptimal(shape.Moved(TopLoc_Location(to_local)), box, false, false);
  if (box.IsVoid()) throw host::HostError("the body has no geometry to measure");
  double x0, y0, z0, x1, y1, z1;
  box.Get(x0, y0, z0, x1, y1, z1);
  host::ExactBox r;
  r.corner = host::ToAbsolute({x0, y0, z0}, origin, axes);
  r.directions = {axes.XAxis(), axes.YAxis(), axes.ZAxis()};
  r.distances = {x1 - x0, y1 - y0, z1 - z0};
  return r;
}

// Facets of a shape. The mesh is made on a private copy: it would otherwise
// stay on the body (and meshing writes into shapes, which other threads may
// be reading), and every call starts from the same bare geometry.
host::Facets FacetsOf(const TopoDS_Shape& original, double chord, double angle) {
  if (chord <= 0 || angle <= 0) throw host::HostError("facet tolerances must be positive");
  const TopoDS_Shape shape = BRepBuilderAPI_Copy(original, true, false).Shape();
  BRepMesh_IncrementalMesh mesher(shape, chord, false, angle, false);
  host::Facets out;
  for (TopExp_Explorer ex(shape, TopAbs_FACE); ex.More(); ex.Next()) {
    const TopoDS_Face face = TopoDS::Face(ex.Current());
    TopLoc_Location loc;
    const Handle(Poly_Triangulation) tri = BRep_Tool::Triangulation(face, loc);
    if (tri.IsNull()) continue;
    const int base = static_cast<int>(out.vertices.size());
    const gp_Trsf t = loc.Transformation();
    for (int i = 1; i <= tri->NbNodes(); ++i)
      out.vertices.push_back(ToPoint(tri->Node(i).Transformed(t)));
    const bool reversed = face.Orientation() == TopAbs_REVERSED;
    for (int i = 1; i <= tri->NbTriangles(); ++i) {
      int a, b, c;
      tri->Triangle(i).Get(a, b, c);
      if (reversed) std::swap(b, c);
      out.triangles.push_back({base + a - 1, base + b - 1, base + c - 1});
    }
  }
  return out;
}

// A body's shape with the face and edge maps the host numbers it by. The
// shape is shared with the host's body; everything done here only reads it
// (meshing works on a copy), as does everything the host does meanwhile.
class TakenGeometry : public host::BodyGeometry {
 public:
  TakenGeometry(TopoDS_Shape shape, std::shared_ptr<const TopTools_IndexedMapOfShape> faces,
                std::shared_ptr<const TopTools_IndexedMapOfShape> edges)
      : shape_(std::move(shape)), faces_(std::move(faces)), edges_(std::move(edges)) {}

  std::vector<Face> Faces() override {
    std::vector<Face> out;
    for (int i = 1; i <= faces_->Extent(); ++i) {
      const TopoDS_Face face = TopoDS::Face((*faces_)(i));
      Face f;
      f.data = FaceDataOf(face);
      f.closed_edges = true;
      for (const TopoDS_Edge& e : OwnEdges(face))
        if (CurveClosed(e) != 1) {
          f.closed_edges = false;
          break;
        }
      out.push_back(f);
    }
    return out;
  }
  std::vector<host::EdgeData> Edges() override {
    std::vector<host::EdgeData> out;
    for (int i : ListedEdges(shape_, *edges_))
      out.push_back(EdgeDataOf(TopoDS::Edge((*edges_)(i))));
    return out;
  }
  host::Facets AskFacets(double chord, double angle) override {
    return FacetsOf(shape_, chord, angle);
  }
  host::ExactBox AskBoundingBoxExact(const host::Point3d& origin,
                                     const host::Matrix3x3& matrix) override {
    return ExactBoxOf(shape_, origin, matrix);
  }
  double Volume() override { return ShapeVolume(shape_); }

 private:
  TopoDS_Shape shape_;
  std::shared_ptr<const TopTools_IndexedMapOfShape> faces_, edges_;
};

}  // namespace

host::Tag BodiesImpl::SubTag(host::Tag body, ObjectKind kind, int index) {
  auto tags_of = [&]() -> std::vector<host::Tag>& {
    Object& b = m_.Get(body, ObjectKind::Body);
    return kind == ObjectKind::Face ? b.face_tags : b.edge_tags;
  };
  if (tags_of().size() <= static_cast<std::size_t>(index)) tags_of().resize(index + 1);
  if (tags_of()[index] != host::kNullTag) return tags_of()[index];
  const int layer = m_.Get(body).layer;
  const host::Tag t = m_.NewObject(kind);  // may move objects: fetch the body again below
  Object& o = m_.Get(t);
  o.owner = body;
  o.index = index;
  o.layer = layer;
  tags_of()[index] = t;
  return t;
}

std::vector<host::Tag> BodiesImpl::PartBodies(host::Tag part) {
  m_.Get(part, ObjectKind::Part);
  std::vector<host::Tag> out;
  for (const auto& [tag, o] : m_.objects)
    if (o.kind == ObjectKind::Body) out.push_back(tag);
  return out;
}

bool BodiesImpl::IsSolidBody(host::Tag body) {
  return IsSolidShape(m_.Get(body, ObjectKind::Body).shape);
}

std::vector<host::Tag> BodiesImpl::BodyFaces(host::Tag body) {
  const int n = m_.SubMap(m_.Get(body, ObjectKind::Body), TopAbs_FACE).Extent();
  std::vector<host::Tag> out;
  for (int i = 1; i <= n; ++i) out.push_back(SubTag(body, ObjectKind::Face, i));
  return out;
}

std::vector<host::Tag> BodiesImpl::BodyEdges(host::Tag body) {
  Object& o = m_.Get(body, ObjectKind::Body);
  const std::vector<int> listed = ListedEdges(o.shape, m_.SubMap(o, TopAbs_EDGE));
  std::vector<host::Tag> out;
  for (int i : listed) out.push_back(SubTag(body, ObjectKind::Edge, i));
  return out;
}

std::vector<host::Tag> BodiesImpl::FaceEdges(host::Tag face) {
  const Object& f = m_.Get(face, ObjectKind::Face);
  const host::Tag body = f.owner;
  const TopoDS_Face fs = TopoDS::Face(m_.SubShape(f));
  const TopTools_IndexedMapOfShape& map = m_.SubMap(m_.Get(body), TopAbs_EDGE);
  std::vector<host::Tag> out;
  for (const TopoDS_Edge& edge : OwnEdges(fs))
    out.push_back(SubTag(body, ObjectKind::Edge, map.FindIndex(edge)));
  return out;
}

host::Tag BodiesImpl::FaceBody(host::Tag face) { return m_.Get(face, ObjectKind::Face).owner; }

host::FaceData BodiesImpl::AskFaceData(host::Tag face) {
  return FaceDataOf(TopoDS::Face(m_.SubShape(m_.Get(face, ObjectKind::Face))));
}

int BodiesImpl::AskCurveClosed(host::Tag edge) {
  return CurveClosed(TopoDS::Edge(m_.SubShape(m_.Get(edge, ObjectKind::Edge))));
}

host::EdgeData BodiesImpl::AskEdgeData(host::Tag edge) {
  return EdgeDataOf(TopoDS::Edge(m_.SubShape(m_.Get(edge, ObjectKind::Edge))));
}

host::ExactBox BodiesImpl::AskBoundingBoxExact(host::Tag body, host::Tag csys) {
  const TopoDS_Shape shape = m_.Get(body, ObjectKind::Body).shape;
  const auto [origin, matrix] = m_.CsysFrame(csys);
  return ExactBoxOf(shape, origin, matrix);
}

// The weight asks for the volume and the identical-body search for the
// inertia too: one integration over the body serves both.
const GProp_GProps& BodiesImpl::VolumeProperties(host::Tag body) {
  Object& o = m_.Get(body, ObjectKind::Body);
  if (!o.volume_props || !o.volume_shape.IsEqual(o.shape)) {
    auto props = std::make_shared<GProp_GProps>();
    BRepGProp::VolumeProperties(o.shape, *props);
    o.volume_props = std::move(props);
    o.volume_shape = o.shape;
  }
  return *o.volume_props;
}

double BodiesImpl::Volume(host::Tag body) { return std::abs(VolumeProperties(body).Mass()); }

host::MassProperties BodiesImpl::AskMassProperties(host::Tag body) {
  const GProp_GProps& vol = VolumeProperties(body);
  host::MassProperties p;
  p.volume = std::abs(vol.Mass());
  p.centroid = ToPoint(vol.CentreOfMass());
  const GProp_PrincipalProps pp = vol.PrincipalProperties();
  double i1, i2, i3;
  pp.Moments(i1, i2, i3);
  std::array<std::pair<double, gp_Vec>, 3> m{{{std::abs(i1), pp.FirstAxisOfInertia()},
                                              {std::abs(i2), pp.SecondAxisOfInertia()},
                                              {std::abs(i3), pp.ThirdAxisOfInertia()}}};
  std::sort(m.begin(), m.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  for (int i = 0; i < 3; ++i) {
    p.principal_moments[i] = m[i].first;
    p.principal_axes[i] = {m[i].second.X(), m[i].second.Y(), m[i].second.Z()};
  }
  return p;
}

host::Facets BodiesImpl::AskFacets(host::Tag body, double chord, double angle) {
  return FacetsOf(m_.Get(body, ObjectKind::Body).shape, chord, angle);
}

std::unique_ptr<host::BodyGeometry> BodiesImpl::TakeGeometry(host::Tag body) {
  Object& o = m_.Get(body, ObjectKind::Body);
  // The maps are made here, on the host's thread, and shared read-only.
  m_.SubMap(o, TopAbs_FACE);
  return std::make_unique<TakenGeometry>(o.shape, o.face_map, o.edge_map);
}

host::Interference BodiesImpl::CheckInterference(host::Tag a, host::Tag b) {
  return Share(a, b, true);
}

bool BodiesImpl::ShareVolume(host::Tag a, host::Tag b) {
  return Share(a, b, false) == host::Interference::kInterferes;
}

int BodiesImpl::JoinFaces(host::Tag body) {
  Object& o = m_.Get(body, ObjectKind::Body);
  ShapeUpgrade_UnifySameDomain unify(o.shape, true, true, false);
  unify.Build();
  m_.DropSubTags(o);
  m_.Get(body).shape = unify.Shape();
  return 0;
}

// The neutral file: a first line naming the format, one line per body with its
// colour, then the bodies as one compound in the kernel's text format.
static constexpr const char* kNeutralHeader = "diebom-neutral 1";

int BodiesImpl::ExportNeutral(const std::vector<host::Tag>& bodies, const std::string& path) {
  if (bodies.empty()) return 1;
  std::ostringstream out;
  out << kNeutralHeader << "\n" << bodies.size() << "\n";
  BRep_Builder builder;
  TopoDS_Compound compound;
  builder.MakeCompound(compound);
  for (host::Tag t : bodies) {
    const Object& o = m_.Get(t, ObjectKind::Body);
    out << o.color << "\n";
    builder.Add(compound, o.shape);
  }
  BRepTools::Write(compound, out);
  std::ofstream file(local_path(path), std::ios::binary | std::ios::trunc);
  if (!file) return 1;
  file << out.str();
  return file.flush() ? 0 : 1;
}

std::vector<host::Tag> BodiesImpl::ImportNeutral(const std::string& path) {
  std::ifstream file(local_path(path), std::ios::binary);
  if (!file) throw host::HostError("cannot open the neutral file " + path);
  std::string header;
  std::getline(file, header);
  std::size_t count = 0;
  if (header != kNeutralHeader || !(file >> count) || count == 0 || count > 1000000)
    throw host::HostError(path + " is not a neutral body file");
  std::vector<int> colors(count);
  for (auto& c : colors)
    if (!(file >> c)) throw host::HostError(path + " is damaged");
  TopoDS_Shape compound;
  BRep_Builder builder;
  BRepTools::Read(compound, file, builder);
  std::vector<TopoDS_Shape> shapes;
  for (TopoDS_Iterator it(compound); it.More(); it.Next()) shapes.push_back(it.Value());
  if (compound.IsNull() || shapes.size() != count) throw host::HostError(path + " is damaged");
  std::vector<host::Tag> out;
  for (std::size_t i = 0; i < count; ++i) {
    const host::Tag t = m_.NewObject(ObjectKind::Body);
    Object& o = m_.Get(t);
    o.shape = shapes[i];
    o.color = colors[i];
    out.push_back(t);
  }
  return out;
}

host::Tag BodiesImpl::CreateSphere(const host::Point3d& centre, double diameter) {
  if (!(diameter > 0)) throw host::HostError("a sphere needs a positive diameter");
  const host::Tag body = m_.NewObject(ObjectKind::Body);
  m_.Get(body).shape =
      BRepPrimAPI_MakeSphere(gp_Pnt(centre.X, centre.Y, centre.Z), diameter / 2).Shape();
  const host::Tag feature = m_.NewObject(ObjectKind::Feature);
  m_.Get(feature).feature_body = body;
  return feature;
}

host::Tag BodiesImpl::AskFeatureBody(host::Tag feature) {
  return m_.Get(feature, ObjectKind::Feature).feature_body;
}

// --- Interference ----------------------------------------------------------------------
//
// Two bodies share volume when their interiors meet. Most pairs a die puts
// side by side are close fits (a punch in its hole, an insert in its pocket,
// a pin in a shoe): their boxes overlap, but the exact Boolean would find
// nothing. Two shortcuts decide most pairs before it:
//
// - The hull proof. A body a lies in the common part K of a few convex
//   regions (the half-spaces behind its supporting planar faces, the solid
//   cylinders around its convex cylindrical faces, its box). When no face of
//   b reaches into the interior of K, that interior (convex, so connected)
//   lies wholly inside b or wholly outside it, and one point well inside K
//   tells which: outside, the bodies share no volume; inside, a lies in b.
// - A point of one body (a vertex, an edge's midpoint) well inside the
//   other proves shared volume.
//
// Whatever remains goes to the Boolean.

namespace {

// Faces closer than this (mm) touch: bodies that reach into each other by no
// more than this share no volume.
constexpr double kTouch = 1e-6;
// A point is inside a solid when it lies farther than this (mm) from its boundary.
constexpr double kInside = 1e-4;
// The point that tells where a hull lies keeps this far (mm) inside it.
constexpr double kHullMargin = 1e-3;
// Directions closer than this (cosines) are parallel.
constexpr double kParallel = 1e-12;

struct Range {
  double lo = std::numeric_limits<double>::infinity();
  double hi = -std::numeric_limits<double>::infinity();
  void Add(double v) { lo = std::min(lo, v), hi = std::max(hi, v); }
  void Add(const Range& r) { lo = std::min(lo, r.lo), hi = std::max(hi, r.hi); }
};

std::array<gp_Pnt, 8> Corners(const Bnd_Box& box) {
  double x0, y0, z0, x1, y1, z1;
  box.Get(x0, y0, z0, x1, y1, z1);
  return {gp_Pnt(x0, y0, z0), gp_Pnt(x1, y0, z0), gp_Pnt(x0, y1, z0), gp_Pnt(x1, y1, z0),
          gp_Pnt(x0, y0, z1), gp_Pnt(x1, y0, z1), gp_Pnt(x0, y1, z1), gp_Pnt(x1, y1, z1)};
}

// Boxes whose overlap along some axis is no more than kTouch.
bool BoxesApart(const Bnd_Box& a, const Bnd_Box& b) {
  if (a.IsVoid() || b.IsVoid()) return true;
  double a0[3], a1[3], b0[3], b1[3];
  a.Get(a0[0], a0[1], a0[2], a1[0], a1[1], a1[2]);
  b.Get(b0[0], b0[1], b0[2], b1[0], b1[1], b1[2]);
  for (int k = 0; k < 3; ++k)
    if (std::min(a1[k], b1[k]) - std::max(a0[k], b0[k]) <= kTouch) return true;
  return false;
}

// A face in the box `face` reaches into the box `box` by no more than kTouch.
bool OutsideBox(const Bnd_Box& face, const Bnd_Box& box) {
  if (face.IsVoid() || box.IsVoid()) return face.IsVoid();
  double f0[3], f1[3], b0[3], b1[3];
  face.Get(f0[0], f0[1], f0[2], f1[0], f1[1], f1[2]);
  box.Get(b0[0], b0[1], b0[2], b1[0], b1[1], b1[2]);
  for (int k = 0; k < 3; ++k)
    if (f1[k] <= b0[k] + kTouch || f0[k] >= b1[k] - kTouch) return true;
  return false;
}

// The box of a shape: exact on the kernel's geometry, or loose but whole.
Bnd_Box ExactBox(const TopoDS_Shape& s) {
  Bnd_Box box;
  try {
    BRepBndLib::AddOptimal(s, box, false, false);
  } catch (const Standard_Failure&) {
    box.SetVoid();
  }
  if (box.IsVoid()) BRepBndLib::Add(s, box, false);
  return box;
}

double Dot(const gp_XYZ& n, const gp_Pnt& p) { return n.Dot(p.XYZ()); }
double Dot(const gp_XYZ& n, const gp_Dir& d) { return n.Dot(d.XYZ()); }

// The largest and smallest values of R (a cos t + b sin t) for t in [t0, t1].
Range TrigRange(double r, double a, double b, double t0, double t1) {
  Range out;
  auto at = [&](double t) { return r * (a * std::cos(t) + b * std::sin(t)); };
  out.Add(at(t0));
  out.Add(at(t1));
  if (t1 - t0 >= 2 * std::numbers::pi) {
    const double m = r * std::hypot(a, b);
    out.Add(m), out.Add(-m);
    return out;
  }
  const double peak = std::atan2(b, a);
  for (double t : {peak, peak + std::numbers::pi}) {
    double u = t;
    while (u < t0) u += 2 * std::numbers::pi;
    while (u >= t0 + 2 * std::numbers::pi) u -= 2 * std::numbers::pi;
    if (u <= t1) out.Add(at(u));
  }
  return out;
}

// The values of n.x on an edge, never narrower than the truth.
Range EdgeRange(const TopoDS_Edge& e, const gp_XYZ& n) {
  Range r;
  if (BRep_Tool::Degenerated(e)) {
    TopoDS_Vertex v0, v1;
    TopExp::Vertices(e, v0, v1);
    if (!v0.IsNull()) r.Add(Dot(n, BRep_Tool::Pnt(v0)));
    return r;
  }
  BRepAdaptor_Curve c(e);
  const double t0 = c.FirstParameter(), t1 = c.LastParameter();
  switch (c.GetType()) {
    case GeomAbs_Line:
      r.Add(Dot(n, c.Value(t0)));
      r.Add(Dot(n, c.Value(t1)));
      return r;
    case GeomAbs_Circle: {
      const gp_Circ ci = c.Circle();
      const gp_Ax2& ax = ci.Position();
      const Range t = TrigRange(ci.Radius(), Dot(n, ax.XDirection()), Dot(n, ax.YDirection()),
                                std::min(t0, t1), std::max(t0, t1));
      const double base = Dot(n, ci.Location());
      return {base + t.lo, base + t.hi};
    }
    default: {
      Bnd_Box box;
      BRepBndLib::Add(e, box, false);
      for (const gp_Pnt& p : Corners(box)) r.Add(Dot(n, p));
      return r;
    }
  }
}

double Radial(const gp_Pnt& p, const gp_Ax1& axis) { return gp_Lin(axis).Distance(p); }

// The largest distance of an edge's points from an axis, or more.
double EdgeMaxRadial(const TopoDS_Edge& e, const gp_Ax1& axis) {
  if (BRep_Tool::Degenerated(e)) {
    TopoDS_Vertex v0, v1;
    TopExp::Vertices(e, v0, v1);
    return v0.IsNull() ? 0.0 : Radial(BRep_Tool::Pnt(v0), axis);
  }
  BRepAdaptor_Curve c(e);
  switch (c.GetType()) {
    case GeomAbs_Line:  // the distance is convex along a line
      return std::max(Radial(c.Value(c.FirstParameter()), axis),
                      Radial(c.Value(c.LastParameter()), axis));
    case GeomAbs_Circle:
      return Radial(c.Circle().Location(), axis) + c.Circle().Radius();
    default: {
      Bnd_Box box;
      BRepBndLib::Add(e, box, false);
      double m = 0;
      for (const gp_Pnt& p : Corners(box)) m = std::max(m, Radial(p, axis));
      return m;
    }
  }
}

// The smallest distance of an edge's points from a point, or less.
double EdgeMinDistance(const TopoDS_Edge& e, const gp_Pnt& p) {
  if (BRep_Tool::Degenerated(e)) {
    TopoDS_Vertex v0, v1;
    TopExp::Vertices(e, v0, v1);
    return v0.IsNull() ? 0.0 : p.Distance(BRep_Tool::Pnt(v0));
  }
  BRepAdaptor_Curve c(e);
  switch (c.GetType()) {
    case GeomAbs_Line: {
      const gp_Pnt a = c.Value(c.FirstParameter()), b = c.Value(c.LastParameter());
      const gp_Vec ab(a, b), ap(a, p);
      const double len2 = ab.SquareMagnitude();
      const double t = len2 > 0 ? std::clamp(ap.Dot(ab) / len2, 0.0, 1.0) : 0.0;
      return p.Distance(a.Translated(ab * t));
    }
    case GeomAbs_Circle: {  // the distance to the whole circle
      const gp_Circ ci = c.Circle();
      const gp_Vec v(ci.Location(), p);
      const gp_Vec normal(ci.Axis().Direction());
      const double h = v.Dot(normal);
      const double rho = (v - normal * h).Magnitude();
      return std::hypot(h, rho - ci.Radius());
    }
    default: {
      Bnd_Box box;
      BRepBndLib::Add(e, box, false);
      if (box.IsVoid()) return 0.0;
      double lo[3], hi[3];
      box.Get(lo[0], lo[1], lo[2], hi[0], hi[1], hi[2]);
      const double at[3] = {p.X(), p.Y(), p.Z()};
      double sum = 0;
      for (int k = 0; k < 3; ++k) {
        const double gap = std::max({lo[k] - at[k], at[k] - hi[k], 0.0});
        sum += gap * gap;
      }
      return std::sqrt(sum);
    }
  }
}

}  // namespace

// One face of a body, with what the checks ask of it.
struct FaceFacts {
  TopoDS_Face face;
  Bnd_Box box;  // holds the face
  GeomAbs_SurfaceType type = GeomAbs_OtherSurface;
  gp_Pln plane;
  gp_Cylinder cylinder;
  double u0 = 0, u1 = 0, v0 = 0, v1 = 0;  // parameter bounds (cylinder)
};

// A convex region that holds a whole body: the half-space n.x <= d, or the
// solid unbounded cylinder of radius r about an axis.
struct HullRegion {
  bool cylinder = false;
  gp_XYZ n;
  double d = 0;
  gp_Ax1 axis;
  double r = 0;
};

struct InterferenceData {
  std::uint64_t identity = 0;
  TopoDS_Shape shape;
  Bnd_Box box;
  int solids = 0;
  std::vector<FaceFacts> faces;
  std::vector<gp_Pnt> probes;                       // vertices and edge midpoints
  std::vector<std::pair<gp_Pnt, gp_Pnt>> segments;  // straight edges
  // The hull, made when first asked for.
  bool hull_made = false;
  std::vector<HullRegion> hull;
  std::optional<gp_Pnt> hull_point;  // kHullMargin inside every region
  // Every face a plane or a cylinder, of one solid: points are classified
  // by counting crossings (RayState); otherwise by the kernel's classifier.
  bool ray_ready = false;
  std::optional<BRepClass3d_SolidClassifier> classifier;

  // IN, OUT, or ON within `tolerance` (mm) of the boundary.
  TopAbs_State Classify(const gp_Pnt& p, double tolerance);
};

namespace {

// The values of n.x on a face, never narrower than the truth.
Range FaceRange(const FaceFacts& f, const gp_XYZ& n) {
  Range r;
  switch (f.type) {
    case GeomAbs_Plane:  // a linear function is largest and smallest on the boundary
      for (TopExp_Explorer e(f.face, TopAbs_EDGE); e.More(); e.Next())
        r.Add(EdgeRange(TopoDS::Edge(e.Current()), n));
      if (r.lo > r.hi) r.Add(Dot(n, f.plane.Location()));
      return r;
    case GeomAbs_Cylinder: {
      const gp_Ax3& ax = f.cylinder.Position();
      const Range t = TrigRange(f.cylinder.Radius(), Dot(n, ax.XDirection()),
                                Dot(n, ax.YDirection()), f.u0, f.u1);
      const double c = Dot(n, ax.Direction()), base = Dot(n, ax.Location());
      return {base + std::min(c * f.v0, c * f.v1) + t.lo,
              base + std::max(c * f.v0, c * f.v1) + t.hi};
    }
    default:
      for (const gp_Pnt& p : Corners(f.box)) r.Add(Dot(n, p));
      return r;
  }
}

// The largest distance of a face's points from an axis, or more.
double FaceMaxRadial(const FaceFacts& f, const gp_Ax1& axis) {
  if (f.type == GeomAbs_Cylinder &&
      std::abs(f.cylinder.Axis().Direction().Dot(axis.Direction())) > 1 - kParallel)
    return Radial(f.cylinder.Location(), axis) + f.cylinder.Radius();
  double m = 0;
  if (f.type == GeomAbs_Plane) {  // the distance is convex on a plane
    for (TopExp_Explorer e(f.face, TopAbs_EDGE); e.More(); e.Next())
      m = std::max(m, EdgeMaxRadial(TopoDS::Edge(e.Current()), axis));
    return m;
  }
  for (const gp_Pnt& p : Corners(f.box)) m = std::max(m, Radial(p, axis));
  return m;
}

// The smallest distance of a face's points from an axis, or less.
double FaceMinRadial(const FaceFacts& f, const gp_Ax1& axis) {
  const gp_Dir& dir = axis.Direction();
  if (f.type == GeomAbs_Cylinder) {
    if (std::abs(f.cylinder.Axis().Direction().Dot(dir)) <= 1 - kParallel) return 0.0;
    return std::abs(Radial(f.cylinder.Location(), axis) - f.cylinder.Radius());
  }
  if (f.type != GeomAbs_Plane) return 0.0;
  const gp_Dir& normal = f.plane.Axis().Direction();
  const double cosine = std::abs(normal.Dot(dir));
  if (cosine < kParallel) return f.plane.Distance(axis.Location());
  if (cosine <= 1 - kParallel) return 0.0;
  // A plane across the axis: the points near the axis form a disc about
  // where the axis meets the plane; it misses the face when its centre lies
  // outside the face and no edge comes nearer than its radius.
  const gp_Vec to_plane(axis.Location(), f.plane.Location());
  const gp_Pnt centre = axis.Location().Translated(gp_Vec(dir) * to_plane.Dot(gp_Vec(dir)));
  double u = 0, v = 0;
  ElSLib::Parameters(f.plane, centre, u, v);
  BRepClass_FaceClassifier where(f.face, gp_Pnt2d(u, v), kTouch);
  if (where.State() != TopAbs_OUT) return 0.0;
  double m = std::numeric_limits<double>::infinity();
  for (TopExp_Explorer e(f.face, TopAbs_EDGE); e.More(); e.Next())
    m = std::min(m, EdgeMinDistance(TopoDS::Edge(e.Current()), centre));
  return std::isfinite(m) ? m : 0.0;
}

bool InsideHull(const std::vector<HullRegion>& hull, const Bnd_Box& box, const gp_Pnt& p) {
  if (box.IsVoid()) return false;
  double x0, y0, z0, x1, y1, z1;
  box.Get(x0, y0, z0, x1, y1, z1);
  if (p.X() < x0 + kHullMargin || p.X() > x1 - kHullMargin || p.Y() < y0 + kHullMargin ||
      p.Y() > y1 - kHullMargin || p.Z() < z0 + kHullMargin || p.Z() > z1 - kHullMargin)
    return false;
  for (const HullRegion& g : hull) {
    if (g.cylinder ? Radial(p, g.axis) > g.r - kHullMargin : Dot(g.n, p) > g.d - kHullMargin)
      return false;
  }
  return true;
}

void MakeHull(InterferenceData& a) {
  a.hull_made = true;
  if (a.faces.empty() || a.box.IsVoid()) return;
  // Half-spaces behind the planar faces: the body's extent along each normal
  // (the same for a face and its opposite) is measured once.
  std::vector<std::pair<gp_XYZ, Range>> extents;
  auto extent = [&](const gp_XYZ& n) -> Range {
    for (const auto& [m, r] : extents) {
      if (m.Dot(n) > 1 - kParallel) return r;
      if (m.Dot(n) < -1 + kParallel) return {-r.hi, -r.lo};
    }
    Range r;
    for (const FaceFacts& f : a.faces) r.Add(FaceRange(f, n));
    extents.push_back({n, r});
    return r;
  };
  auto has_plane = [&](const gp_XYZ& n, double d) {
    for (const HullRegion& g : a.hull)
      if (!g.cylinder && g.n.Dot(n) > 1 - kParallel && std::abs(g.d - d) <= kTouch) return true;
    return false;
  };
  for (const FaceFacts& f : a.faces) {
    if (f.type == GeomAbs_Plane) {
      const gp_XYZ n = f.plane.Axis().Direction().XYZ();
      const double d = Dot(n, f.plane.Location());
      const Range r = extent(n);
      if (r.hi <= d + kTouch && !has_plane(n, d)) a.hull.push_back({false, n, d, {}, 0});
      if (r.lo >= d - kTouch && !has_plane(n.Reversed(), -d))
        a.hull.push_back({false, n.Reversed(), -d, {}, 0});
    } else if (f.type == GeomAbs_Cylinder) {
      const gp_Ax1 axis = f.cylinder.Axis();
      const double radius = f.cylinder.Radius();
      bool known = false;
      for (const HullRegion& g : a.hull)
        known = known || (g.cylinder && g.r <= radius + kTouch &&
                          std::abs(g.axis.Direction().Dot(axis.Direction())) > 1 - kParallel &&
                          Radial(axis.Location(), g.axis) <= kTouch);
      if (known) continue;
      bool holds = true;
      for (const FaceFacts& other : a.faces)
        if (FaceMaxRadial(other, axis) > radius + kTouch) {
          holds = false;
          break;
        }
      if (holds) a.hull.push_back({true, {}, 0, axis, radius});
    }
  }
  // A point well inside: the middle of the box, else the centre of mass.
  double x0, y0, z0, x1, y1, z1;
  a.box.Get(x0, y0, z0, x1, y1, z1);
  const gp_Pnt middle((x0 + x1) / 2, (y0 + y1) / 2, (z0 + z1) / 2);
  if (InsideHull(a.hull, a.box, middle)) {
    a.hull_point = middle;
    return;
  }
  GProp_GProps props;
  BRepGProp::VolumeProperties(a.shape, props);
  if (InsideHull(a.hull, a.box, props.CentreOfMass())) a.hull_point = props.CentreOfMass();
}

// The smallest distance of an edge's points from an axis, or less.
double EdgeMinRadial(const TopoDS_Edge& e, const gp_Ax1& axis) {
  if (BRep_Tool::Degenerated(e)) return 0.0;
  BRepAdaptor_Curve c(e);
  const gp_Dir& dir = axis.Direction();
  switch (c.GetType()) {
    case GeomAbs_Line: {  // the squared distance is quadratic along the segment
      const gp_Pnt a = c.Value(c.FirstParameter()), b = c.Value(c.LastParameter());
      auto across = [&](const gp_Vec& v) { return v - gp_Vec(dir) * v.Dot(gp_Vec(dir)); };
      const gp_Vec w = across(gp_Vec(axis.Location(), a)), v = across(gp_Vec(a, b));
      const double vv = v.SquareMagnitude();
      const double t = vv > 0 ? std::clamp(-w.Dot(v) / vv, 0.0, 1.0) : 0.0;
      return (w + v * t).Magnitude();
    }
    case GeomAbs_Circle: {
      const gp_Circ ci = c.Circle();
      if (std::abs(ci.Axis().Direction().Dot(dir)) <= 1 - kParallel) return 0.0;
      return std::abs(Radial(ci.Location(), axis) - ci.Radius());
    }
    default:
      return 0.0;
  }
}

// The convex part of space that holds the part of body `a` that matters for
// a pair: the common part of a's hull regions and a clipping box.
struct Hull {
  const std::vector<HullRegion>& regions;
  Bnd_Box clip;
  HullRegion sides[6];

  Hull(const std::vector<HullRegion>& r, const Bnd_Box& box) : regions(r), clip(box) {
    double x0, y0, z0, x1, y1, z1;
    box.Get(x0, y0, z0, x1, y1, z1);
    sides[0] = {false, gp_XYZ(1, 0, 0), x1, {}, 0};
    sides[1] = {false, gp_XYZ(-1, 0, 0), -x0, {}, 0};
    sides[2] = {false, gp_XYZ(0, 1, 0), y1, {}, 0};
    sides[3] = {false, gp_XYZ(0, -1, 0), -y0, {}, 0};
    sides[4] = {false, gp_XYZ(0, 0, 1), z1, {}, 0};
    sides[5] = {false, gp_XYZ(0, 0, -1), -z0, {}, 0};
  }
  template <class Test>
  bool AnyRegion(Test&& clear_of) const {
    for (const HullRegion& g : regions)
      if (clear_of(g)) return true;
    for (const HullRegion& g : sides)
      if (clear_of(g)) return true;
    return false;
  }
  bool Inside(const gp_Pnt& p) const { return InsideHull(regions, clip, p); }

  // The face reaches into the hull by no more than kTouch.
  bool Clear(const FaceFacts& f, const gp_Pnt& inner) const {
    if (OutsideBox(f.box, clip)) return true;
    if (AnyRegion([&](const HullRegion& g) {
          return g.cylinder ? FaceMinRadial(f, g.axis) >= g.r - kTouch
                            : FaceRange(f, g.n).lo >= g.d - kTouch;
        }))
      return true;
    if (f.type != GeomAbs_Plane) return false;
    // A planar face across the hull: the hull's section in the face's plane
    // is convex; it misses the face when one point of it lies outside the
    // face and no edge of the face reaches into the hull.
    double u = 0, v = 0;
    ElSLib::Parameters(f.plane, inner, u, v);
    const gp_Pnt section = ElSLib::Value(u, v, f.plane);
    if (!Inside(section)) return false;
    if (BRepClass_FaceClassifier(f.face, gp_Pnt2d(u, v), kTouch).State() != TopAbs_OUT)
      return false;
    for (TopExp_Explorer ex(f.face, TopAbs_EDGE); ex.More(); ex.Next()) {
      const TopoDS_Edge& e = TopoDS::Edge(ex.Current());
      if (!AnyRegion([&](const HullRegion& g) {
            return g.cylinder ? EdgeMinRadial(e, g.axis) >= g.r - kTouch
                              : EdgeRange(e, g.n).lo >= g.d - kTouch;
          }))
        return false;
    }
    return true;
  }
};

// The common part of two boxes (void when they do not meet).
Bnd_Box Common(const Bnd_Box& a, const Bnd_Box& b) {
  Bnd_Box out;
  if (a.IsVoid() || b.IsVoid()) return out;
  double a0[3], a1[3], b0[3], b1[3];
  a.Get(a0[0], a0[1], a0[2], a1[0], a1[1], a1[2]);
  b.Get(b0[0], b0[1], b0[2], b1[0], b1[1], b1[2]);
  double lo[3], hi[3];
  for (int k = 0; k < 3; ++k) {
    lo[k] = std::max(a0[k], b0[k]), hi[k] = std::min(a1[k], b1[k]);
    if (lo[k] > hi[k]) return out;
  }
  out.Update(lo[0], lo[1], lo[2], hi[0], hi[1], hi[2]);
  return out;
}

bool Contains(const Bnd_Box& outer, const Bnd_Box& inner) {
  double o0[3], o1[3], i0[3], i1[3];
  outer.Get(o0[0], o0[1], o0[2], o1[0], o1[1], o1[2]);
  inner.Get(i0[0], i0[1], i0[2], i1[0], i1[1], i1[2]);
  for (int k = 0; k < 3; ++k)
    if (i0[k] < o0[k] - kTouch || i1[k] > o1[k] + kTouch) return false;
  return true;
}

// What the hull of `a` tells about the pair: kInterferes, kNone, or nothing.
// Only the part of `a` inside b's box can share volume with b, so the hull is
// clipped by the common part of the two boxes.
std::optional<host::Interference> ProveWith(const Hull& hull, const std::optional<gp_Pnt>& point,
                                            InterferenceData& b, bool own) {
  std::optional<gp_Pnt> inner;
  if (point && hull.Inside(*point)) {
    inner = point;
  } else {
    double x0, y0, z0, x1, y1, z1;
    hull.clip.Get(x0, y0, z0, x1, y1, z1);
    const gp_Pnt middle((x0 + x1) / 2, (y0 + y1) / 2, (z0 + z1) / 2);
    if (hull.Inside(middle)) inner = middle;
  }
  if (!inner) return std::nullopt;
  for (const FaceFacts& f : b.faces)
    if (!hull.Clear(f, *inner)) return std::nullopt;
  switch (b.Classify(*inner, kHullMargin / 10)) {
    case TopAbs_OUT:
      return host::Interference::kNone;
    case TopAbs_IN:  // all of the hull inside b: proof enough when it holds all of a
      return own ? std::optional(host::Interference::kInterferes) : std::nullopt;
    default:
      return std::nullopt;
  }
}

// Cylinders about a's convex cylindrical faces that hold the part of `a`
// in the box `clip` (a stepped pin's thin end in a plate, say). That part is
// largest, along any such measure, on a's faces or at the box's corners.
std::vector<HullRegion> LocalCylinders(InterferenceData& a, const Bnd_Box& clip) {
  std::vector<HullRegion> out;
  std::vector<const FaceFacts*> near;
  for (const FaceFacts& f : a.faces)
    if (!clip.IsOut(f.box)) near.push_back(&f);
  for (const FaceFacts* f : near) {
    if (f->type != GeomAbs_Cylinder) continue;
    const gp_Ax1 axis = f->cylinder.Axis();
    const double r = f->cylinder.Radius();
    bool holds = true;
    for (const FaceFacts* g : near)
      if (!(holds = FaceMaxRadial(*g, axis) <= r + kTouch)) break;
    if (holds) {
      for (const gp_Pnt& corner : Corners(clip)) {
        if (Radial(corner, axis) <= r + kTouch) continue;
        if (a.solids != 1 || a.Classify(corner, kTouch) != TopAbs_OUT) {
          holds = false;
          break;
        }
      }
    }
    if (holds) out.push_back({true, {}, 0, axis, r});
  }
  return out;
}

// What the hull of `a` tells about the pair: kInterferes, kNone, or nothing.
// Only the part of `a` inside b's box can share volume with b, so the hull is
// clipped by the common part of the two boxes.
std::optional<host::Interference> HullProof(InterferenceData& a, InterferenceData& b) {
  if (b.solids != 1) return std::nullopt;
  if (!a.hull_made) MakeHull(a);
  const Bnd_Box clip = Common(a.box, b.box);
  if (auto proof = ProveWith(Hull(a.hull, clip), a.hull_point, b, Contains(b.box, a.box)))
    return proof;
  const std::vector<HullRegion> local = LocalCylinders(a, clip);
  if (local.empty()) return std::nullopt;
  return ProveWith(Hull(local, clip), std::nullopt, b, false);
}

// The part of the segment pq inside the box, if any.
std::optional<std::pair<gp_Pnt, gp_Pnt>> Clipped(const gp_Pnt& p, const gp_Pnt& q,
                                                 const Bnd_Box& box) {
  double lo[3], hi[3];
  box.Get(lo[0], lo[1], lo[2], hi[0], hi[1], hi[2]);
  const double from[3] = {p.X(), p.Y(), p.Z()},
               along[3] = {q.X() - p.X(), q.Y() - p.Y(), q.Z() - p.Z()};
  double t0 = 0, t1 = 1;
  for (int k = 0; k < 3; ++k) {
    if (along[k] == 0) {
      if (from[k] < lo[k] || from[k] > hi[k]) return std::nullopt;
      continue;
    }
    double ta = (lo[k] - from[k]) / along[k], tb = (hi[k] - from[k]) / along[k];
    if (ta > tb) std::swap(ta, tb);
    t0 = std::max(t0, ta), t1 = std::min(t1, tb);
    if (t0 > t1) return std::nullopt;
  }
  const gp_Vec v(p, q);
  return std::pair{p.Translated(v * t0), p.Translated(v * t1)};
}

// Where a point lies against a body whose faces are planes and cylinders,
// without the kernel's classifier (which maps the body's topology again on
// every point). A point within `tolerance` of a face is ON; otherwise a ray
// from it crosses the faces an odd number of times when it starts inside. A
// ray that meets an edge, or a face at a glancing angle, proves nothing:
// the next direction is tried, and when none serves the kernel decides.
constexpr double kGraze = 1e-6;  // mm: a crossing this near an edge proves nothing

// Fixed, far from any direction a die's faces favour.
const std::array<gp_Dir, 3>& RayDirections() {
  static const std::array<gp_Dir, 3> d{gp_Dir(0.4121, 0.5507, 0.7258),
                                       gp_Dir(-0.6142, 0.3331, 0.7155),
                                       gp_Dir(0.2809, -0.8722, 0.4004)};
  return d;
}

// Whether the half-line from p along d meets the box.
bool RayMeetsBox(const gp_Pnt& p, const gp_Dir& d, const Bnd_Box& box) {
  if (box.IsVoid()) return false;
  double lo[3], hi[3];
  box.Get(lo[0], lo[1], lo[2], hi[0], hi[1], hi[2]);
  const double from[3] = {p.X(), p.Y(), p.Z()}, along[3] = {d.X(), d.Y(), d.Z()};
  double t0 = 0, t1 = std::numeric_limits<double>::infinity();
  for (int k = 0; k < 3; ++k) {
    if (std::abs(along[k]) < 1e-300) {
      if (from[k] < lo[k] || from[k] > hi[k]) return false;
      continue;
    }
    double ta = (lo[k] - from[k]) / along[k], tb = (hi[k] - from[k]) / along[k];
    if (ta > tb) std::swap(ta, tb);
    t0 = std::max(t0, ta), t1 = std::min(t1, tb);
    if (t0 > t1) return false;
  }
  return true;
}

// Where the surface point q (on the face's surface) lies against the face.
TopAbs_State OnFace(const FaceFacts& f, const gp_Pnt& q, double tolerance) {
  double u = 0, v = 0;
  double tol2d = tolerance;
  if (f.type == GeomAbs_Plane) {
    ElSLib::Parameters(f.plane, q, u, v);
  } else {
    ElSLib::Parameters(f.cylinder, q, u, v);
    constexpr double kTurn = 2 * std::numbers::pi;
    const double r = f.cylinder.Radius();
    tol2d = std::min(tolerance, tolerance / r);
    u += kTurn * std::floor((f.u0 - tol2d - u) / kTurn + 1);  // into [u0 - tol, u0 - tol + 2pi)
    if (u > f.u1 + tol2d) return TopAbs_OUT;
  }
  return BRepClass_FaceClassifier(f.face, gp_Pnt2d(u, v), tol2d).State();
}

// The ray parameters (> 0) where the half-line meets the face's surface;
// false when it grazes the surface.
bool Crossings(const FaceFacts& f, const gp_Pnt& p, const gp_Dir& d, std::vector<double>& t) {
  t.clear();
  if (f.type == GeomAbs_Plane) {
    const gp_XYZ& n = f.plane.Axis().Direction().XYZ();
    const double along = n.Dot(d.XYZ());
    if (std::abs(along) < 1e-4) return false;
    const double at = (Dot(n, f.plane.Location()) - Dot(n, p)) / along;
    if (at > 0) t.push_back(at);
    return true;
  }
  const gp_XYZ a = f.cylinder.Axis().Direction().XYZ();
  auto across = [&](const gp_XYZ& v) { return v - a * a.Dot(v); };
  const gp_XYZ w = across(p.XYZ() - f.cylinder.Location().XYZ()), v = across(d.XYZ());
  const double r = f.cylinder.Radius();
  const double qa = v.SquareModulus(), qb = 2 * w.Dot(v), qc = w.SquareModulus() - r * r;
  if (qa < 1e-8) return std::abs(std::sqrt(w.SquareModulus()) - r) > kGraze;
  const double disc = qb * qb - 4 * qa * qc;
  if (disc < 0) return true;
  const double half = std::sqrt(disc) / (2 * qa);
  if (half < kGraze) return false;
  for (double at : {-qb / (2 * qa) - half, -qb / (2 * qa) + half})
    if (at > 0) t.push_back(at);
  return true;
}

std::optional<TopAbs_State> RayState(const InterferenceData& b, const gp_Pnt& p, double tolerance) {
  if (!b.ray_ready) return std::nullopt;
  Bnd_Box near = b.box;
  near.Enlarge(tolerance);
  if (near.IsOut(p)) return TopAbs_OUT;
  for (const FaceFacts& f : b.faces) {
    Bnd_Box around = f.box;
    around.Enlarge(tolerance);
    if (around.IsOut(p)) continue;
    const double gap = f.type == GeomAbs_Plane
                           ? f.plane.Distance(p)
                           : std::abs(Radial(p, f.cylinder.Axis()) - f.cylinder.Radius());
    if (gap <= tolerance && OnFace(f, p, tolerance) != TopAbs_OUT) return TopAbs_ON;
  }
  std::vector<double> at;
  for (const gp_Dir& d : RayDirections()) {
    int crossings = 0;
    bool proves = true;
    for (const FaceFacts& f : b.faces) {
      if (!RayMeetsBox(p, d, f.box)) continue;
      if (!(proves = Crossings(f, p, d, at))) break;
      for (double t : at) {
        const TopAbs_State where = OnFace(f, p.Translated(gp_Vec(d) * t), kGraze);
        if (where == TopAbs_ON) proves = false;
        if (where == TopAbs_IN) ++crossings;
      }
      if (!proves) break;
    }
    if (proves) return crossings % 2 == 1 ? TopAbs_IN : TopAbs_OUT;
  }
  return std::nullopt;
}

}  // namespace

TopAbs_State InterferenceData::Classify(const gp_Pnt& p, double tolerance) {
  if (const auto state = RayState(*this, p, tolerance)) return *state;
  if (!classifier) classifier.emplace(shape);
  classifier->Perform(p, tolerance);
  return classifier->State();
}

namespace {

// Some vertex or edge point of `a` lies well inside `b`: the vertices, the
// edges' midpoints, and the middle of each straight edge's part in b's box.
bool ProbeInside(const InterferenceData& a, InterferenceData& b) {
  if (b.solids == 0) return false;
  for (const gp_Pnt& p : a.probes)
    if (!b.box.IsOut(p) && b.Classify(p, kInside) == TopAbs_IN) return true;
  for (const auto& [p, q] : a.segments) {
    const auto part = Clipped(p, q, b.box);
    if (!part) continue;
    const gp_Pnt mid((part->first.XYZ() + part->second.XYZ()) / 2);
    if (b.Classify(mid, kInside) == TopAbs_IN) return true;
  }
  return false;
}

std::shared_ptr<InterferenceData> MakeInterferenceData(const TopoDS_Shape& shape,
                                                       std::uint64_t identity) {
  auto d = std::make_shared<InterferenceData>();
  d->identity = identity;
  d->shape = shape;
  if (shape.IsNull()) return d;
  d->box = ExactBox(shape);
  for (TopExp_Explorer ex(shape, TopAbs_SOLID); ex.More(); ex.Next()) ++d->solids;
  TopTools_IndexedMapOfShape map;
  TopExp::MapShapes(shape, TopAbs_FACE, map);
  for (int i = 1; i <= map.Extent(); ++i) {
    FaceFacts f;
    f.face = TopoDS::Face(map(i));
    BRepBndLib::Add(f.face, f.box, false);
    BRepAdaptor_Surface s(f.face, false);
    f.type = s.GetType();
    if (f.type == GeomAbs_Plane) f.plane = s.Plane();
    if (f.type == GeomAbs_Cylinder) {
      f.cylinder = s.Cylinder();
      BRepTools::UVBounds(f.face, f.u0, f.u1, f.v0, f.v1);
    }
    d->faces.push_back(f);
  }
  d->ray_ready = d->solids == 1;
  for (const FaceFacts& f : d->faces) {
    const TopAbs_Orientation o = f.face.Orientation();
    d->ray_ready = d->ray_ready && (f.type == GeomAbs_Plane || f.type == GeomAbs_Cylinder) &&
                   (o == TopAbs_FORWARD || o == TopAbs_REVERSED);
  }
  map.Clear();
  TopExp::MapShapes(shape, TopAbs_VERTEX, map);
  for (int i = 1; i <= map.Extent(); ++i)
    d->probes.push_back(BRep_Tool::Pnt(TopoDS::Vertex(map(i))));
  map.Clear();
  TopExp::MapShapes(shape, TopAbs_EDGE, map);
  for (int i = 1; i <= map.Extent(); ++i) {
    const TopoDS_Edge& e = TopoDS::Edge(map(i));
    if (BRep_Tool::Degenerated(e)) continue;
    BRepAdaptor_Curve c(e);
    d->probes.push_back(c.Value((c.FirstParameter() + c.LastParameter()) / 2));
    if (c.GetType() == GeomAbs_Line)
      d->segments.push_back({c.Value(c.FirstParameter()), c.Value(c.LastParameter())});
  }
  return d;
}

}  // namespace

std::uint64_t BodiesImpl::GeometryIdentity(host::Tag body) {
  static std::uint64_t last = 0;
  Object& o = m_.Get(body, ObjectKind::Body);
  if (o.identity == 0 || !o.identity_shape.IsEqual(o.shape)) {
    o.identity_shape = o.shape;
    o.identity = ++last;
    o.interference.reset();
  }
  return o.identity;
}

InterferenceData& BodiesImpl::Interference(host::Tag body) {
  const std::uint64_t identity = GeometryIdentity(body);
  Object& o = m_.Get(body);
  if (!o.interference || o.interference->identity != identity)
    o.interference = MakeInterferenceData(o.shape, identity);
  return *o.interference;
}

host::Interference BodiesImpl::Share(host::Tag a, host::Tag b, bool tell_touching) {
  InterferenceData& da = Interference(a);
  InterferenceData& db = Interference(b);
  if (da.box.IsVoid() || db.box.IsVoid()) return host::Interference::kNone;
  const host::Interference none = host::Interference::kNone;
  auto apart = [&]() {
    if (!tell_touching) return none;
    // Boxes a gap apart hold bodies that do not touch.
    double a0[3], a1[3], b0[3], b1[3];
    da.box.Get(a0[0], a0[1], a0[2], a1[0], a1[1], a1[2]);
    db.box.Get(b0[0], b0[1], b0[2], b1[0], b1[1], b1[2]);
    for (int k = 0; k < 3; ++k)
      if (std::min(a1[k], b1[k]) - std::max(a0[k], b0[k]) < -kTouch) return none;
    BRepExtrema_DistShapeShape dist(da.shape, db.shape);
    return dist.IsDone() && dist.Value() <= kTouch ? host::Interference::kTouches : none;
  };
  if (BoxesApart(da.box, db.box)) return apart();
  for (auto [x, y] : {std::pair{&da, &db}, std::pair{&db, &da}}) {
    if (const auto proof = HullProof(*x, *y)) {
      if (*proof == host::Interference::kInterferes) return *proof;
      return apart();
    }
  }
  if (ProbeInside(da, db) || ProbeInside(db, da)) return host::Interference::kInterferes;
  // The exact check.
  const double tiny = 1e-9 * std::min(Volume(a), Volume(b)) + 1e-9;
  BRepAlgoAPI_Common common;
  TopTools_ListOfShape arguments, tools;
  arguments.Append(da.shape);
  tools.Append(db.shape);
  common.SetArguments(arguments);
  common.SetTools(tools);
  common.SetNonDestructive(true);  // the bodies' own tolerances stay as they are
  common.Build();
  if (common.IsDone() && ShapeVolume(common.Shape()) > tiny) return host::Interference::kInterferes;
  return apart();
}

}  // namespace memory
