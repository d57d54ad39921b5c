// diebom parts PART: the standard-part BOM without a designer at the screen.
#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "cli/batch.h"
#include "cli/revision_options.h"
#include "cli/tool.h"
#include "cli/workspace.h"
#include "config/config_folder.h"
#include "config/csv.h"
#include "host/memory/dialogs/dialogs.h"
#include "host/memory/memory_host.h"
#include "host/memory/part_file.h"
#include "host/text.h"
#include "part_bom/export_part_bom.h"
#include "part_bom/part_bom_texts.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

constexpr const char* kPartsHelp =
    "Usage: diebom parts PART [OPTIONS]\n"
    "\n"
    "Opens PART, a part file (.xbf) or a STEP file, and runs the standard-part BOM\n"
    "on it as the dialog does: every shown body that carries \"名称\" is a standard\n"
    "part; equal parts are grouped and numbered, those in the changed-body colour\n"
    "(\"改模颜色\") are listed apart as \"新增\". The header is filled in, the\n"
    "standard-part purchase workbook is exported and the tree is printed. Every\n"
    "message the dialog shows goes to standard error as one line.\n"
    "\n"
    "The workbook is written to OUT/LEAF/LEAF标准件BOM.xls (LEAF: the part's file\n"
    "name without extension); an earlier workbook there is kept and the new one\n"
    "gets \"-1\", \"-2\", ... Its path ends the table on standard output (with csv\n"
    "or json it goes to standard error).\n"
    "\n"
    "Options:\n"
    "  --header FILE    the BOM header: lines of title,value (UTF-8 or GBK)\n"
    "  --set 标题=值    one header field; may be repeated and wins over --header.\n"
    "                   Titles: 客户名称, 模具编号, 产品编号, 订单编号 (texts) and\n"
    "                   模具吨位, 设计担当 (one of the configured values). All but\n"
    "                   产品编号 and 订单编号 are required; a field left out keeps\n"
    "                   the value stored in the part\n"
    "  --config DIR     the configuration root, as RQConfig names it on the host\n"
    "                   (default: the shipped sample configuration)\n"
    "  --out DIR        the folder that stands for the desktop (default: the\n"
    "                   current folder)\n"
    "  --format FORMAT  table (default), csv or json\n"
    "  --save OUT       write the part with the attributes the export stored to\n"
    "                   the part file OUT\n"
    "  --previous OLD   a revision: each body of PART first takes the attributes\n"
    "                   of its body in OLD, the part file of the previous revision\n"
    "                   (see 'diebom diff --help'); new bodies get the changed-body\n"
    "                   colour, so new standard parts are listed as \"新增\"\n"
    "  --keep-colours   new bodies keep their colour\n"
    "  -h, --help       show this help and exit\n"
    "\n"
    "Exit status: 0 exported, 1 the dialog or the job failed (nothing is written),\n"
    "2 bad usage.\n";

// The header fields of the standard-part BOM and their blocks.
struct HeaderBlock {
  const char* title;
  const char* block;
  bool choice;  // an enumeration of configured values
};
constexpr HeaderBlock kHeaderBlocks[] = {
    {"客户名称", "string0", false},  {"模具编号", "string01", false},
    {"产品编号", "string02", false}, {"订单编号", "string03", false},
    {"模具吨位", "enum0", true},     {"设计担当", "enum01", true}};

const HeaderBlock* FindHeaderBlock(const std::string& title) {
  for (const HeaderBlock& h : kHeaderBlocks)
    if (title == h.title) return &h;
  return nullptr;
}

std::string KnownTitles() {
  std::string out;
  for (const HeaderBlock& h : kHeaderBlocks) out += std::string(out.empty() ? "" : ", ") + h.title;
  return out;
}

// A logic path (GBK) for a local folder.
std::string LogicPath(const std::string& utf8) {
  try {
    return text::Utf8ToGbk(utf8);
  } catch (const text::EncodingError&) {
    throw Failure("the path " + PathText(utf8) + " cannot be written in GBK");
  }
}

// The changed-body colour of the standard-part configuration, as the dialog
// reads it; 186 when it has none (the dialog then refuses to start anyway).
int ChangedColour(memory::MemoryHost& host) {
  const std::string root = host.environment().GetEnvironmentVariableValue(config::kRootVariable);
  config::ReadConfigFile table(host.platform());
  if (!table.OpenConfigFile(root + part_bom::kConfigTable)) return 186;
  for (const std::string& cell : table.GetColumnValue(part_bom::kChangedColorKey))
    if (!cell.empty()) return config::CellToInt(cell);
  return 186;
}

void WriteStdout(const std::string& utf8) {
  std::fputs(utf8.c_str(), stdout);
  std::fflush(stdout);
}

}  // namespace

