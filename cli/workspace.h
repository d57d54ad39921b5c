// What the command-line tool sets up around the in-memory host so that the
// plug-in's logic finds its configuration as it does on the designer's PC.
#pragma once

#include <string>

#include "host/memory/memory_host.h"

namespace cli {

// For the life of the object:
// - RQConfig names the configuration root `config_root` (a local folder);
// - drive D is a private temporary folder holding MYTOOL\config\TK\Layerwrk.txt,
//   a copy of the root's own config/TK/Layerwrk.txt (the layer work file the
//   layer tools write on the PC at that fixed place), when the root has one;
// - the desktop, the per-user application data folder and the working folder
//   are in that temporary folder too, so nothing outside it is written.
// The temporary folder is removed at the end, also when the run is
// interrupted (SIGINT, SIGTERM, SIGHUP) or crashes. Throws Failure when the root is
// not a folder or its path has no GBK form.
class Workspace {
 public:
  Workspace(memory::MemoryHost& host, const std::string& config_root);
  ~Workspace();
  Workspace(const Workspace&) = delete;
  Workspace& operator=(const Workspace&) = delete;

  // The line (UTF-8, ending in "\n") written to standard error when the
  // program is brought down by a fault (SIGSEGV, SIGBUS, SIGFPE, SIGILL)
  // while the workspace lives; the exit status is then 1.
  static void SetCrashText(const std::string& utf8_line);

  const std::string& root() const { return root_; }  // absolute, UTF-8
  const std::string& temp() const { return temp_; }  // UTF-8
  bool has_layer_work_file() const { return layer_work_file_; }

 private:
  std::string root_, temp_;
  bool layer_work_file_ = false;
};

}  // namespace cli
