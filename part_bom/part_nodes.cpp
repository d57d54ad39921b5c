// The standard-part tree: collecting the standard parts of the work part,
// grouping identical ones, ordering and numbering the groups, and the rows.
#include <algorithm>
#include <stdexcept>

#include "config/csv.h"
#include "host/text.h"
#include "part_bom/export_part_bom.h"
#include "part_bom/part_bom_texts.h"

using namespace part_bom;

namespace {

// Sequence numbers have three digits.
constexpr int kLargestSequence = 999;

std::string SequenceText(int counter) {
  if (counter > kLargestSequence)
    throw std::runtime_error(
        text::Format("标准件超过%d组，序号无法编为三位数！", kLargestSequence));
  return text::Format("%03d", counter);
}

// The position of a name in the name order; a name not in it comes last.
std::size_t NamePosition(const std::string& name) {
  const std::vector<std::string>& order = ExportPartBom::NameOrder();
  return static_cast<std::size_t>(std::find(order.begin(), order.end(), name) - order.begin());
}

int CountOf(const ExportPartBom::Group& group, bool changed) {
  return static_cast<int>(std::count_if(group.begin(), group.end(),
                                        [&](const auto& p) { return p.changed == changed; }));
}

}  // namespace

bool ExportPartBom::IsSamePart(const StandardPartParam& a, const StandardPartParam& b) {
  return a.name == b.name && a.type == b.type && a.brand == b.brand &&
         a.heat_treatment == b.heat_treatment && a.remark == b.remark && a.supplier == b.supplier &&
         a.lead_time == b.lead_time;
}

bool ExportPartBom::IsBeforeByName(const Group& a, const Group& b) {
  const std::size_t pa = a.empty() ? NameOrder().size() : NamePosition(a.front().name);
  const std::size_t pb = b.empty() ? NameOrder().size() : NamePosition(b.front().name);
  return pa < pb;
}

StandardPartParam ExportPartBom::ReadPart(host::Tag body) {
  host::Attributes& a = host_.attributes();
  auto read = [&](const char* title) {
    const host::AttributeValue v = a.Read(body, title);
    return v.type == host::kStringAttribute ? v.text : std::string();
  };
  StandardPartParam p;
  p.body = body;
  p.color = host_.objects().Color(body);
  p.sequence = read(kSequenceAttr);
  p.name = read(kNameAttr);
  p.type = read(kTypeAttr);
  p.brand = read(kBrandAttr);
  p.material = read(kMaterialAttr);
  p.heat_treatment = read(kHeatTreatmentAttr);
  p.remark = read(kRemarkAttr);
  p.supplier = read(kSupplierAttr);
  p.lead_time = read(kLeadTimeAttr);
  p.state = read(kStateAttr);
  p.modified = read(kModifiedReadAttr);
  p.changed = p.color == changed_color_;
  return p;
}

void ExportPartBom::CreatStandardPartNodes(bool sorted) {
  // Collection: every shown body that carries a "名称" string attribute.
  parts_.clear();
  for (host::Tag body : host_.bodies().PartBodies(work_part_)) {
    if (host_.objects().IsBlanked(body)) continue;
    if (!host_.attributes().Has(body, kNameAttr)) continue;
    parts_.push_back(ReadPart(body));
  }

  // Grouping: the first remaining record takes every record equal to it.
  std::vector<Group> groups;
  std::vector<StandardPartParam> rest = parts_;
  while (!rest.empty()) {
    const StandardPartParam first = rest.front();
    Group group;
    std::vector<StandardPartParam> others;
    for (StandardPartParam& p : rest) (IsSamePart(first, p) ? group : others).push_back(p);
    groups.push_back(std::move(group));
    rest = std::move(others);
  }

  host::Node* previous = nullptr;
  if (!sorted) {
    std::stable_sort(groups.begin(), groups.end(), IsBeforeByName);
    int counter = 0;
    for (const Group& g : groups) previous = CreateNewPartNode(counter, g, previous);
    for (const Group& g : groups) previous = CreateNewAddPartNode(counter, g, previous);
  } else {
    std::string last_sequence;
    for (const Group& g : groups) previous = CreateOldPartNode(g, previous, last_sequence);
    // The additions continue after the last group row of the regular pass.
    int counter = last_sequence.empty() ? 0 : config::CellToInt(last_sequence);
    for (const Group& g : groups) previous = CreateOldAddPartNode(counter, g, previous);
  }
}

host::Node* ExportPartBom::NewRow(const std::string& sequence, host::Node* parent,
                                  host::Node* after) {
  host::Tree& tree = TreeBlock();
  host::Node* row = tree.CreateNode(sequence);
  tree.InsertNode(row, parent, after, host::NodeInsertOption::Last);
  return row;
}

