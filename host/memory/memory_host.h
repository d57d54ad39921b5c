// The in-memory host: the host interface over real solids (Open CASCADE) in
// one work part, with the host's user interface and the platform replaced by
// things a test or the command-line tool can script and read back.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/host.h"
#include "host/memory/shape.h"

namespace memory {

struct Model;
class MemoryDialogs;

// One message box as it was shown.
struct MessageRecord {
  std::string title;
  int type = 0;
  std::vector<std::string> lines;  // one line for a single text
  int answer = 0;                  // the button result returned
};

class MemoryHost : public host::Host {
 public:
  MemoryHost();
  ~MemoryHost() override;
  MemoryHost(const MemoryHost&) = delete;
  MemoryHost& operator=(const MemoryHost&) = delete;

  // host::Host
  host::Session& session() override;
  host::Bodies& bodies() override;
  host::Attributes& attributes() override;
  host::Layers& layers() override;
  host::CoordinateSystems& csys() override;
  host::Objects& objects() override;
  host::Display& display() override;
  host::Selection& selection() override;
  host::Messages& messages() override;
  host::Dialogs& dialogs() override;
  host::Environment& environment() override;
  host::Undo& undo() override;
  host::Platform& platform() override;

  // --- The work part ---------------------------------------------------------
  // A new body (solid or sheet) at the end of the part's body list.
  host::Tag AddBody(const Shape& shape, int layer = 1, int color = kDefaultColor,
                    const std::string& name = {});
  Shape BodyShape(host::Tag body) const;
  // Replaces the geometry of a body (faces and edges get new tags).
  void SetBodyShape(host::Tag body, const Shape& shape);
  void SetPartLeaf(const std::string& leaf);  // GBK
  static constexpr int kDefaultColor = 87;

  // --- Session results a test can force --------------------------------------
  void SetInitializeResult(int code) { initialize_result_ = code; }
  void SetTerminateResult(int code) { terminate_result_ = code; }
  void SetListingOpenResult(int code) { listing_open_result_ = code; }
  int initialize_calls() const { return initialize_calls_; }
  int terminate_calls() const { return terminate_calls_; }

  // --- Text sinks --------------------------------------------------------------
  const std::string& syslog() const { return syslog_; }
  const std::string& listing() const { return listing_; }
  bool listing_open() const { return listing_open_; }

  // --- Message boxes: every box is recorded; questions take scripted answers;
  // a question with no answer queued throws memory::ScriptError.
  const std::vector<MessageRecord>& message_log() const { return message_log_; }
  void ClearMessageLog() { message_log_.clear(); }
  void QueueAnswer(int button) { answers_.push_back(button); }
  // Answers the questions that find no queued answer (a batch run's policy):
  // the button for the question as it is shown.
  void SetAnswerer(std::function<int(const MessageRecord&)> answerer) {
    answerer_ = std::move(answerer);
  }
  std::size_t pending_answers() const { return answers_.size(); }

  // --- Selection and input dialogs: scripted responses. A box or dialog shown
  // with nothing queued throws memory::ScriptError, which the program cannot catch.
  struct SelectionRequest {
    std::string prompt, title;
    std::vector<host::SelectionMask> masks;
  };
  void QueueSelection(host::SelectionResult result) { selections_.push_back(std::move(result)); }
  void QueueString(std::optional<std::string> text) { strings_.push_back(std::move(text)); }
  void QueueCsys(std::optional<host::CsysInfo> csys) { csys_answers_.push_back(std::move(csys)); }
  const std::vector<SelectionRequest>& selection_requests() const { return selection_requests_; }

  // --- The person at the host's window: what answers a box, a selection or an
  // input dialog that finds nothing queued. Each part is optional. `message`
  // answers every box (the button pressed), a question only after the queued
  // answers and the answerer; the others answer as their queues would.
  struct Responder {
    std::function<int(const MessageRecord&)> message;
    std::function<host::SelectionResult(const SelectionRequest&)> selection;
    std::function<std::optional<std::string>(const std::string& prompt, const std::string& initial)>
        text;
    std::function<std::optional<host::CsysInfo>(const std::string& title)> csys;
  };
  void SetResponder(Responder responder) { responder_ = std::move(responder); }

  // --- Environment -------------------------------------------------------------
  void SetVariable(const std::string& name, const std::string& value) { variables_[name] = value; }
  void UnsetVariable(const std::string& name) { variables_.erase(name); }

  // --- Platform: the logic's Windows paths on this machine -----------------------
  // A drive letter ("D") maps to a local folder (UTF-8). Paths without a drive
  // ("\x\y") are on the current drive C; relative paths are in the working folder.
  void MapDrive(char letter, const std::string& local_folder);
  void SetWorkingFolder(const std::string& local_folder) { working_folder_ = local_folder; }
  void SetDesktopFolder(const std::string& path) { desktop_ = path; }              // a logic path
  void SetLocalAppDataFolder(const std::string& path) { local_app_data_ = path; }  // a logic path
  // A fixed clock; without one, the machine's local time.
  void SetClock(const host::LocalTime& now) { clock_ = now; }
  void AdvanceClockMilliseconds(int ms);
  const std::vector<std::string>& opened_documents() const { return opened_documents_; }
  // The dialog engine answers PressDialogButton.
  void SetButtonPresser(std::function<bool(const std::string&, const std::string&)> presser) {
    button_presser_ = std::move(presser);
  }
  // The local path (UTF-8) for a logic path (GBK); see MapDrive.
  std::string LocalPath(const std::string& path) const;

  // --- Internals shared by the host's families ---------------------------------
  Model& model() { return *model_; }
  MemoryDialogs& memory_dialogs();

 private:
  friend class SessionImpl;
  friend class MessagesImpl;
  friend class SelectionImpl;
  friend class EnvironmentImpl;
  friend class PlatformImpl;

  std::unique_ptr<Model> model_;
  struct Families;
  std::unique_ptr<Families> families_;

  int initialize_result_ = 0, terminate_result_ = 0, listing_open_result_ = 0;
  int initialize_calls_ = 0, terminate_calls_ = 0, init_depth_ = 0;
  std::string syslog_, listing_;
  bool listing_open_ = false;
  std::vector<MessageRecord> message_log_;
  std::deque<int> answers_;
  std::function<int(const MessageRecord&)> answerer_;
  std::deque<host::SelectionResult> selections_;
  std::deque<std::optional<std::string>> strings_;
  std::deque<std::optional<host::CsysInfo>> csys_answers_;
  std::vector<SelectionRequest> selection_requests_;
  Responder responder_;
  std::map<std::string, std::string> variables_;
  std::map<char, std::string> drives_;
  std::string working_folder_ = ".";
  std::string desktop_ = "C:\\Users\\designer\\Desktop";
  std::string local_app_data_ = "C:\\Users\\designer\\AppData\\Local";
  std::optional<host::LocalTime> clock_;
  std::vector<std::string> opened_documents_;
  std::function<bool(const std::string&, const std::string&)> button_presser_;
};

}  // namespace memory
