#include "revision/carry_over.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <map>
#include <optional>

#include "blank/blank_geometry.h"
#include "blank/body_info.h"
#include "blank/hole_analysis.h"
#include "blank/material_param.h"
#include "blank/orientation.h"
#include "blank/weight_rules.h"
#include "config/csv.h"
#include "host/math.h"
#include "host/text.h"

namespace revision {
namespace {

using T = blank::BodyAttributeTitles;

constexpr const char* kDrawnMark = "转图标识";
constexpr const char* kPartName = "名称";  // a standard part's name
// What a copied body carries of its original and must not keep as a new
// body: it would be taken for a processed body, share the original's blank
// system, or show its sizes and dates.
constexpr const char* kProcessedTitles[] = {
    T::kIdentity, T::kCode,    T::kSpec,        T::kWeight,   T::kQuantity,    T::kNetWeight,
    T::kProcess,  T::kDrawing, T::kOrientation, T::kModified, T::kPreviousSpec};

std::string Text(host::Host& host, host::Tag object, const char* title) {
  return host.attributes().Has(object, title) ? host.attributes().GetString(object, title)
                                              : std::string();
}

// The numbers of a size "LxWxT" or "ΦDxHh", or nothing.
std::optional<std::vector<double>> SizeNumbers(const std::string& spec) {
  std::vector<double> out;
  for (std::string piece : config::SplitString(spec, "x")) {
    if (piece.rfind("Φ", 0) == 0) piece = piece.substr(std::string("Φ").size());
    if (!piece.empty() && piece[0] == 'H') piece = piece.substr(1);
    char* end = nullptr;
    const double v = std::strtod(piece.c_str(), &end);
    if (piece.empty() || *end != '\0') return std::nullopt;
    out.push_back(v);
  }
  if (out.size() != 2 && out.size() != 3) return std::nullopt;
  return out;
}

// The body's blank orientation in a part: its named blank system when there
// is one, else "材料方位" (X then Y); nothing when it has neither.
class Orientations {
 public:
  explicit Orientations(host::Host& host) : host_(host) {
    for (host::Tag c : host.csys().PartCsys(host.session().WorkPart()))
      named_.emplace(host.objects().Name(c), c);
  }
  std::optional<host::Matrix3x3> Of(host::Tag body) {
    const std::string identity = Text(host_, body, T::kIdentity);
    if (!identity.empty()) {
      const auto it = named_.find(identity);
      if (it != named_.end()) return host_.csys().AskCsysInfo(it->second).matrix;
    }
    const std::vector<std::string> v = config::SplitString(Text(host_, body, T::kOrientation), ",");
    if (v.size() < 6) return std::nullopt;
    const host::Vector3d x{std::atof(v[0].c_str()), std::atof(v[1].c_str()),
                           std::atof(v[2].c_str())};
    const host::Vector3d y{std::atof(v[3].c_str()), std::atof(v[4].c_str()),
                           std::atof(v[5].c_str())};
    host::Matrix3x3 m;
    if (host::Mtx3Initialize(x, y, m) != 0) return std::nullopt;
    return m;
  }
  // The systems named `name`, taken out of the index.
  std::vector<host::Tag> Take(const std::string& name) {
    std::vector<host::Tag> out;
    const auto [from, to] = named_.equal_range(name);
    for (auto it = from; it != to; ++it) out.push_back(it->second);
    named_.erase(from, to);
    return out;
  }

 private:
  host::Host& host_;
  std::multimap<std::string, host::Tag> named_;
};

host::Vector3d Turned(const host::Matrix3x3& r, const host::Vector3d& v) {
  return {r.Xx * v.X + r.Xy * v.Y + r.Xz * v.Z, r.Yx * v.X + r.Yy * v.Y + r.Yz * v.Z,
          r.Zx * v.X + r.Zy * v.Y + r.Zz * v.Z};
}

class CarryOver {
 public:
  CarryOver(host::Host& previous, host::Host& current, const CarryOverOptions& options)
      : previous_(previous),
        current_(current),
        options_(options),
        bom_options_{false, false, false, options.mode},
        geometry_(current, bom_options_),
        holes_(current),
        orientation_(current, geometry_, holes_),
        old_orientations_(previous),
        new_systems_(current) {}

  CarryOverResult Run(const MatchResult& match) {
    const host::Tag saved_wcs = current_.csys().AskWcs();
    CarryOverResult result;
    {
      blank::BlankGeometry::TemporaryScope temporaries(geometry_);
      for (const BodyMatch& m : match.bodies) result.bodies.push_back(Apply(m));
      try {
        if (current_.objects().Exists(saved_wcs)) current_.csys().SetWcs(saved_wcs);
      } catch (const std::exception&) {
      }
    }
    CarryHeader();
    current_.session().UpdateModel();
    return result;
  }