int RunParts(const std::vector<std::string>& raw_args) {
  std::vector<std::string> args = raw_args;
  const std::vector<std::string> sets = TakeRepeatedOption(args, "set");
  std::vector<OptionSpec> specs = {{"config", 0, true}, {"header", 0, true}, {"out", 0, true},
                                   {"format", 0, true}, {"save", 0, true},   {"help", 'h', false}};
  for (const OptionSpec& s : RevisionOptionSpecs(false)) specs.push_back(s);
  const ParsedArgs parsed = ParseArgs(args, specs);
  if (parsed.flags.count("help")) {
    WriteStdout(ConsoleText(kPartsHelp));
    return kSuccess;
  }
  if (parsed.positional.empty()) throw UsageError("no PART given");
  if (parsed.positional.size() > 1)
    throw UsageError("one PART only ('" + PathText(parsed.positional[1]) + "' is one too many)");
  auto value = [&](const char* name, const std::string& fallback) {
    const auto it = parsed.values.find(name);
    return it == parsed.values.end() ? fallback : it->second;
  };
  const Format format = ParseFormat(value("format", "table"));
  std::vector<HeaderField> from_sets;
  for (const std::string& s : sets) {
    from_sets.push_back(ParseSetOption(s));
    if (!FindHeaderBlock(from_sets.back().first))
      throw UsageError("--set: no header field '" + from_sets.back().first + "' (the fields are " +
                       KnownTitles() + ")");
  }
  const std::string save = value("save", "");
  if (parsed.values.count("save") && save.empty()) throw UsageError("--save needs a file name");
  if (parsed.values.count("out") && value("out", "").empty())
    throw UsageError("--out needs a folder");
  const std::string part = parsed.positional.front();
  const RevisionArgs revision_args = ReadRevisionArgs(parsed);

  // Bad input stops the job before anything is opened or written.
  std::vector<HeaderField> header;
  if (parsed.values.count("header")) {
    const std::string file = value("header", "");
    header = ReadHeaderFile(file);
    for (const HeaderField& f : header)
      if (!FindHeaderBlock(f.first))
        throw Failure(PathText(file) + ": no header field '" + f.first + "' (the fields are " +
                      KnownTitles() + ")");
  }
  header = MergeHeader(header, from_sets);
  const std::string out = CheckOutFolder(value("out", "."));
  CheckSaveTarget(part, save);

  memory::MemoryHost host;
  Workspace workspace(host, value("config", SampleConfigRoot()));
  const memory::StepReport report = memory::OpenPart(host, part);
  for (const memory::MappedLayer& m : report.mapped)
    PrintError("diebom parts: layer \"" + m.name + "\" of " + PathText(part) +
               text::Format(" is put on layer %d\n", m.layer));
  host.SetDesktopFolder(LogicPath(out));
  if (!revision_args.previous.empty()) {
    revision::CarryOverOptions options;
    options.changed_colour = ChangedColour(host);
    host.session().Initialize();
    CarryOverForTool(host, revision_args, options, "diebom parts");
    host.session().Terminate();
  }

  // The designer's part: fill in the header, export, read the tree, close.
  TreeTable tree;
  std::string problem;
  host.memory_dialogs().QueueDriver("ExportPartBom.dlx", [&](memory::DialogDriver& d) {
    // A start-up that failed has shown its message: nothing to do then.
    if (!HasErrorMessage(host)) {
      for (const auto& [title, text] : header) {
        const HeaderBlock* h = FindHeaderBlock(title);
        if (!h->choice) {
          d.SetString(h->block, text);
          continue;
        }
        const std::vector<std::string> members = d.EnumMembers(h->block);
        if (std::find(members.begin(), members.end(), text) == members.end()) {
          std::string known;
          for (const std::string& m : members)
            if (!m.empty()) known += (known.empty() ? "" : ", ") + m;
          problem = title + " '" + text + "' is not a configured value (" +
                    (known.empty() ? std::string("none are configured") : "configured: " + known) +
                    ")";
          break;
        }
        d.SelectEnumMember(h->block, text);
      }
      if (problem.empty()) d.Press("button01");
      tree = ReadTree(d, "tree_control0");
    }
    d.Cancel();
  });
  std::string exported;
  {
    ExportPartBom dialog(host);
    dialog.Show();
    exported = dialog.exported_file();
  }

  std::fflush(stdout);
  for (const std::string& line : MessageLines(host, "diebom parts"))
    std::fputs(line.c_str(), stderr);
  if (!problem.empty()) throw Failure(problem);
  if (HasErrorMessage(host) || exported.empty()) return kFailure;

  if (tree.rows.empty())
    PrintError("diebom parts: no shown body of " + PathText(part) +
               " carries \"名称\", so the list is empty" +
               (memory::DetectPartFile(part) == memory::PartFileKind::kStep
                    ? " (a STEP file keeps no attributes: use the part file)\n"
                    : "\n"));
  const std::string workbook = host.LocalPath(exported);
  std::string text = FormatTree(tree, format);
  if (format == Format::kTable) text += workbook + "\n";
  WriteStdout(text);
  if (format != Format::kTable) PrintError("diebom parts: workbook " + PathText(workbook) + "\n");

  if (!save.empty()) memory::SavePartFile(host, save);
  return kSuccess;
}

}  // namespace cli
