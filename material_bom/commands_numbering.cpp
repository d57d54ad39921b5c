// The commands that renumber or refilter the material tree: reorder per
// layer, balloon numbers over the whole tree, the new bodies only, and the
// number of decimals of every blank size.
#include <cstdio>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "config/csv.h"
#include "host/text.h"
#include "material_bom/export_material_bom.h"

namespace {

using T = blank::BodyAttributeTitles;
using namespace material_bom;

constexpr const char* kReorderQuestion =
    "是否要执行重新排序？\n当点击重排序时，请注意下面内容\nA:点击重排序后，（旧图档）已出过图的，"
    "请不要点击重设置（否则求标、图纸编号、材料信息等将和原来的图档不一样！！！）\nB:点击重排序后，"
    "（新图框）新模发现代号中的数据没有按照顺序排列。点击重排序后，将会自动计算按照顺序排列";

constexpr const char* kBalloonNotice =
    "提示：\n点击此按钮，请注意以下事项：\nA: 必须先“点全层后出BOM”按钮后，再点击此按钮，"
    "否则球标会乱。\nB：点击此按钮后，例如：BOM表界面列表中的“代号”会以“LB-000至LB-999”"
    "显示的顺序排列。\nC: 点击此按钮后，在导出的Excel清单中，“代号”会以“000-999”的顺序排列。\n"
    "D：此功能配套程序（3D出2D图）功能正在更新中，暂未开放；目前CAD图纸（球标）会显示为“LB-"
    "000至LB-999”的顺序排列。";

// The code's layer prefix: its text up to and including the first (or the
// last) "-". A code without "-" is taken whole as the prefix, with a "-".
std::string CodePrefix(const std::string& code, bool last_dash) {
  const std::size_t dash = last_dash ? code.rfind('-') : code.find('-');
  return dash == std::string::npos ? code + "-" : code.substr(0, dash + 1);
}

// The number with `decimals` decimals: 0 cuts the fraction off, 1 to 9 round
// to that many places, any other value gives "%f".
std::string WithDecimals(double value, int decimals) {
  if (decimals == 0) return text::Format("%d", static_cast<int>(value));
  const unsigned places = static_cast<unsigned>(decimals);
  if (places >= 1 && places <= 9) return text::Format("%.*f", decimals, value);
  return text::Format("%f", value);
}

// A blank size written again with `decimals` decimals: "LxWxT" number by
// number, a round part "ΦDxHh" keeping the letters before its numbers.
// Nothing for any other text.
std::optional<std::string> RewriteSpec(const std::string& spec, int decimals) {
  const std::vector<std::string> pieces = config::SplitString(spec, "x");
  if (pieces.size() == 3) {
    std::string out;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
      if (i > 0) out += "x";
      out += WithDecimals(std::atof(pieces[i].c_str()), decimals);
    }
    return out;
  }
  if (pieces.size() == 2) {
    std::string out;
    for (std::size_t i = 0; i < pieces.size(); ++i) {
      // Digits and "." never occur inside a double-byte character.
      const std::size_t start = pieces[i].find_first_of("0123456789.");
      if (start == std::string::npos) return std::nullopt;
      if (i > 0) out += "x";
      out +=
          pieces[i].substr(0, start) + WithDecimals(std::atof(pieces[i].c_str() + start), decimals);
    }
    return out;
  }
  return std::nullopt;
}

}  // namespace

// --- Reading the tree back and building it again ------------------------------------

// Reads every top-level row with its children and empties the tree; the
// records stay.
std::vector<ExportMaterialBom::RowGroup> ExportMaterialBom::TakeRowGroups() {
  auto saved = [this](host::Node* row) {
    return SavedRow{GetNodeParam(row), row->ForegroundColor(), row->State()};
  };
  std::vector<RowGroup> groups;
  for (host::Node* top = material_tree_->RootNode(); top != nullptr; top = top->NextSiblingNode()) {
    RowGroup g;
    g.top = saved(top);
    g.group_weight = top->GetColumnDisplayText(kColGroupWeight);
    g.group_net_weight = top->GetColumnDisplayText(kColGroupNetWeight);
    for (host::Node* c = top->FirstChildNode(); c != nullptr; c = c->NextSiblingNode())
      g.children.push_back(saved(c));
    groups.push_back(std::move(g));
  }
  while (host::Node* row = material_tree_->RootNode()) material_tree_->DeleteNode(row);
  pressed_row_ = nullptr;
  press_source_ = PressSource::kNone;
  return groups;
}

