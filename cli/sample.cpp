// diebom sample OUTDIR: the sample die, its configuration and templates.
#include <filesystem>

#include "cli/tool.h"
#include "host/memory/part_file.h"
#include "samples/sample_die.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

constexpr const char* kSampleHelp =
    "Usage: diebom sample OUTDIR [--force]\n"
    "\n"
    "Writes into OUTDIR the sample die, a small progressive die of about 60 bodies,\n"
    "as sample_die.step and as the part file sample_die.xbf, and its configuration\n"
    "root OUTDIR/config (layer table, colour table, material settings and the\n"
    "workbook templates), ready to edit. Then try:\n"
    "\n"
    "  diebom blanks OUTDIR/sample_die.step --config OUTDIR/config\n"
    "\n"
    "Options:\n"
    "  --force      write into OUTDIR even when it is not empty (files of the same\n"
    "               names are replaced)\n"
    "  -h, --help   show this help and exit\n";

}  // namespace

int RunSample(const std::vector<std::string>& args) {
  const ParsedArgs parsed = ParseArgs(args, {{"force", 0, false}, {"help", 'h', false}});
  if (parsed.flags.count("help")) {
    Print(kSampleHelp);
    return kSuccess;
  }
  if (parsed.positional.empty()) throw UsageError("no OUTDIR given");
  if (parsed.positional.size() > 1)
    throw UsageError("one OUTDIR only ('" + PathText(parsed.positional[1]) + "' is one too many)");
  const fs::path out = parsed.positional.front();
  std::error_code ec;
  if (fs::exists(out, ec) && !fs::is_directory(out, ec))
    throw Failure(PathText(out.string()) + " is a file, not a folder");
  if (fs::is_directory(out, ec) && !fs::is_empty(out, ec) && !parsed.flags.count("force"))
    throw Failure(PathText(out.string()) + " is not empty (--force writes into it)");
  const fs::path source = SampleConfigRoot();
  if (!fs::is_directory(source / "config", ec))
    throw Failure("the sample configuration " + PathText(source.string()) + " is missing");

  fs::create_directories(out, ec);
  if (ec) throw Failure("cannot make the folder " + PathText(out.string()) + ": " + ec.message());
  samples::WriteSampleDie(out.string(), samples::kSampleDieName);

  // The configuration root, without the sources the templates are made from.
  const fs::path config = out / "config";
  fs::create_directories(config, ec);
  for (const fs::directory_entry& e : fs::directory_iterator(source)) {
    if (e.path().filename() == "templates-src") continue;
    fs::copy(e.path(), config / e.path().filename(),
             fs::copy_options::recursive | fs::copy_options::overwrite_existing, ec);
    if (ec) throw Failure("cannot copy " + PathText(e.path().string()) + ": " + ec.message());
  }

  const std::string dir = PathText(out.string());
  // The folder as the shell takes it back, quoted when it must be.
  auto shell = [](const std::string& path) {
    if (path.find_first_of(" \t'\"$&;|<>()*?") == std::string::npos) return path;
    std::string quoted = "'";
    for (char c : path) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
  };
  Print("wrote " + dir + "/" + samples::kSampleDieName + ".step\n");
  Print("wrote " + dir + "/" + samples::kSampleDieName + memory::kPartFileExtension + "\n");
  Print("wrote " + dir + "/config\n");
  Print("next: diebom blanks " + shell(dir + "/" + samples::kSampleDieName + ".step") +
        " --config " + shell(dir + "/config") + "\n");
  return kSuccess;
}

}  // namespace cli
