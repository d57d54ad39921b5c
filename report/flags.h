// The checks behind the report's flags, each giving a one-line reason (GBK)
// when the body or row deserves the designer's look.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/host.h"
#include "report/blank_report.h"
#include "report/drawing.h"

namespace report {

// The blank's Z is not along the direction in which most simple holes run.
std::optional<std::string> HoleDirectionFlag(host::Host& host, host::Tag body,
                                             const BlankFrame& frame);

// The body fills less than `limit` of its blank (a round part: of the
// cylinder of its X extent and height).
std::optional<std::string> FillFlag(host::Host& host, host::Tag body, const BlankFrame& frame,
                                    double limit);

// The row has no material: the body's colour is not in the colour table.
std::optional<std::string> NoMaterialFlag(host::Host& host, const ReportRow& row);

// For each row, the reason when its body is identical to the body of a row
// with another code (the first such row), else nothing. Rows without a live
// body take no part.
std::vector<std::optional<std::string>> SameBodyFlags(host::Host& host,
                                                      const std::vector<ReportRow>& rows);

}  // namespace report
