#include "blank/material_param_calculator.h"

#include <algorithm>
#include <stdexcept>

#include "host/text.h"

namespace blank {
namespace {

using T = BodyAttributeTitles;

// Restores the work coordinate system when the computation leaves, also by
// an exception.
class WcsGuard {
 public:
  explicit WcsGuard(host::Host& host) : host_(host), saved_(host.csys().AskWcs()) {}
  ~WcsGuard() {
    try {
      if (host_.objects().Exists(saved_)) host_.csys().SetWcs(saved_);
    } catch (const std::exception&) {
      // The saved system is gone; the host fell back to the absolute one.
    }
  }
  WcsGuard(const WcsGuard&) = delete;
  WcsGuard& operator=(const WcsGuard&) = delete;

 private:
  host::Host& host_;
  host::Tag saved_;
};

bool IsLeapYear(int y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }

// One millisecond later, carried up to the month.
void AddMillisecond(host::LocalTime& t) {
  static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (++t.milliseconds < 1000) return;
  t.milliseconds = 0;
  if (++t.second < 60) return;
  t.second = 0;
  if (++t.minute < 60) return;
  t.minute = 0;
  if (++t.hour < 24) return;
  t.hour = 0;
  const int month = std::clamp(t.month, 1, 12);
  const int days = kDays[month - 1] + (month == 2 && IsLeapYear(t.year) ? 1 : 0);
  if (++t.day <= days) return;
  t.day = 1;
  if (++t.month <= 12) return;
  t.month = 1;
  ++t.year;
}

}  // namespace

const std::vector<std::string>& BodyAttributeTitles::SavedTitles() {
  static const std::vector<std::string> titles = {
      kName,      kCode,           kMaterial,  kHeatTreatment, kSpec,     kWeight,
      kRemark,    kOrderingMethod, kChamfer,   kHeightDatum,   kLeadTime, kQuantity,
      kNetWeight, kProcess,        kAllowance, kDrawing};
  return titles;
}

const std::vector<std::string>& BodyAttributeTitles::AllTitles() {
  static const std::vector<std::string> titles = {
      kIdentity,     kCode,           kName,        kMaterial,    kHeatTreatment,
      kSpec,         kOrderingMethod, kHeightDatum, kModified,    kRemark,
      kChamfer,      kWeight,         kQuantity,    kAllowance,   kLeadTime,
      kNetWeight,    kProcess,        kDrawing,     kOrientation, kOptimized,
      kStandardPart, kTopFrame,       kLeftFrame,   kBottomFrame, kRoundPart};
  return titles;
}

MaterialParamCalculator::MaterialParamCalculator(host::Host& host, const BomOptions& options,
                                                 const config::MaterialBomSettings& settings)
    : host_(host),
      options_(options),
      settings_(settings),
      geometry_(host, options),
      holes_(host),
      orientation_(host, geometry_, holes_),
      weights_(host, settings) {}

std::string MaterialParamCalculator::ReadAttribute(host::Tag body, const char* title) {
  auto& attrs = host_.attributes();
  return attrs.Has(body, title) ? attrs.GetString(body, title) : std::string();
}

void MaterialParamCalculator::WriteAttribute(host::Tag body, const char* title,
                                             const std::string& value) {
  host_.attributes().SetString(body, title, value);
  host_.session().UpdateModel();
}

int MaterialParamCalculator::ColorIndex(int color) const {
  const auto& colors = settings_.material.colors;
  const auto it = std::find(colors.begin(), colors.end(), color);
  return it == colors.end() ? 0 : static_cast<int>(it - colors.begin());
}

bool MaterialParamCalculator::IsConfiguredColor(int color) const {
  const auto& colors = settings_.material.colors;
  return std::find(colors.begin(), colors.end(), color) != colors.end();
}

std::string MaterialParamCalculator::TimeStamp() {
  const host::LocalTime t = host_.platform().Now();
  return text::Format(ValueFormats::kDate, t.year, t.month, t.day, t.hour, t.minute, t.second);
}

std::string MaterialParamCalculator::NewIdentity() {
  if (!names_read_) {
    // The names of the part's systems, read once; the identities given out
    // afterwards are added as they are made.
    for (host::Tag t : host_.csys().PartCsys(host_.session().WorkPart()))
      taken_.insert(host_.objects().Name(t));
    names_read_ = true;
  }
  host::LocalTime t = host_.platform().Now();
  for (;;) {
    const std::string id = text::Format(ValueFormats::kIdentity, t.month, t.day, t.hour, t.minute,
                                        t.second, t.milliseconds);
    if (taken_.insert(id).second) return id;
    AddMillisecond(t);
  }
}

std::string MaterialParamCalculator::LayerName(int layer) const {
  const auto& m = settings_.material;
  const auto it = std::find(m.layer_numbers.begin(), m.layer_numbers.end(), layer);
  const std::size_t i = static_cast<std::size_t>(it - m.layer_numbers.begin());
  return it != m.layer_numbers.end() && i < m.layer_names.size() ? m.layer_names[i] : "";
}

std::string MaterialParamCalculator::LayerCode(int layer) const {
  const auto& m = settings_.material;
  const auto it = std::find(m.layer_numbers.begin(), m.layer_numbers.end(), layer);
  const std::size_t i = static_cast<std::size_t>(it - m.layer_numbers.begin());
  return it != m.layer_numbers.end() && i < m.layer_codes.size() ? m.layer_codes[i] : "";
}

void MaterialParamCalculator::ApplyColorRule(host::Tag body, MaterialParam& p) {
  Log("根据实体的颜色获取实体的材质，先在配置中查看是否有颜色，配置中有对应颜色的材质和热处理时");
  const int color = host_.objects().Color(body);
  if (IsConfiguredColor(color)) {
    const std::size_t i = static_cast<std::size_t>(ColorIndex(color));
    const auto& m = settings_.material;
    if (i >= m.material_names.size() || i >= m.heat_treatments.size())
      throw std::out_of_range("invalid vector<T> subscript");
    p.material = m.material_names[i];
    p.heat_treatment = m.heat_treatments[i];
    WriteAttribute(body, T::kMaterial, p.material);
    WriteAttribute(body, T::kHeatTreatment, p.heat_treatment);
    return;
  }
  Log("取配置中的材质和热处理，如果配置中不存在时，取实体属性中的材质和热处理");
  p.material = ReadAttribute(body, T::kMaterial);
  p.heat_treatment = ReadAttribute(body, T::kHeatTreatment);
}

void MaterialParamCalculator::ApplyStateRule(host::Tag body, MaterialParam& p) {
  if (host_.objects().Color(body) != settings_.common.changed_body_color) return;
  p.state = T::kNewState;
  if (p.modified.empty()) {
    p.modified = TimeStamp();
    WriteAttribute(body, T::kModified, p.modified);
  }
}

void MaterialParamCalculator::ApplyWeights(host::Tag body, MaterialParam& p,
                                           const BodyMeasures* measures) {
  if (!settings_.HasMachiningProcess()) return;
  // The body is measured once for both.
  const double net = measures && measures->volume ? weights_.NetWeightOfVolume(*measures->volume)
                                                  : weights_.NetWeight(body);
  p.net_weight = text::Format(ValueFormats::kNetWeight, net);
  p.process = weights_.ManufacturingProcess(body, net);
}

MaterialParam MaterialParamCalculator::GetBodyMaterialParam(host::Tag body) {
  return Compute(body, nullptr);
}

MaterialParam MaterialParamCalculator::Compute(host::Tag body, const BodyMeasures* measures) {
  MaterialParam p;
  // The third option has no effect: it is switched off before it is looked at.
  options_.third = false;
  if (options_.third) return p;

  auto& attrs = host_.attributes();
  const int layer = host_.objects().Layer(body);
  Log(text::Format("bodyLayer:%d", layer));
  std::string identity = ReadAttribute(body, T::kIdentity);
  p.color = host_.objects().Color(body);

  if (attrs.Has(body, T::kIdentity) && attrs.Has(body, T::kCode) && attrs.Has(body, T::kName) &&
      attrs.Has(body, T::kMaterial)) {
    // Processed before: everything comes from the body.
    p.name = ReadAttribute(body, T::kName);
    p.code = ReadAttribute(body, T::kCode);
    p.stored_spec = ReadAttribute(body, T::kSpec);
    p.spec = p.stored_spec;
    p.ordering_method = ReadAttribute(body, T::kOrderingMethod);
    p.height_datum = ReadAttribute(body, T::kHeightDatum);
    p.modified = ReadAttribute(body, T::kModified);
    p.remark = ReadAttribute(body, T::kRemark);
    p.chamfer = ReadAttribute(body, T::kChamfer);
    p.weight = ReadAttribute(body, T::kWeight);
    p.quantity = ReadAttribute(body, T::kQuantity);
    p.allowance = ReadAttribute(body, T::kAllowance);
    p.lead_time = ReadAttribute(body, T::kLeadTime);
    p.remark = ReadAttribute(body, T::kRemark);
    ApplyColorRule(body, p);
    ApplyStateRule(body, p);
    ApplyWeights(body, p, measures);
    p.body = body;
    return p;
  }

  Log("获取当前坐标系");
  BlankGeometry::TemporaryScope temporaries(geometry_);
  WcsGuard wcs(host_);

  Log("获取图层代号");
  p.name = attrs.Has(body, T::kName) ? attrs.GetString(body, T::kName) : LayerName(layer);
  p.code = LayerCode(layer) + "-";
  ApplyColorRule(body, p);

  // An empty identity would name no system of its own: it counts as missing.
  // A new identity names no system yet (NewIdentity makes sure of it), so the
  // part need not be searched for one.
  const bool fresh = identity.empty();
  if (fresh) identity = NewIdentity();
  WriteAttribute(body, T::kIdentity, identity);

  const std::vector<host::Tag> existing =
      fresh ? std::vector<host::Tag>() : orientation_.CsysNamed(identity);
  Log(text::Format("existingCsys:%d", static_cast<int>(existing.size())));
  if (!existing.empty()) {
    // The body keeps the blank system given to it before.
    host_.csys().SetWcs(existing.front());
  } else {
    const host::Matrix3x3 m = measures && measures->facts
                                  ? orientation_.ChooseOrientation(*measures->facts)
                                  : orientation_.ChooseOrientation(body);
    Log("创建实体坐标系");
    Log("删除之前的坐标系");
    orientation_.PlaceBlankCsys(body, m, identity, !fresh);
  }

  Log("获取实体在当前坐标系中的包围盒尺寸");
  const std::array<double, 3> e = geometry_.BlankExtents(body);
  p.length = e[0], p.width = e[1], p.thickness = e[2];
  p.spec = geometry_.SpecOf(body, e);
  WriteAttribute(body, T::kSpec, p.spec);

  Log("计算实体的质量(毛坯尺寸的重量)");
  const double weight = weights_.BlankWeight(e[0], e[1], e[2]);
  p.weight = text::Format(ValueFormats::kWeight, weight);
  p.quantity = "1";

  Log("根据实体的质量判断材料的订购方式");
  p.ordering_method = attrs.Has(body, T::kOrderingMethod)
                          ? attrs.GetString(body, T::kOrderingMethod)
                          : weights_.OrderingMethod(weight);

  Log("判断实体所在的图层是否包含在厚度等高的配置中");
  if (attrs.Has(body, T::kRemark)) {
    p.remark = attrs.GetString(body, T::kRemark);
  } else if (const auto remark = weights_.EqualHeightRemark(layer, e[2])) {
    p.remark = *remark;
  }

  Log("判断实体的状态是否为新增");
  Log("读取修改日期");
  p.modified = ReadAttribute(body, T::kModified);
  ApplyStateRule(body, p);

  p.chamfer = ReadAttribute(body, T::kChamfer);
  p.lead_time = ReadAttribute(body, T::kLeadTime);
  ApplyWeights(body, p, measures);

  p.body = body;
  Log("参数读取完成");
  return p;
}

std::vector<MaterialParam> MaterialParamCalculator::GetBodiesMaterialParam(
    const std::vector<host::Tag>& bodies) {
  std::vector<PreparedBodies::Need> needs;
  needs.reserve(bodies.size());
  for (host::Tag b : bodies) {
    PreparedBodies::Need need;
    try {
      need.facts = NeedsOrientation(b);
      need.volume = settings_.HasMachiningProcess() && host_.objects().Exists(b);
    } catch (const host::HostError&) {
      need = {};  // the computation meets the error in its turn
    }
    needs.push_back(need);
  }
  PreparedBodies prepared(host_, bodies, needs, threads_);
  std::vector<MaterialParam> out;
  out.reserve(bodies.size());
  for (std::size_t i = 0; i < bodies.size(); ++i)
    out.push_back(Compute(bodies[i], prepared.Get(i)));
  return out;
}

bool MaterialParamCalculator::NeedsOrientation(host::Tag body) {
  auto& attrs = host_.attributes();
  if (!host_.objects().Exists(body)) return false;
  if (attrs.Has(body, T::kIdentity) && attrs.Has(body, T::kCode) && attrs.Has(body, T::kName) &&
      attrs.Has(body, T::kMaterial))
    return false;
  const std::string identity = ReadAttribute(body, T::kIdentity);
  return identity.empty() || orientation_.CsysNamed(identity).empty();
}

MaterialParam* MaterialParamCalculator::GetBodyMtlParam(host::Tag body,
                                                        std::vector<MaterialParam>& records) {
  MaterialParam* found = nullptr;
  for (MaterialParam& r : records)
    if (r.body == body) found = &r;
  return found;
}

void MaterialParamCalculator::CalcBodyMinOrient(host::Tag body) {
  BlankGeometry::TemporaryScope temporaries(geometry_);
  WcsGuard wcs(host_);
  const host::Matrix3x3 m = orientation_.ChooseOrientation(body);
  std::string identity = ReadAttribute(body, T::kIdentity);
  const bool fresh = identity.empty();
  if (fresh) {
    // A body never listed has no identity yet; its blank system needs a name.
    identity = NewIdentity();
    WriteAttribute(body, T::kIdentity, identity);
  }
  orientation_.PlaceBlankCsys(body, m, identity, !fresh);

  const std::array<double, 3> e = geometry_.BlankExtents(body);
  const std::string spec = geometry_.SpecOf(body, e);
  WriteAttribute(body, T::kSpec, spec);
  const std::string weight =
      text::Format(ValueFormats::kWeight, weights_.BlankWeight(e[0], e[1], e[2]));
  if (records_) {
    if (MaterialParam* r = GetBodyMtlParam(body, *records_)) {
      r->spec = spec;
      r->length = e[0], r->width = e[1], r->thickness = e[2];
      r->weight = weight;
      if (refresh_) refresh_(body, *r);
    }
  }
}

std::optional<std::string> MaterialParamCalculator::ResetBodyOffset(host::Tag body) {
  const std::optional<std::string> spec = geometry_.ResetBodyOffset(body);
  if (!spec) return spec;
  host_.session().UpdateModel();
  if (records_) {
    if (MaterialParam* r = GetBodyMtlParam(body, *records_)) {
      r->spec = *spec;
      if (refresh_) refresh_(body, *r);
    }
  }
  return spec;
}

}  // namespace blank
