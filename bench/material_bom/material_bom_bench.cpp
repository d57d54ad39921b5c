// CreatMaterialNodes on the sample die repeated to 1,000 bodies, in the
// dialog as the designer opens it, same-body grouping on:
// - first_build: the dialog opened on a fresh, never-saved die: every body
//   computed, the work layer optimised, overlaps and identical bodies
//   searched, the tree numbered (the whole open, dialog set-up included);
// - parameters: the parameter computation alone, of the same bodies of a
//   second fresh die;
// - ratio: first_build / parameters;
// - second_build: the tree built again after a save (every body coded);
// - overlap_search_s, position_boxes_s, read_back_s: parts of the second
//   build, on the listed bodies.
// Times are seconds of the process's CPU clock, one run each per iteration.
#include <benchmark/benchmark.h>
#include <time.h>

#include <cmath>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "blank/body_info.h"
#include "blank/material_param_calculator.h"
#include "blank/overlap.h"
#include "config/material_bom_config.h"
#include "host/memory/dialogs/dialogs.h"
#include "host/memory/memory_host.h"
#include "material_bom/export_material_bom.h"
#include "samples/sample_die.h"

namespace {

namespace fs = std::filesystem;

double Seconds() {
  timespec t{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

// A host with the shipped configuration as D:\MYTOOL and the die built in.
struct Workspace {
  fs::path dir;
  memory::MemoryHost host;
  Workspace(int bodies, const char* name)
      : dir(fs::temp_directory_path() /
            ("diebom-mbom-bench-" + std::to_string(getpid()) + "-" + name)) {
    fs::remove_all(dir);
    for (const char* drive : {"C", "D"}) {
      fs::create_directories(dir / drive);
      host.MapDrive(drive[0], (dir / drive).string());
    }
    fs::copy(fs::path(DIEBOM_SOURCE_DIR) / "samples" / "config", dir / "D" / "MYTOOL",
             fs::copy_options::recursive);
    fs::create_directories(dir / "C/Users/designer/AppData/Local");
    host.SetVariable("RQConfig", "D:\\MYTOOL");
    host.session().Initialize();
    host.memory_dialogs().SetLayoutFolder((fs::path(DIEBOM_SOURCE_DIR) / "ui").string());
    samples::BuildSampleDie(host, bodies);
    host.SetAnswerer([](const memory::MessageRecord&) { return host::kSecondButton; });
  }
  ~Workspace() { fs::remove_all(dir); }
};

// The bodies the tree lists.
std::vector<host::Tag> Listed(ExportMaterialBom& bom, host::Host& h) {
  std::vector<host::Tag> out;
  for (const material_bom::NodeParam& p : bom.GetNodeParams()) out.push_back(p.body);
  std::set<host::Tag> seen;
  std::vector<host::Tag> unique;
  for (host::Tag b : out)
    if (seen.insert(b).second && h.objects().Exists(b)) unique.push_back(b);
  return unique;
}

// Where a body lies, to find the same body of another copy of the die: the
// work layer's bodies are replaced (new tags) when the dialog optimises them.
using Place = std::tuple<int, long, long, long, long, long, long>;
Place PlaceOf(host::Host& h, host::Tag b) {
  const host::ExactBox e = h.bodies().AskBoundingBoxExact(b, host::kNullTag);
  auto mm = [](double v) { return std::lround(v * 1000); };
  return {h.objects().Layer(b), mm(e.corner.X),     mm(e.corner.Y),    mm(e.corner.Z),
          mm(e.distances[0]),   mm(e.distances[1]), mm(e.distances[2])};
}

// The parameter computation alone of the bodies at `places` of a fresh die.
double ParameterSeconds(int n, const std::vector<Place>& places, benchmark::State& state) {
  Workspace w(n, "parameters");
  std::map<Place, host::Tag> by_place;
  for (host::Tag b : w.host.bodies().PartBodies(w.host.session().WorkPart()))
    by_place.emplace(PlaceOf(w.host, b), b);
  std::vector<host::Tag> bodies;
  for (const Place& p : places)
    if (auto it = by_place.find(p); it != by_place.end()) bodies.push_back(it->second);
  if (bodies.size() != places.size()) state.SkipWithError("listed bodies not found again");
  const config::MaterialBomSettings settings = config::MaterialBomSettings::Load(w.host);
  blank::BomOptions options;
  options.same_body = true;
  blank::MaterialParamCalculator calculator(w.host, options, settings);
  const double t = Seconds();
  benchmark::DoNotOptimize(calculator.GetBodiesMaterialParam(bodies));
  return Seconds() - t;
}

// Every body of a fresh die, by place.
std::vector<Place> AllPlaces(int n) {
  memory::MemoryHost h;
  samples::BuildSampleDie(h, n);
  std::vector<Place> out;
  for (host::Tag b : h.bodies().PartBodies(h.session().WorkPart())) out.push_back(PlaceOf(h, b));
  return out;
}

void CreatMaterialNodes1000(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  double parameters = 0, first = 0, second = 0, overlaps = 0, boxes = 0, read_back = 0;
  int rows = 0;
  // A process's first heavy run of the kernel costs far more than the
  // next (about 1.8 times for meshing): one untimed run takes that cost, so
  // that neither measured computation pays it.
  ParameterSeconds(n, AllPlaces(n), state);
  for (auto _ : state) {
    std::vector<Place> listed;
    {
      Workspace w(n, "build");
      ExportMaterialBom bom(w.host);
      bom.SetSmartCalc(false, true, false, 0);
      const double opened = Seconds();
      w.host.memory_dialogs().QueueDriver("ExportMaterialBom.dlx", [&](memory::DialogDriver& d) {
        first += Seconds() - opened;
        for (host::Tag b : Listed(bom, w.host)) listed.push_back(PlaceOf(w.host, b));
        bom.SvaeAttrNoTitle();

        double t = Seconds();
        bom.CreatMaterialNodes(1, 0);
        second += Seconds() - t;
        rows = static_cast<int>(bom.GetNodeParams().size());
        const std::vector<host::Tag> coded = Listed(bom, w.host);
        t = Seconds();
        benchmark::DoNotOptimize(blank::CNobokudBase::AskOverlappingBodyOfBodys(w.host, coded));
        overlaps += Seconds() - t;
        t = Seconds();
        for (host::Tag b : coded)
          benchmark::DoNotOptimize(blank::BodyInfo(w.host, b).GetMinCorner());
        boxes += Seconds() - t;
        t = Seconds();
        benchmark::DoNotOptimize(bom.GetBodiesMaterialParam(coded));
        read_back += Seconds() - t;
        d.Close();
      });
      bom.Show();
    }
    // The same bodies of an untouched die, computed alone.
    parameters += ParameterSeconds(n, listed, state);
  }
  const double iterations = static_cast<double>(state.iterations());
  state.counters["parameters_s"] = parameters / iterations;
  state.counters["first_build_s"] = first / iterations;
  state.counters["second_build_s"] = second / iterations;
  state.counters["ratio"] = first / parameters;
  state.counters["rows"] = rows;
  state.counters["overlap_search_s"] = overlaps / iterations;
  state.counters["position_boxes_s"] = boxes / iterations;
  state.counters["read_back_s"] = read_back / iterations;
}
BENCHMARK(CreatMaterialNodes1000)->Arg(1000)->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace

BENCHMARK_MAIN();
