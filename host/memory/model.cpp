#include "host/memory/model.h"

#include <TopExp.hxx>
#include <TopTools_IndexedMapOfShape.hxx>

#include "host/text.h"

namespace memory {

Model::Model() {
  layer_status.fill(2);  // selectable
  layer_status[1] = 1;   // the work layer
  part = NewObject(ObjectKind::Part);
  absolute_csys = NewObject(ObjectKind::Csys);
  Object& abs = Get(absolute_csys);
  abs.temporary = true;
  abs.name = "ABS";
  wcs = absolute_csys;
}

host::Tag Model::NewObject(ObjectKind kind) {
  const host::Tag tag = next_tag++;
  Object& o = objects[tag];
  o.tag = tag;
  o.kind = kind;
  o.layer = work_layer;
  if (kind == ObjectKind::Csys) csys_tags.insert(tag);
  return tag;
}

void Model::Erase(host::Tag tag) {
  objects.erase(tag);
  csys_tags.erase(tag);
}

Object& Model::Get(host::Tag tag) {
  auto it = objects.find(tag);
  if (it == objects.end()) throw host::HostError(text::Format("no object with tag %u", tag));
  return it->second;
}

Object& Model::Get(host::Tag tag, ObjectKind kind) {
  Object& o = Get(tag);
  if (o.kind != kind) throw host::HostError(text::Format("object %u is of another type", tag));
  return o;
}

const Object* Model::Find(host::Tag tag) const {
  auto it = objects.find(tag);
  return it == objects.end() ? nullptr : &it->second;
}

void Model::DropSubTags(Object& body) {
  for (host::Tag t : body.face_tags) objects.erase(t);
  for (host::Tag t : body.edge_tags) objects.erase(t);
  body.face_tags.clear();
  body.edge_tags.clear();
}

const TopTools_IndexedMapOfShape& Model::SubMap(Object& body, int kind) {
  if (!body.map_shape.IsEqual(body.shape) || !body.face_map) {
    auto faces = std::make_shared<TopTools_IndexedMapOfShape>();
    auto edges = std::make_shared<TopTools_IndexedMapOfShape>();
    TopExp::MapShapes(body.shape, TopAbs_FACE, *faces);
    TopExp::MapShapes(body.shape, TopAbs_EDGE, *edges);
    body.face_map = std::move(faces);
    body.edge_map = std::move(edges);
    body.map_shape = body.shape;
  }
  return kind == TopAbs_FACE ? *body.face_map : *body.edge_map;
}

TopoDS_Shape Model::SubShape(const Object& sub) {
  Object& body = Get(sub.owner, ObjectKind::Body);
  const TopTools_IndexedMapOfShape& map =
      SubMap(body, sub.kind == ObjectKind::Face ? TopAbs_FACE : TopAbs_EDGE);
  if (sub.index < 1 || sub.index > map.Extent())
    throw host::HostError(text::Format("object %u no longer exists", sub.tag));
  return map(sub.index);
}

std::pair<host::Point3d, host::Matrix3x3> Model::CsysFrame(host::Tag csys) {
  if (csys == host::kNullTag) return {host::Point3d{}, host::Matrix3x3{}};
  const Object& o = Get(csys, ObjectKind::Csys);
  return {o.origin, o.matrix};
}

}  // namespace memory
