// The one file of the studio that sees the geometry kernel.
#include "studio/mesh.h"

#include <BRepBndLib.hxx>
#include <BRepBuilderAPI_Copy.hxx>
#include <BRepMesh_IncrementalMesh.hxx>
#include <BRep_Tool.hxx>
#include <Bnd_Box.hxx>
#include <Poly_Triangulation.hxx>
#include <TopExp.hxx>
#include <TopExp_Explorer.hxx>
#include <TopTools_IndexedMapOfShape.hxx>
#include <TopoDS.hxx>
#include <TopoDS_Face.hxx>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <set>

#include "host/memory/model.h"

namespace studio {

namespace {

void PutU32(std::string& out, std::uint32_t v) {
  const unsigned char b[4] = {static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8),
                              static_cast<unsigned char>(v >> 16),
                              static_cast<unsigned char>(v >> 24)};
  out.append(reinterpret_cast<const char*>(b), 4);
}

void PutFloats(std::string& out, const std::vector<float>& values) {
  for (float f : values) {
    std::uint32_t bits;
    std::memcpy(&bits, &f, 4);
    PutU32(out, bits);
  }
}

// A chord tolerance for the view: a small part of the body's size, so a
// large plate gets no more triangles than the eye needs.
double Deflection(const TopoDS_Shape& shape) {
  Bnd_Box box;
  BRepBndLib::Add(shape, box);
  if (box.IsVoid()) return 0.1;
  const double diagonal = std::sqrt(box.SquareExtent());
  return std::clamp(diagonal * 0.002, 0.01, 2.0);
}

constexpr std::uint32_t kFaceSection = 0x45434146;  // "FACE"

}  // namespace

BodyMesh TessellateBody(memory::MemoryHost& host, host::Tag body) {
  const memory::Shape original = host.BodyShape(body);
  // The copy takes the geometry but none of the triangulations, so meshing
  // it leaves the model's shape exactly as the program measures it.
  BRepBuilderAPI_Copy copy(original.data().shape, Standard_False, Standard_False);
  const TopoDS_Shape shape = copy.Shape();
  BRepMesh_IncrementalMesh mesher(shape, Deflection(shape), Standard_False, 0.35, Standard_False);
  BodyMesh out;
  // The copy keeps the order of faces, so an index here is the host's index.
  TopTools_IndexedMapOfShape face_map;
  TopExp::MapShapes(shape, TopAbs_FACE, face_map);
  for (int f = 1; f <= face_map.Extent(); ++f) {
    const TopoDS_Face face = TopoDS::Face(face_map(f));
    TopLoc_Location location;
    const Handle(Poly_Triangulation) tri = BRep_Tool::Triangulation(face, location);
    if (tri.IsNull()) continue;
    const std::uint32_t base = static_cast<std::uint32_t>(out.positions.size() / 3);
    const gp_Trsf t = location.Transformation();
    std::vector<gp_XYZ> points, normals(tri->NbNodes(), gp_XYZ(0, 0, 0));
    for (int i = 1; i <= tri->NbNodes(); ++i) points.push_back(tri->Node(i).Transformed(t).XYZ());
    const bool reversed = face.Orientation() == TopAbs_REVERSED;
    for (int i = 1; i <= tri->NbTriangles(); ++i) {
      int a, b, c;
      tri->Triangle(i).Get(a, b, c);
      if (reversed) std::swap(b, c);
      // The area-weighted face normal adds to each corner's normal.
      const gp_XYZ n = (points[b - 1] - points[a - 1]).Crossed(points[c - 1] - points[a - 1]);
      for (int v : {a, b, c}) normals[v - 1] += n;
      for (int v : {a, b, c}) out.indices.push_back(base + static_cast<std::uint32_t>(v - 1));
      out.faces.push_back(static_cast<std::uint32_t>(f));
    }
    for (std::size_t i = 0; i < points.size(); ++i) {
      const double length = normals[i].Modulus();
      const gp_XYZ n = length > 0 ? normals[i] / length : gp_XYZ(0, 0, 1);
      for (double v : {points[i].X(), points[i].Y(), points[i].Z()})
        out.positions.push_back(static_cast<float>(v));
      for (double v : {n.X(), n.Y(), n.Z()}) out.normals.push_back(static_cast<float>(v));
    }
  }
  return out;
}

std::string MeshCache::Build(memory::MemoryHost& host) {
  const std::vector<host::Tag> bodies = host.bodies().PartBodies(host.session().WorkPart());
  std::string out;
  PutU32(out, static_cast<std::uint32_t>(bodies.size()));
  std::set<std::uint64_t> seen;
  std::vector<const BodyMesh*> meshes;
  for (host::Tag b : bodies) {
    const std::uint64_t identity = host.bodies().GeometryIdentity(b);
    seen.insert(identity);
    auto it = by_geometry_.find(identity);
    if (it == by_geometry_.end()) {
      it = by_geometry_.emplace(identity, std::make_shared<const BodyMesh>(TessellateBody(host, b)))
               .first;
      ++tessellated_;
    }
    const BodyMesh& m = *it->second;
    meshes.push_back(&m);
    PutU32(out, b);
    PutU32(out, static_cast<std::uint32_t>(m.positions.size() / 3));
    PutU32(out, static_cast<std::uint32_t>(m.indices.size()));
    PutFloats(out, m.positions);
    PutFloats(out, m.normals);
    for (std::uint32_t i : m.indices) PutU32(out, i);
  }
  PutU32(out, kFaceSection);
  for (std::size_t i = 0; i < bodies.size(); ++i) {
    const std::vector<host::Tag> tags = host.bodies().BodyFaces(bodies[i]);
    PutU32(out, static_cast<std::uint32_t>(meshes[i]->faces.size()));
    for (std::uint32_t f : meshes[i]->faces) PutU32(out, f <= tags.size() ? tags[f - 1] : 0);
  }
  // Geometries no longer in the part are forgotten.
  for (auto it = by_geometry_.begin(); it != by_geometry_.end();)
    it = seen.count(it->first) ? std::next(it) : by_geometry_.erase(it);
  return out;
}

}  // namespace studio
