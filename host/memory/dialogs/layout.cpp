#include "host/memory/dialogs/layout.h"

#include <pugixml.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <limits>
#include <map>
#include <set>
#include <sstream>

#include "host/text.h"

namespace memory {
namespace {

// What each layout element makes.
struct Kind {
  const char* element;
  const char* type;
  bool container;
  const char* item_element;          // child elements holding list entries, or null
  std::set<std::string> attributes;  // beyond id, label, show, enable
};

const std::vector<Kind>& Kinds() {
  static const std::vector<Kind> kinds = {
      {"group", "Group", true, nullptr, {"expanded"}},
      {"scrolled_window", "ScrolledWindow", true, nullptr, {}},
      {"separator", "Separator", false, nullptr, {}},
      {"label", "Label", false, nullptr, {}},
      {"button", "Button", false, nullptr, {"bitmap"}},
      {"toggle", "Toggle", false, nullptr, {"value"}},
      {"integer", "Integer", false, nullptr, {"value"}},
      {"double", "Double", false, nullptr, {"value"}},
      {"string", "String", false, "item", {"value"}},
      {"multiline_string", "MultilineString", false, "line", {}},
      {"enumeration", "Enumeration", false, "member", {"value"}},
      {"folder_selection", "FolderSelection", false, nullptr, {"value"}},
      {"body_selection", "BodyCollector", false, nullptr, {"multiple", "bitmap"}},
      {"csys_selection", "SpecifyCSYS", false, nullptr, {}},
      {"vector", "SpecifyVector", false, nullptr, {"point", "value"}},
      {"point", "SpecifyPoint", false, nullptr, {"value"}},
      {"tree", "Tree", false, nullptr, {}},
  };
  return kinds;
}

const Kind* FindKind(const std::string& element) {
  for (const Kind& kind : Kinds()) {
    if (element == kind.element) return &kind;
  }
  return nullptr;
}

// The layout file's text converted for the program; the local file name may
// not be GBK, so messages fall back to the bytes as they are.
std::string ToGbkOrRaw(const std::string& utf8) {
  try {
    return text::Utf8ToGbk(utf8);
  } catch (const text::EncodingError&) {
    return utf8;
  }
}

class Parser {
 public:
  Parser(const std::string& file, const std::string& xml) : file_(file), xml_(xml) {}

  Layout Parse() {
    pugi::xml_document doc;
    const pugi::xml_parse_result result =
        doc.load_buffer(xml_.data(), xml_.size(), pugi::parse_default, pugi::encoding_utf8);
    if (!result) Fail(static_cast<std::size_t>(result.offset), result.description());
    pugi::xml_node root = doc.document_element();
    if (std::string(root.name()) != "dialog") {
      Fail(root, "the top element is <" + std::string(root.name()) + ">, not <dialog>");
    }
    layout_.file = file_;
    for (pugi::xml_attribute attribute : root.attributes()) {
      const std::string name = attribute.name();
      if (name == "title") {
        layout_.title = Text(root, attribute.value());
      } else if (name == "buttons") {
        ParseButtons(root, attribute.value());
      } else {
        Fail(root, "unknown attribute \"" + name + "\" of <dialog>");
      }
    }
    ParseChildren(root, -1);
    return std::move(layout_);
  }

 private:
  [[noreturn]] void Fail(std::size_t offset, const std::string& what) const {
    const std::size_t end = std::min(offset, xml_.size());
    const int line = 1 + static_cast<int>(std::count(xml_.begin(), xml_.begin() + end, '\n'));
    throw host::HostError(file_ + ", line " + std::to_string(line) + ": " + what);
  }
  [[noreturn]] void Fail(pugi::xml_node node, const std::string& what) const {
    Fail(static_cast<std::size_t>(std::max<std::ptrdiff_t>(node.offset_debug(), 0)), what);
  }
  int Line(pugi::xml_node node) const {
    const std::size_t end = std::min(
        static_cast<std::size_t>(std::max<std::ptrdiff_t>(node.offset_debug(), 0)), xml_.size());
    return 1 + static_cast<int>(std::count(xml_.begin(), xml_.begin() + end, '\n'));
  }

