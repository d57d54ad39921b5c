// The purchase workbook of the material BOM: where it goes, what its file is
// called, and what each cell of the template's working sheet receives.
#pragma once

#include <string>
#include <vector>

#include "config/material_bom_config.h"
#include "material_bom/bom_header.h"

namespace host {
class Platform;
}
namespace workbook {
class Sheet;
}

namespace material_bom {

// The texts of one top-level row of the material tree, indexed by tree column
// (0 "序号" to 19 "余量").
using RowTexts = std::vector<std::string>;

// The template in the configuration folder.
inline constexpr const char* kMaterialTemplate = "\\模具材料采购单.xls";
// The first sheet row that takes a BOM row.
inline constexpr int kFirstBodyRow = 6;

// The folder of the workbook: the export folder, "\" unless it ends in one,
// the part's leaf name and "\".
std::string WorkbookFolder(const std::string& export_folder, const std::string& leaf);
// The first free file name in `folder` (which ends in "\"): leaf + `kind`
// + "" / "-1" / "-2" ... + ".xls". An existing file is never chosen.
std::string FreeWorkbookPath(host::Platform& platform, const std::string& folder,
                             const std::string& leaf, const std::string& kind);

// The code as the workbook shows it: the text before the first "-", the
// joining text and the text after it; only the text after it when layer
// codes are not exported. A code without "-" stands on both sides.
std::string ExportCode(const std::string& code, const std::string& joining_text,
                       bool export_layer_codes);

// The size columns of a spec: "LxWxT" gives all three; a round part's
// "ΦDxHh" gives W = "ΦD" and T = "h"; anything else gives none.
struct SizeColumns {
  std::string length, width, thickness;
};
SizeColumns SplitSize(const std::string& spec);

// Writes the header cells and one sheet row per tree row (from row 6), every
// cell as text. Texts are GBK; a text that is not valid GBK throws
// text::EncodingError. Returns false at the first cell the sheet refuses.
bool WriteMaterialSheet(workbook::Sheet& sheet, const BomHeader& header,
                        const std::vector<RowTexts>& rows, const config::CommonConfig& common);

}  // namespace material_bom
