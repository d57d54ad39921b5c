// The blank report of the scaled sample die (the die repeated side by side,
// as samples/generate_die --bodies N writes it) with the shipped sample
// configuration. Goals at 1,000 bodies: written in under 5 s, under 20 MB.
//
//   Report/N/0   one row per body, every body under a code of its own (the
//                identical-body flag then compares the most bodies)
//   Report/N/1   identical bodies grouped under one code, as the tree does
//                with the same-body option
// Each iteration starts from a freshly built die whose parameters were
// computed (not timed), so the facets are made in the timed part as they
// are after a real run. Counters: rows, flags, MB (the page's size),
// drawings (distinct drawings written), s_wall (wall time per page).
// Times are the process's processor time (the machine is shared).
#include <benchmark/benchmark.h>
#include <time.h>

#include <filesystem>
#include <memory>
#include <sstream>

#include "report/blank_report.h"
#include "samples/sample_die.h"
#include "tests/report/die_rows.h"

namespace {

double Wall() {
  timespec t{};
  clock_gettime(CLOCK_MONOTONIC, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

void Report(benchmark::State& state) {
  const int bodies = static_cast<int>(state.range(0));
  const bool group = state.range(1) != 0;
  char pattern[] = "/tmp/report-bench-XXXXXX";
  if (!mkdtemp(pattern)) {
    state.SkipWithError("no temporary folder");
    return;
  }
  const std::filesystem::path scratch = pattern;
  report::ReportResult last;
  double wall = 0.0;
  for (auto _ : state) {
    state.PauseTiming();
    auto h = std::make_unique<memory::MemoryHost>();
    const config::MaterialBomSettings settings = report_test::UseSampleConfiguration(*h, scratch);
    samples::BuildSampleDie(*h, bodies);
    blank::MaterialParamCalculator calc(*h, blank::BomOptions{}, settings);
    const auto rows =
        report_test::NumberRows(*h, calc, report_test::TemplateBodies(*h, settings), group);
    std::ostringstream page;
    state.ResumeTiming();
    const double start = Wall();
    last = report::WriteBlankReport(*h, rows, {}, page);
    wall += Wall() - start;
    state.PauseTiming();
    h.reset();
    state.ResumeTiming();
  }
  std::filesystem::remove_all(scratch);
  state.counters["rows"] = static_cast<double>(last.rows);
  state.counters["flags"] = static_cast<double>(last.flags.size());
  state.counters["drawings"] = static_cast<double>(last.distinct_drawings);
  state.counters["MB"] = static_cast<double>(last.bytes) / (1 << 20);
  state.counters["s_wall"] = wall / static_cast<double>(state.iterations());
}
BENCHMARK(Report)->Args({1000, 0})->Args({1000, 1})->Iterations(2)->MeasureProcessCPUTime()->Unit(
    benchmark::kSecond);

}  // namespace

BENCHMARK_MAIN();
