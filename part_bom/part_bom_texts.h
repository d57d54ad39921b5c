// Titles, keys and messages of the standard-part BOM, shared by its files.
#pragma once

namespace part_bom {

// Message box titles.
inline constexpr const char* kBlockStylerTitle = "Block Styler";
inline constexpr const char* kPartBomTitle = "标准件BOM";

// The layout file.
inline constexpr const char* kLayoutFile = "ExportPartBom.dlx";

// Files under the configuration root.
inline constexpr const char* kConfigTable = "\\config\\config.csv";
inline constexpr const char* kTemplate = "\\config\\模具标准件申购表.xls";
inline constexpr const char* kSelectBitmap = "\\bmp\\select.bmp";

// Keys of the configuration table.
inline constexpr const char* kDesignersKey = "设计人员";
inline constexpr const char* kTonnagesKey = "模具吨位";
inline constexpr const char* kNameOrderKey = "名称顺序";
inline constexpr const char* kChangedColorKey = "改模颜色";
inline constexpr const char* kBrandsKey = "标准件-品牌名称";
inline constexpr const char* kHeatTreatmentsKey = "标准件-热处理名称";
inline constexpr const char* kSuppliersKey = "标准件-供应商";
inline constexpr const char* kLeadTimesKey = "标准件-采购周期";

// Header titles (work-part attributes).
inline constexpr const char* kCustomerTitle = "客户名称";
inline constexpr const char* kDieNumberTitle = "模具编号";
inline constexpr const char* kProductNumberTitle = "产品编号";
inline constexpr const char* kOrderNumberTitle = "订单编号";
inline constexpr const char* kTonnageTitle = "模具吨位";
inline constexpr const char* kDesignerTitle = "设计担当";
inline constexpr const char* kSortedTitle = "已排序";

// Body attributes read by the tree build.
inline constexpr const char* kSequenceAttr = "序号";
inline constexpr const char* kNameAttr = "名称";
inline constexpr const char* kTypeAttr = "类型";
inline constexpr const char* kBrandAttr = "品牌";
inline constexpr const char* kMaterialAttr = "材质";
inline constexpr const char* kHeatTreatmentAttr = "热处理";
inline constexpr const char* kRemarkAttr = "备注";
inline constexpr const char* kSupplierAttr = "供应商";
inline constexpr const char* kLeadTimeAttr = "采购周期";
inline constexpr const char* kStateAttr = "状态";
inline constexpr const char* kModifiedReadAttr = "修改日期";
// The date is saved under another title than the one the build reads.
inline constexpr const char* kModifiedSavedAttr = "修改时间";
// The category the save names for the body attributes (assigned by title only).
inline constexpr const char* kAttributeCategory = "标准件属性";

// The state text of the rows of new parts.
inline constexpr const char* kNewState = "新增";

// The key of a row's body in its node data.
inline constexpr const char* kDataKey = "Data";

}  // namespace part_bom
