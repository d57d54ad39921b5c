// diebom blanks PART: the blank list of the bodies on the template layers.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <set>

#include "blank/material_param.h"
#include "blank/material_param_calculator.h"
#include "cli/batch.h"
#include "cli/model_bodies.h"
#include "cli/output.h"
#include "cli/progress.h"
#include "cli/tool.h"
#include "cli/workspace.h"
#include "config/config_folder.h"
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
    "  --all-layers     list the solid bodies of every layer, not only those on\n"
    "                   the template layers (layer name and code prefix stay\n"
    "                   empty where the layer table has none)\n"
    "  --save OUT       write the part with the attributes this run set to the part\n"
    "                   file OUT (ending in .xbf, not PART itself); a later run on\n"
    "                   OUT reads every blank back\n"
    "  -v, --verbose    tell on standard error how many bodies were computed and\n"
    "                   how many were read back\n"
    "  -h, --help       show this help and exit\n"
    "\n"
    "Standard error tells how many solids lie off the template layers, how many\n"
    "shapes are not solids, and warns of a configuration that leaves bodies\n"
    "without material or weights wrong (no density, no colour table, no\n"
    "machining-process table). A body whose size cannot be measured is named\n"
    "there and left out, and the exit status is then 1.\n"
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
                                             {"all-layers", 0, false},
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
  const bool all_layers = parsed.flags.count("all-layers") > 0;

  // Fail before the work when the result could not be saved, or would
  // replace the model it comes from.
  CheckSaveTarget(part, save);
  const std::string tool = "diebom blanks";

  memory::MemoryHost host;
  Workspace workspace(host, value("config", SampleConfigRoot()));
  Workspace::SetCrashText(ConsoleText(tool + ": internal error while working on " + PathText(part) +
                                      ": the geometry kernel failed on "
                                      "its shapes (a damaged model?); nothing was saved\n"));
  const memory::StepReport report = memory::OpenPart(host, part);
  for (const memory::MappedLayer& m : report.mapped)
    PrintError(tool + ": layer \"" + m.name + "\" of " + PathText(part) +
               text::Format(" is put on layer %d\n", m.layer));
  host.session().Initialize();

  const config::MaterialBomSettings settings = [&] {
    try {
      return config::MaterialBomSettings::Load(host);
    } catch (const config::ConfigError& e) {
      throw Failure(ForwardSlashes(e.what()));  // one kind of separator in its paths
    }
  }();
  const std::set<int> template_layers(settings.material.template_layers.begin(),
                                      settings.material.template_layers.end());
  if (template_layers.empty() && !all_layers) {
    std::string why;
    if (!workspace.has_layer_work_file())
      why = "config/TK/Layerwrk.txt, which names the layer table, is missing";
    else if (config::CurrentLayerFileName(host.platform()).empty())
      why = "config/TK/Layerwrk.txt names no layer table (no line CURRENT_LAYER_FILE=...)";
    else if (!host.platform().FileExists(settings.layer_table_path))
      why = "the layer table " + ShownPath(host, settings.layer_table_path) +
            " named in config/TK/Layerwrk.txt does not exist";
    else
      why = "the layer table " + ShownPath(host, settings.layer_table_path) +
            " has no layer under \"模板图层\"";
    throw Failure("no template layers: " + why + "; --all-layers lists the bodies of every layer");
  }

  // The solid bodies to list, standard parts left out, layer by layer in the
  // part's order.
  const ModelBodies chosen = ChooseModelBodies(host, template_layers, all_layers, report);
  PrintError(BodySummary(tool, chosen));
  const std::vector<host::Tag>& bodies = chosen.bodies;
  const int standard = chosen.standard_parts;

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

  PrintError(MaterialWarnings(tool, host, settings, records));

  // A body whose size cannot be measured (too small or degenerate for the
  // kernel) has no blank: it is named and left out, and the job fails.
  int unmeasured = 0;
  std::vector<BlankRow> rows;
  for (const blank::MaterialParam& p : records) {
    if (!std::isfinite(p.length) || !std::isfinite(p.width) || !std::isfinite(p.thickness) ||
        p.spec.find("nan") != std::string::npos || p.spec.find("inf") != std::string::npos) {
      ++unmeasured;
      const std::string name = host.objects().Name(p.body);
      PrintError(tool + ": the size of body " + (name.empty() ? "" : "\"" + name + "\" ") +
                 text::Format("(layer %d) cannot be measured; it is left out of the list\n",
                              host.objects().Layer(p.body)));
      continue;
    }
    BlankRow r;
    r.layer = host.objects().Layer(p.body);
    r.name = ConsoleText(p.name);
    r.code = ConsoleText(p.code == "-" ? std::string() : p.code);  // no layer code
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
  // A size that prints as 0.0 is a model in the wrong unit, not a blank.
  int specks = 0;
  for (const blank::MaterialParam& p : records)
    if (std::isfinite(p.length + p.width + p.thickness) &&
        std::min({p.length, p.width, p.thickness}) < 0.05)
      ++specks;
  if (specks > 0)
    PrintError(tool + text::Format(": warning: %d of %zu bodies measure less than 0.05 mm along "
                                   "an axis; is the length unit of %s right?\n",
                                   specks, records.size(), PathText(part).c_str()));
  WriteOutput(FormatBlanks(rows, format));
  if (verbose)
    PrintError(
        text::Format("diebom blanks: %zu bodies on the %s (%d standard parts on them "
                     "left out): %zu computed, %d read back\n",
                     records.size(), all_layers ? "listed layers" : "template layers", standard,
                     records.size() - read_back, read_back));

  if (!save.empty()) {
    for (const blank::MaterialParam& p : records) WriteSavedAttributes(host, p);
    memory::SavePartFile(host, save);
    if (verbose) PrintError("diebom blanks: saved " + PathText(save) + "\n");
  }
  host.session().Terminate();
  if (unmeasured > 0)
    throw Failure(text::Format("%d of %zu bodies could not be measured and are not listed",
                               unmeasured, records.size()));
  return kSuccess;
}

}  // namespace cli
