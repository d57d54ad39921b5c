// The studio's host thread. One in-memory host holds the open part; the
// plug-in runs on this thread only, exactly as under the host. Wherever the
// host would wait for the person (a shown dialog, a message box, an object
// selection, the text prompt, the coordinate-system input, or nothing
// running at all) the thread publishes a snapshot of what the window shows
// and waits for the next action. Actions come from other threads (the web
// server's) through Act, which returns once the host waits again.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "host/memory/dialogs/dialogs.h"
#include "host/memory/memory_host.h"
#include "studio/blanks.h"
#include "studio/mesh.h"
#include "studio/snapshot.h"

namespace studio {

struct SessionOptions {
  std::string part;        // local path (UTF-8) of the part opened first; may be empty
  std::string previous;    // the previous revision's part file, carried over onto `part`
  std::string out_folder;  // local folder the exports and the desktop map to
  // How long an action waits for the host to wait again before its answer
  // says the host is still busy.
  int action_timeout_ms = 600000;
};

// The answer to a request: an HTTP status and its JSON text.
struct Reply {
  int status = 200;
  std::string body;
};

// A file an export wrote.
struct WrittenFile {
  std::string name, path;  // UTF-8; path is local
  std::uintmax_t size = 0;
};

class Session {
 public:
  explicit Session(SessionOptions options);
  ~Session();  // stops the host thread
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // The host, to be set up before Start (configuration root, drives,
  // desktop); afterwards it belongs to the host thread.
  memory::MemoryHost& host() { return host_; }
  // Starts the host thread (opens the first part).
  void Start();
  // Ends the run: every waiting point gives up, the plug-in's dialogs unwind
  // as when the window closes, and the host thread ends. Waits for it.
  void Stop();

  // One action of the page (see studio/README.md). A second tab acting while
  // another acts gets 409; a fault of the action itself 400; otherwise the
  // snapshot as it stands once the host waits again, with the action's own
  // result merged in.
  Reply Act(const nlohmann::json& action);
  // The current snapshot; with `since`, waits up to `wait_ms` for a version
  // newer than it. With `have`, the version the page holds, only what
  // changed after it (studio/README.md, "Answers that carry only changes").
  std::string State(std::optional<std::int64_t> since, int wait_ms,
                    std::optional<std::int64_t> have = std::nullopt);
  // The meshes of the bodies (studio/mesh.h), made on the host thread the
  // next time it waits. Null when the host does not wait within `wait_ms`.
  std::shared_ptr<const std::string> Mesh(int wait_ms);
  // The workbooks the exports wrote, newest last.
  std::vector<WrittenFile> Files();
  const std::string& out_folder() const { return options_.out_folder; }

 private:
  enum class Point { kIdle, kDialog, kMessage, kSelection, kPrompt, kCsys };
  struct Stopped {};  // thrown at a waiting point once the run ends

  void HostMain();
  void InstallPerson();
  // Publishes a snapshot, answers the action in flight, and takes the next
  // action meant for this kind of waiting point.
  nlohmann::json WaitForAction(Point point, const nlohmann::json& pending);
  void Publish(const nlohmann::json& pending);
  void Answer(int status, const nlohmann::json& body);  // the action in flight
  // The snapshot with the server's fields and `extra`'s members, as JSON
  // text; with `have`, only the sections and rows changed after it.
  std::string StateLocked(const nlohmann::json& extra = nlohmann::json::object(),
                          std::optional<std::int64_t> have = std::nullopt) const;
  // The sections and rows changed after `have`, as JSON text without its
  // closing brace.
  std::string DeltaLocked(std::int64_t have) const;
  // Takes the sections and rows of a new snapshot; true when any changed.
  bool TakeSnapshot(std::map<std::string, std::string> sections, std::string skeleton,
                    std::vector<TreeRows> trees, std::int64_t version);
  void RunJobs(std::unique_lock<std::mutex>& lock);

  void DriveDialog(memory::DialogDriver& driver);
  void IdleAction(const nlohmann::json& action);
  void RunMaterial();
  void RunParts();
  void OpenPart(const std::string& path, const std::string& previous = {});
  void CarryOverPrevious(const std::string& previous);
  void SavePart(const std::string& path);
  void NoteWrittenFiles();

  SessionOptions options_;
  memory::MemoryHost host_;
  std::thread thread_;

  // Shared with the server's threads.
  std::mutex mutex_;
  std::condition_variable changed_;
  // The engine's part as JSON text, made on the host thread, by top-level
  // key, each with the version it last changed at; the dialogs also without
  // their rows (skeleton) and row by row.
  struct Section {
    std::string text;
    std::int64_t changed = 0;
  };
  std::map<std::string, Section> sections_;
  std::string skeleton_;
  std::vector<TreeRows> trees_;
  std::vector<std::vector<std::int64_t>> row_changed_;  // per tree, per row
  std::int64_t structure_changed_ = 0;                  // the skeleton or the rows' paths
  std::optional<std::int64_t> action_have_;             // what the page sending the action holds
  nlohmann::json snapshot_error_;  // what the last open or save said (UTF-8) or null
  std::int64_t version_ = 0;
  bool stopping_ = false, finished_ = false;
  bool waiting_ = false;  // the host thread waits for the person
  std::string acting_tab_;
  std::int64_t acting_since_ms_ = 0;
  // The action in flight: taken by the host thread, answered when it waits again.
  std::optional<nlohmann::json> action_;
  bool action_taken_ = false;
  std::uint64_t action_id_ = 0;
  std::map<std::uint64_t, Reply> replies_;
  std::deque<std::function<void()>> jobs_;  // run on the host thread while it waits
  std::vector<WrittenFile> files_;

  // Host thread only.
  nlohmann::json extras_;  // the result of the action being applied
  std::string error_;      // what the last open or save said
  std::string running_;    // "material", "parts" or empty
  std::string part_path_;  // local path of the open part
  bool modified_ = false;
  std::vector<std::pair<host::Tag, std::uint64_t>> geometry_;  // what the meshes were made of
  BlankCache blanks_;  // the bodies' blanks, measured again only when changed
  std::int64_t mesh_version_ = 0;
  std::shared_ptr<const std::string> mesh_;
  MeshCache mesh_cache_;
  std::string dialog_file_;  // the layout file of the dialog in front
  std::int64_t mesh_made_for_ = -1;
};

}  // namespace studio