 private:
  RevisedBody Apply(const BodyMatch& m) {
    RevisedBody r;
    r.status = m.status;
    r.previous = m.previous;
    r.current = m.current;
    r.twin = m.twin;
    if (m.previous != host::kNullTag) {
      r.old_spec = Text(previous_, m.previous, T::kSpec);
      r.old_weight = Text(previous_, m.previous, T::kWeight);
    }
    switch (m.status) {
      case Status::kUnchanged:
      case Status::kMoved:
      case Status::kChanged:
        CarryAttributes(m);
        PlaceSystem(m, r);
        break;
      case Status::kNew:
        MarkNew(m.current);
        if (options_.measure_new) MeasureNew(r);
        break;
      case Status::kRemoved:
        break;
    }
    host::Host& host = m.current != host::kNullTag ? current_ : previous_;
    const host::Tag body = m.current != host::kNullTag ? m.current : m.previous;
    r.name = Text(host, body, T::kName);
    if (r.name.empty()) r.name = Text(host, body, kPartName);
    if (r.name.empty()) r.name = host.objects().Name(body);
    r.code = Text(host, body, T::kCode);
    r.identity = Text(host, body, T::kIdentity);
    r.layer = host.objects().Layer(body);
    if (m.status == Status::kUnchanged || m.status == Status::kMoved) {
      r.new_spec = r.old_spec;
      r.new_weight = r.old_weight;
    }
    return r;
  }

  // Every attribute of the previous body, on the body and on its faces (a
  // drawing mark may sit on a face), onto the current body.
  void CarryAttributes(const BodyMatch& m) {
    host::Attributes& attrs = current_.attributes();
    for (const auto& [title, value] : previous_.attributes().List(m.previous))
      attrs.SetString(m.current, title, value);
    std::string drawn;
    if (!previous_.attributes().Has(m.previous, kDrawnMark) &&
        blank::BodyInfo(previous_, m.previous).GetBodyFacetAttr(m.previous, kDrawnMark, drawn))
      attrs.SetString(m.current, kDrawnMark, drawn);
    if (attrs.Has(m.current, T::kPreviousSpec, host::kAnyAttribute))
      attrs.Delete(m.current, host::kAnyAttribute, T::kPreviousSpec);
  }

  // The blank system made again on the current body, turned with it. A
  // changed body is measured again: in the carried orientation, or in the
  // one the BOM would choose when it had none.
  void PlaceSystem(const BodyMatch& m, RevisedBody& r) {
    std::optional<host::Matrix3x3> o = old_orientations_.Of(m.previous);
    const bool changed = m.status == Status::kChanged;
    if (!o && !changed) return;  // never measured: the BOM measures it
    if (!o) o = orientation_.ChooseOrientation(m.current);
    if (m.status == Status::kMoved) {
      *o = host::Matrix3x3::FromRows(Turned(m.rotation, o->XAxis()), Turned(m.rotation, o->YAxis()),
                                     Turned(m.rotation, o->ZAxis()));
    }
    const std::string identity = Text(current_, m.current, T::kIdentity);
    if (!identity.empty()) {
      for (host::Tag stale : new_systems_.Take(identity)) current_.objects().Delete(stale);
      orientation_.PlaceBlankCsys(m.current, *o, identity, false);
    } else {
      current_.csys().SetWcs(geometry_.CrateTempCsys(*o));
    }
    if (changed) MeasureChanged(m.current, r);
  }

  // The size and weight of a changed body in the work coordinate system (its
  // blank system), its allowance applied; the previous size stays beside it.
  void MeasureChanged(host::Tag body, RevisedBody& r) {
    const std::array<double, 3> e = geometry_.BlankExtents(body);
    r.new_spec = geometry_.SpecOf(body, e);
    const std::string allowance = Text(current_, body, T::kAllowance);
    if (!allowance.empty())
      if (const std::optional<std::string> with = blank::ApplyAllowance(r.new_spec, allowance))
        r.new_spec = *with;
    host::Attributes& attrs = current_.attributes();
    attrs.SetString(body, T::kSpec, r.new_spec);
    attrs.SetString(body, T::kPreviousSpec, r.old_spec);
    r.new_weight = r.old_weight;
    if (options_.settings) {
      const blank::WeightRules weights(current_, *options_.settings);
      r.new_weight =
          text::Format(blank::ValueFormats::kWeight, weights.BlankWeight(e[0], e[1], e[2]));
      attrs.SetString(body, T::kWeight, r.new_weight);
    }
  }

