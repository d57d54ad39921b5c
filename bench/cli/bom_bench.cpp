// diebom bom on the 1,000-body scaled sample die, as a user runs it: the first
// run (every body computed, numbered and saved to a part file) and the second
// run on the saved part (every body read back). Wall time per run; the tool's
// peak resident memory as peak_rss_MB.
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
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

// Runs the tool with its output thrown away; the child's peak memory (MB), or
// a negative number when it failed.
double Run(const std::vector<std::string>& args) {
  const pid_t pid = fork();
  if (pid == 0) {
    std::vector<char*> argv = {const_cast<char*>(DIEBOM_BIN)};
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    if (!freopen("/dev/null", "w", stdout) || !freopen("/dev/null", "w", stderr)) _exit(127);
    execv(DIEBOM_BIN, argv.data());
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  wait4(pid, &status, 0, &usage);
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return -1;
  return usage.ru_maxrss / 1024.0;
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
  double peak = 0;
  for (auto _ : state) {
    peak = Run(BomArgs(part, saved));
    if (peak < 0) state.SkipWithError("diebom bom failed");
  }
  state.counters["peak_rss_MB"] = peak;
}
BENCHMARK(BM_BomFirstRun)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2);

void BM_BomSecondRun(benchmark::State& state) {
  const fs::path saved = Folder() / "saved.xbf";
  if (!fs::exists(saved) && Run(BomArgs(Folder() / "sample_die.xbf", saved.string())) < 0) {
    state.SkipWithError("the first run failed");
    return;
  }
  double peak = 0;
  for (auto _ : state) {
    peak = Run(BomArgs(saved));
    if (peak < 0) state.SkipWithError("diebom bom failed");
  }
  state.counters["peak_rss_MB"] = peak;
}
BENCHMARK(BM_BomSecondRun)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  std::error_code ec;
  fs::remove_all(Folder(), ec);
  return 0;
}
