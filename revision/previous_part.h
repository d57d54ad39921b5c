// The previous revision of a die, opened from its part file, and the
// carry-over of its BOM onto the part a host has open: what the tool and the
// studio call when a revision is opened.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include "host/memory/memory_host.h"
#include "revision/carry_over.h"

namespace revision {

// A previous revision that cannot be used; the message (GBK) names the file.
class PreviousPartError : public std::runtime_error {
 public:
  explicit PreviousPartError(const std::string& what) : std::runtime_error(what) {}
};

// Opens `path` (a local, UTF-8 path) in a host of its own. Throws
// PreviousPartError when the file does not exist, is not a part file (a
// STEP file keeps no attributes), cannot be read, or carries no BOM
// attributes (HasBomAttributes).
std::unique_ptr<memory::MemoryHost> OpenPrevious(const std::string& path);

// Opens the previous revision and carries its BOM over to the work part of
// `host` (see carry_over.h). Nothing is written on `host` when the previous
// revision cannot be used.
CarryOverResult CarryOver(memory::MemoryHost& host, const std::string& previous_part_path,
                          const CarryOverOptions& options);

}  // namespace revision
