// Building and numbering the material tree.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <exception>
#include <map>

#include "blank/body_info.h"
#include "blank/overlap.h"
#include "host/text.h"
#include "material_bom/export_material_bom.h"

namespace {

using T = blank::BodyAttributeTitles;
using namespace material_bom;

constexpr const char* kNeutralFile = "temp.x_t";
constexpr const char* kDrawnTitle = "转图标识";
constexpr const char* kDefaultOverlapPrompt = "当前高亮显示的实体为重叠的实体，是否删除？";
constexpr double kCornerTolerance = 0.005;

bool IsSolidBody(host::Host& host, host::Tag object) {
  const host::TypeAndSubtype t = host.objects().AskTypeAndSubtype(object);
  return t.type == host::kSolidType && t.subtype == host::kSolidBodySubtype &&
         host.bodies().IsSolidBody(object);
}

std::vector<host::Tag> BodiesOnLayer(host::Host& host, int layer) {
  std::vector<host::Tag> out;
  for (host::Tag o : host.layers().ObjectsOnLayer(layer))
    if (IsSolidBody(host, o)) out.push_back(o);
  return out;
}

std::string ReadText(host::Host& host, host::Tag body, const char* title) {
  return host.attributes().Has(body, title) ? host.attributes().GetString(body, title)
                                            : std::string();
}

// A code that is no more than the layer prefix ("UB-") has no number yet.
bool IsNumbered(const std::string& code) { return !code.empty() && code.back() != '-'; }

// The number after the first "-" of a code (from the start when it has none).
int CodeNumber(const std::string& code) {
  const std::size_t dash = code.find('-');
  return std::atoi(code.c_str() + (dash == std::string::npos ? 0 : dash + 1));
}

// Coordinate order of minimum corners: x, then y, then z, compared exactly.
// The tolerance is looked at only after the strict tests, so it never merges
// near-equal coordinates.
bool CornerBefore(const host::Point3d& a, const host::Point3d& b) {
  const double pa[3] = {a.X, a.Y, a.Z}, pb[3] = {b.X, b.Y, b.Z};
  for (int k = 0; k < 3; ++k) {
    if (pa[k] < pb[k]) return true;
    if (pa[k] > pb[k]) return false;
    if (std::fabs(pa[k] - pb[k]) >= kCornerTolerance) return false;
  }
  return false;
}

// The bodies sorted by the minimum corners of their boxes.
std::vector<host::Tag> SortByPosition(host::Host& host, const std::vector<host::Tag>& bodies) {
  std::vector<std::pair<host::Point3d, host::Tag>> keyed;
  keyed.reserve(bodies.size());
  for (host::Tag b : bodies) keyed.push_back({blank::BodyInfo(host, b).GetMinCorner(), b});
  std::stable_sort(keyed.begin(), keyed.end(),
                   [](const auto& a, const auto& b) { return CornerBefore(a.first, b.first); });
  std::vector<host::Tag> out;
  for (const auto& k : keyed) out.push_back(k.second);
  return out;
}

void SetGroupWeights(host::Node* row, int count) {
  const std::string weight = row->GetColumnDisplayText(kColWeight);
  const std::string net = row->GetColumnDisplayText(kColNetWeight);
  const std::string times = count > 0 ? text::Format("x%d", count) : std::string();
  if (count == 0 || !weight.empty())
    row->SetColumnDisplayText(kColGroupWeight, weight + (weight.empty() ? "" : times));
  if (count == 0 || !net.empty())
    row->SetColumnDisplayText(kColGroupNetWeight, net + (net.empty() ? "" : times));
}

int ChildCount(host::Node* row) {
  int n = 0;
  for (host::Node* c = row->FirstChildNode(); c != nullptr; c = c->NextSiblingNode()) ++n;
  return n;
}

}  // namespace

// --- One build -------------------------------------------------------------------

