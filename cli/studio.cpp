// diebom studio [PART]: the in-memory host with a window, in the browser. A
// local web server on 127.0.0.1 shows the dialogs of the plug-in as the
// dialog engine holds them and hands it what the person does.
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <thread>

#include "cli/batch.h"
#include "cli/tool.h"
#include "cli/workspace.h"
#include "host/memory/part_file.h"
#include "host/text.h"
#include "studio/server.h"
#include "studio/session.h"

extern char** environ;

namespace cli {
namespace {

namespace fs = std::filesystem;

constexpr const char* kStudioHelp =
    "Usage: diebom studio [PART] [OPTIONS]\n"
    "\n"
    "Opens the plug-in in a browser, as the host shows it: a local web server on\n"
    "127.0.0.1 whose page is the host's window. Run the material BOM (the options\n"
    "dialog, then the material BOM dialog) or the standard-part BOM, work in the\n"
    "dialogs with mouse and keyboard, save the part file and fetch the workbooks\n"
    "the exports wrote. PART, a STEP file or a part file (.xbf), is opened first;\n"
    "the page can open another.\n"
    "\n"
    "Prints the page's address with the run's secret token first; every request\n"
    "must carry it. Ctrl-C ends the run.\n"
    "\n"
    "Options:\n"
    "  --config DIR   the configuration root, as RQConfig names it on the host\n"
    "                 (default: the shipped sample configuration)\n"
    "  --out DIR      where the exports write their workbooks: the desktop and the\n"
    "                 default export folder (default: ./studio-out, made if missing)\n"
    "  --previous OLD OLD is the part file of the previous revision: its BOM is\n"
    "                 carried over to PART before anything runs (as diebom bom\n"
    "                 --previous does); the page's open takes a previous part too\n"
    "  --port N       listen on port N (default, or 0: a free port)\n"
    "  --no-browser   do not open the desktop's browser\n"
    "  -h, --help     show this help and exit\n";

// The browser the desktop names: $BROWSER, else xdg-open. Started on its
// own; a missing one only means the address must be opened by hand.
void OpenBrowser(const std::string& address) {
  const char* browser = std::getenv("BROWSER");
  const std::string program = browser && *browser ? browser : "xdg-open";
  std::vector<char*> argv = {const_cast<char*>(program.c_str()), const_cast<char*>(address.c_str()),
                             nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t pid = 0;
  if (posix_spawnp(&pid, program.c_str(), &actions, nullptr, argv.data(), environ) != 0) {
    PrintError("diebom studio: cannot start " + PathText(program) +
               "; open the address above in a browser\n");
  }
  posix_spawn_file_actions_destroy(&actions);
}

std::string WebDir() {
  if (const char* source = std::getenv("DIEBOM_SOURCE_DIR"); source && *source)
    return std::string(source) + "/studio/web";
  return DIEBOM_STUDIO_WEB_DIR;
}

}  // namespace

int RunStudio(const std::vector<std::string>& args) {
  const ParsedArgs parsed = ParseArgs(args, {{"config", 0, true},
                                             {"out", 0, true},
                                             {"previous", 0, true},
                                             {"port", 0, true},
                                             {"no-browser", 0, false},
                                             {"help", 'h', false}});
  if (parsed.flags.count("help")) {
    Print(kStudioHelp);
    return kSuccess;
  }
  if (parsed.positional.size() > 1)
    throw UsageError("one PART only ('" + PathText(parsed.positional[1]) + "' is one too many)");
  auto value = [&](const char* name, const std::string& fallback) {
    const auto it = parsed.values.find(name);
    return it == parsed.values.end() ? fallback : it->second;
  };
  int port = 0;
  if (parsed.values.count("port")) {
    const std::string text = value("port", "");
    char* end = nullptr;
    const long n = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || n < 0 || n > 65535)
      throw UsageError("--port must be a port number from 1 to 65535 (0: a free one), not '" +
                       PathText(text) + "'");
    port = static_cast<int>(n);
  }
  const std::string part = parsed.positional.empty() ? std::string() : parsed.positional.front();
  if (!part.empty() && memory::DetectPartFile(part) == memory::PartFileKind::kMissing)
    throw Failure("cannot open " + PathText(part) + ": no such file");
  const std::string out_value = value("out", "studio-out");
  std::error_code ec;
  if (!parsed.values.count("out")) fs::create_directories(out_value, ec);
  const std::string out = CheckOutFolder(out_value);

  // Interrupts are taken by one thread, which ends the run in order: every
  // other thread, started below, inherits the mask.
  sigset_t interrupts;
  sigemptyset(&interrupts);
  for (int sig : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&interrupts, sig);
  ::pthread_sigmask(SIG_BLOCK, &interrupts, nullptr);

  const std::string previous = value("previous", "");
  if (parsed.values.count("previous") && (previous.empty() || part.empty()))
    throw UsageError(
        "--previous needs the previous revision's part file, and a PART to carry it over to");
  studio::SessionOptions options;
  options.part = part;
  options.previous = previous;
  options.out_folder = out;
  studio::Session session(options);
  Workspace workspace(session.host(), value("config", SampleConfigRoot()));
  session.host().SetDesktopFolder(text::Utf8ToGbkLenient(out));

  studio::ServerOptions server_options;
  server_options.port = port;
  server_options.web_dir = WebDir();
  studio::Server server(session, server_options);
  try {
    server.Bind();
  } catch (const std::exception& e) {
    throw Failure(PathText(e.what()));
  }
  std::printf("%s\n", server.Address().c_str());
  std::fflush(stdout);
  session.Start();
  if (!parsed.flags.count("no-browser")) OpenBrowser(server.Address());

  std::atomic<bool> served{false};
  std::thread interrupt([&] {
    const timespec tick{0, 200 * 1000 * 1000};
    while (!served) {
      if (::sigtimedwait(&interrupts, nullptr, &tick) > 0) break;
    }
    session.Stop();
    server.Stop();
  });
  const bool ok = server.Run();
  served = true;
  interrupt.join();
  session.Stop();
  PrintError("diebom studio: ended\n");
  return ok ? kSuccess : kFailure;
}

}  // namespace cli
