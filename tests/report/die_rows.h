// Material rows as the material BOM tree shows them, made from the bodies of
// a die in the in-memory host; the shipped sample configuration loaded into
// a host. Shared by the report's tests and its benchmark.
#pragma once

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "blank/body_info.h"
#include "blank/material_param_calculator.h"
#include "config/material_bom_config.h"
#include "host/memory/memory_host.h"
#include "host/text.h"
#include "report/blank_report.h"

namespace report_test {

namespace fs = std::filesystem;

// The sample configuration (DIEBOM_SOURCE_DIR/samples/config) as the
// configuration root on drive R:, and the layer work file, the desktop and
// the per-user folder under `scratch`, as the command-line tool sets them up.
inline config::MaterialBomSettings UseSampleConfiguration(memory::MemoryHost& h,
                                                          const fs::path& scratch) {
  const fs::path root = fs::path(DIEBOM_SOURCE_DIR) / "samples" / "config";
  const fs::path tk = scratch / "MYTOOL" / "config" / "TK";
  fs::create_directories(tk);
  fs::copy_file(root / "config" / "TK" / "Layerwrk.txt", tk / "Layerwrk.txt",
                fs::copy_options::overwrite_existing);
  fs::create_directories(scratch / "Desktop");
  fs::create_directories(scratch / "AppData");
  h.MapDrive('R', root.string());
  h.MapDrive('D', scratch.string());
  h.SetVariable("RQConfig", "R:");
  h.SetDesktopFolder("D:\\Desktop");
  h.SetLocalAppDataFolder("D:\\AppData");
  return config::MaterialBomSettings::Load(h);
}

// The solid bodies on the template layers that are not standard parts, in
// the part's order.
inline std::vector<host::Tag> TemplateBodies(memory::MemoryHost& h,
                                             const config::MaterialBomSettings& settings) {
  const auto& layers = settings.material.template_layers;
  std::vector<host::Tag> out;
  for (host::Tag b : h.bodies().PartBodies(h.session().WorkPart())) {
    if (!h.bodies().IsSolidBody(b) || h.attributes().Has(b, "PART_ATTR")) continue;
    if (std::find(layers.begin(), layers.end(), h.objects().Layer(b)) == layers.end()) continue;
    out.push_back(b);
  }
  return out;
}

// The tree's columns of a row for `p` standing for `count` bodies.
inline std::vector<std::string> Columns(const blank::MaterialParam& p, int row, int count) {
  const std::string n = std::to_string(count);
  auto times = [&](const std::string& v) { return count > 1 && !v.empty() ? v + "x" + n : v; };
  const std::string number = text::Format("%03d", row), quantity = count > 1 ? n : p.quantity;
  return {
      number,          p.name,           p.code,   p.material,          p.spec,    quantity,
      times(p.weight), p.heat_treatment, p.remark, p.ordering_method,   p.chamfer, p.height_datum,
      p.lead_time,     p.state,          "",       times(p.net_weight), p.process, p.weight,
      p.net_weight,    p.allowance};
}

// The records of `bodies` numbered layer by layer (layer prefix and a running
// number, "01", "02", ...), one row per body; with `group_identical` a body
// identical to one already numbered takes its code and joins its row.
inline std::vector<report::ReportRow> NumberRows(memory::MemoryHost& h,
                                                 blank::MaterialParamCalculator& calc,
                                                 const std::vector<host::Tag>& bodies,
                                                 bool group_identical) {
  std::map<int, std::vector<host::Tag>> by_layer;
  for (host::Tag b : bodies) by_layer[h.objects().Layer(b)].push_back(b);
  struct Group {
    blank::MaterialParam p;
    std::vector<host::Tag> bodies;
    std::unique_ptr<blank::BodyInfo> info;
  };
  std::vector<Group> groups;
  for (const auto& [layer, list] : by_layer) {
    int running = 0;
    for (host::Tag b : list) {
      blank::MaterialParam p = calc.GetBodyMaterialParam(b);
      auto info = std::make_unique<blank::BodyInfo>(h, b);
      auto same = std::find_if(groups.begin(), groups.end(), [&](const Group& g) {
        return group_identical && info->IsSameBody(*g.info);
      });
      if (same != groups.end()) {
        same->bodies.push_back(b);
        continue;
      }
      if (!p.code.empty() && p.code.back() == '-') p.code += text::Format("%02d", ++running);
      groups.push_back({p, {b}, std::move(info)});
    }
  }
  std::vector<report::ReportRow> rows;
  for (const Group& g : groups)
    rows.push_back(
        {Columns(g.p, static_cast<int>(rows.size()) + 1, static_cast<int>(g.bodies.size())),
         g.bodies});
  return rows;
}

}  // namespace report_test