void ExportMaterialBom::CreatMaterialNodes(int keep_codes, int display_filter) {
  ClearMaterialTree();
  Trace("实体优化");
  OptimizeWorkLayerBodies();
  ApplyDisplayFilter(display_filter);
  Trace("获取当前显示的实体");
  std::vector<host::Tag> bodies = DisplayedBodies();
  bodies = RemoveOverlaps(bodies);
  Trace("去除标准件");
  bodies = RemoveStrPrts(bodies);
  Trace("转图标识");
  bodies = KeepDrawnBodies(bodies);
  if (keep_codes == 0) {
    Trace("重新排序时，删除实体已有的属性");
    DeleteMaterialAttributes(bodies);
  }
  Trace("获取实体的所有图层");
  Trace("去除重复图层");
  Trace("获取每个图层中的实体");
  std::map<int, std::vector<host::Tag>> by_layer;  // ascending layers
  for (host::Tag b : bodies) by_layer[host_.objects().Layer(b)].push_back(b);
  int row = 0;
  for (const auto& [layer, on_layer] : by_layer) NumberLayer(layer, on_layer, row);
  // Rows of one code keep the sorted order, so the first body of a code
  // already stands for it on the top-level row.
  Trace("将同一代号的基准实体设置为按照排序规划后的第一个实体");
  Trace("修改多个节点的信息");
  FinishGroups();
}

void ExportMaterialBom::ClearMaterialTree() {
  while (host::Node* row = material_tree_->RootNode()) material_tree_->DeleteNode(row);
  records_.clear();
  pressed_row_ = nullptr;
  press_source_ = PressSource::kNone;
}

// --- Step 1: body optimisation through the neutral file --------------------------------

void ExportMaterialBom::OptimizeWorkLayerBodies() {
  const int work = host_.layers().WorkLayer();
  std::vector<host::Tag> fresh;
  for (host::Tag b : BodiesOnLayer(host_, work)) {
    if (!host_.attributes().Has(b, T::kCode) && !host_.attributes().Has(b, T::kOptimized))
      fresh.push_back(b);
  }
  if (fresh.empty()) return;
  const auto& prompt = settings().material.layer_optimization_prompt;
  if (!prompt.empty()) host_.messages().ShowMessage("提示", host::kInformationMessage, prompt);
  if (!ReplaceThroughNeutralFile(fresh)) return;
  for (host::Tag b : BodiesOnLayer(host_, work)) {
    host_.attributes().SetString(b, T::kOptimized, "Y");
    host_.bodies().JoinFaces(b);
  }
}

std::string ExportMaterialBom::TemporaryFolder() {
  for (const char* variable : {"TEMP", "TMP"}) {
    const std::string folder = host_.environment().GetEnvironmentVariableValue(variable);
    if (!folder.empty()) return folder;
  }
  const std::string folder = host_.platform().LocalAppDataFolder() + "\\Temp";
  host_.platform().CreateDirectory(folder);
  return folder;
}

// Writes the bodies to the neutral file and reads them back in their place:
// the new bodies take the layer, colour, name, blank status and attributes of
// the old ones. Nothing changes when the file cannot be written or read.
bool ExportMaterialBom::ReplaceThroughNeutralFile(const std::vector<host::Tag>& bodies) {
  const std::string path = TemporaryFolder() + "\\" + kNeutralFile;
  auto note = [&](const std::string& why) {
    host_.messages().PrintSyslog("material BOM: bodies not optimised, " + why + "\n");
  };
  if (host_.bodies().ExportNeutral(bodies, path) != 0) {
    note("cannot write " + path);
    return false;
  }
  std::vector<host::Tag> imported;
  try {
    imported = host_.bodies().ImportNeutral(path);
  } catch (const std::exception& e) {
    host_.platform().RemoveFile(path);
    note(e.what());
    return false;
  }
  host_.platform().RemoveFile(path);
  if (imported.size() != bodies.size()) {
    for (host::Tag b : imported) host_.objects().Delete(b);
    note("the neutral file gave back another number of bodies");
    return false;
  }
  host::Objects& objects = host_.objects();
  host::Attributes& attrs = host_.attributes();
  for (std::size_t i = 0; i < bodies.size(); ++i) {
    const host::Tag from = bodies[i], to = imported[i];
    objects.SetLayer(to, objects.Layer(from));
    objects.SetColor(to, objects.Color(from));
    objects.SetName(to, objects.Name(from));
    objects.SetBlanked(to, objects.IsBlanked(from));
    for (const auto& [title, value] : attrs.List(from)) attrs.SetString(to, title, value);
    // A drawing mark kept on a face moves to the body: the faces are new.
    std::string drawn;
    if (!attrs.Has(to, kDrawnTitle) &&
        blank::BodyInfo(host_, from).GetBodyFacetAttr(from, kDrawnTitle, drawn))
      attrs.SetString(to, kDrawnTitle, drawn);
    objects.Delete(from);
  }
  return true;
}

