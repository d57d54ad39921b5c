#include "cli/tool.h"

#include <cstdio>
#include <exception>

#include "cli/batch.h"
#include "config/csv.h"
#include "host/text.h"
#include "host/types.h"

#ifndef DIEBOM_VERSION
#define DIEBOM_VERSION "0.0.0"
#endif
#ifndef DIEBOM_SAMPLE_CONFIG_DIR
#define DIEBOM_SAMPLE_CONFIG_DIR "samples/config"
#endif

namespace cli {
namespace {

constexpr const char* kHelp =
    "Usage: diebom COMMAND [OPTIONS] [ARGUMENTS]\n"
    "\n"
    "Works out the raw-material blank of every body of a stamping die: its size in\n"
    "the body's own minimum-volume orientation, material and heat treatment, blank\n"
    "and net weight, ordering method and process, from a STEP model or a part file.\n"
    "\n"
    "Commands:\n"
    "  blanks PART     print the blank list of the bodies on the template layers\n"
    "  bom PART        number the blanks in the material BOM and export its purchase\n"
    "                  workbook, as the plug-in does in NX\n"
    "  parts PART      list the standard parts and export their purchase workbook\n"
    "  diff OLD NEW    what a revision changed: every body unchanged, moved,\n"
    "                  changed, new or removed, with its blank before and after\n"
    "  report PART     draw every material row's body in its blank (an HTML page)\n"
    "  sample OUTDIR   write the sample die, its configuration and templates\n"
    "  studio [PART]   the plug-in's dialogs in a browser: run the material and the\n"
    "                  standard-part BOM by hand, save the part, fetch the workbooks\n"
    "\n"
    "Options:\n"
    "  -h, --help      show this help and exit\n"
    "  --version       print the version and exit\n"
    "\n"
    "Run 'diebom COMMAND --help' for the options of a command.\n"
    "Exit status: 0 success, 1 the job failed, 2 bad usage.\n";

std::string Tool(const std::string& command) {
  return command.empty() ? "diebom" : "diebom " + command;
}

}  // namespace

std::string PathText(const std::string& utf8_path) { return text::Utf8ToGbkLenient(utf8_path); }

std::string ConsoleText(const std::string& gbk) { return text::GbkToUtf8Lenient(gbk); }

void Print(const std::string& gbk) { std::fputs(ConsoleText(gbk).c_str(), stdout); }

void PrintError(const std::string& gbk) {
  std::fflush(stdout);
  std::fputs(ConsoleText(gbk).c_str(), stderr);
}

std::string SampleConfigRoot() { return DIEBOM_SAMPLE_CONFIG_DIR; }

ParsedArgs ParseArgs(const std::vector<std::string>& args, const std::vector<OptionSpec>& spec) {
  ParsedArgs out;
  bool options = true;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (!options || arg.size() < 2 || arg[0] != '-') {
      out.positional.push_back(arg);
      continue;
    }
    if (arg == "--") {
      options = false;
      continue;
    }
    const OptionSpec* found = nullptr;
    std::string value;
    bool has_value = false;
    if (arg[1] == '-') {
      const std::size_t eq = arg.find('=');
      const std::string name = arg.substr(2, eq == std::string::npos ? std::string::npos : eq - 2);
      for (const OptionSpec& s : spec)
        if (s.name == name) found = &s;
      if (eq != std::string::npos) {
        value = arg.substr(eq + 1);
        has_value = true;
      }
    } else if (arg.size() == 2) {
      for (const OptionSpec& s : spec)
        if (s.short_name == arg[1]) found = &s;
    }
    if (!found) throw UsageError("unknown option '" + PathText(arg) + "'");
    if (!found->takes_value) {
      if (has_value) throw UsageError("option --" + found->name + " takes no value");
      out.flags.insert(found->name);
      continue;
    }
    if (!has_value) {
      if (i + 1 >= args.size()) throw UsageError("option --" + found->name + " needs a value");
      value = args[++i];
    }
    out.values[found->name] = value;
  }
  return out;
}

int Main(const std::vector<std::string>& args) {
  std::string command;
  try {
    if (args.empty()) throw UsageError("no command given");
    const std::string& first = args.front();
    if (first == "-h" || first == "--help" || first == "help") {
      if (args.size() == 2 && first == "help") return Main({args[1], "--help"});
      Print(kHelp);
      return kSuccess;
    }
    if (first == "--version") {
      Print(std::string("diebom ") + DIEBOM_VERSION + "\n");
      return kSuccess;
    }
    const std::vector<std::string> rest(args.begin() + 1, args.end());
    if (first == "blanks") {
      command = first;
      return RunBlanks(rest);
    }
    if (first == "bom") {
      command = first;
      return RunBom(rest);
    }
    if (first == "diff") {
      command = first;
      return RunDiff(rest);
    }
    if (first == "report") {
      command = first;
      return RunReport(rest);
    }
    if (first == "parts") {
      command = first;
      return RunParts(rest);
    }
    if (first == "studio") {
      command = first;
      return RunStudio(rest);
    }
    if (first == "sample") {
      command = first;
      return RunSample(rest);
    }
    if (!first.empty() && first[0] == '-')
      throw UsageError("unknown option '" + PathText(first) + "'");
    throw UsageError("unknown command '" + PathText(first) + "'");
  } catch (const UsageError& e) {
    PrintError(Tool(command) + ": " + e.what() + " (see '" + Tool(command) + " --help')\n");
    return kUsage;
  } catch (const std::exception& e) {
    // Failures of the job: the program's own, the host's, the configuration's.
    std::string message = e.what();
    for (char& c : message)
      if (c == '\n' || c == '\r') c = ' ';
    PrintError(Tool(command) + ": " + message + "\n");
    return kFailure;
  }
}

}  // namespace cli
