#include "studio/snapshot.h"

#include <cstdio>

#include "host/memory/colors.h"
#include "host/text.h"

namespace studio {

using nlohmann::json;

std::string Utf8(const std::string& gbk) {
  try {
    return text::GbkToUtf8(gbk);
  } catch (const text::EncodingError&) {
  }
  std::string out;
  for (std::size_t i = 0; i < gbk.size();) {
    const unsigned char c = static_cast<unsigned char>(gbk[i]);
    const std::size_t n = c < 0x80 || i + 1 >= gbk.size() ? 1 : 2;
    try {
      out += text::GbkToUtf8(gbk.substr(i, n));
      i += n;
    } catch (const text::EncodingError&) {
      out += "\xEF\xBF\xBD";
      ++i;
    }
  }
  return out;
}

std::string ColorText(int index) {
  memory::Rgb rgb{0x99, 0x99, 0x99};
  if (index >= memory::kFirstColor && index <= memory::kLastColor) rgb = memory::ColorRgb(index);
  char buffer[8];
  std::snprintf(buffer, sizeof buffer, "#%02x%02x%02x", rgb.r, rgb.g, rgb.b);
  return buffer;
}

namespace {

json Lines(const std::vector<std::string>& lines) {
  json out = json::array();
  for (const std::string& line : lines) out.push_back(Utf8(line));
  return out;
}

json Point(const host::Point3d& p) { return json::array({p.X, p.Y, p.Z}); }
json Vector(const host::Vector3d& v) { return json::array({v.X, v.Y, v.Z}); }

bool HasProperty(host::PropertyList& properties, const std::string& name) {
  for (const std::string& n : properties.GetPropertyNames())
    if (n == name) return true;
  return false;
}

// The value of a block by its kind, added to `out`.
void AddValue(memory::DialogDriver& d, const memory::BlockLayout& layout, host::UIBlock& block,
              json& out) {
  host::PropertyList& p = block.GetProperties();
  const std::string& type = layout.type;
  if (type == host::Toggle::kType) {
    out["value"] = p.GetLogical("Value");
  } else if (type == host::IntegerBlock::kType) {
    out["value"] = p.GetInteger("Value");
  } else if (type == host::DoubleBlock::kType) {
    out["value"] = p.GetDouble("Value");
  } else if (type == host::StringBlock::kType) {
    out["value"] = Utf8(p.GetString("Value"));
    out["items"] = Lines(p.GetStrings("ListItems"));
  } else if (type == host::MultilineString::kType) {
    out["value"] = Lines(p.GetStrings("Value"));
  } else if (type == host::Enumeration::kType) {
    out["value"] = p.GetEnum("Value");
    out["members"] = Lines(p.GetEnumMembers("Value"));
  } else if (type == host::FolderSelection::kType) {
    out["value"] = Utf8(p.GetString("Path"));
  } else if (type == host::BodyCollector::kType || type == host::SpecifyCSYS::kType) {
    out["selected"] = p.GetTaggedObjectVector("SelectedObjects");
    out["multiple"] = layout.multiple;
  } else if (type == host::SpecifyVector::kType) {
    out["vector"] = Vector(p.GetVector("Vector"));
    out["point"] = Point(p.GetPoint("Point"));
  } else if (type == host::SpecifyPoint::kType) {
    out["point"] = Point(p.GetPoint("Point"));
  } else if (type == host::Group::kType) {
    if (HasProperty(p, "Expanded")) out["expanded"] = p.GetLogical("Expanded");
  } else if (type == host::Tree::kType) {
    const json tree = TreeJson(d, layout.id);
    for (auto it = tree.begin(); it != tree.end(); ++it) out[it.key()] = it.value();
  }
}

json RowJson(memory::DialogDriver& d, host::Node* node, const std::string& path,
             const std::vector<memory::TreeColumn>& columns) {
  json row;
  row["path"] = path;
  json texts = json::object();
  for (const memory::TreeColumn& c : columns)
    texts[std::to_string(c.id)] = Utf8(node->GetColumnDisplayText(c.id));
  row["texts"] = std::move(texts);
  const int color = node->ForegroundColor();
  row["color"] = color;
  row["rgb"] = color == 0 ? std::string() : ColorText(color);
  row["expanded"] = node->Expanded();
  const int state = node->State();
  row["state"] = state == host::kNodeNoCheckBox ? -1 : state;
  row["selected"] = node->IsSelected();
  json children = json::array();
  const std::vector<host::Node*> kids = d.Children(node);
  for (std::size_t i = 0; i < kids.size(); ++i)
    children.push_back(RowJson(d, kids[i], path + "." + std::to_string(i), columns));
  row["children"] = std::move(children);
  return row;
}

}  // namespace

json TreeJson(memory::DialogDriver& d, const std::string& tree_id) {
  json out;
  const std::vector<memory::TreeColumn> columns = d.Columns(tree_id);
  out["tooltips"] = d.ToolTips(tree_id);
  json cols = json::array();
  for (const memory::TreeColumn& c : columns)
    cols.push_back(
        {{"id", c.id}, {"title", Utf8(c.title)}, {"width", c.width}, {"visible", c.visible}});
  out["columns"] = std::move(cols);
  json rows = json::array();
  const std::vector<host::Node*> top = d.TopNodes(tree_id);
  for (std::size_t i = 0; i < top.size(); ++i)
    rows.push_back(RowJson(d, top[i], std::to_string(i), columns));
  out["rows"] = std::move(rows);
  return out;
}

json DialogJson(memory::DialogDriver& d) {
  const memory::Layout& layout = d.layout();
  json dialog;
  dialog["file"] = layout.file;
  dialog["title"] = Utf8(layout.title);
  json buttons = json::array();
  if (layout.ok_button) buttons.push_back("ok");
  if (layout.apply_button) buttons.push_back("apply");
  if (layout.cancel_button) buttons.push_back("cancel");
  dialog["buttons"] = std::move(buttons);
  std::vector<json> blocks(layout.blocks.size());
  for (std::size_t i = 0; i < layout.blocks.size(); ++i) {
    const memory::BlockLayout& b = layout.blocks[i];
    host::UIBlock& block = d.block(b.id);
    json& out = blocks[i];
    out["id"] = b.id;
    out["type"] = b.type;
    out["label"] = Utf8(block.Label());
    out["show"] = block.Show();
    out["enable"] = block.Enable();
    AddValue(d, b, block, out);
    if (b.type == host::Group::kType || b.type == host::ScrolledWindow::kType)
      out["children"] = json::array();
  }
  // A container comes before its contents: place the blocks from the last
  // back, each at the front of its container (or of the dialog).
  json top = json::array();
  for (std::size_t i = layout.blocks.size(); i-- > 0;) {
    const int parent = layout.blocks[i].parent;
    if (parent < 0) {
      top.insert(top.begin(), std::move(blocks[i]));
    } else {
      json& children = blocks[parent]["children"];
      children.insert(children.begin(), std::move(blocks[i]));
    }
  }
  dialog["blocks"] = std::move(top);
  return dialog;
}

json DialogsJson(memory::MemoryHost& host) {
  json out = json::array();
  for (memory::MemoryDialog* dialog : host.memory_dialogs().showing()) {
    memory::DialogDriver d(*dialog);
    if (d.closed()) continue;
    out.push_back(DialogJson(d));
  }
  return out;
}

json BodiesJson(memory::MemoryHost& host) {
  json out = json::array();
  host::Objects& objects = host.objects();
  for (host::Tag b : host.bodies().PartBodies(host.session().WorkPart())) {
    const int layer = objects.Layer(b);
    const int color = objects.Color(b);
    out.push_back({{"tag", b},
                   {"name", Utf8(objects.Name(b))},
                   {"layer", layer},
                   {"color", color},
                   {"rgb", ColorText(color)},
                   {"blanked", objects.IsBlanked(b)},
                   {"highlighted", objects.IsHighlighted(b)},
                   {"layer_visible", host.layers().AskStatus(layer) != host::kStatusHidden}});
  }
  return out;
}

json SystemsJson(memory::MemoryHost& host) {
  json out = json::array();
  host::Objects& objects = host.objects();
  for (host::Tag s : host.csys().PartCsys(host.session().WorkPart())) {
    const host::CsysInfo info = host.csys().AskCsysInfo(s);
    out.push_back({{"tag", s},
                   {"name", Utf8(objects.Name(s))},
                   {"origin", Point(info.origin)},
                   {"axes", json::array({Vector(info.matrix.XAxis()), Vector(info.matrix.YAxis()),
                                         Vector(info.matrix.ZAxis())})},
                   {"blanked", objects.IsBlanked(s)},
                   {"layer", objects.Layer(s)}});
  }
  return out;
}

}  // namespace studio