// --- Steps 2 to 6: which bodies are listed ------------------------------------------

void ExportMaterialBom::ApplyDisplayFilter(int display_filter) {
  for (int layer : layers_) {
    if (host_.layers().AskStatus(layer) == host::kStatusHidden) continue;
    for (host::Tag b : BodiesOnLayer(host_, layer)) {
      bool admitted = false;
      if (display_filter == 0) admitted = true;
      if (display_filter == 1) admitted = IsNoBuyBody(b);
      if (display_filter == 2) admitted = !IsNoBuyBody(b);
      host_.objects().SetBlanked(b, !admitted);
    }
  }
}

std::vector<host::Tag> ExportMaterialBom::DisplayedBodies() {
  std::vector<host::Tag> out;
  std::map<int, bool> shown;  // by layer
  for (host::Tag b : host_.bodies().PartBodies(work_part_)) {
    if (!host_.bodies().IsSolidBody(b) || host_.objects().IsBlanked(b)) continue;
    const int layer = host_.objects().Layer(b);
    auto it = shown.find(layer);
    if (it == shown.end()) {
      const int status = host_.layers().AskStatus(layer);
      it = shown.emplace(layer, status == host::kStatusWork || status == host::kStatusSelectable)
               .first;
    }
    if (it->second) out.push_back(b);
  }
  return out;
}

std::vector<host::Tag> ExportMaterialBom::RemoveOverlaps(std::vector<host::Tag> bodies) {
  const std::vector<host::Tag> overlapping =
      blank::CNobokudBase::AskOverlappingBodyOfBodys(host_, bodies);
  if (overlapping.empty()) return bodies;
  for (host::Tag b : overlapping) host_.objects().SetHighlighted(b, true);
  std::vector<std::string> prompt = settings().material.overlap_deletion_prompt;
  if (prompt.empty()) prompt = {kDefaultOverlapPrompt};
  if (host_.messages().ShowMessage("提示", host::kQuestionMessage, prompt) == host::kFirstButton) {
    for (host::Tag b : overlapping) host_.objects().Delete(b);
    return DisplayedBodies();
  }
  for (host::Tag b : overlapping) host_.objects().SetHighlighted(b, false);
  return bodies;
}

std::vector<host::Tag> ExportMaterialBom::RemoveStrPrts(const std::vector<host::Tag>& bodies) {
  std::vector<host::Tag> out;
  for (host::Tag b : bodies)
    if (!host_.attributes().Has(b, T::kStandardPart, host::kAnyAttribute)) out.push_back(b);
  return out;
}

std::vector<host::Tag> ExportMaterialBom::KeepDrawnBodies(const std::vector<host::Tag>& bodies) {
  std::vector<host::Tag> out;
  for (host::Tag b : bodies) {
    std::string value;
    if (blank::BodyInfo(host_, b).GetBodyFacetAttr(b, kDrawnTitle, value) && value == "Y")
      out.push_back(b);
  }
  return out;
}

// --- Step 10: numbering one layer ----------------------------------------------------------

void ExportMaterialBom::NumberLayer(int layer, const std::vector<host::Tag>& bodies, int& row) {
  Trace("获取已有代号和没有代号的实体");
  Trace("获取新增颜色和非新增颜色的实体");
  std::vector<host::Tag> coded, other, added;
  const int changed = settings().common.changed_body_color;
  for (host::Tag b : bodies) {
    if (IsNumbered(ReadText(host_, b, T::kCode)))
      coded.push_back(b);
    else
      (host_.objects().Color(b) == changed ? added : other).push_back(b);
  }
  Trace("根据坐标排序");
  coded = SortByPosition(host_, coded);
  other = SortByPosition(host_, other);
  added = SortByPosition(host_, added);

  Trace("获取材质的参数信息");
  std::vector<MaterialParam> coded_records = GetBodiesMaterialParam(coded);
  std::vector<MaterialParam> other_records = GetBodiesMaterialParam(other);
  std::vector<MaterialParam> added_records = GetBodiesMaterialParam(added);
  Trace("读取已有的材料代号和材料规格");
  for (MaterialParam& r : coded_records) {
    r.code = ReadText(host_, r.body, T::kCode);
    r.spec = ReadText(host_, r.body, T::kSpec);
  }
  for (MaterialParam& r : added_records) r.state = T::kNewState;
  Trace("根据ID排序");
  std::stable_sort(coded_records.begin(), coded_records.end(),
                   [](const MaterialParam& a, const MaterialParam& b) {
                     return CodeNumber(a.code) < CodeNumber(b.code);
                   });

  int running = 0;
  std::vector<blank::BodyInfo> numbered;
  Trace("先写已有属性的ID");
  WriteCodedRows(coded_records, running, row);
  if (options_.same_body) {
    for (const MaterialParam& r : coded_records) numbered.emplace_back(host_, r.body);
  }
  Trace("写没有属性的ID");
  WriteUncodedRows(layer, other_records, numbered, running, row);
  Trace("写新增的ID");
  WriteUncodedRows(layer, added_records, numbered, running, row);
}

