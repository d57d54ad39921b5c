// diebom bom PART: the material BOM job headless. The plug-in's own entry
// runs on the in-memory host: the options dialog is answered from the flags,
// the material BOM dialog opens as on the designer's PC, the header is filled
// in, the commands asked for are pressed, and the export writes the purchase
// workbook. Everything the dialogs say in message boxes reaches standard error.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <set>

#include "cli/batch.h"
#include "cli/revision_options.h"
#include "cli/tool.h"
#include "cli/workspace.h"
#include "config/config_folder.h"
#include "config/csv.h"
#include "config/material_bom_config.h"
#include "entry/entry.h"
#include "host/memory/dialogs/dialogs.h"
#include "host/memory/memory_host.h"
#include "host/memory/part_file.h"
#include "host/text.h"
#include "material_bom/bom_header.h"
#include "material_bom/node_param.h"
#include "report/blank_report.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

constexpr const char* kBomHelp =
    "Usage: diebom bom PART [OPTIONS]\n"
    "\n"
    "Runs the material BOM of PART, a STEP file or a part file (.xbf), as the\n"
    "plug-in runs it in NX: the options dialog, the material BOM dialog with its\n"
    "tree of numbered blanks, the header, and the export of the purchase workbook\n"
    "from the template of the configuration. Prints the tree as the dialog shows it\n"
    "and the workbook's path; every message box of the dialogs goes to standard\n"
    "error as one line (title and text).\n"
    "\n"
    "Options dialog:\n"
    "  --mode MODE       rounded: blank sizes up to the next half millimetre\n"
    "                    (default); exact: as measured\n"
    "  --same-body       group identical bodies under one code\n"
    "  --reset           clear the designer of the header first\n"
    "\n"
    "Material BOM dialog:\n"
    "  --header FILE     header fields from FILE, a CSV of two columns: title and\n"
    "                    value (\"客户名称,华锐汽车部件\"), UTF-8 or GBK\n"
    "  --set TITLE=VALUE one header field (repeatable; after --header)\n"
    "  --no-optimise     leave the bodies as they are (no neutral-file round trip)\n"
    "  --keep-overlaps   answer No when asked to delete overlapping bodies\n"
    "  --reorder         renumber the codes of each layer in row order first\n"
    "  --balloon         number the codes over the whole tree (balloon order) first\n"
    "  --out DIR         the export folder (default: the current folder); the\n"
    "                    workbook is DIR/<part>/<part>材料BOM.xls, never overwritten\n"
    "\n"
    "Models from elsewhere:\n"
    "  --all-layers      take every layer holding solids as a template layer\n"
    "  --mark            mark every solid body of the template layers for the BOM\n"
    "                    (\"转图标识\" = \"Y\"), as the drawing tools do on a real die\n"
    "\n"
    "A revision of a die:\n"
    "  --previous OLD    OLD is the part file the previous revision's BOM was saved\n"
    "                    in: each body of PART takes the BOM of its body in OLD\n"
    "                    (see 'diebom diff --help' for how they are matched); new\n"
    "                    bodies get the changed-body colour and are numbered\n"
    "                    \"新增\" after the highest code of their layer; changed\n"
    "                    bodies keep their code and show their new size marked\n"
    "  --keep-colours    new bodies keep their colour\n"
    "  --delta           also write the blanks to buy again (new bodies, changed\n"
    "                    ones whose blank grew) to <part>补料单.xls beside the\n"
    "                    workbook, never overwritten\n"
    "\n"
    "Other options:\n"
    "  --config DIR      the configuration root, as RQConfig names it on the host\n"
    "                    (default: the shipped sample configuration)\n"
    "  --format FORMAT   table (default), csv or json\n"
    "  -o, --report FILE also write the blank report, an HTML page with a drawing of\n"
    "                    every row's body in its blank and the rows to look at\n"
    "  --save OUT        write the part with the attributes the run stored to the\n"
    "                    part file OUT (.xbf); a later run on OUT reads them back\n"
    "  -h, --help        show this help and exit\n"
    "\n"
    "Exit status: 0 the workbook was written, 1 the job failed (a required header\n"
    "field left empty, a missing template, a folder that cannot be written, ...),\n"
    "2 bad usage.\n";

