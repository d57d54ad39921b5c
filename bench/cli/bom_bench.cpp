// diebom bom on the 1,000-body scaled sample die, as a user runs it: the first
// run (every body computed, numbered and saved to a part file) and the second
// run on the saved part (every body read back). Wall time per run; the tool's
// peak resident memory as peak_rss_MB and its processor time (user and
// system, its reading child included) as cpu_s.
//
// FirstRunVsBareRead runs, side by side in every iteration, the geometry
// kernel's bare read of the die's STEP file (bare_step_read: parse and
// transfer with colours, layers and names) and `diebom bom` on the same file,
// as it comes (its bodies are not marked for the BOM, so the tree is empty)
// and with --mark (every body of the template layers computed and numbered).
// Counters: the medians of each (s, cpu_s, MB) and the ratios tool / bare
// read, by wall time and by processor time; the processor time is the fairer
// yardstick on a machine whose cores others share.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

const fs::path& Folder() {
  static const fs::path dir = [] {
    fs::path d = fs::temp_directory_path() / ("diebom-bom-bench-" + std::to_string(getpid()));
    fs::create_directories(d);  // the generator wants an empty folder
    const std::string command = std::string(GENERATE_DIE_BIN) + " '" + d.string() +
                                "' --bodies 1000 --name sample_die >/dev/null";
    if (std::system(command.c_str()) != 0) std::abort();
    fs::create_directories(d / "out");
    return d;
  }();
  return dir;
}

struct Usage {
  double seconds = 0.0, cpu = 0.0, peak_mb = -1.0;  // peak_mb < 0: the run failed
};

double Seconds(const timeval& t) { return static_cast<double>(t.tv_sec) + 1e-6 * t.tv_usec; }

double WallNow() {
  timespec t{};
  clock_gettime(CLOCK_MONOTONIC, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

// Runs a program with its output thrown away: wall time, processor time and
// peak memory (MB) of it and the children it waited for.
Usage RunProgram(const char* program, const std::vector<std::string>& args) {
  const double start = WallNow();
  const pid_t pid = fork();
  if (pid == 0) {
    std::vector<char*> argv = {const_cast<char*>(program)};
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    if (!freopen("/dev/null", "w", stdout) || !freopen("/dev/null", "w", stderr)) _exit(127);
    execv(program, argv.data());
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  wait4(pid, &status, 0, &usage);
  Usage u;
  u.seconds = WallNow() - start;
  u.cpu = Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) u.peak_mb = usage.ru_maxrss / 1024.0;
  return u;
}

// The tool's peak memory (MB), or a negative number when it failed.
double Run(const std::vector<std::string>& args) { return RunProgram(DIEBOM_BIN, args).peak_mb; }

double Median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  const std::size_t n = v.size();
  return n == 0 ? 0.0 : n % 2 ? v[n / 2] : 0.5 * (v[n / 2 - 1] + v[n / 2]);
}

std::vector<std::string> BomArgs(const fs::path& part, const std::string& more = {}) {
  std::vector<std::string> args = {"bom",      part.string(),
                                   "--header", DIEBOM_SAMPLE_HEADER,
                                   "--out",    (Folder() / "out").string(),
                                   "--format", "csv"};
  if (!more.empty()) {
    args.push_back("--save");
    args.push_back(more);
  }
  return args;
}

void BM_BomFirstRun(benchmark::State& state) {
  const fs::path part = Folder() / "sample_die.xbf";
  const std::string saved = (Folder() / "saved.xbf").string();
  Usage u;
  for (auto _ : state) {
    u = RunProgram(DIEBOM_BIN, BomArgs(part, saved));
    if (u.peak_mb < 0) state.SkipWithError("diebom bom failed");
  }
  state.counters["peak_rss_MB"] = u.peak_mb;
  state.counters["cpu_s"] = u.cpu;
}
BENCHMARK(BM_BomFirstRun)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2);

void BM_BomSecondRun(benchmark::State& state) {
  const fs::path saved = Folder() / "saved.xbf";
  if (!fs::exists(saved) && Run(BomArgs(Folder() / "sample_die.xbf", saved.string())) < 0) {
    state.SkipWithError("the first run failed");
    return;
  }
  Usage u;
  for (auto _ : state) {
    u = RunProgram(DIEBOM_BIN, BomArgs(saved));
    if (u.peak_mb < 0) state.SkipWithError("diebom bom failed");
  }
  state.counters["peak_rss_MB"] = u.peak_mb;
  state.counters["cpu_s"] = u.cpu;
}
BENCHMARK(BM_BomSecondRun)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

void FirstRunVsBareRead(benchmark::State& state) {
  const std::string step = (Folder() / "sample_die.step").string();
  struct Series {
    std::vector<double> s, cpu, mb;
    void Add(const Usage& u) {
      s.push_back(u.seconds);
      cpu.push_back(u.cpu);
      mb.push_back(u.peak_mb);
    }
  } bare, plain, marked;
  for (auto _ : state) {
    const Usage b = RunProgram(BARE_STEP_READ_BIN, {step});
    const Usage p = RunProgram(DIEBOM_BIN, BomArgs(step, (Folder() / "from_step.xbf").string()));
    std::vector<std::string> mark_args = BomArgs(step);
    mark_args.push_back("--mark");
    const Usage m = RunProgram(DIEBOM_BIN, mark_args);
    if (b.peak_mb < 0 || p.peak_mb < 0 || m.peak_mb < 0) {
      state.SkipWithError("a run failed");
      return;
    }
    bare.Add(b);
    plain.Add(p);
    marked.Add(m);
  }
  auto put = [&](const std::string& name, const Series& x) {
    state.counters[name + "_s"] = Median(x.s);
    state.counters[name + "_cpu_s"] = Median(x.cpu);
    state.counters[name + "_MB"] = Median(x.mb);
  };
  put("bare", bare);
  put("bom", plain);
  put("bom_mark", marked);
  state.counters["ratio_wall"] = Median(plain.s) / Median(bare.s);
  state.counters["ratio_cpu"] = Median(plain.cpu) / Median(bare.cpu);
  state.counters["ratio_mark_wall"] = Median(marked.s) / Median(bare.s);
  state.counters["ratio_mark_cpu"] = Median(marked.cpu) / Median(bare.cpu);
}
BENCHMARK(FirstRunVsBareRead)->Unit(benchmark::kSecond)->UseRealTime()->Iterations(3);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  std::error_code ec;
  fs::remove_all(Folder(), ec);
  return 0;
}