void ExportMaterialBom::WriteCodedRows(std::vector<MaterialParam>& coded, int& running, int& row) {
  const int changed = settings().common.changed_body_color;
  std::string previous;
  host::Node* parent = nullptr;
  for (const MaterialParam& r : coded) {
    running = CodeNumber(r.code);
    ++row;
    const bool grouped = parent != nullptr && r.code == previous;
    host::Node* node =
        CreateMateriNode(row, r, grouped ? nullptr : parent, grouped ? parent : nullptr);
    if (!grouped) parent = node;
    if (r.state == T::kNewState) node->SetForegroundColor(changed);
    // A stored size that differs from the record's marks the row, and so
    // does a body whose shape a revision changed.
    if ((!r.stored_spec.empty() && r.stored_spec != r.spec) ||
        host_.attributes().Has(r.body, T::kPreviousSpec))
      node->SetForegroundColor(kSpecChangedColor);
    previous = r.code;
    records_.push_back(r);
  }
}

void ExportMaterialBom::WriteUncodedRows(int layer, std::vector<MaterialParam>& records,
                                         std::vector<blank::BodyInfo>& numbered, int& running,
                                         int& row) {
  const int changed = settings().common.changed_body_color;
  for (MaterialParam& r : records) {
    Trace(text::Format("当前图层：%d", layer));
    const std::string identity = ReadText(host_, r.body, T::kIdentity);
    host_.attributes().SetString(r.body, T::kIdentity, identity);
    Trace("当前实体：" + identity);
    // An identical body already numbered lends its code; otherwise the next
    // number of the layer (gaps below it are never filled).
    Trace("查找相同的实体");
    bool same_found = false;
    std::optional<blank::BodyInfo> info;
    if (options_.same_body) {
      info.emplace(host_, r.body);
      const std::vector<host::Tag> same = info->GetSameBodys(numbered);
      if (!same.empty()) {
        if (const MaterialParam* match = GetBodyMtlParam(same.front(), records_)) {
          r.code = match->code;
          same_found = true;
        }
      }
    }
    if (!same_found && !IsNumbered(r.code)) r.code += text::Format("%02d", ++running);
    Trace("获取父节点");
    host::Node* parent = GetMtlParentNode(r.code);
    ++row;
    host::Node* node = CreateMateriNode(row, r, nullptr, parent);
    node->SetColumnDisplayText(kColModified, "");
    if (r.state == T::kNewState) node->SetForegroundColor(changed);
    if (info) numbered.push_back(*info);
    records_.push_back(r);
  }
}

// --- Step 12: sequence numbers and groups ----------------------------------------------

void ExportMaterialBom::FinishGroups() {
  int i = 0;
  for (host::Node* top = material_tree_->RootNode(); top != nullptr;
       top = top->NextSiblingNode(), ++i) {
    const std::string sequence = text::Format("%03d", i + 1);
    top->SetDisplayText(sequence);
    if (top->FirstChildNode() == nullptr) continue;
    // The body of the top-level row becomes a child row too, at the head,
    // with the parent's columns up to the net weight; the group row keeps
    // the allowance. The children's quantities stay as their records give them.
    host::Node* head = material_tree_->CreateNode(sequence);
    material_tree_->InsertNode(head, top, nullptr, host::NodeInsertOption::First);
    for (int c = 1; c <= kColNetWeight; ++c)
      head->SetColumnDisplayText(c, top->GetColumnDisplayText(c));
    head->SetState(host::kNodeChecked);
    head->SetForegroundColor(top->ForegroundColor());
    head->GetNodeData().SetTaggedObject(kRowBodyKey,
                                        top->GetNodeData().GetTaggedObject(kRowBodyKey));
    int count = 0;
    for (host::Node* child = top->FirstChildNode(); child != nullptr;
         child = child->NextSiblingNode(), ++count)
      child->SetDisplayText(sequence);
    top->SetColumnDisplayText(kColQuantity, text::Format("%d", count));
    SetGroupWeights(top, count);
  }
}