constexpr const char* kDrawnMark = "转图标识";
constexpr const char* kOptimizedMark = "实体优化";
constexpr const char* kTreeId = "tree_control0";
constexpr const char* kTemplateLayers = "模板图层";
// The drive the export folder is reached through.
constexpr char kOutDrive = 'O';

struct BomJob {
  std::string part, config, out, save, report, mode = "rounded", format = "table";
  bool export_workbook = true;  // false: the report only
  bool same_body = false, reset = false, no_optimise = false, keep_overlaps = false;
  bool reorder = false, balloon = false, all_layers = false, mark = false;
  RevisionArgs revision;
  std::vector<HeaderField> header;  // GBK
};

BomJob ReadJob(const std::vector<std::string>& args) {
  std::vector<std::string> rest = args;
  const std::vector<std::string> sets = TakeRepeatedOption(rest, "set");
  std::vector<OptionSpec> specs = {{"config", 0, true},
                                   {"mode", 0, true},
                                   {"format", 0, true},
                                   {"save", 0, true},
                                   {"out", 0, true},
                                   {"header", 0, true},
                                   {"report", 'o', true},
                                   {"same-body", 0, false},
                                   {"reset", 0, false},
                                   {"no-optimise", 0, false},
                                   {"keep-overlaps", 0, false},
                                   {"reorder", 0, false},
                                   {"balloon", 0, false},
                                   {"all-layers", 0, false},
                                   {"mark", 0, false},
                                   {"help", 'h', false}};
  for (const OptionSpec& s : RevisionOptionSpecs(true)) specs.push_back(s);
  const ParsedArgs parsed = ParseArgs(rest, specs);
  BomJob job;
  if (parsed.flags.count("help")) return job;
  if (parsed.positional.empty()) throw UsageError("no PART given");
  if (parsed.positional.size() > 1)
    throw UsageError("one PART only ('" + PathText(parsed.positional[1]) + "' is one too many)");
  job.part = parsed.positional.front();
  auto value = [&](const char* name, const std::string& fallback) {
    const auto it = parsed.values.find(name);
    return it == parsed.values.end() ? fallback : it->second;
  };
  auto flag = [&](const char* name) { return parsed.flags.count(name) > 0; };
  job.mode = value("mode", "rounded");
  if (job.mode != "rounded" && job.mode != "exact")
    throw UsageError("--mode must be rounded or exact, not '" + PathText(job.mode) + "'");
  job.format = value("format", "table");
  ParseFormat(job.format);
  job.config = value("config", SampleConfigRoot());
  job.out = value("out", ".");
  job.save = value("save", "");
  job.report = value("report", "");
  if (parsed.values.count("report") && job.report.empty())
    throw UsageError("--report needs a file name");
  if (parsed.values.count("save") && job.save.empty()) throw UsageError("--save needs a file name");
  CheckSaveTarget(job.part, job.save);
  job.same_body = flag("same-body");
  job.reset = flag("reset");
  job.no_optimise = flag("no-optimise");
  job.keep_overlaps = flag("keep-overlaps");
  job.reorder = flag("reorder");
  job.balloon = flag("balloon");
  job.all_layers = flag("all-layers");
  job.mark = flag("mark");
  if (job.reorder && job.balloon) throw UsageError("--reorder and --balloon exclude each other");
  job.revision = ReadRevisionArgs(parsed);
  if (parsed.values.count("header")) job.header = ReadHeaderFile(value("header", ""));
  std::vector<HeaderField> set_fields;
  for (const std::string& s : sets) set_fields.push_back(ParseSetOption(s));
  job.header = MergeHeader(job.header, set_fields);
  for (const auto& [title, field] : job.header) {
    if (material_bom::BomHeader::IndexOf(title) < 0)
      throw UsageError("\"" + title + "\" is not a header field of the material BOM");
  }
  return job;
}

// The solid bodies of the part by layer.
std::map<int, std::vector<host::Tag>> SolidsByLayer(host::Host& host) {
  std::map<int, std::vector<host::Tag>> layers;
  for (host::Tag b : host.bodies().PartBodies(host.session().WorkPart())) {
    if (host.bodies().IsSolidBody(b)) layers[host.objects().Layer(b)].push_back(b);
  }
  return layers;
}

