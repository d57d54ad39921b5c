// diebom blanks PART: the blank list of the bodies on the template layers.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <set>

#include "blank/material_param.h"
#include "blank/material_param_calculator.h"
#include "cli/output.h"
#include "cli/progress.h"
#include "cli/tool.h"
#include "cli/workspace.h"
#include "config/material_bom_config.h"
#include "host/memory/memory_host.h"
#include "host/memory/part_file.h"
#include "host/text.h"

namespace cli {
namespace {

namespace fs = std::filesystem;
using T = blank::BodyAttributeTitles;

constexpr const char* kBlanksHelp =
    "Usage: diebom blanks PART [OPTIONS]\n"
    "\n"
    "Opens PART, a STEP file (AP203/AP214/AP242) or a part file (.xbf), runs the\n"
    "blank computation on every solid body on the template layers (the layers\n"
    "listed under \"模板图层\" in the configured layer table) and prints the blank\n"
    "list: layer, name, code prefix, material, heat treatment, blank size, blank\n"
    "weight, net weight, ordering method, process and remark. Standard parts (bodies\n"
    "that carry \"PART_ATTR\") are left out. A body that carries the attributes of\n"
    "an earlier run is read back instead of computed.\n"
    "\n"
    "Options:\n"
    "  --config DIR     the configuration root, as RQConfig names it on the host\n"
    "                   (default: the shipped sample configuration);\n"
    "                   DIR/config/TK/Layerwrk.txt stands for the layer work file\n"
    "                   D:\\MYTOOL\\config\\TK\\Layerwrk.txt\n"
    "  --mode MODE      rounded: blank sizes up to the next half millimetre\n"
    "                   (default); exact: blank sizes as measured\n"
    "  --format FORMAT  table (default, aligned columns), csv or json\n"
    "  --save OUT       write the part with the attributes this run set to the part\n"
    "                   file OUT; a later run on OUT reads every blank back\n"
    "  -v, --verbose    tell on standard error how many bodies were computed and\n"
    "                   how many were read back\n"
    "  -h, --help       show this help and exit\n"
    "\n"
    "A progress bar is drawn on standard error when it is a terminal.\n";

// The titles the material BOM's save writes on every body, with the record's
// values; "是否出图" is left alone (the blank list has no such column).
void WriteSavedAttributes(host::Host& host, const blank::MaterialParam& p) {
  const std::pair<const char*, const std::string*> saved[] = {
      {T::kName, &p.name},
      {T::kCode, &p.code},
      {T::kMaterial, &p.material},
      {T::kHeatTreatment, &p.heat_treatment},
      {T::kSpec, &p.spec},
      {T::kWeight, &p.weight},
      {T::kRemark, &p.remark},
      {T::kOrderingMethod, &p.ordering_method},
      {T::kChamfer, &p.chamfer},
      {T::kHeightDatum, &p.height_datum},
      {T::kLeadTime, &p.lead_time},
      {T::kQuantity, &p.quantity},
      {T::kNetWeight, &p.net_weight},
      {T::kProcess, &p.process},
      {T::kAllowance, &p.allowance},
  };
  for (const auto& [title, value] : saved) host.attributes().SetString(p.body, title, *value);
}

bool ReadBack(host::Host& host, host::Tag body) {
  auto& a = host.attributes();
  return a.Has(body, T::kIdentity) && a.Has(body, T::kCode) && a.Has(body, T::kName) &&
         a.Has(body, T::kMaterial);
}

}  // namespace

int RunBlanks(const std::vector<std::string>& args) {
  const ParsedArgs parsed = ParseArgs(args, {{"config", 0, true},
                                             {"mode", 0, true},
                                             {"format", 0, true},
                                             {"save", 0, true},
                                             {"verbose", 'v', false},
                                             {"help", 'h', false}});
  if (parsed.flags.count("help")) {
    Print(kBlanksHelp);
    return kSuccess;
  }
  if (parsed.positional.empty()) throw UsageError("no PART given");
  if (parsed.positional.size() > 1)
    throw UsageError("one PART only ('" + PathText(parsed.positional[1]) + "' is one too many)");
  auto value = [&](const char* name, const std::string& fallback) {
    const auto it = parsed.values.find(name);
    return it == parsed.values.end() ? fallback : it->second;
  };
  const std::string mode = value("mode", "rounded");
  if (mode != "rounded" && mode != "exact")
    throw UsageError("--mode must be rounded or exact, not '" + PathText(mode) + "'");
  const std::string format_name = value("format", "table");
  Format format;
  if (format_name == "table")
    format = Format::kTable;
  else if (format_name == "csv")
    format = Format::kCsv;
  else if (format_name == "json")
    format = Format::kJson;
  else
    throw UsageError("--format must be table, csv or json, not '" + PathText(format_name) + "'");
  const std::string part = parsed.positional.front();
  const std::string save = value("save", "");
  if (parsed.values.count("save") && save.empty()) throw UsageError("--save needs a file name");
  const bool verbose = parsed.flags.count("verbose") > 0;

  // Fail before the work when the result could not be saved.
  if (!save.empty()) {
    std::error_code ec;
    const fs::path out(save);
    const fs::path folder = out.parent_path().empty() ? fs::path(".") : out.parent_path();
    if (!fs::is_directory(folder, ec))
      throw Failure("cannot save to " + PathText(save) + ": no such folder");
    if (fs::is_directory(out, ec))
      throw Failure("cannot save to " + PathText(save) + ": it is a folder");
  }

  memory::MemoryHost host;
  Workspace workspace(host, value("config", SampleConfigRoot()));
  const memory::StepReport report = memory::OpenPart(host, part);
  for (const memory::MappedLayer& m : report.mapped)
    PrintError("diebom blanks: layer \"" + m.name + "\" of " + PathText(part) +
               text::Format(" is put on layer %d\n", m.layer));
  host.session().Initialize();

  const config::MaterialBomSettings settings = config::MaterialBomSettings::Load(host);
  const std::set<int> template_layers(settings.material.template_layers.begin(),
                                      settings.material.template_layers.end());
  if (template_layers.empty())
    throw Failure("the configuration names no template layers (column \"模板图层\" of " +
                  (settings.layer_table_path.empty() ? std::string("the layer table")
                                                     : settings.layer_table_path) +
                  (workspace.has_layer_work_file() ? "" : "; config/TK/Layerwrk.txt is missing") +
                  ")");

  // The solid bodies of the template layers, standard parts left out, layer
  // by layer in the part's order.
  std::vector<host::Tag> bodies;
  int standard = 0;
  for (host::Tag b : host.bodies().PartBodies(host.session().WorkPart())) {
    if (!host.bodies().IsSolidBody(b) || !template_layers.count(host.objects().Layer(b))) continue;
    if (host.attributes().Has(b, T::kStandardPart)) {
      ++standard;
      continue;
    }
    bodies.push_back(b);
  }
  std::stable_sort(bodies.begin(), bodies.end(), [&](host::Tag a, host::Tag b) {
    return host.objects().Layer(a) < host.objects().Layer(b);
  });

  blank::BomOptions options;
  options.mode = mode == "rounded" ? 0 : 1;
  blank::MaterialParamCalculator calculator(host, options, settings);
  std::vector<blank::MaterialParam> records;
  int read_back = 0;
  {
    Progress progress("blanks", static_cast<int>(bodies.size()));
    for (host::Tag b : bodies) {
      if (ReadBack(host, b)) ++read_back;
      records.push_back(calculator.GetBodyMaterialParam(b));
      progress.Update(static_cast<int>(records.size()));
    }
  }

  std::vector<BlankRow> rows;
  for (const blank::MaterialParam& p : records) {
    BlankRow r;
    r.layer = host.objects().Layer(p.body);
    r.name = ConsoleText(p.name);
    r.code = ConsoleText(p.code);
    r.material = ConsoleText(p.material);
    r.heat_treatment = ConsoleText(p.heat_treatment);
    r.spec = ConsoleText(p.spec);
    r.weight = ConsoleText(p.weight);
    r.net_weight = ConsoleText(p.net_weight);
    r.ordering_method = ConsoleText(p.ordering_method);
    r.process = ConsoleText(p.process);
    r.remark = ConsoleText(p.remark);
    rows.push_back(std::move(r));
  }
  std::fputs(FormatBlanks(rows, format).c_str(), stdout);
  std::fflush(stdout);
  if (verbose)
    PrintError(
        text::Format("diebom blanks: %zu bodies on the template layers (%d standard parts on them "
                     "left out): %zu computed, %d read back\n",
                     records.size(), standard, records.size() - read_back, read_back));

  if (!save.empty()) {
    for (const blank::MaterialParam& p : records) WriteSavedAttributes(host, p);
    memory::SavePartFile(host, save);
    if (verbose) PrintError("diebom blanks: saved " + PathText(save) + "\n");
  }
  host.session().Terminate();
  return kSuccess;
}

}  // namespace cli
