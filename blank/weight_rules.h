// Weights and the values derived from them: blank weight, net weight,
// ordering method, manufacturing process and the equal-height remark.
//
// Configuration used (the material BOM settings):
// - blank weight: the material table's "密度(g/cm)" (MaterialBomConfig::density);
// - net weight: the density read beside the machining-process table
//   (MaterialBomSettings::blank_density), present only with that table;
// - ordering: the limit "订购重量" (MaterialBomConfig::ordering_weight); a blank
//   not heavier than it gets the first "订购方式" cell, a heavier one the first
//   "采购方式" cell;
// - remark: the layers of "厚度等高图层";
// - process: the machining-process table's "重量限制", "实体颜色" and layer
//   columns.
#pragma once

#include <optional>
#include <string>

#include "config/material_bom_config.h"
#include "host/host.h"

namespace blank {

class WeightRules {
 public:
  WeightRules(host::Host& host, const config::MaterialBomSettings& settings)
      : host_(host), settings_(settings) {}

  // L x W x T (mm) x density (g/cm3) / 1000000, in kg.
  double BlankWeight(double length, double width, double thickness) const;
  // The body's volume (mm3) x the process density / 1000000, in kg.
  double NetWeight(host::Tag body);
  // The same for a volume (mm3) measured before.
  double NetWeightOfVolume(double volume) const;
  // The ordering method for a blank of `weight` kg (equal to the limit counts
  // as not heavier).
  const std::string& OrderingMethod(double weight) const;
  const std::string& LightMethod() const;
  const std::string& HeavyMethod() const;
  // "厚度(%.1f)等高" of `thickness` when `layer` is an equal-height layer.
  std::optional<std::string> EqualHeightRemark(int layer, double thickness) const;
  // The process route of the body from the machining-process table: empty
  // without the table, when the limit is greater than the net weight, or when
  // the body's colour or its row in the layer's column is missing.
  std::string ManufacturingProcess(host::Tag body);
  // The same with the body's net weight already measured.
  std::string ManufacturingProcess(host::Tag body, double net_weight);
  // The body carries "材料订购方式" equal to the method for blanks not heavier
  // than the limit.
  bool IsNoBuyBody(host::Tag body);

 private:
  host::Host& host_;
  const config::MaterialBomSettings& settings_;
};

}  // namespace blank