void ExportPartBom::FillRow(host::Node* row, const StandardPartParam& p) {
  row->SetColumnDisplayText(kNameColumn, p.name);
  row->SetColumnDisplayText(kTypeColumn, p.type);
  row->SetColumnDisplayText(kBrandColumn, p.brand);
  row->SetColumnDisplayText(kMaterialColumn, p.material);
  row->SetColumnDisplayText(kHeatTreatmentColumn, p.heat_treatment);
  row->SetColumnDisplayText(kRemarkColumn, p.remark);
  row->SetColumnDisplayText(kSupplierColumn, p.supplier);
  row->SetColumnDisplayText(kLeadTimeColumn, p.lead_time);
}

host::Node* ExportPartBom::CreateNewPartNode(int& counter, const Group& group,
                                             host::Node* previous) {
  const int count = CountOf(group, false);
  if (group.empty() || count == 0) return previous;
  const std::string sequence = SequenceText(counter + 1);
  ++counter;
  host::Node* row = NewRow(sequence, nullptr, previous);
  FillRow(row, group.front());
  row->SetColumnDisplayText(kQuantityColumn, std::to_string(count));
  row->SetState(host::kNodeChecked);
  for (const StandardPartParam& p : group) {
    if (p.changed) continue;
    host::Node* child = NewRow(sequence, row, nullptr);
    FillRow(child, p);
    child->SetColumnDisplayText(kModifiedColumn, p.modified);
    child->GetNodeData().SetTaggedObject(kDataKey, p.body);
    child->SetState(host::kNodeChecked);
  }
  return row;
}

host::Node* ExportPartBom::CreateNewAddPartNode(int& counter, const Group& group,
                                                host::Node* previous) {
  const int count = CountOf(group, true);
  if (group.empty() || count == 0) return previous;
  const std::string sequence = SequenceText(counter + 1);
  ++counter;
  host::Node* row = NewRow(sequence, nullptr, previous);
  // The row speaks for its new parts only, not for a regular body ahead of
  // them in the group.
  FillRow(row, *std::find_if(group.begin(), group.end(), [](const auto& p) { return p.changed; }));
  row->SetColumnDisplayText(kQuantityColumn, std::to_string(count));
  row->SetColumnDisplayText(kStateColumn, kNewState);
  row->SetForegroundColor(changed_color_);
  row->SetState(host::kNodeChecked);
  for (const StandardPartParam& p : group) {
    if (!p.changed) continue;
    host::Node* child = NewRow(sequence, row, nullptr);
    FillRow(child, p);
    child->SetColumnDisplayText(kStateColumn, kNewState);
    child->SetColumnDisplayText(kModifiedColumn, p.modified);
    child->GetNodeData().SetTaggedObject(kDataKey, p.body);
    child->SetForegroundColor(changed_color_);
    child->SetState(host::kNodeChecked);
    row->SetColumnDisplayText(kModifiedColumn, p.modified);
  }
  return row;
}

host::Node* ExportPartBom::CreateOldPartNode(const Group& group, host::Node* previous,
                                             std::string& last_sequence) {
  const int count = CountOf(group, false);
  if (group.empty() || count == 0) return previous;
  // The group's number is the stored number of its first record, whatever
  // that record is.
  last_sequence = group.front().sequence;
  host::Node* row = NewRow(last_sequence, nullptr, previous);
  FillRow(row, group.front());
  row->SetColumnDisplayText(kQuantityColumn, std::to_string(count));
  row->SetState(host::kNodeChecked);
  for (const StandardPartParam& p : group) {
    if (p.changed) continue;
    host::Node* child = NewRow(p.sequence, row, nullptr);
    FillRow(child, p);
    child->SetColumnDisplayText(kModifiedColumn, p.modified);
    child->GetNodeData().SetTaggedObject(kDataKey, p.body);
    child->SetState(host::kNodeChecked);
  }
  return row;
}

host::Node* ExportPartBom::CreateOldAddPartNode(int& counter, const Group& group,
                                                host::Node* previous) {
  return CreateNewAddPartNode(counter, group, previous);
}

void ExportPartBom::CreatePartNode(const std::vector<NodeParam>& rows) {
  host::Node* group = nullptr;
  for (const NodeParam& r : rows) {
    host::Node* parent = r.level == 1 ? nullptr : group;
    host::Node* row = NewRow(r.sequence, parent, nullptr);
    if (r.level == 1) group = row;
    const std::string* cells[kColumnCount] = {
        &r.sequence,       &r.name,   &r.type,     &r.brand,     &r.quantity, &r.material,
        &r.heat_treatment, &r.remark, &r.supplier, &r.lead_time, &r.state,    &r.modified};
    for (int c = kNameColumn; c < kColumnCount; ++c) row->SetColumnDisplayText(c, *cells[c]);
    if (r.body != host::kNullTag) row->GetNodeData().SetTaggedObject(kDataKey, r.body);
  }
}