// The group's rows as they were, after `previous` (null: first).
host::Node* ExportMaterialBom::RecreateGroup(const RowGroup& group, host::Node* previous) {
  auto restore = [](host::Node* node, const SavedRow& row) {
    node->SetForegroundColor(row.color);
    node->SetState(row.state);
  };
  host::Node* top = CreateParamNode(group.top.param, previous, nullptr);
  restore(top, group.top);
  top->SetColumnDisplayText(kColGroupWeight, group.group_weight);
  top->SetColumnDisplayText(kColGroupNetWeight, group.group_net_weight);
  host::Node* child = nullptr;
  for (const SavedRow& row : group.children) {
    child = CreateParamNode(row.param, child, top);
    restore(child, row);
  }
  return top;
}

// The code of a top-level row and of its children, in the tree and in the
// bodies' records.
void ExportMaterialBom::SetGroupCode(host::Node* top, const std::string& code) {
  auto set = [&](host::Node* row) {
    row->SetColumnDisplayText(kColCode, code);
    if (MaterialParam* r = GetBodyMtlParam(RowBody(row), records_)) r->code = code;
  };
  set(top);
  for (host::Node* c = top->FirstChildNode(); c != nullptr; c = c->NextSiblingNode()) set(c);
}

// --- "button0611": reorder ------------------------------------------------------------

// The codes of every layer become 01, 02, ... in row order; layers in
// ascending order.
void ExportMaterialBom::Reorder() {
  if (host_.messages().ShowMessage(kDialogTitle, host::kQuestionMessage, kReorderQuestion) !=
      host::kFirstButton)
    return;
  std::vector<RowGroup> groups = TakeRowGroups();
  std::map<int, std::vector<RowGroup*>> by_layer;  // ascending layers
  for (RowGroup& g : groups) by_layer[host_.objects().Layer(g.top.param.body)].push_back(&g);
  host::Node* previous = nullptr;
  for (auto& [layer, on_layer] : by_layer) {
    int i = 0;
    for (RowGroup* g : on_layer) {
      const std::string code = CodePrefix(g->top.param.code, false) + text::Format("%02d", ++i);
      g->top.param.code = code;
      for (SavedRow& c : g->children) c.param.code = code;
      previous = RecreateGroup(*g, previous);
      SetGroupCode(previous, code);
    }
  }
  SaveAttributes();
}

// --- "button010": balloon numbers ------------------------------------------------------

// The codes of the whole tree become 001, 002, ... in row order, across layers.
void ExportMaterialBom::BalloonNumbering() {
  host_.messages().ShowMessage("提示", host::kInformationMessage, kBalloonNotice);
  int i = 0;
  for (host::Node* top = material_tree_->RootNode(); top != nullptr; top = top->NextSiblingNode()) {
    const std::string code =
        CodePrefix(top->GetColumnDisplayText(kColCode), true) + text::Format("%03d", ++i);
    SetGroupCode(top, code);
  }
  SaveAttributes();
}

// --- "button06": the new bodies ----------------------------------------------------------

// Only the rows of bodies added since the last numbering stay, with their
// bodies shown; every other row's bodies are hidden.
void ExportMaterialBom::ShowNewBodies() {
  const std::vector<RowGroup> groups = TakeRowGroups();
  host::Node* previous = nullptr;
  for (const RowGroup& g : groups) {
    const bool added = g.top.param.state == T::kNewState;
    if (added) previous = RecreateGroup(g, previous);
    host_.objects().SetBlanked(g.top.param.body, !added);
    for (const SavedRow& c : g.children) host_.objects().SetBlanked(c.param.body, !added);
    if (added) {
      previous->SetState(host::kNodeChecked);
      for (host::Node* c = previous->FirstChildNode(); c != nullptr; c = c->NextSiblingNode())
        c->SetState(host::kNodeChecked);
    }
  }
}

// --- "integer0": decimals of the blank sizes ---------------------------------------------

void ExportMaterialBom::RewriteSpecs() {
  const int decimals = integer_->Value();
  host::Attributes& attrs = host_.attributes();
  for (host::Tag body : host_.bodies().PartBodies(work_part_)) {
    if (!attrs.Has(body, T::kSpec)) continue;
    const std::string spec = attrs.GetString(body, T::kSpec);
    if (spec.empty()) continue;
    const std::optional<std::string> rewritten = RewriteSpec(spec, decimals);
    if (!rewritten) continue;
    WriteBodyAttribute(body, T::kCategory, T::kSpec, *rewritten);
    if (MaterialParam* r = GetBodyMtlParam(body, records_)) r->spec = *rewritten;
  }
  for (host::Node* row = material_tree_->RootNode(); row != nullptr; row = row->NextNode()) {
    const host::Tag body = RowBody(row);
    if (body != host::kNullTag && attrs.Has(body, T::kSpec))
      row->SetColumnDisplayText(kColSpec, attrs.GetString(body, T::kSpec));
  }
}
