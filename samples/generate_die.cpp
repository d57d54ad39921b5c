// Writes the sample die (or a scaled model of it) as a STEP file and a part file.
//
//   generate_die OUTDIR [--bodies N] [--name NAME]
//
// Without --bodies the die itself is written as OUTDIR/sample_die.step and
// OUTDIR/sample_die.xbf; with --bodies N the die is repeated until N bodies
// are made, and the files are named die_N unless --name says otherwise.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>

#include "host/text.h"
#include "samples/sample_die.h"

namespace {

int Usage() {
  std::fputs("usage: generate_die OUTDIR [--bodies N] [--name NAME]\n", stderr);
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  std::string folder, name;
  int bodies = 0;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if ((arg == "--bodies" || arg == "--name") && i + 1 < argc) {
      const std::string value = argv[++i];
      if (arg == "--name") {
        name = value;
        continue;
      }
      char* end = nullptr;
      const long n = std::strtol(value.c_str(), &end, 10);
      if (value.empty() || *end != '\0' || n < 1 || n > 1000000) return Usage();
      bodies = static_cast<int>(n);
    } else if (!arg.empty() && arg[0] != '-' && folder.empty()) {
      folder = arg;
    } else {
      return Usage();
    }
  }
  if (folder.empty()) return Usage();
  if (name.empty()) name = bodies > 0 ? "die_" + std::to_string(bodies) : samples::kSampleDieName;
  try {
    std::filesystem::create_directories(folder);
    samples::WriteSampleDie(folder, name, bodies);
  } catch (const std::exception& e) {
    std::string message = e.what();
    try {
      message = text::GbkToUtf8(message);
    } catch (const std::exception&) {
    }
    std::fprintf(stderr, "generate_die: %s\n", message.c_str());
    return 1;
  }
  return 0;
}