std::string ReadBytes(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteBytes(const fs::path& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << bytes;
  if (!out.flush()) throw Failure("cannot write " + PathText(path.string()));
}

std::string CsvText(const config::CsvTable& table) {
  auto line = [](const std::vector<std::string>& cells) {
    std::string out;
    for (std::size_t i = 0; i < cells.size(); ++i) {
      const std::string& c = cells[i];
      const bool quote = c.find_first_of(",\"\r\n") != std::string::npos;
      std::string cell = c;
      for (std::size_t q = 0; quote && (q = cell.find('"', q)) != std::string::npos; q += 2)
        cell.insert(q, 1, '"');
      out += (i ? "," : "") + (quote ? "\"" + cell + "\"" : cell);
    }
    return out + "\r\n";
  };
  std::string out = line(table.headings);
  for (const auto& row : table.rows) out += line(row);
  return out;
}

// A private copy of the configuration root whose layer table lists `layers`
// as template layers too. Returns the copy's folder.
std::string AllLayersConfig(memory::MemoryHost& host, const Workspace& workspace,
                            const std::set<int>& layers) {
  std::error_code ec;
  const fs::path copy = fs::path(workspace.temp()) / "config-all-layers";
  fs::copy(workspace.root(), copy, fs::copy_options::recursive, ec);
  if (ec) {
    throw Failure("cannot copy the configuration " + PathText(workspace.root()) + ": " +
                  ec.message());
  }
  const fs::path tk = copy / "config" / "TK";
  fs::create_directories(tk, ec);
  // The layer work file the workspace put on drive D names the table.
  std::string name = config::CurrentLayerFileName(host.platform());
  if (name.empty()) {
    name = "all_layers.csv";
    host.platform().WriteFile(config::kLayerWorkFile, "CURRENT_LAYER_FILE = all_layers.csv\n");
  }
  const fs::path table_path = tk / fs::path(text::GbkToUtf8(name));
  config::CsvTable table;
  if (fs::is_regular_file(table_path)) {
    try {
      table = config::ParseCsv(ReadBytes(table_path), name);
    } catch (const config::ConfigError&) {
      table = {};  // a damaged table: the copy gets a fresh one
    }
  }
  if (table.ColumnIndex(kTemplateLayers) < 0) table.headings.push_back(kTemplateLayers);
  const std::size_t column = table.ColumnIndex(kTemplateLayers);
  std::set<int> listed;
  for (const std::string& cell : table.Column(kTemplateLayers))
    listed.insert(config::CellToInt(cell));
  for (auto& row : table.rows) row.resize(table.headings.size());
  std::size_t r = 0;  // the column's empty cells are filled first
  for (int layer : layers) {
    if (listed.count(layer)) continue;
    while (r < table.rows.size() && !table.rows[r][column].empty()) ++r;
    if (r == table.rows.size()) table.rows.emplace_back(table.headings.size());
    table.rows[r][column] = std::to_string(layer);
  }
  WriteBytes(table_path, CsvText(table));
  return copy.string();
}

// Why the tree is empty, and which option lets the bodies through (GBK).
std::string EmptyTreeReason(host::Host& host, const std::set<int>& templates,
                            const std::map<int, std::vector<host::Tag>>& solids) {
  int on_templates = 0, marked = 0, outside = 0;
  std::string outside_layers;
  for (const auto& [layer, bodies] : solids) {
    if (!templates.count(layer)) {
      outside += static_cast<int>(bodies.size());
      outside_layers += (outside_layers.empty() ? "" : ", ") + std::to_string(layer);
      continue;
    }
    for (host::Tag b : bodies) {
      ++on_templates;
      if (host.attributes().Has(b, kDrawnMark) && host.attributes().GetString(b, kDrawnMark) == "Y")
        ++marked;
    }
  }
  if (on_templates == 0) {
    return text::Format("the tree is empty: none of the %d solid bodies lies on a template layer",
                        outside) +
           (outside ? " (they lie on layers " + outside_layers + ")" : "") +
           "; --all-layers takes every layer holding solids as a template layer";
  }
  if (marked == 0) {
    return text::Format(
               "the tree is empty: none of the %d solid bodies on the template layers carries \"",
               on_templates) +
           kDrawnMark + "\" = \"Y\"; --mark marks them for the BOM";
  }
  return text::Format(
      "the tree is empty: the %d marked bodies on the template layers are standard parts or "
      "hidden",
      marked);
}

// The text of the last error box, or `fallback`.
std::string LastError(const memory::MemoryHost& host, const std::string& fallback) {
  const auto& log = host.message_log();
  for (auto it = log.rbegin(); it != log.rend(); ++it) {
    if (it->type == host::kErrorMessage && !it->lines.empty()) return it->lines.front();
  }
  return fallback;
}

int RunBomJob(BomJob job);

}  // namespace

