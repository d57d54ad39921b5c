#include "cli/workspace.h"

#include <cstdlib>
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
  // From here on the destructor does not run if something throws: clean up.
  struct Guard {
    std::string& temp;
    bool armed = true;
    ~Guard() {
      std::error_code e;
      if (armed) fs::remove_all(temp, e);
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

Workspace::~Workspace() {
  std::error_code ec;
  if (!temp_.empty()) fs::remove_all(temp_, ec);
}

}  // namespace cli
