#include "cli/model_bodies.h"

#include <algorithm>

#include "blank/material_param.h"
#include "cli/tool.h"
#include "config/csv.h"
#include "host/text.h"

namespace cli {
namespace {

std::string Plural(int n, const char* one, const char* many) {
  return text::Format("%d ", n) + (n == 1 ? one : many);
}

// "layer 1: 3, layer 20: 2" for a count per number.
std::string Counts(const std::map<int, int>& counts, const char* what) {
  std::string out;
  for (const auto& [key, n] : counts) {
    if (!out.empty()) out += ", ";
    out += text::Format("%s %d: %d", what, key, n);
  }
  return out;
}

}  // namespace

ModelBodies ChooseModelBodies(host::Host& host, const std::set<int>& template_layers,
                              bool all_layers, const memory::StepReport& report) {
  ModelBodies out;
  out.sheets = report.sheets;
  out.curves = report.curves;
  out.points = report.points;
  for (host::Tag b : host.bodies().PartBodies(host.session().WorkPart())) {
    if (!host.bodies().IsSolidBody(b)) {
      ++out.non_solid_bodies;
      continue;
    }
    const int layer = host.objects().Layer(b);
    const bool listed_layer = all_layers || template_layers.count(layer) > 0;
    if (host.attributes().Has(b, blank::BodyAttributeTitles::kStandardPart)) {
      if (listed_layer) ++out.standard_parts;
      continue;
    }
    if (!listed_layer) {
      ++out.off_template[layer];
      continue;
    }
    out.bodies.push_back(b);
  }
  std::stable_sort(out.bodies.begin(), out.bodies.end(), [&](host::Tag a, host::Tag b) {
    return host.objects().Layer(a) < host.objects().Layer(b);
  });
  return out;
}

std::string BodySummary(const std::string& tool, const ModelBodies& bodies) {
  std::string out;
  int off = 0;
  for (const auto& [layer, n] : bodies.off_template) off += n;
  if (off > 0)
    out += tool + ": " + Plural(off, "solid body lies", "solid bodies lie") +
           " on layers that are not template layers (" + Counts(bodies.off_template, "layer") +
           ") and " + (off == 1 ? "is" : "are") + " not listed; --all-layers lists " +
           (off == 1 ? "it" : "them") + "\n";
  std::vector<std::string> kinds;
  if (bodies.non_solid_bodies > 0)
    kinds.push_back(
        Plural(bodies.non_solid_bodies, "body that is not a solid", "bodies that are not solids"));
  if (bodies.sheets > 0) kinds.push_back(Plural(bodies.sheets, "sheet", "sheets"));
  if (bodies.curves > 0) kinds.push_back(Plural(bodies.curves, "curve", "curves"));
  if (bodies.points > 0) kinds.push_back(Plural(bodies.points, "point", "points"));
  if (!kinds.empty()) {
    std::string list;
    for (std::size_t i = 0; i < kinds.size(); ++i)
      list += (i == 0 ? "" : i + 1 == kinds.size() ? " and " : ", ") + kinds[i];
    const bool one = kinds.size() == 1 &&
                     bodies.non_solid_bodies + bodies.sheets + bodies.curves + bodies.points == 1;
    out += tool + ": " + list + " of the model " + (one ? "is" : "are") +
           " left out (only solid bodies have a blank; sheets and open "
           "shells must be sewn into solids first)\n";
  }
  return out;
}

std::string ForwardSlashes(const std::string& gbk) {
  std::string out = gbk;
  for (std::size_t i = 0; i < out.size(); ++i) {
    if (static_cast<unsigned char>(out[i]) >= 0x81 && i + 1 < out.size())
      ++i;  // a double-byte character, whose second byte may be 0x5C
    else if (out[i] == '\\')
      out[i] = '/';
  }
  return out;
}

std::string ShownPath(memory::MemoryHost& host, const std::string& logic_path) {
  try {
    return PathText(host.LocalPath(logic_path));
  } catch (const std::exception&) {
  }
  return ForwardSlashes(logic_path);
}

std::string MaterialWarnings(const std::string& tool, memory::MemoryHost& host,
                             const config::MaterialBomSettings& settings,
                             const std::vector<blank::MaterialParam>& records) {
  host::Platform& platform = host.platform();
  std::string out;
  auto warn = [&](const std::string& line) { out += tool + ": warning: " + line + "\n"; };

  // The material table: its density makes every weight.
  config::ReadConfigFile material(platform);
  const std::string material_path = ShownPath(host, settings.material_table_path);
  if (!material.OpenConfigFile(settings.material_table_path))
    warn("the material table " + material_path +
         " cannot be read: every weight is worked out with the density 1.0 g/cm3");
  else if (material.table().headings.empty() && material.table().rows.empty())
    warn("the material table " + material_path +
         " is empty: every weight is worked out with the density 1.0 g/cm3");
  else if (material.GetColumnValue("密度(g/cm)").empty())
    warn("the material table " + material_path +
         " gives no density (column \"密度(g/cm)\"): every weight is worked out with 1.0 g/cm3");

  if (!platform.FileExists(settings.color_table_path))
    warn("the colour table " + ShownPath(host, settings.color_table_path) +
         " does not exist: no body gets a material or heat treatment from its colour");
  if (!settings.HasMachiningProcess())
    warn("the machining-process table " + ShownPath(host, settings.machining_process_path) +
         " does not exist: net weights are 0 and no process is given");

  std::map<int, int> without;
  int count = 0;
  for (const blank::MaterialParam& p : records)
    if (p.material.empty()) {
      ++without[host.objects().Color(p.body)];
      ++count;
    }
  if (count > 0)
    warn(Plural(count, "body has", "bodies have") + " no material: no row of the colour table " +
         ShownPath(host, settings.color_table_path) + " has " +
         (without.size() == 1 ? "its colour" : "their colours") + " (" + Counts(without, "colour") +
         ")");
  for (const std::string& note : settings.warnings) warn(ForwardSlashes(note));
  return out;
}

}  // namespace cli
