// What the commands that run a BOM dialog without a designer share: the BOM
// header given on the command line or in a file, the message boxes the dialog
// raised as lines on standard error, the dialog's tree printed as a table, CSV
// or JSON, and the check of the folder a workbook is written to.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "cli/output.h"

namespace memory {
class MemoryHost;
class DialogDriver;
}  // namespace memory

namespace cli {

// A header field: title and value (GBK).
using HeaderField = std::pair<std::string, std::string>;

// Takes every "--NAME VALUE" and "--NAME=VALUE" out of `args` (up to a "--")
// and returns the values in order: an option that may be given many times.
// Throws UsageError when the last one has no value.
std::vector<std::string> TakeRepeatedOption(std::vector<std::string>& args,
                                            const std::string& name);

// Reads a header file: one field per line, title and value separated by a
// comma, CSV quoting allowed; UTF-8 (with or without a byte-order mark) or
// GBK. Empty lines are skipped. Throws Failure naming the file and the line
// for unreadable files, text that is neither UTF-8 nor GBK, a line with more
// than two cells or a value without a title.
std::vector<HeaderField> ReadHeaderFile(const std::string& utf8_path);

// "标题=值" of a --set option (UTF-8): the title and the value (GBK). Throws
// UsageError when there is no "=", no title, or the text has no GBK form.
HeaderField ParseSetOption(const std::string& utf8);

// The fields of `later` replace those of `earlier` with the same title; new
// titles are added at the end.
std::vector<HeaderField> MergeHeader(std::vector<HeaderField> earlier,
                                     const std::vector<HeaderField>& later);

// The message boxes shown by the host from number `from` on, each as one line
// "PREFIX: TITLE: TEXT\n" in UTF-8, ready for standard error (line breaks
// inside the text become blanks).
std::vector<std::string> MessageLines(const memory::MemoryHost& host, const std::string& prefix,
                                      std::size_t from = 0);
// Whether an error box is among them.
bool HasErrorMessage(const memory::MemoryHost& host, std::size_t from = 0);

// A tree as the dialog shows it (UTF-8): the column titles and the rows in
// display order, each with its level (1 top-level, 2 a child row, ...).
struct TreeTable {
  struct Row {
    int level = 1;
    std::vector<std::string> cells;  // one per column
  };
  std::vector<std::string> columns;
  std::vector<Row> rows;
};
// Reads the tree block `tree_id` of the dialog the driver acts on (visible
// columns only).
TreeTable ReadTree(memory::DialogDriver& driver, const std::string& tree_id);
// The tree as text, ending in a newline:
// - table: the column titles and aligned rows, child rows indented by two
//   blanks per level below the first in their first column;
// - csv: a heading row "层级" and the column titles, then one row per tree row
//   with its level first;
// - json: {"columns": [...], "rows": [{"level": 1, "cells": [...]}, ...]}.
std::string FormatTree(const TreeTable& tree, Format format);

// "table", "csv" or "json"; throws UsageError for anything else.
Format ParseFormat(const std::string& name);

// The absolute form of an output folder that exists and can be written to;
// throws Failure saying which it is not.
std::string CheckOutFolder(const std::string& utf8_path);

// Checks a --save target before the work: a part file (".xbf") that is not
// `part` itself (UsageError) in a folder that exists, and not a folder
// (Failure). Nothing for an empty target.
void CheckSaveTarget(const std::string& part, const std::string& save);

// The commands that run a BOM dialog in batch.
int RunParts(const std::vector<std::string>& args);

}  // namespace cli
