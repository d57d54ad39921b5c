// Identical and overlapping bodies on the scaled sample die (the die repeated
// side by side, as samples/generate_die --bodies N writes it), at 250 and
// 1,000 bodies. Goal: 1,000 bodies in at most 5 times the time of 250.
//
//   SameBodies/N     every body compared with the bodies numbered before it,
//                    as the material BOM numbers a layer (one BodyInfo per
//                    body, kept); counter classes = bodies that found no
//                    earlier identical body
//   OverlapBodies/N  CNobokudBase::AskOverlappingBodyOfBodys over all bodies;
//                    counter overlapping = bodies reported
// Times are the process's processor time (the machine is shared).
#include <benchmark/benchmark.h>

#include <vector>

#include "blank/body_info.h"
#include "blank/overlap.h"
#include "host/memory/memory_host.h"
#include "samples/sample_die.h"

namespace {

using host::Tag;
using memory::MemoryHost;

std::vector<Tag> ScaledDie(MemoryHost& h, int n) {
  samples::BuildSampleDie(h, n);
  return h.bodies().PartBodies(h.session().WorkPart());
}

void SameBodies(benchmark::State& state) {
  MemoryHost h;
  const std::vector<Tag> bodies = ScaledDie(h, static_cast<int>(state.range(0)));
  int classes = 0;
  for (auto _ : state) {
    classes = 0;
    std::vector<blank::BodyInfo> numbered;
    numbered.reserve(bodies.size());
    for (Tag b : bodies) {
      blank::BodyInfo info(h, b);
      if (info.GetSameBodys(numbered).empty()) ++classes;
      numbered.push_back(info);
    }
  }
  state.counters["bodies"] = static_cast<double>(bodies.size());
  state.counters["classes"] = classes;
}
BENCHMARK(SameBodies)
    ->Arg(250)
    ->Arg(1000)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime();

void OverlapBodies(benchmark::State& state) {
  MemoryHost h;
  const std::vector<Tag> bodies = ScaledDie(h, static_cast<int>(state.range(0)));
  std::size_t found = 0;
  for (auto _ : state) found = blank::CNobokudBase::AskOverlappingBodyOfBodys(h, bodies).size();
  state.counters["bodies"] = static_cast<double>(bodies.size());
  state.counters["overlapping"] = static_cast<double>(found);
}
BENCHMARK(OverlapBodies)
    ->Arg(250)
    ->Arg(1000)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime();

}  // namespace

BENCHMARK_MAIN();
