#include "studio/snapshot.h"

#include <cstdio>
#include <set>
#include <unordered_map>

#include "host/memory/colors.h"
#include "host/text.h"

namespace studio {

using nlohmann::json;

namespace {

std::string Utf8Uncached(const std::string& gbk) { return text::GbkToUtf8Lenient(gbk); }

}  // namespace

std::string Utf8(const std::string& gbk) {
  // A snapshot converts tens of thousands of cells; most are plain ASCII and
  // the rest repeat (names, materials, layers), so each text is converted once.
  bool ascii = true;
  for (char c : gbk) ascii = ascii && static_cast<unsigned char>(c) < 0x80;
  if (ascii) return gbk;
  thread_local std::unordered_map<std::string, std::string> converted;
  const auto it = converted.find(gbk);
  if (it != converted.end()) return it->second;
  if (converted.size() > 200000) converted.clear();
  return converted.emplace(gbk, Utf8Uncached(gbk)).first->second;
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

// Tree rows are the bulk of a snapshot: they are written as JSON text
// straight away, and the snapshot's text takes them in place of a
// placeholder (see SnapshotText).
thread_local std::vector<std::string> g_rows;
// Each row on its own as well, for answers that carry only changed rows.
thread_local std::vector<TreeRows> g_trees;
thread_local std::size_t g_dialog = 0;  // index of the dialog being written

void Escaped(std::string& out, const std::string& utf8) {
  static const char kHex[] = "0123456789abcdef";
  out += '"';
  for (char c : utf8) {
    const unsigned char u = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (u < 0x20) {
      out += "\\u00";
      out += kHex[u >> 4];
      out += kHex[u & 15];
    } else {
      out += c;
    }
  }
  out += '"';
}

// A row's own fields, without its children, as a JSON object's text.
std::string RowText(host::Node* node, const std::string& path,
                    const std::vector<memory::TreeColumn>& columns) {
  std::string out = "{\"path\":\"" + path + "\",\"texts\":{";
  for (std::size_t c = 0; c < columns.size(); ++c) {
    if (c) out += ',';
    out += '"' + std::to_string(columns[c].id) + "\":";
    Escaped(out, Utf8(node->GetColumnDisplayText(columns[c].id)));
  }
  const int color = node->ForegroundColor();
  const int state = node->State();
  out += "},\"color\":" + std::to_string(color) + ",\"rgb\":\"" +
         (color == 0 ? std::string() : ColorText(color)) +
         "\",\"expanded\":" + (node->Expanded() ? "true" : "false") +
         ",\"state\":" + std::to_string(state == host::kNodeNoCheckBox ? -1 : state) +
         ",\"selected\":" + (node->IsSelected() ? "true" : "false") + "}";
  return out;
}

void WriteRows(memory::DialogDriver& d, const std::vector<host::Node*>& nodes,
               const std::string& prefix, const std::vector<memory::TreeColumn>& columns,
               TreeRows& flat, std::string& out) {
  out += '[';
  for (std::size_t i = 0; i < nodes.size(); ++i) {
    host::Node* node = nodes[i];
    const std::string path = prefix + std::to_string(i);
    if (i) out += ',';
    std::string row = RowText(node, path, columns);
    out.append(row, 0, row.size() - 1);
    out += ",\"children\":";
    flat.paths.push_back(path);
    flat.rows.push_back(std::move(row));
    WriteRows(d, d.Children(node), path + ".", columns, flat, out);
    out += '}';
  }
  out += ']';
}

std::string Placeholder(std::size_t index) { return "\x01rows" + std::to_string(index); }

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
  std::string rows;
  TreeRows flat;
  flat.dialog = g_dialog;
  flat.tree = tree_id;
  WriteRows(d, d.TopNodes(tree_id), "", columns, flat, rows);
  g_rows.push_back(std::move(rows));
  g_trees.push_back(std::move(flat));
  out["rows"] = Placeholder(g_rows.size() - 1);

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

std::string SnapshotText(const json& snapshot) {
  return WithRows(snapshot.dump(-1, ' ', false, json::error_handler_t::replace));
}

std::string WithRows(std::string text) {
  for (std::size_t i = 0; i < g_rows.size(); ++i) {
    const std::string quoted = json(Placeholder(i)).dump();
    const std::size_t at = text.find(quoted);
    if (at != std::string::npos) text.replace(at, quoted.size(), g_rows[i]);
  }
  g_rows.clear();
  return text;
}

json DialogsJson(memory::MemoryHost& host) {
  g_rows.clear();
  g_trees.clear();
  json out = json::array();
  for (memory::MemoryDialog* dialog : host.memory_dialogs().showing()) {
    memory::DialogDriver d(*dialog);
    if (d.closed()) continue;
    g_dialog = out.size();
    out.push_back(DialogJson(d));
  }
  return out;
}

std::vector<TreeRows> TakeTreeRows() { return std::move(g_trees); }

std::set<host::Tag> SelectedBodies(memory::MemoryHost& host) {
  std::set<host::Tag> out;
  for (memory::MemoryDialog* dialog : host.memory_dialogs().showing()) {
    memory::DialogDriver d(*dialog);
    if (d.closed()) continue;
    for (const memory::BlockLayout& b : d.layout().blocks) {
      if (b.type == host::BodyCollector::kType) {
        for (host::Tag t : d.block(b.id).GetProperties().GetTaggedObjectVector("SelectedObjects"))
          out.insert(t);
      } else if (b.type == host::Tree::kType) {
        // A row names its body in its data, as the host's trees keep it.
        for (host::Node* node : d.tree(b.id).GetSelectedNodes()) {
          host::DataContainer& data = node->GetNodeData();
          if (data.HasKey("Data")) out.insert(data.GetTaggedObject("Data"));
        }
      }
    }
  }
  return out;
}

std::string BodiesText(memory::MemoryHost& host) {
  // A thousand bodies: written as text straight away, like the tree rows.
  const std::set<host::Tag> selected = SelectedBodies(host);
  host::Objects& objects = host.objects();
  const char* const kBool[] = {"false", "true"};
  std::string out = "[";
  for (host::Tag b : host.bodies().PartBodies(host.session().WorkPart())) {
    const int layer = objects.Layer(b);
    const int color = objects.Color(b);
    const bool picked = selected.count(b) != 0;
    if (out.size() > 1) out += ',';
    out += "{\"tag\":" + std::to_string(b) + ",\"name\":";
    Escaped(out, Utf8(objects.Name(b)));
    out += ",\"layer\":" + std::to_string(layer) + ",\"color\":" + std::to_string(color) +
           ",\"rgb\":\"" + ColorText(color) + "\",\"blanked\":" + kBool[objects.IsBlanked(b)] +
           ",\"highlighted\":" + kBool[objects.IsHighlighted(b) || picked] +
           ",\"selected\":" + kBool[picked] +
           ",\"layer_visible\":" + kBool[host.layers().AskStatus(layer) != host::kStatusHidden] +
           '}';
  }
  return out + ']';
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
