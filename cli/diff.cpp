// diebom diff OLD NEW: what a revision changed, body by body, before its BOM
// is made: the status of every body, its code, and its blank before and
// after. Nothing is written.
#include <algorithm>
#include <array>
#include <memory>
#include <optional>

#include "cli/batch.h"
#include "cli/model_bodies.h"
#include "cli/revision_options.h"
#include "cli/tool.h"
#include "cli/workspace.h"
#include "config/csv.h"
#include "config/material_bom_config.h"
#include "host/memory/part_file.h"
#include "host/text.h"
#include "revision/previous_part.h"

namespace cli {
namespace {

constexpr const char* kDiffHelp =
    "Usage: diebom diff OLD NEW [OPTIONS]\n"
    "\n"
    "Matches every solid body of NEW (a STEP file or a part file) with the bodies\n"
    "of OLD, the part file the previous revision's BOM was saved in, and prints\n"
    "each body with its status, layer, code, name, blank size and blank weight\n"
    "before and after, then the number of bodies of each status:\n"
    "  unchanged  the same part in the same place (within 0.01 mm)\n"
    "  moved      the same part elsewhere, or turned (a mirror image is another\n"
    "             part)\n"
    "  changed    no identical body, but one of OLD on the same layer whose box\n"
    "             overlaps its box by 80% of the smaller box: its blank is\n"
    "             measured again in its carried orientation\n"
    "  new        no body of OLD left for it (its blank as the BOM will find it)\n"
    "  removed    a body of OLD that no body of NEW took\n"
    "Matching is one-to-one, nearest first. Nothing is written.\n"
    "\n"
    "Options:\n"
    "  --format FORMAT   table (default), csv or json; csv ends with one line\n"
    "                    \"total,STATUS,COUNT\" per status, json holds \"bodies\" and\n"
    "                    \"totals\"\n"
    "  --mode MODE       rounded (default) or exact blank sizes, as 'diebom bom'\n"
    "  --config DIR      the configuration root (default: the shipped sample\n"
    "                    configuration); its density gives the weights\n"
    "  -h, --help        show this help and exit\n"
    "\n"
    "Exit status: 0 compared, 1 a file cannot be used (OLD not a part file with a\n"
    "BOM, a damaged file, ...), 2 bad usage.\n";

constexpr int kColumns = 8;
constexpr std::array<const char*, kColumns> kHeadings = {
    "状态", "图层", "代号", "名称", "原规格", "新规格", "原重量(KG)", "新重量(KG)"};
constexpr std::array<const char*, kColumns> kJsonKeys = {
    "status", "layer", "code", "name", "old_size", "new_size", "old_weight", "new_weight"};

std::array<std::string, kColumns> Cells(const revision::RevisedBody& b) {
  return {revision::StatusName(b.status),
          std::to_string(b.layer),
          ConsoleText(b.code),
          ConsoleText(b.name),
          ConsoleText(b.old_spec),
          ConsoleText(b.new_spec),
          ConsoleText(b.old_weight),
          ConsoleText(b.new_weight)};
}

std::string FormatDiff(const revision::CarryOverResult& result, Format format) {
  std::string out;
  std::vector<std::array<std::string, kColumns>> rows;
  for (const revision::RevisedBody& b : result.bodies) rows.push_back(Cells(b));
  std::array<std::string, kColumns> headings;
  for (int c = 0; c < kColumns; ++c) headings[c] = ConsoleText(kHeadings[c]);
  switch (format) {
    case Format::kCsv: {
      auto line = [&](const std::array<std::string, kColumns>& cells) {
        for (int c = 0; c < kColumns; ++c) out += (c ? "," : "") + CsvField(cells[c]);
        out += "\n";
      };
      line(headings);
      for (const auto& r : rows) line(r);
      for (revision::Status s : revision::kStatuses)
        out += text::Format("total,%s,%d\n", revision::StatusName(s), result.Count(s));
      return out;
    }
    case Format::kJson: {
      out = "{\"bodies\": [";
      for (std::size_t i = 0; i < rows.size(); ++i) {
        out += i ? ",\n  {" : "\n  {";
        for (int c = 0; c < kColumns; ++c) {
          out += (c ? ", " : "") + JsonString(kJsonKeys[c]) + ": ";
          out += c == 1 ? rows[i][c] : JsonString(rows[i][c]);
        }
        out += "}";
      }
      out += rows.empty() ? "],\n \"totals\": {" : "\n ],\n \"totals\": {";
      bool first = true;
      for (revision::Status s : revision::kStatuses) {
        out += (first ? "" : ", ") + JsonString(revision::StatusName(s)) + ": " +
               std::to_string(result.Count(s));
        first = false;
      }
      return out + "}}\n";
    }
    case Format::kTable:
      break;
  }
  std::array<int, kColumns> width{};
  for (int c = 0; c < kColumns; ++c) width[c] = DisplayWidth(headings[c]);
  for (const auto& r : rows)
    for (int c = 0; c < kColumns; ++c) width[c] = std::max(width[c], DisplayWidth(r[c]));
  auto line = [&](const std::array<std::string, kColumns>& cells) {
    std::string text;
    for (int c = 0; c < kColumns; ++c) {
      const std::string pad(static_cast<std::size_t>(width[c] - DisplayWidth(cells[c])), ' ');
      if (c) text += "  ";
      text += c == 1 ? pad + cells[c] : cells[c] + pad;
    }
    while (!text.empty() && text.back() == ' ') text.pop_back();
    out += text + "\n";
  };
  line(headings);
  for (const auto& r : rows) line(r);
  return out + "\n" + StatusTotals(result) + "\n";
}

}  // namespace

int RunDiff(const std::vector<std::string>& args) {
  const ParsedArgs parsed = ParseArgs(
      args, {{"format", 0, true}, {"mode", 0, true}, {"config", 0, true}, {"help", 'h', false}});
  if (parsed.flags.count("help")) {
    WriteOutput(ConsoleText(kDiffHelp));
    return kSuccess;
  }
  if (parsed.positional.size() < 2) throw UsageError("give OLD and NEW");
  if (parsed.positional.size() > 2)
    throw UsageError("OLD and NEW only ('" + PathText(parsed.positional[2]) + "' is one too many)");
  auto value = [&](const char* name, const std::string& fallback) {
    const auto it = parsed.values.find(name);
    return it == parsed.values.end() ? fallback : it->second;
  };
  const Format format = ParseFormat(value("format", "table"));
  const std::string mode = value("mode", "rounded");
  if (mode != "rounded" && mode != "exact")
    throw UsageError("--mode must be rounded or exact, not '" + PathText(mode) + "'");
  const std::string& old_part = parsed.positional[0];
  const std::string& new_part = parsed.positional[1];
  const std::string tool = "diebom diff";

  memory::MemoryHost host;
  Workspace workspace(host, value("config", SampleConfigRoot()));
  // The previous revision first: a wrong OLD stops before NEW is read.
  const std::unique_ptr<memory::MemoryHost> previous = revision::OpenPrevious(old_part);
  const memory::StepReport report = memory::OpenPart(host, new_part);
  for (const memory::MappedLayer& m : report.mapped)
    PrintError(tool + ": layer \"" + m.name + "\" of " + PathText(new_part) +
               text::Format(" is put on layer %d\n", m.layer));

  // The density, for the weights of the blanks measured again.
  std::optional<config::MaterialBomSettings> settings;
  host.session().Initialize();
  try {
    settings = config::MaterialBomSettings::Load(host);
  } catch (const config::ConfigError& e) {
    PrintError(tool + ": no weights for measured blanks: " + ForwardSlashes(e.what()) + "\n");
  }
  revision::CarryOverOptions options;
  options.mode = mode == "rounded" ? 0 : 1;
  options.settings = settings ? &*settings : nullptr;
  options.measure_new = true;
  if (settings) options.changed_colour = settings->common.changed_body_color;
  const revision::MatchResult match = revision::MatchBodies(*previous, host, options.match);
  const revision::CarryOverResult result =
      revision::ApplyCarryOver(*previous, host, match, options);
  host.session().Terminate();
  WriteOutput(FormatDiff(result, format));
  return kSuccess;
}

}  // namespace cli
