#include "studio/actions.h"

#include <set>

#include "host/text.h"
#include "studio/snapshot.h"

namespace studio {

using nlohmann::json;

namespace {

const json& Field(const json& action, const char* name) {
  const auto it = action.find(name);
  if (it == action.end() || it->is_null())
    throw ActionError("the action \"" + action.value("action", std::string()) + "\" needs \"" +
                      name + "\"");
  return *it;
}

template <class T>
T Get(const json& action, const char* name) {
  const json& value = Field(action, name);
  try {
    return value.get<T>();
  } catch (const json::exception&) {
    throw ActionError(std::string("\"") + name + "\" of the action \"" +
                      action.value("action", std::string()) + "\" has the wrong type");
  }
}

std::string Text(const json& action, const char* name) { return Get<std::string>(action, name); }

int Column(const json& action) { return action.contains("col") ? Get<int>(action, "col") : 0; }

host::Vector3d Vector(const json& action, const char* name) {
  const auto v = Get<std::vector<double>>(action, name);
  if (v.size() != 3) throw ActionError(std::string("\"") + name + "\" needs three numbers");
  return {v[0], v[1], v[2]};
}

host::Node* Row(memory::DialogDriver& d, const json& action) {
  return RowAt(d, Text(action, "tree"), Text(action, "row"));
}

const char* ControlName(host::ControlType control) {
  switch (control) {
    case host::ControlType::ListBox:
      return "list";
    case host::ControlType::ComboBox:
      return "combo";
    default:
      break;
  }
  return "none";
}

json MenuJson(const std::vector<memory::MenuEntry>& menu) {
  json out = json::array();
  for (const memory::MenuEntry& e : menu)
    out.push_back({{"id", e.id}, {"text", Utf8(e.text)}, {"separator", e.separator}});
  return out;
}

// "set": the block's kind decides what the value is.
void SetValue(memory::DialogDriver& d, const json& action) {
  const std::string id = Text(action, "block");
  const std::string type = d.block(id).Type();
  if (type == host::Toggle::kType) {
    d.SetToggle(id, Get<bool>(action, "value"));
  } else if (type == host::IntegerBlock::kType) {
    d.SetInteger(id, Get<int>(action, "value"));
  } else if (type == host::DoubleBlock::kType) {
    d.SetDouble(id, Get<double>(action, "value"));
  } else if (type == host::StringBlock::kType) {
    d.SetString(id, Gbk(Text(action, "value")));
  } else if (type == host::MultilineString::kType) {
    std::vector<std::string> lines;
    for (const std::string& line : Get<std::vector<std::string>>(action, "value"))
      lines.push_back(Gbk(line));
    d.SetLines(id, lines);
  } else if (type == host::Enumeration::kType) {
    d.SelectEnum(id, Get<int>(action, "value"));
  } else if (type == host::FolderSelection::kType) {
    d.SetFolder(id, Gbk(Text(action, "value")));
  } else if (type == host::Group::kType) {
    // Opening or folding a group is the person's own: no handler runs.
    d.block(id).GetProperties().SetLogical("Expanded", Get<bool>(action, "value"));
  } else {
    throw ActionError("block \"" + id + "\" is " + type + ", which takes no value");
  }
}

}  // namespace

std::string Gbk(const std::string& utf8) {
  try {
    return text::Utf8ToGbk(utf8);
  } catch (const text::EncodingError&) {
    throw ActionError("the text \"" + utf8 + "\" holds characters that GBK cannot write");
  }
}

host::Node* RowAt(memory::DialogDriver& d, const std::string& tree_id, const std::string& path) {
  std::vector<host::Node*> level = d.TopNodes(tree_id);
  host::Node* node = nullptr;
  std::size_t start = 0;
  while (true) {
    const std::size_t dot = path.find('.', start);
    const std::string part = path.substr(start, dot == std::string::npos ? dot : dot - start);
    std::size_t index = 0;
    bool ok = !part.empty() && part.size() < 9;
    for (char c : part) ok = ok && c >= '0' && c <= '9';
    if (ok) index = std::stoul(part);
    if (!ok || index >= level.size())
      throw ActionError("tree \"" + tree_id + "\" has no row " + path);
    node = level[index];
    if (dot == std::string::npos) return node;
    level = d.Children(node);
    start = dot + 1;
  }
}

bool IsDialogAction(const std::string& name) {
  static const std::set<std::string> kActions = {
      "set",    "vector", "point", "press",  "pick", "unpick",    "click",
      "check",  "editor", "edit",  "option", "menu", "menu-item", "double-click",
      "expand", "ok",     "apply", "cancel", "close"};
  return kActions.count(name) != 0;
}

json ApplyDialogAction(memory::DialogDriver& d, const json& action) {
  const std::string name = Text(action, "action");
  json out = json::object();
  if (name == "set") {
    SetValue(d, action);
  } else if (name == "vector") {
    const host::Vector3d p = Vector(action, "point");
    d.SetVector(Text(action, "block"), Vector(action, "vector"), {p.X, p.Y, p.Z});
  } else if (name == "point") {
    const host::Vector3d p = Vector(action, "point");
    d.SetPoint(Text(action, "block"), {p.X, p.Y, p.Z});
  } else if (name == "press") {
    d.Press(Text(action, "block"));
  } else if (name == "pick") {
    out["accepted"] = d.Pick(Text(action, "block"), Get<std::vector<host::Tag>>(action, "tags"));
  } else if (name == "unpick") {
    const auto tags = action.contains("tags") ? Get<std::vector<host::Tag>>(action, "tags")
                                              : std::vector<host::Tag>{};
    if (tags.empty())
      d.ClearSelection(Text(action, "block"));
    else
      d.Unpick(Text(action, "block"), tags);
  } else if (name == "click") {
    host::Node* row = Row(d, action);
    if (action.value("ctrl", false))
      d.CtrlClick(row, Column(action));
    else
      d.Click(row, Column(action));
  } else if (name == "check") {
    d.ClickCheckBox(Row(d, action));
  } else if (name == "editor") {
    host::Node* row = Row(d, action);
    const int column = Column(action);
    const memory::CellEditor editor = d.AskEditor(row, column);
    json options = json::array();
    for (const std::string& o : editor.options) options.push_back(Utf8(o));
    const bool text = editor.control != host::ControlType::ListBox;
    out["editor"] = {{"control", ControlName(editor.control)},
                     {"options", std::move(options)},
                     {"selected", editor.selected},
                     {"can_edit", text && d.CanEditText(row, column)}};
  } else if (name == "edit") {
    out["accepted"] = d.EditCell(Row(d, action), Column(action), Gbk(Text(action, "text")));
  } else if (name == "option") {
    out["accepted"] = d.ChooseOption(Row(d, action), Column(action), Get<int>(action, "index"));
  } else if (name == "menu") {
    if (!action.contains("row") || action["row"].is_null())
      out["menu"] = MenuJson(d.OpenMenuOnEmptySpace(Text(action, "tree")));
    else
      out["menu"] = MenuJson(d.OpenMenu(Row(d, action), Column(action)));
  } else if (name == "menu-item") {
    d.ChooseMenuItem(Row(d, action), Get<int>(action, "item"), Column(action));
  } else if (name == "double-click") {
    d.DoubleClick(Row(d, action), Column(action));
  } else if (name == "expand") {
    Row(d, action)->Expand(Get<bool>(action, "expanded") ? host::ExpandOption::Expand
                                                         : host::ExpandOption::Collapse);
  } else if (name == "ok") {
    out["closed"] = d.Ok();
  } else if (name == "apply") {
    out["result"] = d.Apply();
  } else if (name == "cancel") {
    d.Cancel();
  } else if (name == "close") {
    d.Close();
  } else {
    throw ActionError("\"" + name + "\" is no action on a dialog");
  }
  return out;
}

}  // namespace studio
