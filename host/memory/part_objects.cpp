// Attributes, layers, coordinate systems and object properties of the work part.
#include <algorithm>
#include <cmath>

#include "host/memory/families.h"
#include "host/text.h"

namespace memory {
namespace {

bool Displayable(const Object& o) {
  return o.kind == ObjectKind::Body || (o.kind == ObjectKind::Csys && !o.temporary);
}

void CheckLayer(int layer) {
  if (layer < host::kFirstLayer || layer > host::kLastLayer)
    throw host::HostError(text::Format("layer %d is not between 1 and 256", layer));
}

}  // namespace

// --- Attributes ----------------------------------------------------------------

bool AttributesImpl::Has(host::Tag object, const std::string& title, int type) {
  if (type != host::kStringAttribute && type != host::kAnyAttribute) return false;
  const auto& attrs = m_.Get(object).attributes;
  return std::any_of(attrs.begin(), attrs.end(), [&](const auto& a) { return a.first == title; });
}

std::string AttributesImpl::GetString(host::Tag object, const std::string& title) {
  for (const auto& a : m_.Get(object).attributes)
    if (a.first == title) return a.second;
  throw host::HostError("the object has no attribute \"" + title + "\"");
}

host::AttributeValue AttributesImpl::Read(host::Tag object, const std::string& title) {
  for (const auto& a : m_.Get(object).attributes)
    if (a.first == title) return {host::kStringAttribute, a.second};
  return {};
}

void AttributesImpl::SetString(host::Tag object, const std::string& title,
                               const std::string& value) {
  if (title.empty()) throw host::HostError("an attribute needs a title");
  auto& attrs = m_.Get(object).attributes;
  for (auto& a : attrs)
    if (a.first == title) {
      a.second = value;
      return;
    }
  attrs.emplace_back(title, value);
}

void AttributesImpl::Delete(host::Tag object, int type, const std::string& title) {
  if (type != host::kStringAttribute && type != host::kAnyAttribute) return;
  auto& attrs = m_.Get(object).attributes;
  std::erase_if(attrs, [&](const auto& a) { return a.first == title; });
}

void AttributesImpl::DeleteAll(host::Tag object, int type) {
  if (type != host::kStringAttribute && type != host::kAnyAttribute) return;
  m_.Get(object).attributes.clear();
}

std::vector<std::pair<std::string, std::string>> AttributesImpl::List(host::Tag object) {
  return m_.Get(object).attributes;
}

// --- Layers --------------------------------------------------------------------

int LayersImpl::WorkLayer() { return m_.work_layer; }

void LayersImpl::SetWorkLayer(int layer) {
  CheckLayer(layer);
  if (layer == m_.work_layer) return;
  m_.layer_status[m_.work_layer] = host::kStatusSelectable;
  m_.work_layer = layer;
  m_.layer_status[layer] = host::kStatusWork;
}

host::LayerState LayersImpl::GetState(int layer) {
  CheckLayer(layer);
  return static_cast<host::LayerState>(m_.layer_status[layer] - 1);
}

void LayersImpl::SetState(int layer, host::LayerState state) {
  CheckLayer(layer);
  if (state == host::LayerState::WorkLayer) return SetWorkLayer(layer);
  if (layer == m_.work_layer)
    throw host::HostError(
        text::Format("layer %d is the work layer; its state cannot change", layer));
  m_.layer_status[layer] = static_cast<int>(state) + 1;
}

int LayersImpl::AskStatus(int layer) {
  CheckLayer(layer);
  return m_.layer_status[layer];
}

int LayersImpl::SetStatus(int layer, int status) {
  if (layer < host::kFirstLayer || layer > host::kLastLayer) return 1;
  if (status < host::kStatusWork || status > host::kStatusHidden) return 1;
  if (status == host::kStatusWork) {
    SetWorkLayer(layer);
    return 0;
  }
  if (layer == m_.work_layer) return 1;
  m_.layer_status[layer] = status;
  return 0;
}

int LayersImpl::SetAllButWork(int status) {
  if (status < host::kStatusSelectable || status > host::kStatusHidden) return 1;
  for (int l = host::kFirstLayer; l <= host::kLastLayer; ++l)
    if (l != m_.work_layer) m_.layer_status[l] = status;
  return 0;
}

std::vector<host::Tag> LayersImpl::ObjectsOnLayer(int layer) {
  CheckLayer(layer);
  std::vector<host::Tag> out;
  for (const auto& [tag, o] : m_.objects)
    if (Displayable(o) && o.layer == layer) out.push_back(tag);
  return out;
}

// --- Coordinate systems --------------------------------------------------------

host::Tag CsysImpl::CreateMatrix(const host::Matrix3x3& matrix) {
  const host::Tag tag = m_.NewObject(ObjectKind::Matrix);
  m_.Get(tag).matrix = matrix;
  return tag;
}

host::Tag CsysImpl::MakeCsys(const host::Point3d& origin, host::Tag matrix, bool temporary) {
  const host::Matrix3x3 mtx = m_.Get(matrix, ObjectKind::Matrix).matrix;
  const host::Tag tag = m_.NewObject(ObjectKind::Csys);
  Object& o = m_.Get(tag);
  o.origin = origin;
  o.matrix = mtx;
  o.temporary = temporary;
  return tag;
}

host::Tag CsysImpl::CreateTempCsys(const host::Point3d& origin, host::Tag matrix) {
  return MakeCsys(origin, matrix, true);
}

host::Tag CsysImpl::CreateCsys(const host::Point3d& origin, host::Tag matrix) {
  return MakeCsys(origin, matrix, false);
}

host::CsysInfo CsysImpl::AskCsysInfo(host::Tag csys) {
  const Object& o = m_.Get(csys, ObjectKind::Csys);
  return {o.origin, o.matrix};
}

host::Tag CsysImpl::AskWcs() {
  if (!m_.Find(m_.wcs)) m_.wcs = m_.absolute_csys;
  return m_.wcs;
}

void CsysImpl::SetWcs(host::Tag csys) {
  m_.Get(csys, ObjectKind::Csys);
  m_.wcs = csys;
}

host::Point3d CsysImpl::MapPoint(const host::Point3d& point, int from, int to) {
  auto valid = [](int c) { return c == host::kRootCoords || c == host::kWorkCoords; };
  if (!valid(from) || !valid(to)) throw host::HostError("unknown coordinate code");
  if (from == to) return point;
  const auto [origin, matrix] = m_.CsysFrame(AskWcs());
  return from == host::kRootCoords ? host::ToLocal(point, origin, matrix)
                                   : host::ToAbsolute(point, origin, matrix);
}

std::vector<host::Tag> CsysImpl::PartCsys(host::Tag part) {
  m_.Get(part, ObjectKind::Part);
  std::vector<host::Tag> out;
  for (host::Tag tag : m_.csys_tags)
    if (!m_.Get(tag).temporary) out.push_back(tag);
  return out;
}

host::Matrix3x3 CsysImpl::XformOrientation(const host::Vector3d& x, const host::Vector3d& z) {
  const host::Vector3d uz = host::Unit(z);
  const double d = host::Dot(x, uz);
  const host::Vector3d px{x.X - d * uz.X, x.Y - d * uz.Y, x.Z - d * uz.Z};
  if (host::Length(uz) == 0.0 || host::Length(px) < 1e-12)
    throw host::HostError("the X and Z directions do not define a coordinate system");
  const host::Vector3d ux = host::Unit(px);
  return host::Matrix3x3::FromRows(ux, host::Cross(uz, ux), uz);
}

// --- Objects -------------------------------------------------------------------

bool ObjectsImpl::Exists(host::Tag object) { return m_.Find(object) != nullptr; }

host::TypeAndSubtype ObjectsImpl::AskTypeAndSubtype(host::Tag object) {
  switch (m_.Get(object).kind) {
    case ObjectKind::Part:
      return {host::kPartType, 0};
    case ObjectKind::Body:
      return {host::kSolidType, host::kSolidBodySubtype};
    case ObjectKind::Face:
      return {host::kSolidType, host::kSolidFaceSubtype};
    case ObjectKind::Edge:
      return {host::kSolidType, host::kSolidEdgeSubtype};
    case ObjectKind::Csys:
      return {host::kCoordinateSystemType, 0};
    case ObjectKind::Matrix:
      return {host::kMatrixType, 0};
    case ObjectKind::Feature:
      return {host::kFeatureType, 0};
  }
  return {};
}

int ObjectsImpl::Layer(host::Tag object) { return m_.Get(object).layer; }

void ObjectsImpl::SetLayer(host::Tag object, int layer) {
  CheckLayer(layer);
  m_.Get(object).layer = layer;
}

int ObjectsImpl::Color(host::Tag object) { return m_.Get(object).color; }

void ObjectsImpl::SetColor(host::Tag object, int color) {
  if (color < 1 || color > 216)
    throw host::HostError(text::Format("colour %d is not 1 to 216", color));
  m_.Get(object).color = color;
}

bool ObjectsImpl::IsBlanked(host::Tag object) { return m_.Get(object).blanked; }
void ObjectsImpl::SetBlanked(host::Tag object, bool blanked) { m_.Get(object).blanked = blanked; }
bool ObjectsImpl::IsHighlighted(host::Tag object) { return m_.Get(object).highlighted; }
void ObjectsImpl::SetHighlighted(host::Tag object, bool on) { m_.Get(object).highlighted = on; }
void ObjectsImpl::Redisplay(host::Tag object) { m_.Get(object); }
std::string ObjectsImpl::Name(host::Tag object) { return m_.Get(object).name; }
void ObjectsImpl::SetName(host::Tag object, const std::string& name) { m_.Get(object).name = name; }

int ObjectsImpl::Delete(host::Tag object) {
  Object* o = m_.Find(object) ? &m_.Get(object) : nullptr;
  if (!o || o->kind == ObjectKind::Part || object == m_.absolute_csys) return 1;
  if (o->kind == ObjectKind::Body) {
    m_.DropSubTags(*o);
    // A feature goes with its body.
    std::erase_if(m_.objects, [&](const auto& kv) {
      return kv.second.kind == ObjectKind::Feature && kv.second.feature_body == object;
    });
  }
  if (o->kind == ObjectKind::Feature && o->feature_body != host::kNullTag) {
    if (Object* body = m_.Find(o->feature_body) ? &m_.Get(o->feature_body) : nullptr)
      m_.DropSubTags(*body);
    m_.Erase(o->feature_body);
  }
  if (object == m_.wcs) m_.wcs = m_.absolute_csys;
  m_.Erase(object);
  return 0;
}

}  // namespace memory