  std::string Text(pugi::xml_node node, const char* utf8) const {
    try {
      return text::Utf8ToGbk(utf8);
    } catch (const text::EncodingError& e) {
      Fail(node,
           std::string("the text is not UTF-8 or not representable in GBK (") + e.what() + ")");
    }
  }

  void ParseButtons(pugi::xml_node node, const std::string& list) {
    layout_.ok_button = layout_.apply_button = layout_.cancel_button = false;
    std::istringstream words(list);
    std::string word;
    while (words >> word) {
      if (word == "ok") {
        layout_.ok_button = true;
      } else if (word == "apply") {
        layout_.apply_button = true;
      } else if (word == "cancel") {
        layout_.cancel_button = true;
      } else {
        Fail(node, "unknown dialog button \"" + word + "\" (ok, apply, cancel)");
      }
    }
  }

  bool Logical(pugi::xml_node node, const std::string& attribute, const std::string& value) const {
    if (value == "true") return true;
    if (value == "false") return false;
    Fail(node, attribute + "=\"" + value + "\" is not true or false");
  }

  int Integer(pugi::xml_node node, const std::string& attribute, const std::string& value) const {
    errno = 0;
    char* end = nullptr;
    const long v = std::strtol(value.c_str(), &end, 10);
    if (value.empty() || *end != '\0' || errno == ERANGE || v < std::numeric_limits<int>::min() ||
        v > std::numeric_limits<int>::max()) {
      Fail(node, attribute + "=\"" + value + "\" is not an integer");
    }
    return static_cast<int>(v);
  }

  double Real(pugi::xml_node node, const std::string& attribute, const std::string& value) const {
    errno = 0;
    char* end = nullptr;
    const double v = std::strtod(value.c_str(), &end);
    if (value.empty() || *end != '\0' || errno == ERANGE) {
      Fail(node, attribute + "=\"" + value + "\" is not a number");
    }
    return v;
  }

  // "x,y,z"
  host::Point3d Triple(pugi::xml_node node, const std::string& attribute,
                       const std::string& value) const {
    double v[3];
    std::size_t start = 0;
    for (int i = 0; i < 3; ++i) {
      const std::size_t comma = value.find(',', start);
      if ((i < 2) != (comma != std::string::npos)) {
        Fail(node, attribute + "=\"" + value + "\" is not three numbers \"x,y,z\"");
      }
      v[i] = Real(node, attribute, value.substr(start, comma - start));
      start = comma + 1;
    }
    return {v[0], v[1], v[2]};
  }

  void ParseChildren(pugi::xml_node parent, int parent_index) {
    for (pugi::xml_node child : parent.children()) {
      if (child.type() == pugi::node_comment) continue;
      if (child.type() != pugi::node_element) {
        if (child.type() == pugi::node_pcdata &&
            std::string(child.value()).find_first_not_of(" \t\r\n") == std::string::npos) {
          continue;
        }
        Fail(child, "text is not allowed here");
      }
      ParseBlock(child, parent_index);
    }
  }

  // One block element: its attributes, its list entries, its initial
  // property values, then (for a container) the blocks inside it.
  void ParseBlock(pugi::xml_node node, int parent_index) {
    const std::string element = node.name();
    const Kind* kind = FindKind(element);
    if (kind == nullptr) Fail(node, "unknown element <" + element + ">");

    BlockLayout block;
    block.element = element;
    block.type = kind->type;
    block.parent = parent_index;
    block.line = Line(node);
    block.multiple = element == "body_selection";

    Attributes attributes = ReadAttributes(node, *kind);
    block.id = attributes.id;
    CheckId(node, block.id);
    const std::vector<std::string> entries = ReadEntries(node, *kind);
    block.properties = InitialProperties(node, attributes, entries, block.multiple);

    layout_.blocks.push_back(std::move(block));
    if (kind->container) ParseChildren(node, static_cast<int>(layout_.blocks.size()) - 1);
  }

