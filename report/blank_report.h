// The blank report: one self-contained HTML page that shows every material row
// of the BOM with a drawing of its body inside its blank, the flags a die
// designer acts on, and a summary of weights and ordering methods.
//
// The page needs no network: styles, script and drawings (inline SVG) are all
// in the file. It is UTF-8; the rows' texts come in GBK, as the tree holds them.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

#include "host/host.h"

namespace report {

// One row of the material BOM tree: its 20 column texts (GBK, in the tree's
// column order) and the body it stands for, or the bodies of its group.
struct ReportRow {
  std::vector<std::string> columns;
  std::vector<host::Tag> bodies;
};

inline constexpr std::size_t kColumnCount = 20;
// Indices of the tree columns the report reads.
enum Column : std::size_t {
  kSequenceColumn = 0,
  kNameColumn = 1,
  kCodeColumn = 2,
  kMaterialColumn = 3,
  kSpecColumn = 4,
  kCountColumn = 5,
  kGroupWeightColumn = 6,
  kOrderingColumn = 9,
  kGroupNetWeightColumn = 15,
  kWeightColumn = 17,
  kNetWeightColumn = 18,
};

struct ReportOptions {
  std::string title;  // shown at the top, usually the part's name (GBK)
  // A body that fills less than this share of its blank is flagged.
  double fill_limit = 0.40;
  // Facet tolerances of the drawings: the chord as a share of the blank's
  // diagonal, and the angle (radians). Coarse: the drawings are thumbnails.
  double chord_share = 0.02;
  double facet_angle = 0.6;
  // The front, top and left views shown with the large drawing.
  bool orthographic_views = true;
  // The densities (g/cm3) the rows' weights were worked out with: the
  // material table's for the blank, the process table's for the net weight.
  // With them the summary adds up the weights before rounding (a blank from
  // its row's size, a net weight from its body's volume); at 0 it adds up
  // the weights the rows show.
  double blank_density = 0.0;
  double net_density = 0.0;
};

enum class FlagKind {
  kHoleDirection,      // the blank's Z is not along the direction with most holes
  kLowFill,            // the body fills less than the fill limit of its blank
  kNoMaterial,         // no material: the body's colour is not configured
  kSameBodyOtherCode,  // identical to the body of a row with another code
};

// The name of a flag kind in the page (CSS class "flag-" + name, data-flags).
const char* FlagName(FlagKind kind);

struct ReportFlag {
  std::size_t row = 0;  // index into the rows given
  FlagKind kind = FlagKind::kNoMaterial;
  std::string reason;  // one line, GBK
};

struct ReportResult {
  std::size_t rows = 0;
  std::size_t bodies = 0;    // the bodies of all rows
  std::size_t drawings = 0;  // rows drawn (a row whose body cannot be drawn has a note instead)
  std::size_t distinct_drawings = 0;  // drawings written out; the others refer to them
  std::vector<ReportFlag> flags;
  // Bodies that could not be drawn or measured, one GBK line each.
  std::vector<std::string> problems;
  std::size_t bytes = 0;  // the size of the page
};

// Writes the page for `rows` to `out`. Throws std::invalid_argument (GBK
// message) for a row that does not have the tree's 20 columns; a body that is
// gone or cannot be drawn gets a note in its row and in `problems`.
ReportResult WriteBlankReport(host::Host& host, const std::vector<ReportRow>& rows,
                              const ReportOptions& options, std::ostream& out);

// The same, written to `path` (a path of the host, GBK) through the host's
// platform. Throws std::runtime_error when the file cannot be written.
ReportResult WriteBlankReport(host::Host& host, const std::vector<ReportRow>& rows,
                              const ReportOptions& options, const std::string& path);

}  // namespace report
