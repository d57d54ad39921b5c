// Output of the command-line tool: the blank list as an aligned table, CSV or
// JSON. All text here is UTF-8 (converted from the program's GBK at the edge).
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace cli {

// The columns of the blank list, in order.
struct BlankRow {
  int layer = 0;
  std::string name, code, material, heat_treatment, spec, weight, net_weight, ordering_method,
      process, remark;  // UTF-8
};

enum class Format { kTable, kCsv, kJson };

// Terminal columns a UTF-8 text takes: East Asian wide and full-width
// characters take two, combining marks none, everything else one.
int DisplayWidth(std::string_view utf8);

// The whole list, ending in a newline (the table's heading line and a
// heading row of the CSV are included; JSON is an array of objects).
std::string FormatBlanks(const std::vector<BlankRow>& rows, Format format);

// Writes UTF-8 text to standard output and flushes it; a write that fails
// (a full disk, a closed pipe) throws Failure naming the problem.
void WriteOutput(std::string_view utf8);

// A CSV field (RFC 4180) and a JSON string literal.
std::string CsvField(std::string_view text);
std::string JsonString(std::string_view text);

}  // namespace cli
