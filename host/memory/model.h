// The state of the in-memory host's work part. Internal to host/memory: this
// is where the geometry kernel's types appear.
#pragma once

#include <TopTools_IndexedMapOfShape.hxx>
#include <TopoDS_Shape.hxx>

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/types.h"

class GProp_GProps;

namespace memory {

// What the interference checks learnt about one body's geometry (bodies.cpp).
struct InterferenceData;

struct ShapeData {
  TopoDS_Shape shape;
};

enum class ObjectKind { Part, Body, Face, Edge, Csys, Matrix, Feature };

struct Object {
  host::Tag tag = host::kNullTag;
  ObjectKind kind = ObjectKind::Body;
  std::string name;
  int layer = 1;
  int color = 87;
  bool blanked = false;
  bool highlighted = false;
  int translucency = 0;
  std::vector<std::pair<std::string, std::string>> attributes;  // title -> value, in order

  // Body: its shape, and the tags handed out for its faces and edges (by index
  // in the shape's face and edge maps, 1-based; 0 where none was handed out).
  TopoDS_Shape shape;
  std::vector<host::Tag> face_tags, edge_tags;
  // Body: the face and edge maps of its shape (the numbering above), made at
  // the first question and kept while the shape stays the same.
  std::shared_ptr<const TopTools_IndexedMapOfShape> face_map, edge_map;
  TopoDS_Shape map_shape;
  // Face, edge: the owning body and the index in its map.
  host::Tag owner = host::kNullTag;
  int index = 0;
  // Body: its volume integrals (volume, centre, inertia) once measured, and
  // the shape they belong to: they hold until the shape is replaced.
  std::shared_ptr<const GProp_GProps> volume_props;
  TopoDS_Shape volume_shape;
  // Body: the identity of its geometry (host::Bodies::GeometryIdentity) and
  // the shape it was given for, held so that no later shape can take the same
  // place in memory; what the interference checks learnt about that shape.
  TopoDS_Shape identity_shape;
  std::uint64_t identity = 0;
  std::shared_ptr<InterferenceData> interference;
  // Coordinate system and matrix.
  host::Point3d origin;
  host::Matrix3x3 matrix;
  bool temporary = false;
  // Feature: its body.
  host::Tag feature_body = host::kNullTag;
};

struct Model {
  std::map<host::Tag, Object> objects;  // by tag: creation order
  std::set<host::Tag> csys_tags;        // the coordinate systems among them
  host::Tag next_tag = 1;
  host::Tag part = host::kNullTag;
  host::Tag absolute_csys = host::kNullTag;
  host::Tag wcs = host::kNullTag;
  std::string leaf = "model";
  std::array<int, 257> layer_status{};  // index 1..256
  int work_layer = 1;

  Model();
  host::Tag NewObject(ObjectKind kind);
  Object& Get(host::Tag tag);                   // HostError when missing
  Object& Get(host::Tag tag, ObjectKind kind);  // HostError when missing or of another kind
  const Object* Find(host::Tag tag) const;
  void Erase(host::Tag tag);
  // Forget the face and edge tags of a body (after its shape changed).
  void DropSubTags(Object& body);
  // The face or edge shape of a face/edge object.
  TopoDS_Shape SubShape(const Object& sub);
  // The face (TopAbs_FACE) or edge (TopAbs_EDGE) map of a body's shape.
  const TopTools_IndexedMapOfShape& SubMap(Object& body, int kind);
  // Origin and matrix of a coordinate system; kNullTag is the absolute system.
  std::pair<host::Point3d, host::Matrix3x3> CsysFrame(host::Tag csys);
};

}  // namespace memory
