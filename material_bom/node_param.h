// The values of one material tree row, as the save and the export read them.
#pragma once

#include <string>

#include "host/types.h"

namespace host {
class Node;
}

namespace material_bom {

// The node data key under which a material tree row keeps its body.
inline constexpr const char* kRowBodyKey = "Data";
// The body of a material tree row; the null tag for a row without one.
host::Tag RowBody(host::Node* row);

// Material tree columns by index.
enum MaterialColumn : int {
  kColSequence = 0,     // "序号"
  kColName = 1,         // "名称"
  kColCode = 2,         // "代号"
  kColMaterial = 3,     // "材质"
  kColSpec = 4,         // "规格(L*W*T)"
  kColQuantity = 5,     // "数量"
  kColGroupWeight = 6,  // "重量(KG)": the group's text
  kColHeatTreatment = 7,
  kColRemark = 8,
  kColOrderingMethod = 9,
  kColChamfer = 10,
  kColHeightDatum = 11,
  kColLeadTime = 12,
  kColState = 13,
  kColModified = 14,
  kColGroupNetWeight = 15,  // "净重(KG).": the group's text
  kColProcess = 16,
  kColWeight = 17,     // "重量(KG)": one piece
  kColNetWeight = 18,  // "净重(KG)": one piece
  kColAllowance = 19,  // "余量"
  kMaterialColumnCount = 20
};

// Every text is GBK, as the tree shows it.
struct NodeParam {
  std::string sequence;         // column 0
  std::string name;             // 1
  std::string code;             // 2
  std::string material;         // 3
  std::string spec;             // 4
  std::string quantity;         // 5
  std::string weight;           // 17: one piece, not the group text of column 6
  std::string heat_treatment;   // 7
  std::string remark;           // 8
  std::string ordering_method;  // 9
  std::string chamfer;          // 10
  std::string height_datum;     // 11
  std::string lead_time;        // 12
  std::string state;            // 13
  std::string modified;         // 14
  std::string net_weight;       // 18: one piece, not the group text of column 15
  std::string process;          // 16
  host::Tag body = host::kNullTag;
};

}  // namespace material_bom
