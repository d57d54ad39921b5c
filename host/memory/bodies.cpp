// Bodies, faces, edges and measurement on the kernel's exact geometry.
#include <BRepAdaptor_Curve.hxx>
#include <BRepAdaptor_Surface.hxx>
#include <BRepAlgoAPI_Common.hxx>
#include <BRepBndLib.hxx>
#include <BRepClass3d_SolidClassifier.hxx>
#include <BRepExtrema_DistShapeShape.hxx>
#include <BRepGProp.hxx>
#include <BRepLProp_SLProps.hxx>
#include <BRepMesh_IncrementalMesh.hxx>
#include <BRepPrimAPI_MakeSphere.hxx>
#include <BRepTools.hxx>
#include <BRep_Builder.hxx>
#include <BRep_Tool.hxx>
#include <Bnd_Box.hxx>
#include <GProp_GProps.hxx>
#include <GProp_PrincipalProps.hxx>
#include <Poly_Triangulation.hxx>
#include <ShapeUpgrade_UnifySameDomain.hxx>
#include <TopExp.hxx>
#include <TopExp_Explorer.hxx>
#include <TopTools_IndexedMapOfShape.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Compound.hxx>
#include <gp_Ax3.hxx>

#include <algorithm>
#include <cmath>
#include <fstream>
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

// Some vertex of `a` lies inside the solid `b` (box `b_box`), farther than
// 1e-4 mm from its boundary.
bool VertexInside(const TopoDS_Shape& a, const TopoDS_Shape& b, const Bnd_Box& b_box) {
  if (!IsSolidShape(b)) return false;
  TopTools_IndexedMapOfShape vertices;
  TopExp::MapShapes(a, TopAbs_VERTEX, vertices);
  std::optional<BRepClass3d_SolidClassifier> classifier;
  for (int i = 1; i <= vertices.Extent(); ++i) {
    const gp_Pnt p = BRep_Tool::Pnt(TopoDS::Vertex(vertices(i)));
    if (b_box.IsOut(p)) continue;
    if (!classifier) classifier.emplace(b);
    classifier->Perform(p, 1e-4);
    if (classifier->State() == TopAbs_IN) return true;
  }
  return false;
}

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
  TopTools_IndexedMapOfShape map;
  TopExp::MapShapes(m_.Get(body, ObjectKind::Body).shape, TopAbs_FACE, map);
  std::vector<host::Tag> out;
  for (int i = 1; i <= map.Extent(); ++i) out.push_back(SubTag(body, ObjectKind::Face, i));
  return out;
}

std::vector<host::Tag> BodiesImpl::BodyEdges(host::Tag body) {
  const TopoDS_Shape shape = m_.Get(body, ObjectKind::Body).shape;
  TopTools_IndexedMapOfShape map;
  TopExp::MapShapes(shape, TopAbs_EDGE, map);
  // Seam edges of periodic faces are not edges of the body for the host.
  TopTools_IndexedMapOfShape seams;
  for (TopExp_Explorer f(shape, TopAbs_FACE); f.More(); f.Next())
    for (TopExp_Explorer e(f.Current(), TopAbs_EDGE); e.More(); e.Next())
      if (BRep_Tool::IsClosed(TopoDS::Edge(e.Current()), TopoDS::Face(f.Current())))
        seams.Add(e.Current());
  std::vector<host::Tag> out;
  for (int i = 1; i <= map.Extent(); ++i)
    if (!seams.Contains(map(i)) && !BRep_Tool::Degenerated(TopoDS::Edge(map(i))))
      out.push_back(SubTag(body, ObjectKind::Edge, i));
  return out;
}

std::vector<host::Tag> BodiesImpl::FaceEdges(host::Tag face) {
  const Object& f = m_.Get(face, ObjectKind::Face);
  const host::Tag body = f.owner;
  const TopoDS_Face fs = TopoDS::Face(m_.SubShape(f));
  TopTools_IndexedMapOfShape map;
  TopExp::MapShapes(m_.Get(body).shape, TopAbs_EDGE, map);
  std::vector<host::Tag> out;
  TopTools_IndexedMapOfShape seen;
  for (TopExp_Explorer e(fs, TopAbs_EDGE); e.More(); e.Next()) {
    const TopoDS_Edge edge = TopoDS::Edge(e.Current());
    if (BRep_Tool::IsClosed(edge, fs) || BRep_Tool::Degenerated(edge) || seen.Contains(edge))
      continue;
    seen.Add(edge);
    out.push_back(SubTag(body, ObjectKind::Edge, map.FindIndex(edge)));
  }
  return out;
}

