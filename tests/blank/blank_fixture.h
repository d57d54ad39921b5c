// Shared by the blank tests: a die-shop configuration, a few real solids and
// helpers to read back what the computation left in the part.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <string>
#include <vector>

#include "config/material_bom_config.h"
#include "host/memory/memory_host.h"

namespace blank_test {

using host::Matrix3x3;
using host::Point3d;
using host::Tag;
using host::Vector3d;
using memory::MemoryHost;
using memory::Shape;

constexpr double Deg(double d) { return d * std::numbers::pi / 180.0; }

// Layers 10 (upper die shoe, code "UB") and 20 (lower plate, code "LP", an
// equal-height layer); colours 6, 11 and 36 map to three steels.
inline config::MaterialBomSettings DieShopSettings() {
  config::MaterialBomSettings s;
  s.material.layer_numbers = {10, 20};
  s.material.layer_names = {"上模座", "下模板"};
  s.material.layer_codes = {"UB", "LP"};
  s.material.colors = {6, 11, 36};
  s.material.material_names = {"45#", "Cr12MoV", "SKD11"};
  s.material.heat_treatments = {"调质", "HRC58-60", "HRC60-62"};
  s.material.density = 8.0;
  s.material.ordering_weight = 0.8;
  s.material.first_ordering_method = "库存料";
  s.material.first_purchase_method = "毛料订购";
  s.material.equal_height_layers = {20};
  s.common.changed_body_color = 186;
  return s;
}

inline Vector3d Rot(const Vector3d& v, double a) {  // about world Z
  return {v.X * std::cos(a) - v.Y * std::sin(a), v.X * std::sin(a) + v.Y * std::cos(a), v.Z};
}

// A vector or a point against the expected coordinates.
template <class V>
void ExpectVec(const V& a, const Vector3d& b, double tol = 1e-9) {
  EXPECT_NEAR(a.X, b.X, tol);
  EXPECT_NEAR(a.Y, b.Y, tol);
  EXPECT_NEAR(a.Z, b.Z, tol);
}

// The part's permanent coordinate systems named `name`.
inline std::vector<Tag> CsysNamed(MemoryHost& h, const std::string& name) {
  std::vector<Tag> out;
  for (Tag t : h.csys().PartCsys(h.session().WorkPart()))
    if (h.objects().Name(t) == name) out.push_back(t);
  return out;
}

// Counts the objects made since `Probe()` that are still alive. The memory
// host hands out increasing tags, so they lie between two probes.
inline Tag Probe(MemoryHost& h) {
  const Tag t = h.csys().CreateMatrix({});
  h.objects().Delete(t);
  return t;
}
inline int LiveObjectsSince(MemoryHost& h, Tag probe) {
  const Tag end = Probe(h);
  int n = 0;
  for (Tag t = probe + 1; t < end; ++t) n += h.objects().Exists(t) ? 1 : 0;
  return n;
}

inline std::string Attr(MemoryHost& h, Tag body, const std::string& title) {
  return h.attributes().Has(body, title) ? h.attributes().GetString(body, title) : "<none>";
}

}  // namespace blank_test
