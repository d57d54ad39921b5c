#include "blank/weight_rules.h"

#include <algorithm>

#include "blank/material_param.h"
#include "host/text.h"

namespace blank {

double WeightRules::BlankWeight(double length, double width, double thickness) const {
  return length * width * thickness * settings_.material.density / 1000000.0;
}

double WeightRules::NetWeight(host::Tag body) {
  return NetWeightOfVolume(host_.bodies().Volume(body));
}

double WeightRules::NetWeightOfVolume(double volume) const {
  return volume * settings_.blank_density / 1000000.0;
}

const std::string& WeightRules::LightMethod() const {
  return settings_.material.first_ordering_method;
}

const std::string& WeightRules::HeavyMethod() const {
  return settings_.material.first_purchase_method;
}

const std::string& WeightRules::OrderingMethod(double weight) const {
  return weight > settings_.material.ordering_weight ? HeavyMethod() : LightMethod();
}

std::optional<std::string> WeightRules::EqualHeightRemark(int layer, double thickness) const {
  const auto& layers = settings_.material.equal_height_layers;
  if (std::find(layers.begin(), layers.end(), layer) == layers.end()) return std::nullopt;
  return text::Format(ValueFormats::kRemark, thickness);
}

std::string WeightRules::ManufacturingProcess(host::Tag body) {
  if (!settings_.machining_process) return {};
  return ManufacturingProcess(body, NetWeight(body));
}

std::string WeightRules::ManufacturingProcess(host::Tag body, double net) {
  if (!settings_.machining_process) return {};
  const config::MachiningProcess& table = *settings_.machining_process;
  if (table.weight_limit > net) return {};
  const std::string layer = text::Format("%d", host_.objects().Layer(body));
  const std::string color = text::Format("%d", host_.objects().Color(body));
  const std::vector<std::string> colors = table.Column("实体颜色");
  const auto it = std::find(colors.begin(), colors.end(), color);
  if (it == colors.end()) return {};
  const std::size_t row = static_cast<std::size_t>(it - colors.begin());
  const std::vector<std::string> processes = table.Column(layer);
  // A row one past the layer column's end passes the bound test but has no
  // value: empty, like any row beyond it.
  return row < processes.size() ? processes[row] : std::string();
}

bool WeightRules::IsNoBuyBody(host::Tag body) {
  auto& attrs = host_.attributes();
  if (!attrs.Has(body, BodyAttributeTitles::kOrderingMethod)) return false;
  return attrs.GetString(body, BodyAttributeTitles::kOrderingMethod) == LightMethod();
}

}  // namespace blank