  // The attributes of a block element, checked against its kind.
  struct Attributes {
    std::string id, label, value;
    bool show = true, enable = true, has_value = false;
    std::map<std::string, std::string> extra;  // the kind's own attributes
  };

  Attributes ReadAttributes(pugi::xml_node node, const Kind& kind) const {
    const std::string element = node.name();
    Attributes a;
    for (pugi::xml_attribute attribute : node.attributes()) {
      const std::string name = attribute.name();
      if (name == "id") {
        a.id = attribute.value();
      } else if (name == "label") {
        a.label = Text(node, attribute.value());
      } else if (name == "show") {
        a.show = Logical(node, name, attribute.value());
      } else if (name == "enable") {
        a.enable = Logical(node, name, attribute.value());
      } else if (name == "value") {
        if (kind.attributes.count(name) == 0) {
          Fail(node, "<" + element + "> takes no attribute \"value\"");
        }
        a.has_value = true;
        a.value = attribute.value();
      } else if (kind.attributes.count(name) != 0) {
        a.extra[name] = attribute.value();
      } else {
        Fail(node, "unknown attribute \"" + name + "\" of <" + element + ">");
      }
    }
    return a;
  }

  void CheckId(pugi::xml_node node, const std::string& id) {
    if (id.empty()) Fail(node, "<" + std::string(node.name()) + "> has no id");
    if (id.find_first_of(" \t\r\n\"") != std::string::npos) {
      Fail(node, "the id \"" + id + "\" contains spaces or quotes");
    }
    if (!ids_.insert(id).second) Fail(node, "the id \"" + id + "\" is used twice");
  }

  // The entries of a list block (<member>, <item>, <line>).
  std::vector<std::string> ReadEntries(pugi::xml_node node, const Kind& kind) const {
    const std::string element = node.name();
    std::vector<std::string> entries;
    for (pugi::xml_node child : node.children()) {
      if (child.type() == pugi::node_comment) continue;
      if (child.type() == pugi::node_pcdata &&
          std::string(child.value()).find_first_not_of(" \t\r\n") == std::string::npos) {
        continue;
      }
      if (kind.container && child.type() == pugi::node_element) continue;
      if (kind.item_element == nullptr || child.type() != pugi::node_element ||
          std::string(child.name()) != kind.item_element) {
        const std::string what = child.type() == pugi::node_element
                                     ? "<" + std::string(child.name()) + ">"
                                     : std::string("text");
        Fail(child, what + " is not allowed inside <" + element + ">");
      }
      for (pugi::xml_node grandchild : child.children()) {
        if (grandchild.type() != pugi::node_pcdata && grandchild.type() != pugi::node_cdata) {
          Fail(grandchild, "<" + std::string(kind.item_element) + "> holds text only");
        }
      }
      if (child.first_attribute()) {
        Fail(child, "<" + std::string(kind.item_element) + "> takes no attributes");
      }
      entries.push_back(Text(child, child.text().get()));
    }
    return entries;
  }

