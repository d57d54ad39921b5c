// Following a die revision from the command line: the options that carry the
// BOM of the previous revision over to a new model (--previous OLD,
// --keep-colours, --delta), what the tool says about the carry-over, and the
// workbook of the blanks to buy again.
#pragma once

#include <string>
#include <vector>

#include "cli/tool.h"
#include "config/material_bom_config.h"
#include "host/memory/memory_host.h"
#include "material_bom/workbook_export.h"
#include "revision/carry_over.h"

namespace cli {

struct RevisionArgs {
  std::string previous;  // the previous revision's part file; empty: no carry-over
  bool keep_colours = false;
  bool delta = false;
};

// The options: "previous" (with a value), "keep-colours", and "delta" when
// the command writes a material workbook.
std::vector<OptionSpec> RevisionOptionSpecs(bool with_delta);
// Reads them; --keep-colours and --delta without --previous are bad usage.
RevisionArgs ReadRevisionArgs(const ParsedArgs& parsed);

// Carries the previous revision over to the work part of `host` and writes
// to standard error what became of the bodies: the count per status and one
// line per removed body. `tool` starts every line ("diebom bom").
revision::CarryOverResult CarryOverForTool(memory::MemoryHost& host, const RevisionArgs& args,
                                           revision::CarryOverOptions options,
                                           const std::string& tool);

// One line: "unchanged N, moved N, changed N, new N, removed N".
std::string StatusTotals(const revision::CarryOverResult& result);

// A top-level row of the material tree as the export wrote it, with the
// bodies of its group (the row's own body when it has no children).
struct TreeRowBodies {
  material_bom::RowTexts texts;  // tree columns 0 to 19, GBK
  std::vector<host::Tag> bodies;
};

// The rows to buy again: the rows with a new body, or a changed one whose
// blank grew; a group row counts only those bodies. A body is known by its
// tag, or by its identity when the BOM replaced it.
std::vector<material_bom::RowTexts> RowsToBuy(memory::MemoryHost& host,
                                              const std::vector<TreeRowBodies>& rows,
                                              const revision::CarryOverResult& result);

// Writes the rows to buy into a second workbook beside `workbook` (a logic
// path), from the same template and with the header the work part now
// carries: "<part>补料单.xls", or the first free "-1", "-2", ... Returns its
// logic path; throws Failure when it cannot be written.
std::string WriteDeltaWorkbook(memory::MemoryHost& host, const std::string& workbook,
                               const std::vector<material_bom::RowTexts>& rows,
                               const config::MaterialBomSettings& settings);

}  // namespace cli
