// Writes the blank report of the sample die (or of a scaled die) with the
// shipped sample configuration, the bodies numbered layer by layer.
//
//   sample_report OUT.html [--bodies N] [--group]
//
// --group puts identical bodies under one code, as the tree does with the
// same-body option.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "report/blank_report.h"
#include "samples/sample_die.h"
#include "tests/report/die_rows.h"

int main(int argc, char** argv) {
  std::string out;
  int bodies = 0;
  bool group = false;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--bodies" && i + 1 < argc)
      bodies = std::atoi(argv[++i]);
    else if (arg == "--group")
      group = true;
    else if (out.empty() && !arg.empty() && arg[0] != '-')
      out = arg;
    else
      out.clear(), i = argc;
  }
  if (out.empty() || bodies < 0) {
    std::fputs("usage: sample_report OUT.html [--bodies N] [--group]\n", stderr);
    return 2;
  }
  try {
    namespace fs = std::filesystem;
    char pattern[] = "/tmp/sample-report-XXXXXX";
    if (!mkdtemp(pattern)) throw std::runtime_error("no temporary folder");
    const fs::path scratch = pattern;
    memory::MemoryHost h;
    const config::MaterialBomSettings settings = report_test::UseSampleConfiguration(h, scratch);
    samples::BuildSampleDie(h, bodies);
    blank::MaterialParamCalculator calc(h, blank::BomOptions{}, settings);
    const auto rows =
        report_test::NumberRows(h, calc, report_test::TemplateBodies(h, settings), group);
    report::ReportOptions options;
    options.title = samples::kSampleDieName;
    const report::ReportResult r = report::WriteBlankReport(h, rows, options, "D:\\report.html");
    fs::copy_file(scratch / "report.html", out, fs::copy_options::overwrite_existing);
    fs::remove_all(scratch);
    std::printf("%zu rows, %zu bodies, %zu flags, %zu bytes\n", r.rows, r.bodies, r.flags.size(),
                r.bytes);
  } catch (const std::exception& e) {
    std::string message = e.what();
    try {
      message = text::GbkToUtf8(message);
    } catch (const std::exception&) {
    }
    std::fprintf(stderr, "sample_report: %s\n", message.c_str());
    return 1;
  }
  return 0;
}