  // The block's properties with their values when the dialog opens.
  std::vector<Property> InitialProperties(pugi::xml_node node, Attributes& a,
                                          const std::vector<std::string>& entries,
                                          bool& multiple) const {
    const std::string element = node.name();
    const std::string& value = a.value;
    const bool has_value = a.has_value;
    auto& extra = a.extra;
    std::vector<Property> props;
    props.push_back({"Label", a.label});
    props.push_back({"Show", a.show});
    props.push_back({"Enable", a.enable});
    if (element == "group") {
      props.push_back({"Expanded", extra.count("expanded") == 0 ||
                                       Logical(node, "expanded", extra["expanded"])});
    } else if (element == "button") {
      props.push_back({"Bitmap", Text(node, extra["bitmap"].c_str())});
    } else if (element == "toggle") {
      props.push_back({"Value", has_value && Logical(node, "value", value)});
    } else if (element == "integer") {
      props.push_back({"Value", has_value ? Integer(node, "value", value) : 0});
    } else if (element == "double") {
      props.push_back({"Value", has_value ? Real(node, "value", value) : 0.0});
    } else if (element == "string") {
      props.push_back({"Value", Text(node, value.c_str())});
      props.push_back({"ListItems", entries});
    } else if (element == "multiline_string") {
      props.push_back({"Value", entries});
    } else if (element == "enumeration") {
      props.push_back({"Value", Enumeration(node, entries, has_value, value)});
    } else if (element == "folder_selection") {
      props.push_back({"Path", Text(node, value.c_str())});
    } else if (element == "body_selection") {
      props.push_back({"SelectedObjects", std::vector<host::Tag>{}});
      props.push_back({"Bitmap", Text(node, extra["bitmap"].c_str())});
      if (extra.count("multiple") != 0) multiple = Logical(node, "multiple", extra["multiple"]);
    } else if (element == "csys_selection") {
      props.push_back({"SelectedObjects", std::vector<host::Tag>{}});
    } else if (element == "vector") {
      const host::Point3d d = has_value ? Triple(node, "value", value) : host::Point3d{0, 0, 1};
      const host::Point3d p =
          extra.count("point") != 0 ? Triple(node, "point", extra["point"]) : host::Point3d{};
      props.push_back({"Vector", host::Vector3d{d.X, d.Y, d.Z}});
      props.push_back({"Point", p});
      props.push_back({"SelectedObjects", std::vector<host::Tag>{}});
    } else if (element == "point") {
      props.push_back({"Point", has_value ? Triple(node, "value", value) : host::Point3d{}});
      props.push_back({"SelectedObjects", std::vector<host::Tag>{}});
    }
    return props;
  }

  EnumValue Enumeration(pugi::xml_node node, const std::vector<std::string>& members,
                        bool has_value, const std::string& value) const {
    EnumValue e;
    e.members = members;
    e.index = members.empty() ? -1 : 0;
    if (has_value) {
      e.index = Integer(node, "value", value);
      if (e.index < 0 || e.index >= static_cast<int>(members.size())) {
        Fail(node, "value=\"" + value + "\" is not the index of a member (" +
                       std::to_string(members.size()) + " members)");
      }
    }
    return e;
  }

  std::string file_;
  const std::string& xml_;
  Layout layout_;
  std::set<std::string> ids_;
};

}  // namespace

const char* PropertyTypeName(const PropertyValue& value) {
  static const char* const kNames[] = {"logical",     "integer", "double", "text",   "lines",
                                       "enumeration", "point",   "vector", "objects"};
  return kNames[value.index()];
}

Layout ParseLayout(const std::string& file, const std::string& xml) {
  return Parser(file, xml).Parse();
}

Layout LoadLayout(const std::string& folder, const std::string& file) {
  if (file.empty()) throw host::HostError("no dialog layout file named");
  if (file.find_first_of("/\\") != std::string::npos) {
    throw host::HostError("dialog layout file \"" + file +
                          "\": give the file name without a folder");
  }
  std::string local_name;
  try {
    local_name = text::GbkToUtf8(file);
  } catch (const text::EncodingError&) {
    throw host::HostError("dialog layout file name \"" + file + "\" is not GBK text");
  }
  const std::string path = folder + "/" + local_name;
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    throw host::HostError("dialog layout file " + file + " not found in " + ToGbkOrRaw(folder));
  }
  const std::string xml((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (in.bad()) throw host::HostError("dialog layout file " + file + " cannot be read");
  return ParseLayout(file, xml);
}

}  // namespace memory
