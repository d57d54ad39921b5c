// The material parameter record of one body, the body attribute titles and
// value formats, and the options the user chose before the run.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/types.h"

namespace blank {

// The four choices of the options dialog, as ExportMaterialBom::SetSmartCalc
// receives them.
struct BomOptions {
  bool reset = false;      // delete the work part's designer attribute at start-up
  bool same_body = false;  // group identical bodies under one code
  bool third = false;      // no effect (forced off by the parameter computation)
  int mode = 0;            // 0: blank extents by the half-unit rule; else exact
};

// Every material-BOM value of one body. Plain value, copied freely.
struct MaterialParam {
  std::string name;             // "材料名称"
  std::string spare;            // never set by the computation
  std::string code;             // "材料代号": layer code + "-" until numbered
  std::string material;         // "材料材质"
  std::string heat_treatment;   // "材料热处理"
  std::string stored_spec;      // "材料规格" as read on the short path
  std::string spec;             // "%.1fx%.1fx%.1f" or "Φ%.1fxH%.1f"
  std::string quantity;         // "材料数量"
  std::string weight;           // "材料重量", "%.1f" kg
  std::string remark;           // "材料备注"
  std::string ordering_method;  // "材料订购方式"
  std::string chamfer;          // "材料倒角"
  std::string height_datum;     // "材料高度准"
  std::string lead_time;        // "材料采购周期"
  std::string state;            // "新增" for a body in the changed-body colour
  std::string modified;         // "修改日期"
  std::string net_weight;       // "材料净重", "%.3f" kg
  std::string process;          // "制造流程"
  std::string allowance;        // "材料余量"
  double length = 0.0;          // blank extent along X (mm)
  double width = 0.0;           // along Y
  double thickness = 0.0;       // along Z
  std::int32_t color = 0;       // the body's colour at computation time
  host::Tag body = host::kNullTag;
};

// The body attribute titles (all string attributes) and the value formats.
struct BodyAttributeTitles {
  static constexpr const char* kIdentity = "实体标识";
  static constexpr const char* kCode = "材料代号";
  static constexpr const char* kName = "材料名称";
  static constexpr const char* kMaterial = "材料材质";
  static constexpr const char* kHeatTreatment = "材料热处理";
  static constexpr const char* kSpec = "材料规格";
  static constexpr const char* kOrderingMethod = "材料订购方式";
  static constexpr const char* kHeightDatum = "材料高度准";
  static constexpr const char* kModified = "修改日期";
  static constexpr const char* kRemark = "材料备注";
  static constexpr const char* kChamfer = "材料倒角";
  static constexpr const char* kWeight = "材料重量";
  static constexpr const char* kQuantity = "材料数量";
  static constexpr const char* kAllowance = "材料余量";
  static constexpr const char* kLeadTime = "材料采购周期";
  static constexpr const char* kNetWeight = "材料净重";
  static constexpr const char* kProcess = "制造流程";
  static constexpr const char* kDrawing = "是否出图";
  static constexpr const char* kOrientation = "材料方位";
  static constexpr const char* kOptimized = "实体优化";
  static constexpr const char* kStandardPart = "PART_ATTR";
  static constexpr const char* kTopFrame = "TOP_FRAME";
  static constexpr const char* kLeftFrame = "LEFT_FRAME";
  static constexpr const char* kBottomFrame = "BOTTOM_FRAME";
  static constexpr const char* kRoundPart = "圆件";
  // The size a body was listed with before a revision changed its shape
  // (written when the BOM is carried over to a new model); its row is marked
  // in the size-changed colour while the body carries it.
  static constexpr const char* kPreviousSpec = "改模前规格";

  // The category the save commands pass with every body attribute.
  static constexpr const char* kCategory = "材料BOM";
  // The state of a body in the changed-body colour.
  static constexpr const char* kNewState = "新增";

  // The sixteen titles the save commands write, in their order.
  static const std::vector<std::string>& SavedTitles();
  // Every title of the body attribute table above, in its order.
  static const std::vector<std::string>& AllTitles();
};

struct ValueFormats {
  static constexpr const char* kSpec = "%.1fx%.1fx%.1f";
  static constexpr const char* kRoundSpec = "Φ%.1fxH%.1f";
  static constexpr const char* kWeight = "%.1f";
  static constexpr const char* kNetWeight = "%.3f";
  static constexpr const char* kOrientation = "%.15f,%.15f,%.15f,%.15f,%.15f,%.15f";
  static constexpr const char* kAllowance = "%.3f_%.3f_%.3f_%.3f_%.3f";
  static constexpr const char* kDate = "%04d-%02d-%02d %02d:%02d:%02d";
  static constexpr const char* kIdentity = "%02d%02d%02d%02d%02d%04d";
  static constexpr const char* kRemark = "厚度(%.1f)等高";
};

}  // namespace blank
