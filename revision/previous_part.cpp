#include "revision/previous_part.h"

#include "host/memory/part_file.h"
#include "host/text.h"

namespace revision {

std::unique_ptr<memory::MemoryHost> OpenPrevious(const std::string& path) {
  const std::string shown = text::Utf8ToGbkLenient(path);
  switch (memory::DetectPartFile(path)) {
    case memory::PartFileKind::kMissing:
      throw PreviousPartError("the previous revision " + shown + " does not exist");
    case memory::PartFileKind::kStep:
      throw PreviousPartError("the previous revision " + shown +
                              " is a STEP file, which keeps no BOM: give the part file (" +
                              memory::kPartFileExtension + ") the BOM was saved in");
    case memory::PartFileKind::kOther:
      throw PreviousPartError("the previous revision " + shown + " is not a part file (" +
                              memory::kPartFileExtension + ")");
    case memory::PartFileKind::kPartFile:
      break;
  }
  auto host = std::make_unique<memory::MemoryHost>();
  try {
    memory::OpenPart(*host, path);
  } catch (const host::HostError& e) {
    throw PreviousPartError(std::string("the previous revision cannot be read: ") + e.what());
  }
  if (!HasBomAttributes(*host)) {
    throw PreviousPartError(
        "the previous revision " + shown +
        " carries no BOM (no body has \"材料代号\", \"实体标识\" or \"PART_ATTR\"): "
        "give the part file the BOM was saved in ('diebom bom ... --save')");
  }
  return host;
}

CarryOverResult CarryOver(memory::MemoryHost& host, const std::string& previous_part_path,
                          const CarryOverOptions& options) {
  const std::unique_ptr<memory::MemoryHost> previous = OpenPrevious(previous_part_path);
  const MatchResult match = MatchBodies(*previous, host, options.match);
  return ApplyCarryOver(*previous, host, match, options);
}

}  // namespace revision
