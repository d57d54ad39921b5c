// The blank of every body of the work part, as the blank report draws it: the
// body's blank system (its named system, else its "材料方位", else the world
// axes) and its exact box in that system. The page draws each as a wire box
// with the system's axes and the three extents.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "host/host.h"

namespace studio {

class BlankCache {
 public:
  // [{"tag", "source": "system|orientation|world", "origin": [x,y,z],
  //   "axes": [[X],[Y],[Z]], "low": [x,y,z], "high": [x,y,z],
  //   "extents": [x,y,z], "note"}] in the order of the part's bodies; a body
  // that cannot be measured has "error" instead of the box; as JSON text. A
  // body is measured again only when its geometry, its "实体标识", its
  // "材料方位" or its named system changed, and the text is written again
  // only when a blank or the list of bodies changed.
  const std::string& Text(host::Host& host);
  std::size_t measured() const { return measured_; }

 private:
  std::map<host::Tag, std::pair<std::string, std::string>> by_body_;  // key, entry's JSON text
  std::vector<host::Tag> order_;
  std::string text_ = "[]";
  std::size_t measured_ = 0;
};

}  // namespace studio
