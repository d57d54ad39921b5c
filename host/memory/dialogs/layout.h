// Dialog layout files of the in-memory host: a small XML format naming the
// dialog's title, its buttons and its blocks with their ids, kinds, labels and
// initial values. The format is described in ui/README.md.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "host/types.h"

namespace memory {

// The value of an enumeration: its members (GBK) and the selected index (-1: none).
struct EnumValue {
  int index = -1;
  std::vector<std::string> members;
};

// One typed block property. Texts are GBK.
using PropertyValue =
    std::variant<bool, int, double, std::string, std::vector<std::string>, EnumValue, host::Point3d,
                 host::Vector3d, std::vector<host::Tag>>;

// The name of a value's type, for messages ("logical", "integer", ...).
const char* PropertyTypeName(const PropertyValue& value);

struct Property {
  std::string name;
  PropertyValue value;
};

struct BlockLayout {
  std::string element;  // the layout element, e.g. "toggle"
  std::string type;     // the block kind, e.g. "Toggle" (host::Toggle::kType)
  std::string id;
  int parent = -1;  // index of the containing group or scrolled window; -1: the dialog
  std::vector<Property> properties;  // the initial values
  bool multiple = true;              // selection blocks: several objects, or one
  int line = 0;                      // line in the layout file
};

struct Layout {
  std::string file;   // the layout file name, e.g. "SetBomOption.dlx"
  std::string title;  // the dialog's window title (GBK)
  bool ok_button = true;
  bool apply_button = false;
  bool cancel_button = true;
  std::vector<BlockLayout> blocks;  // in layout order, containers before their contents
};

// Reads a layout from its text (UTF-8 XML). `file` names it in messages.
// Throws host::HostError "<file>, line <n>: <what>" for malformed XML, unknown
// elements or attributes, missing or repeated ids, and bad values.
Layout ParseLayout(const std::string& file, const std::string& xml);

// Reads the layout file `file` from the local folder `folder` (UTF-8). Throws
// host::HostError naming the file when it is missing or malformed.
Layout LoadLayout(const std::string& folder, const std::string& file);

}  // namespace memory
