// The commands that work on bodies the designer selects: round parts, one
// code for several bodies, the reset of the material attributes, the datum
// and frame-face dialogs, and the output folder.
#include <algorithm>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "config/csv.h"
#include "dialogs/select_datum.h"
#include "dialogs/select_frame.h"
#include "material_bom/export_material_bom.h"

namespace {

using T = blank::BodyAttributeTitles;
using namespace material_bom;

constexpr const char* kResetQuestion =
    "是否重设置？\n当点击重设置时，请注意下面内容：\nA:点击重设置后，已出过图的，请不要点击重设置"
    "（否则球标、图纸编号、材料信息等，将和原来的图档不一样！！！\nB:点击重设置时，里面含有很大的"
    "计算量，最好用一个图层设置，否则会很卡，最好用高配电脑。";

// The round form of a size "axbxc", the pieces compared as text: a equal to
// b gives "ΦaxHc", else a equal to c gives "ΦaxHb", else "ΦbxHa".
std::string RoundSpec(const std::string& a, const std::string& b, const std::string& c) {
  if (a == b) return "Φ" + a + "xH" + c;
  if (a == c) return "Φ" + a + "xH" + b;
  return "Φ" + b + "xH" + a;
}

}  // namespace

std::optional<std::vector<host::Tag>> ExportMaterialBom::SelectBodies(const std::string& prompt,
                                                                      const std::string& title) {
  const host::SelectionResult result =
      host_.selection().SelectObjects(prompt, title, host::SelectionScope::WorkPart,
                                      {{host::kSolidType, host::kSolidBodySubtype, 0}});
  if (result.response != host::SelectionResponse::Ok &&
      result.response != host::SelectionResponse::ObjectSelected)
    return std::nullopt;
  std::vector<host::Tag> bodies;
  for (host::Tag object : result.objects) {
    if (!host_.objects().Exists(object)) continue;
    const host::TypeAndSubtype t = host_.objects().AskTypeAndSubtype(object);
    if (t.type != host::kSolidType || t.subtype != host::kSolidBodySubtype ||
        !host_.bodies().IsSolidBody(object))
      continue;
    if (std::find(bodies.begin(), bodies.end(), object) == bodies.end()) bodies.push_back(object);
  }
  return bodies;
}

// --- "button013": round parts ------------------------------------------------------------

void ExportMaterialBom::SetRoundParts() {
  SaveAttributes();
  const auto picked = SelectBodies("选择需要设置为圆件的实体", "设置为圆件");
  if (!picked || picked->empty()) return;
  host::Attributes& attrs = host_.attributes();
  for (host::Tag body : *picked) {
    WriteBodyAttribute(body, T::kCategory, T::kRoundPart, "Y");
    if (!attrs.Has(body, T::kSpec)) continue;
    const std::vector<std::string> p = config::SplitString(attrs.GetString(body, T::kSpec), "x");
    if (p.size() != 3) continue;
    WriteBodyAttribute(body, T::kCategory, T::kSpec, RoundSpec(p[0], p[1], p[2]));
  }
  CreatMaterialNodes(1, 0);
  const std::set<host::Tag> chosen(picked->begin(), picked->end());
  std::vector<host::Node*> rows;
  for (host::Node* row = material_tree_->RootNode(); row != nullptr; row = row->NextNode())
    if (chosen.count(RowBody(row))) rows.push_back(row);
  if (!rows.empty()) material_tree_->SelectNodes(rows, true, false);
}

// --- "button061": one code for several bodies ---------------------------------------------

// The first selected body's code goes to the others, which move to its layer
// and take its colour.
void ExportMaterialBom::SetSameCode() {
  SaveAttributes();
  const auto picked = SelectBodies("选择需要设置为同一代号的实体", "设置为同一代号");
  if (!picked || picked->size() < 2) return;
  const host::Tag first = picked->front();
  host::Attributes& attrs = host_.attributes();
  const std::string code = attrs.Has(first, T::kCode) ? attrs.GetString(first, T::kCode) : "";
  if (code.empty()) {
    throw std::runtime_error("第一个选择的实体没有材料代号，请先选择清单中已有代号的实体");
  }
  host::Objects& objects = host_.objects();
  const int layer = objects.Layer(first);
  const int color = objects.Color(first);
  for (std::size_t i = 1; i < picked->size(); ++i) {
    const host::Tag body = (*picked)[i];
    WriteBodyAttribute(body, T::kCategory, T::kCode, code);
    objects.SetLayer(body, layer);
    objects.SetColor(body, color);
    objects.Redisplay(body);
  }
  CreatMaterialNodes(1, 0);
}

// --- "button04": reset ----------------------------------------------------------------------

// The selected bodies lose their material attributes and blank systems and
// are computed and numbered again.
void ExportMaterialBom::ResetBodies() {
  for (host::Node* row = material_tree_->RootNode(); row != nullptr; row = row->NextNode()) {
    const host::Tag body = RowBody(row);
    if (body != host::kNullTag && host_.objects().Exists(body))
      host_.objects().SetHighlighted(body, false);
  }
  if (host_.messages().ShowMessage(kDialogTitle, host::kQuestionMessage, kResetQuestion) !=
      host::kFirstButton)
    return;
  // The configured string is asked for but never shown.
  const std::string& expected = settings().common.validation_string;
  if (!expected.empty()) {
    const std::optional<std::string> typed = host_.selection().AskString("请输入验证字符串", "");
    if (!typed || *typed != expected) {
      ShowError("输入的验证字符串有误");
      return;
    }
  }
  const auto picked = SelectBodies("选择需要设置为同一组的实体", "设置组");
  if (!picked || picked->empty()) return;
  DeleteMaterialAttributes(*picked);
  CreatMaterialNodes(1, 0);
  SaveAttributes();
  host_.messages().ShowMessage(kDialogTitle, host::kInformationMessage, "已重新设置材料的属性！");
}

// --- "button011", "button012": datum points and frame faces -------------------------------

void ExportMaterialBom::OpenDatumDialog() {
  SelectDatum datum(host_);
  datum.Show();
  // The preview of a dialog closed without applying stays out of the part.
  for (host::Tag sphere : datum.GetPreviewSpheres())
    if (host_.objects().Exists(sphere)) host_.objects().Delete(sphere);
}

void ExportMaterialBom::OpenFrameDialog() {
  SelectFrame frame(host_);
  frame.Show();
}

// --- "nativeFolderBrowser0": the output folder -------------------------------------------------

// The chosen folder is remembered for the next start-up.
void ExportMaterialBom::RememberOutputFolder() {
  settings();  // throws when the configuration was not loaded
  const std::string folder = folder_->Path();
  if (!settings_->SaveExportFolder(host_.platform(), folder)) {
    throw std::runtime_error("出图的路径无法保存到文件：" + settings_->user_settings_path);
  }
}
