// The BOM header and the body rows as attributes of the part and its bodies.
#include <stdexcept>
#include <utility>

#include "host/text.h"
#include "material_bom/export_material_bom.h"

namespace {

using T = blank::BodyAttributeTitles;
using namespace material_bom;

// More counted bodies than this on one layer get a warning (the message
// says 200 on purpose).
constexpr int kLayerLimit = 220;

// The header fields that must not be empty, in the order they are checked,
// with their messages.
constexpr std::pair<const char*, const char*> kRequired[] = {
    {"产品材质", "产品材质不可以为空"}, {"模具编号", "模具编号不可以为空"},
    {"模具吨位", "模具吨位不可以为空"}, {"客户名称", "客户名称不可以为空"},
    {"产品厚度", "产品厚度不可以为空"}, {"模具类型", "模具类型不可以为空"},
    {"设计担当", "设计担当不可以为空"}};

// The sixteen body attributes and the column each comes from (-1: the
// drawing flag).
constexpr std::pair<const char*, int> kRowAttributes[] = {
    {T::kName, kColName},           {T::kCode, kColCode},
    {T::kMaterial, kColMaterial},   {T::kHeatTreatment, kColHeatTreatment},
    {T::kSpec, kColSpec},           {T::kWeight, kColWeight},
    {T::kRemark, kColRemark},       {T::kOrderingMethod, kColOrderingMethod},
    {T::kChamfer, kColChamfer},     {T::kHeightDatum, kColHeightDatum},
    {T::kLeadTime, kColLeadTime},   {T::kQuantity, kColQuantity},
    {T::kNetWeight, kColNetWeight}, {T::kProcess, kColProcess},
    {T::kAllowance, kColAllowance}, {T::kDrawing, -1}};

}  // namespace

// --- Header ------------------------------------------------------------------------

void ExportMaterialBom::LoadHeader() {
  host::Attributes& attrs = host_.attributes();
  for (int i = 0; i < BomHeader::kFieldCount; ++i) {
    const char* title = BomHeader::kTitles[i];
    host::StringBlock* block = header_blocks_[i];
    if (const std::vector<std::string>* choices = settings().head.ChoicesFor(title))
      block->SetListItems(*choices);
    block->SetValue(attrs.Has(work_part_, title) ? attrs.GetString(work_part_, title) : "");
  }
}

material_bom::BomHeader ExportMaterialBom::ReadHeader() {
  BomHeader header;
  for (int i = 0; i < BomHeader::kFieldCount; ++i)
    header.fields[i] = text::WideToGbk(header_blocks_[i]->WideValue());
  return header;
}

// --- Saving -------------------------------------------------------------------------

void ExportMaterialBom::WriteBodyAttribute(host::Tag body, const std::string& /*category*/,
                                           const std::string& title, const std::string& value) {
  // The category is not stored: readers find the attribute by its title.
  if (host_.session().IsInitialized() == 0) host_.session().Initialize();
  host_.attributes().SetString(body, title, value);
  host_.session().UpdateModel();
}

void ExportMaterialBom::WriteRowAttributes(host::Node* row, bool drawn) {
  const host::Tag body = RowBody(row);
  for (const auto& [title, column] : kRowAttributes) {
    const std::string value =
        column < 0 ? std::string(drawn ? "是" : "否") : row->GetColumnDisplayText(column);
    WriteBodyAttribute(body, T::kCategory, title, value);
  }
}

// Writes every row: the children of a group with "否", then the top-level row
// with "是". With `layer_counts`, counts the bodies per layer (a body with an
// orientation counts twice; a group's own row is counted through its children).
void ExportMaterialBom::WriteAllRows(std::vector<std::pair<int, int>>* layer_counts) {
  auto count = [&](host::Tag body) {
    if (layer_counts == nullptr) return;
    const int layer = host_.objects().Layer(body);
    const int n = host_.attributes().Has(body, T::kOrientation, host::kAnyAttribute) ? 2 : 1;
    for (auto& [l, c] : *layer_counts) {
      if (l == layer) {
        c += n;
        return;
      }
    }
    layer_counts->push_back({layer, n});
  };
  for (host::Node* top = material_tree_->RootNode(); top != nullptr; top = top->NextSiblingNode()) {
    for (host::Node* child = top->FirstChildNode(); child != nullptr;
         child = child->NextSiblingNode()) {
      count(RowBody(child));
      WriteRowAttributes(child, false);
    }
    if (top->FirstChildNode() == nullptr) count(RowBody(top));
    WriteRowAttributes(top, true);
  }
}

void ExportMaterialBom::SaveAttributes() {
  const BomHeader header = ReadHeader();
  for (const auto& [title, message] : kRequired) {
    if (header.Get(title).empty()) throw std::runtime_error(message);
  }
  for (int i = 0; i < BomHeader::kFieldCount; ++i)
    host_.attributes().SetString(work_part_, BomHeader::kTitles[i], header.fields[i]);

  std::vector<std::pair<int, int>> layer_counts;
  WriteAllRows(&layer_counts);
  std::vector<std::string> lines;
  for (const auto& [layer, n] : layer_counts) {
    if (n <= kLayerLimit) continue;
    lines.push_back(text::Format(
        "当前第【%d】图层中数量超过200个实体，请将多余的实体移到到其他图层中（如果不移动，"
        "出图后CAD图纸将乱跑）",
        layer));
  }
  if (!lines.empty()) host_.messages().ShowMessage("提示", host::kWarningMessage, lines);
}

void ExportMaterialBom::SvaeAttrNoTitle() { WriteAllRows(nullptr); }
