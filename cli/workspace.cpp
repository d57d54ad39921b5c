#include "cli/workspace.h"

#include <ftw.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "cli/tool.h"
#include "config/config_folder.h"
#include "host/text.h"

namespace cli {

namespace fs = std::filesystem;

namespace {

// A logic path for a local absolute path: GBK, as the host's paths are.
std::string LogicPath(const std::string& utf8) {
  try {
    return text::Utf8ToGbk(utf8);
  } catch (const text::EncodingError&) {
    throw Failure("the path " + PathText(utf8) + " cannot be written in GBK");
  }
}

// The temporary folder of the live workspace, for the signal handler: an
// interrupted or crashed run leaves nothing behind.
char g_temp[4096] = {};
constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGSEGV,
                            SIGBUS, SIGFPE,  SIGILL, SIGABRT};
struct sigaction g_saved[sizeof kSignals / sizeof kSignals[0]];

int RemoveEntry(const char* path, const struct stat*, int type, struct FTW*) {
  if (type == FTW_DP)
    ::rmdir(path);
  else
    ::unlink(path);
  return 0;
}

char g_crash[4096] = {};

void OnSignal(int sig) {
  if (g_temp[0] != '\0') ::nftw(g_temp, RemoveEntry, 16, FTW_DEPTH | FTW_PHYS);
  g_temp[0] = '\0';
  const bool fault = sig == SIGSEGV || sig == SIGBUS || sig == SIGFPE || sig == SIGILL;
  if (fault && g_crash[0] != '\0') {
    // The model brought the kernel down: one line saying so, and the job's
    // failure status rather than a core dump.
    if (::write(STDERR_FILENO, g_crash, std::strlen(g_crash)) < 0) {
    }
    ::_exit(kFailure);
  }
  std::signal(sig, SIG_DFL);
  ::raise(sig);
}

void CatchSignals(const std::string& temp) {
  if (temp.size() >= sizeof g_temp) return;
  std::memcpy(g_temp, temp.c_str(), temp.size() + 1);
  struct sigaction action = {};
  action.sa_handler = OnSignal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESETHAND;
  for (std::size_t i = 0; i < sizeof kSignals / sizeof kSignals[0]; ++i)
    ::sigaction(kSignals[i], &action, &g_saved[i]);
}

void ReleaseSignals() {
  if (g_temp[0] == '\0') return;
  for (std::size_t i = 0; i < sizeof kSignals / sizeof kSignals[0]; ++i)
    ::sigaction(kSignals[i], &g_saved[i], nullptr);
  g_temp[0] = '\0';
}

}  // namespace

Workspace::Workspace(memory::MemoryHost& host, const std::string& config_root) {
  std::error_code ec;
  fs::path root = fs::absolute(config_root, ec).lexically_normal();
  if (ec || !fs::is_directory(root, ec))
    throw Failure("the configuration folder " + PathText(config_root) + " does not exist");
  root_ = root.string();
  while (root_.size() > 1 && root_.back() == '/') root_.pop_back();
  const std::string root_logic = LogicPath(root_);

  const char* tmp = std::getenv("TMPDIR");
  std::string pattern = std::string(tmp && *tmp ? tmp : "/tmp") + "/diebom-XXXXXX";
  if (!::mkdtemp(pattern.data()))
    throw Failure("cannot make a temporary folder in " + PathText(pattern));
  temp_ = fs::absolute(pattern).string();
  CatchSignals(temp_);
  // From here on the destructor does not run if something throws: clean up.
  struct Guard {
    std::string& temp;
    bool armed = true;
    ~Guard() {
      std::error_code e;
      if (!armed) return;
      ReleaseSignals();
      fs::remove_all(temp, e);
    }
  } guard{temp_};

  const fs::path tk = fs::path(temp_) / "MYTOOL" / "config" / "TK";
  fs::create_directories(tk, ec);
  const fs::path own = root / "config" / "TK" / "Layerwrk.txt";
  if (fs::is_regular_file(own, ec)) {
    fs::copy_file(own, tk / "Layerwrk.txt", fs::copy_options::overwrite_existing, ec);
    layer_work_file_ = !ec;
  }
  fs::create_directories(fs::path(temp_) / "Desktop", ec);
  fs::create_directories(fs::path(temp_) / "AppData", ec);

  host.SetVariable(config::kRootVariable, root_logic);
  host.MapDrive('D', temp_);
  host.SetWorkingFolder(temp_);
  host.SetDesktopFolder(LogicPath(temp_ + "/Desktop"));
  host.SetLocalAppDataFolder(LogicPath(temp_ + "/AppData"));
  guard.armed = false;
}

void Workspace::SetCrashText(const std::string& utf8_line) {
  const std::size_t n = std::min(utf8_line.size(), sizeof g_crash - 1);
  std::memcpy(g_crash, utf8_line.data(), n);
  g_crash[n] = '\0';
}

Workspace::~Workspace() {
  std::error_code ec;
  if (temp_.empty()) return;
  ReleaseSignals();
  fs::remove_all(temp_, ec);
}

}  // namespace cli
