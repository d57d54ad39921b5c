// Overlapping bodies: the bodies of a set that share volume with another body
// of the set. Bodies that only touch (a plate resting on a plate, a punch in
// a hole of its own diameter) do not overlap.
#pragma once

#include <vector>

#include "host/host.h"

namespace blank {

class CNobokudBase {
 public:
  // The bodies among `bodies` that overlap (share volume with) another of
  // them, in the order of `bodies`, each listed once. A body listed twice is
  // one body; null or deleted tags and bodies without geometry overlap
  // nothing.
  static std::vector<host::Tag> AskOverlappingBodyOfBodys(host::Host& host,
                                                          const std::vector<host::Tag>& bodies);
};

}  // namespace blank