  void MarkNew(host::Tag body) {
    host::Attributes& attrs = current_.attributes();
    for (const char* title : kProcessedTitles)
      if (attrs.Has(body, title, host::kAnyAttribute))
        attrs.Delete(body, host::kAnyAttribute, title);
    if (!options_.keep_colours) {
      // The colour gave the material: it stays on the body as attributes.
      KeepColourMaterial(body);
      current_.objects().SetColor(body, options_.changed_colour);
    }
    if (!attrs.Has(body, T::kStandardPart, host::kAnyAttribute) && !attrs.Has(body, kDrawnMark))
      attrs.SetString(body, kDrawnMark, "Y");
  }

  // The material and heat treatment the colour table gives the body's
  // colour, as attributes, unless the body carries its own.
  void KeepColourMaterial(host::Tag body) {
    if (!options_.settings) return;
    const config::MaterialBomConfig& m = options_.settings->material;
    const int colour = current_.objects().Color(body);
    const auto it = std::find(m.colors.begin(), m.colors.end(), colour);
    const std::size_t i = static_cast<std::size_t>(it - m.colors.begin());
    if (it == m.colors.end() || i >= m.material_names.size() || i >= m.heat_treatments.size())
      return;
    host::Attributes& attrs = current_.attributes();
    if (!attrs.Has(body, T::kMaterial)) attrs.SetString(body, T::kMaterial, m.material_names[i]);
    if (!attrs.Has(body, T::kHeatTreatment))
      attrs.SetString(body, T::kHeatTreatment, m.heat_treatments[i]);
  }

  // The blank the BOM will find for a new body, measured in a temporary
  // system.
  void MeasureNew(RevisedBody& r) {
    const host::Matrix3x3 m = orientation_.ChooseOrientation(r.current);
    current_.csys().SetWcs(geometry_.CrateTempCsys(m));
    const std::array<double, 3> e = geometry_.BlankExtents(r.current);
    r.new_spec = geometry_.SpecOf(r.current, e);
    if (options_.settings) {
      const blank::WeightRules weights(current_, *options_.settings);
      r.new_weight =
          text::Format(blank::ValueFormats::kWeight, weights.BlankWeight(e[0], e[1], e[2]));
    }
  }

  // The header of the previous revision, where the new model has none.
  void CarryHeader() {
    const host::Tag from = previous_.session().WorkPart(), to = current_.session().WorkPart();
    host::Attributes& attrs = current_.attributes();
    for (const auto& [title, value] : previous_.attributes().List(from)) {
      if (value.empty() || (attrs.Has(to, title) && !attrs.GetString(to, title).empty())) continue;
      attrs.SetString(to, title, value);
    }
  }

  host::Host& previous_;
  host::Host& current_;
  CarryOverOptions options_;
  blank::BomOptions bom_options_;
  blank::BlankGeometry geometry_;
  blank::HoleAnalysis holes_;
  blank::Orientation orientation_;
  Orientations old_orientations_;
  Orientations new_systems_;
};

}  // namespace

bool RevisedBody::ToBuy() const {
  if (status == Status::kNew) return true;
  return status == Status::kChanged && SizeGrew(old_spec, new_spec);
}

int CarryOverResult::Count(Status status) const {
  int n = 0;
  for (const RevisedBody& b : bodies) n += b.status == status;
  return n;
}

const RevisedBody* CarryOverResult::OfIdentity(const std::string& identity) const {
  if (identity.empty()) return nullptr;
  for (const RevisedBody& b : bodies)
    if (b.current != host::kNullTag && b.identity == identity) return &b;
  return nullptr;
}

const RevisedBody* CarryOverResult::OfCurrent(host::Tag body) const {
  for (const RevisedBody& b : bodies)
    if (b.current == body && body != host::kNullTag) return &b;
  return nullptr;
}

bool SizeGrew(const std::string& earlier, const std::string& later) {
  const std::optional<std::vector<double>> a = SizeNumbers(earlier), b = SizeNumbers(later);
  if (!a || !b || a->size() != b->size()) return true;
  for (std::size_t i = 0; i < a->size(); ++i)
    if ((*b)[i] > (*a)[i] + 1e-9) return true;
  return false;
}

bool HasBomAttributes(host::Host& previous) {
  host::Attributes& attrs = previous.attributes();
  for (host::Tag b : SolidBodies(previous)) {
    for (const char* title : {T::kCode, T::kIdentity, T::kStandardPart})
      if (attrs.Has(b, title, host::kAnyAttribute)) return true;
  }
  return false;
}

CarryOverResult ApplyCarryOver(host::Host& previous, host::Host& current, const MatchResult& match,
                               const CarryOverOptions& options) {
  return CarryOver(previous, current, options).Run(match);
}

}  // namespace revision