host::Tag BodiesImpl::FaceBody(host::Tag face) { return m_.Get(face, ObjectKind::Face).owner; }

host::FaceData BodiesImpl::AskFaceData(host::Tag face) {
  const TopoDS_Face fs = TopoDS::Face(m_.SubShape(m_.Get(face, ObjectKind::Face)));
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

int BodiesImpl::AskCurveClosed(host::Tag edge) {
  const TopoDS_Edge e = TopoDS::Edge(m_.SubShape(m_.Get(edge, ObjectKind::Edge)));
  if (BRep_Tool::IsClosed(e)) return 1;
  BRepAdaptor_Curve c(e);
  return c.Value(c.FirstParameter()).Distance(c.Value(c.LastParameter())) <= 1e-7 ? 1 : 0;
}

host::EdgeData BodiesImpl::AskEdgeData(host::Tag edge) {
  const TopoDS_Edge e = TopoDS::Edge(m_.SubShape(m_.Get(edge, ObjectKind::Edge)));
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

host::ExactBox BodiesImpl::AskBoundingBoxExact(host::Tag body, host::Tag csys) {
  const TopoDS_Shape shape = m_.Get(body, ObjectKind::Body).shape;
  const auto [origin, matrix] = m_.CsysFrame(csys);
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

double BodiesImpl::Volume(host::Tag body) {
  Object& o = m_.Get(body, ObjectKind::Body);
  if (o.volume < 0.0) o.volume = ShapeVolume(o.shape);
  return o.volume;
}

host::MassProperties BodiesImpl::AskMassProperties(host::Tag body) {
  const TopoDS_Shape shape = m_.Get(body, ObjectKind::Body).shape;
  GProp_GProps vol, surf;
  BRepGProp::VolumeProperties(shape, vol);
  BRepGProp::SurfaceProperties(shape, surf);
  host::MassProperties p;
  p.volume = std::abs(vol.Mass());
  p.area = surf.Mass();
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
  const TopoDS_Shape shape = m_.Get(body, ObjectKind::Body).shape;
  if (chord <= 0 || angle <= 0) throw host::HostError("facet tolerances must be positive");
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

host::Interference BodiesImpl::CheckInterference(host::Tag a, host::Tag b) {
  const TopoDS_Shape sa = m_.Get(a, ObjectKind::Body).shape;
  const TopoDS_Shape sb = m_.Get(b, ObjectKind::Body).shape;
  Bnd_Box ba, bb;
  BRepBndLib::Add(sa, ba);
  BRepBndLib::Add(sb, bb);
  if (ba.IsOut(bb)) return host::Interference::kNone;
  // A corner of one well inside the other: they share volume, no Boolean needed.
  if (VertexInside(sa, sb, bb) || VertexInside(sb, sa, ba)) return host::Interference::kInterferes;
  const double tiny = 1e-9 * std::min(Volume(a), Volume(b)) + 1e-9;
  BRepAlgoAPI_Common common;
  TopTools_ListOfShape arguments, tools;
  arguments.Append(sa);
  tools.Append(sb);
  common.SetArguments(arguments);
  common.SetTools(tools);
  common.SetNonDestructive(true);  // the bodies' own tolerances stay as they are
  common.Build();
  if (common.IsDone() && ShapeVolume(common.Shape()) > tiny) return host::Interference::kInterferes;
  BRepExtrema_DistShapeShape dist(sa, sb);
  if (dist.IsDone() && dist.Value() <= 1e-6) return host::Interference::kTouches;
  return host::Interference::kNone;
}

int BodiesImpl::JoinFaces(host::Tag body) {
  Object& o = m_.Get(body, ObjectKind::Body);
  ShapeUpgrade_UnifySameDomain unify(o.shape, true, true, false);
  unify.Build();
  m_.DropSubTags(o);
  m_.Get(body).shape = unify.Shape();
  m_.Get(body).volume = -1.0;
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

}  // namespace memory
