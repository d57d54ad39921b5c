// Following a revision of the scaled sample die (1,000 bodies, the die
// repeated side by side, as samples/generate_die --bodies 1000 writes it).
// Goal: matching the 1,000 bodies of the new model against the 1,000 of the
// previous revision takes at most a quarter of the time of reading the new
// model.
//
//   ReadNew/step       reading the new model from its STEP file (OpenStep)
//   ReadNew/checked    as the tool reads it (OpenPart: a child process reads
//                      it first, then it is read again)
//   Match/unchanged    every body matched with itself: the usual revision
//   Match/moved        the whole die 10 mm further along X: every body
//                      compared with every identical one
//   CarryOver          the match and the carry-over of a saved BOM (each
//                      blank system made again)
// Times are the process's processor time (the machine is shared); the
// reading child's time counts for ReadNew/checked.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>

#include "host/memory/part_file.h"
#include "revision/carry_over.h"
#include "revision/match.h"
#include "samples/sample_die.h"

namespace {

namespace fs = std::filesystem;
constexpr int kBodies = 1000;

// The scaled die written once: die.step and die.xbf, and the die moved 10 mm
// as moved.step.
const fs::path& Folder() {
  static const fs::path dir = [] {
    const fs::path d =
        fs::temp_directory_path() / ("diebom-revision-bench-" + std::to_string(getpid()));
    fs::create_directories(d);
    samples::WriteSampleDie(d.string(), "die", kBodies);
    memory::MemoryHost h;
    memory::OpenPartFile(h, (d / "die.xbf").string());
    for (host::Tag b : h.bodies().PartBodies(h.session().WorkPart()))
      h.SetBodyShape(b, h.BodyShape(b).Translated({10, 0, 0}));
    memory::SaveStep(h, (d / "moved.step").string());
    return d;
  }();
  return dir;
}

void ReadNew(benchmark::State& state) {
  const std::string step = (Folder() / "die.step").string();
  const bool checked = state.range(0) != 0;
  int bodies = 0;
  for (auto _ : state) {
    memory::MemoryHost h;
    if (checked)
      memory::OpenPart(h, step);
    else
      memory::OpenStep(h, step);
    bodies = static_cast<int>(h.bodies().PartBodies(h.session().WorkPart()).size());
  }
  state.counters["bodies"] = bodies;
}
BENCHMARK(ReadNew)
    ->ArgName("checked")
    ->Arg(0)
    ->Arg(1)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime();

void Match(benchmark::State& state) {
  memory::MemoryHost previous, current;
  memory::OpenPartFile(previous, (Folder() / "die.xbf").string());
  memory::OpenStep(current, (Folder() / (state.range(0) ? "moved.step" : "die.step")).string());
  revision::MatchResult m;
  for (auto _ : state) m = revision::MatchBodies(previous, current);
  state.counters["bodies"] = static_cast<double>(m.bodies.size());
  state.counters["unchanged"] = m.Count(revision::Status::kUnchanged);
  state.counters["moved"] = m.Count(revision::Status::kMoved);
}
BENCHMARK(Match)
    ->ArgName("moved")
    ->Arg(0)
    ->Arg(1)
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime();

void CarryOver(benchmark::State& state) {
  memory::MemoryHost previous;
  memory::OpenPartFile(previous, (Folder() / "die.xbf").string());
  // A saved BOM: every body with an identity, a code and an orientation.
  int n = 0;
  for (host::Tag b : previous.bodies().PartBodies(previous.session().WorkPart())) {
    const std::string id = std::to_string(10000000000000 + n++);
    previous.attributes().SetString(b, "实体标识", id);
    previous.attributes().SetString(b, "材料代号", "UB-" + std::to_string(n));
    previous.attributes().SetString(b, "材料方位", "1,0,0,0,1,0");
  }
  int carried = 0;
  for (auto _ : state) {
    state.PauseTiming();
    memory::MemoryHost current;
    memory::OpenStep(current, (Folder() / "die.step").string());
    state.ResumeTiming();
    const revision::MatchResult m = revision::MatchBodies(previous, current);
    carried = static_cast<int>(revision::ApplyCarryOver(previous, current, m, {}).bodies.size());
  }
  state.counters["bodies"] = carried;
}
BENCHMARK(CarryOver)->Iterations(1)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  std::error_code ec;
  fs::remove_all(Folder(), ec);
  return 0;
}