// --- Rows ------------------------------------------------------------------------------

host::Node* ExportMaterialBom::CreateMateriNode(int row, const MaterialParam& r,
                                                host::Node* previous, host::Node* parent) {
  host::Node* node = material_tree_->CreateNode(text::Format("%03d", row));
  const bool after = previous != nullptr && previous->ParentNode() == parent;
  material_tree_->InsertNode(node, parent, after ? previous : nullptr,
                             host::NodeInsertOption::Last);
  const std::string* texts[kMaterialColumnCount] = {
      nullptr,       &r.name,         &r.code,           &r.material,   &r.spec,
      &r.quantity,   &r.weight,       &r.heat_treatment, &r.remark,     &r.ordering_method,
      &r.chamfer,    &r.height_datum, &r.lead_time,      &r.state,      &r.modified,
      &r.net_weight, &r.process,      &r.weight,         &r.net_weight, &r.allowance};
  for (int c = 1; c < kMaterialColumnCount; ++c) node->SetColumnDisplayText(c, *texts[c]);
  node->GetNodeData().SetTaggedObject(kRowBodyKey, r.body);
  node->SetState(host::kNodeChecked);
  node->SetForegroundColor(settings().material.normal_row_color);
  return node;
}

host::Node* ExportMaterialBom::GetMtlParentNode(const std::string& code) {
  for (host::Node* top = material_tree_->RootNode(); top != nullptr; top = top->NextSiblingNode())
    if (top->GetColumnDisplayText(kColCode) == code) return top;
  return nullptr;
}

host::Node* ExportMaterialBom::CreateParamNode(const NodeParam& p, host::Node* previous,
                                               host::Node* parent) {
  host::Node* node = material_tree_->CreateNode(p.sequence);
  const bool after = previous != nullptr && previous->ParentNode() == parent;
  material_tree_->InsertNode(node, parent, after ? previous : nullptr,
                             host::NodeInsertOption::Last);
  const std::string allowance = ReadText(host_, p.body, T::kAllowance);
  const std::string* texts[kMaterialColumnCount] = {
      nullptr,       &p.name,         &p.code,           &p.material,   &p.spec,
      &p.quantity,   &p.weight,       &p.heat_treatment, &p.remark,     &p.ordering_method,
      &p.chamfer,    &p.height_datum, &p.lead_time,      &p.state,      &p.modified,
      &p.net_weight, &p.process,      &p.weight,         &p.net_weight, &allowance};
  for (int c = 1; c < kMaterialColumnCount; ++c) node->SetColumnDisplayText(c, *texts[c]);
  node->GetNodeData().SetTaggedObject(kRowBodyKey, p.body);
  node->SetState(host::kNodeChecked);
  node->SetForegroundColor(p.state == T::kNewState ? settings().common.changed_body_color
                                                   : settings().material.normal_row_color);
  return node;
}

// A body's record changed outside the tree (orientation, allowance): its rows
// show the new size and weights.
void ExportMaterialBom::RefreshBodyRows(host::Tag body, const MaterialParam& record) {
  if (material_tree_ == nullptr) return;
  for (host::Node* row = material_tree_->RootNode(); row != nullptr; row = row->NextNode()) {
    if (RowBody(row) != body) continue;
    row->SetColumnDisplayText(kColSpec, record.spec);
    row->SetColumnDisplayText(kColWeight, record.weight);
    SetGroupWeights(row, ChildCount(row));
  }
}

namespace material_bom {

host::Tag RowBody(host::Node* row) {
  host::DataContainer& data = row->GetNodeData();
  return data.HasKey(kRowBodyKey) ? data.GetTaggedObject(kRowBodyKey) : host::kNullTag;
}

}  // namespace material_bom
