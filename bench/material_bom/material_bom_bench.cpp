// CreatMaterialNodes on the sample die repeated to 1,000 bodies, in the
// dialog as the designer opens it:
// - parameters: the parameter computation alone, every body computed;
// - first_build: the tree built from scratch (every body computed, the work
//   layer optimised, overlaps searched, numbered);
// - second_build: the tree built again after a save (every body coded);
// - ratio: first_build / parameters;
// - overlap_cold_s: the overlap search over every body of the fresh die,
//   nothing remembered yet. The dialog's own first build (when it is shown)
//   and the builds after it find the answers of unchanged bodies remembered.
// Times are seconds of the process's CPU clock, one run each per iteration.
#include <benchmark/benchmark.h>
#include <time.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "blank/body_info.h"
#include "blank/overlap.h"
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
  fs::path dir = fs::temp_directory_path() / ("diebom-mbom-bench-" + std::to_string(getpid()));
  memory::MemoryHost host;
  explicit Workspace(int bodies) {
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

void CreatMaterialNodes1000(benchmark::State& state) {
  double parameters = 0, first = 0, second = 0, overlaps = 0, boxes = 0, read_back = 0, cold = 0;
  int rows = 0;
  for (auto _ : state) {
    Workspace w(static_cast<int>(state.range(0)));
    const std::vector<host::Tag> all = w.host.bodies().PartBodies(w.host.session().WorkPart());
    double t0 = Seconds();
    benchmark::DoNotOptimize(blank::CNobokudBase::AskOverlappingBodyOfBodys(w.host, all));
    cold += Seconds() - t0;
    ExportMaterialBom bom(w.host);
    bom.SetSmartCalc(false, false, false, 0);
    w.host.memory_dialogs().QueueDriver("ExportMaterialBom.dlx", [&](memory::DialogDriver& d) {
      const std::vector<host::Tag> bodies = Listed(bom, w.host);
      bom.DeleteMaterialAttributes(bodies);
      double t = Seconds();
      benchmark::DoNotOptimize(bom.GetBodiesMaterialParam(bodies));
      parameters += Seconds() - t;

      t = Seconds();
      bom.CreatMaterialNodes(0, 0);
      first += Seconds() - t;
      bom.SvaeAttrNoTitle();

      t = Seconds();
      bom.CreatMaterialNodes(1, 0);
      second += Seconds() - t;
      rows = static_cast<int>(bom.GetNodeParams().size());
      // Parts of the second build, on the listed bodies.
      const std::vector<host::Tag> coded = Listed(bom, w.host);
      t = Seconds();
      benchmark::DoNotOptimize(blank::CNobokudBase::AskOverlappingBodyOfBodys(w.host, coded));
      overlaps += Seconds() - t;
      t = Seconds();
      for (host::Tag b : coded) benchmark::DoNotOptimize(blank::BodyInfo(w.host, b).GetMinCorner());
      boxes += Seconds() - t;
      t = Seconds();
      benchmark::DoNotOptimize(bom.GetBodiesMaterialParam(coded));
      read_back += Seconds() - t;
      d.Close();
    });
    bom.Show();
  }
  const double n = static_cast<double>(state.iterations());
  state.counters["parameters_s"] = parameters / n;
  state.counters["first_build_s"] = first / n;
  state.counters["second_build_s"] = second / n;
  state.counters["ratio"] = first / parameters;
  state.counters["rows"] = rows;
  state.counters["overlap_search_s"] = overlaps / n;
  state.counters["overlap_cold_s"] = cold / n;
  state.counters["position_boxes_s"] = boxes / n;
  state.counters["read_back_s"] = read_back / n;
}
BENCHMARK(CreatMaterialNodes1000)->Arg(1000)->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace

BENCHMARK_MAIN();