int RunBom(const std::vector<std::string>& args) { return RunBomJob(ReadJob(args)); }

// The report alone: the material tree as the dialog builds it, drawn; no
// header needed, no workbook written.
int RunReport(const std::vector<std::string>& args) {
  BomJob job = ReadJob(args);
  if (job.part.empty()) {
    Print(
        "Usage: diebom report PART -o FILE.html [OPTIONS]\n\n"
        "Writes an HTML page with a drawing of every material row's body in its blank, the\n"
        "flags a designer acts on and a summary. Takes the options of 'diebom bom' (see\n"
        "'diebom bom --help') but writes no workbook and needs no header.\n");
    return kSuccess;
  }
  if (job.report.empty()) throw UsageError("no report file given (-o FILE.html)");
  if (job.revision.delta) throw UsageError("--delta goes with a workbook: use 'diebom bom'");
  job.export_workbook = false;
  return RunBomJob(std::move(job));
}

namespace {

int RunBomJob(BomJob job) {
  if (job.part.empty()) {
    Print(kBomHelp);
    return kSuccess;
  }
  const std::string out_folder = CheckOutFolder(job.out);
  if (!job.report.empty()) {
    std::error_code ec;
    const fs::path folder = fs::path(job.report).parent_path();
    if (!folder.empty() && !fs::is_directory(folder, ec))
      throw Failure("cannot write the report " + PathText(job.report) + ": no such folder");
  }

  memory::MemoryHost host;
  Workspace workspace(host, job.config);
  memory::OpenPart(host, job.part);
  const std::map<int, std::vector<host::Tag>> solids = SolidsByLayer(host);
  if (job.all_layers) {
    std::set<int> layers;
    for (const auto& [layer, bodies] : solids) layers.insert(layer);
    const std::string copy = AllLayersConfig(host, workspace, layers);
    host.SetVariable(config::kRootVariable, PathText(copy));
  }
  // The configuration as the dialog will load it: its faults stop the job
  // here, with the dialog's own message.
  host.session().Initialize();
  const config::MaterialBomSettings settings = config::MaterialBomSettings::Load(host);
  host.session().Terminate();
  const std::set<int> templates(settings.material.template_layers.begin(),
                                settings.material.template_layers.end());
  // A revision: the previous BOM onto the new model before the dialog sees it.
  std::optional<revision::CarryOverResult> revised;
  if (!job.revision.previous.empty()) {
    revision::CarryOverOptions options;
    options.changed_colour = settings.common.changed_body_color;
    options.mode = job.mode == "rounded" ? 0 : 1;
    options.settings = &settings;
    host.session().Initialize();
    revised = CarryOverForTool(host, job.revision, options,
                               job.export_workbook ? "diebom bom" : "diebom report");
    host.session().Terminate();
  }
  for (const auto& [layer, bodies] : solids) {
    for (host::Tag b : bodies) {
      if (job.mark && templates.count(layer)) host.attributes().SetString(b, kDrawnMark, "Y");
      if (job.no_optimise) host.attributes().SetString(b, kOptimizedMark, "Y");
    }
  }

  host.MapDrive(kOutDrive, out_folder);
  host.SetAnswerer([&](const memory::MessageRecord& box) {
    const bool export_question = !box.lines.empty() && box.lines[0].rfind("导出BOM前", 0) == 0;
    if (job.keep_overlaps && box.title == "提示" && !export_question) return host::kSecondButton;
    return host::kFirstButton;
  });
  memory::MemoryDialogs& dialogs = host.memory_dialogs();
  dialogs.QueueDriver("SetBomOption.dlx", [&](memory::DialogDriver& d) {
    d.SetToggle("toggle02", job.reset);
    d.SetToggle("toggle0", job.same_body);
    d.SelectEnum("enum0", job.mode == "rounded" ? 0 : 1);
    d.Ok();
  });
  TreeTable tree;
  std::vector<report::ReportRow> report_rows;
  std::vector<TreeRowBodies> row_bodies;
  bool shown = false;
  dialogs.QueueDriver("ExportMaterialBom.dlx", [&](memory::DialogDriver& d) {
    shown = true;
    for (const auto& [title, field] : job.header) {
      d.SetString(material_bom::BomHeader::kBlockIds[material_bom::BomHeader::IndexOf(title)],
                  field);
    }
    d.SetFolder("nativeFolderBrowser0", std::string(1, kOutDrive) + ":\\");
    if (job.reorder) d.Press("button0611");
    if (job.balloon) d.Press("button010");
    if (job.export_workbook) d.Press("button01");
    tree = ReadTree(d, kTreeId);
    for (host::Node* top : d.TopNodes(kTreeId)) {
      report::ReportRow row;
      for (int c = 0; c < static_cast<int>(report::kColumnCount); ++c)
        row.columns.push_back(top->GetColumnDisplayText(c));
      std::vector<host::Node*> children = d.Children(top);
      if (children.empty()) children.push_back(top);
      for (host::Node* n : children) row.bodies.push_back(n->GetNodeData().GetTaggedObject("Data"));
      TreeRowBodies texts;
      for (int c = 0; c < material_bom::kMaterialColumnCount; ++c)
        texts.texts.push_back(top->GetColumnDisplayText(c));
      texts.bodies = row.bodies;
      row_bodies.push_back(std::move(texts));
      report_rows.push_back(std::move(row));
    }
    d.Close();
  });

  entry::SetHost(&host);
  struct Uninstall {
    ~Uninstall() { entry::SetHost(nullptr); }
  } uninstall;
  try {
    ufusr(nullptr, nullptr, 0);
  } catch (const memory::ScriptError& e) {
    throw Failure(std::string("the dialog asked for what a batch run cannot give: ") + e.what());
  }

  for (const std::string& line : MessageLines(host, "diebom bom")) std::fputs(line.c_str(), stderr);
  if (!shown) throw Failure(LastError(host, "the material BOM dialog did not open"));
  const Format format = ParseFormat(job.format);
  std::fputs(FormatTree(tree, format).c_str(), stdout);
  // The dialog may have replaced bodies (the neutral-file round trip): count
  // them as they are now.
  if (tree.rows.empty())
    PrintError("diebom bom: " + EmptyTreeReason(host, templates, SolidsByLayer(host)) + "\n");
  if (!job.report.empty()) {
    report::ReportOptions options;
    options.title = host.session().PartLeaf(host.session().WorkPart());
    options.blank_density = settings.material.density;
    options.net_density = settings.blank_density;
    std::ofstream page(job.report, std::ios::binary | std::ios::trunc);
    if (!page) throw Failure("cannot write the report " + PathText(job.report));
    const report::ReportResult written = report::WriteBlankReport(host, report_rows, options, page);
    if (!page.flush()) throw Failure("cannot write the report " + PathText(job.report));
    PrintError(text::Format("diebom %s: report %s: %zu rows, %zu flags\n",
                            job.export_workbook ? "bom" : "report", PathText(job.report).c_str(),
                            written.rows, written.flags.size()));
  }
  if (!job.export_workbook) return kSuccess;
  if (host.opened_documents().empty())
    throw Failure(LastError(host, "the workbook was not written"));
  const std::string workbook = host.LocalPath(host.opened_documents().back());
  if (format == Format::kTable)
    Print("workbook: " + PathText(workbook) + "\n");
  else
    PrintError("diebom bom: workbook " + PathText(workbook) + "\n");
  if (job.revision.delta) {
    const std::vector<material_bom::RowTexts> rows = RowsToBuy(host, row_bodies, *revised);
    const std::string delta =
        host.LocalPath(WriteDeltaWorkbook(host, host.opened_documents().back(), rows, settings));
    const std::string line = text::Format("%zu rows to buy again: ", rows.size()) + PathText(delta);
    if (format == Format::kTable)
      Print(line + "\n");
    else
      PrintError("diebom bom: " + line + "\n");
  }
  if (!job.save.empty()) memory::SavePartFile(host, job.save);
  return kSuccess;
}

}  // namespace

}  // namespace cli
