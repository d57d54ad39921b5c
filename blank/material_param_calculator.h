// The material parameter computation: for one body, its MaterialParam record,
// read back from the body's attributes when the body was processed before
// (short path) or computed from its geometry and the configuration and
// written back (full path). The material BOM dialog keeps one calculator and
// its members of the same names delegate to it.
#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "blank/blank_geometry.h"
#include "blank/hole_analysis.h"
#include "blank/material_param.h"
#include "blank/orientation.h"
#include "blank/prepared_bodies.h"
#include "blank/weight_rules.h"
#include "config/material_bom_config.h"
#include "host/host.h"

namespace blank {

class MaterialParamCalculator {
 public:
  // Called when a body's record changed outside the tree (new orientation,
  // allowance applied) with the updated record: the dialog refreshes the
  // body's tree rows there.
  using RowRefresh = std::function<void(host::Tag body, const MaterialParam& record)>;

  // `settings` must outlive the calculator.
  MaterialParamCalculator(host::Host& host, const BomOptions& options,
                          const config::MaterialBomSettings& settings);
  MaterialParamCalculator(const MaterialParamCalculator&) = delete;
  MaterialParamCalculator& operator=(const MaterialParamCalculator&) = delete;

  void SetRowRefresh(RowRefresh refresh) { refresh_ = std::move(refresh); }
  // The dialog's records, updated by CalcBodyMinOrient and ResetBodyOffset.
  void SetRecords(std::vector<MaterialParam>* records) { records_ = records; }

  // The record of one body (see the step order in the source). A colour
  // whose index is beyond the configured material or heat-treatment list
  // throws std::out_of_range "invalid vector<T> subscript".
  MaterialParam GetBodyMaterialParam(host::Tag body);
  // One record per body, in order. The bodies' geometry is measured ahead on
  // the threads SetThreads allows; the records are the same for any number.
  std::vector<MaterialParam> GetBodiesMaterialParam(const std::vector<host::Tag>& bodies);
  // Threads that measure the bodies' geometry: 0 (the default) one per core,
  // 1 the calling thread only.
  void SetThreads(int threads) { threads_ = threads; }
  // The last record of `body` in `records`, or null.
  static MaterialParam* GetBodyMtlParam(host::Tag body, std::vector<MaterialParam>& records);

  // Computes the body's orientation, records it, leaves the named blank
  // system, rewrites "材料规格" and refreshes the body's record (spec, extents,
  // weight) and rows. The work coordinate system is restored.
  void CalcBodyMinOrient(host::Tag body);
  // Applies the body's allowance to its stored spec and refreshes its record
  // and rows; the new spec, or nothing when nothing was applied.
  std::optional<std::string> ResetBodyOffset(host::Tag body);
  bool IsNoBuyBody(host::Tag body) { return weights_.IsNoBuyBody(body); }

  // Index of `color` in the configured colour list; 0 when it is not listed
  // (test membership with IsConfiguredColor first).
  int ColorIndex(int color) const;
  bool IsConfiguredColor(int color) const;
  // The current local time as "%04d-%02d-%02d %02d:%02d:%02d".
  std::string TimeStamp();
  // A new body identity "%02d%02d%02d%02d%02d%04d" from the local time
  // (month, day, hour, minute, second, milliseconds). When that stamp was
  // already given out by this calculator or names a coordinate system of the
  // part (as they were when the first identity was made), the next free
  // millisecond is taken, so that two bodies never share a blank system.
  std::string NewIdentity();

  BlankGeometry& geometry() { return geometry_; }
  HoleAnalysis& holes() { return holes_; }
  Orientation& orientation() { return orientation_; }
  WeightRules& weights() { return weights_; }
  const BomOptions& options() const { return options_; }

 private:
  void Log(const std::string&) {}  // step names: markers only
  std::string ReadAttribute(host::Tag body, const char* title);
  void WriteAttribute(host::Tag body, const char* title, const std::string& value);
  void ApplyColorRule(host::Tag body, MaterialParam& p);
  void ApplyStateRule(host::Tag body, MaterialParam& p);
  // `measures`: the body's geometry measured ahead, or null.
  MaterialParam Compute(host::Tag body, const BodyMeasures* measures);
  void ApplyWeights(host::Tag body, MaterialParam& p, const BodyMeasures* measures);
  // Whether the body will take the full path without a blank system of its
  // own (so its orientation is chosen), as far as its attributes tell now.
  bool NeedsOrientation(host::Tag body);
  std::string LayerName(int layer) const;
  std::string LayerCode(int layer) const;

  host::Host& host_;
  BomOptions options_;
  const config::MaterialBomSettings& settings_;
  RowRefresh refresh_;
  std::vector<MaterialParam>* records_ = nullptr;
  BlankGeometry geometry_;
  HoleAnalysis holes_;
  Orientation orientation_;
  WeightRules weights_;
  std::set<std::string> taken_;  // system names and identities given out
  bool names_read_ = false;
  int threads_ = 0;
};

}  // namespace blank
