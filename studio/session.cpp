#include "studio/session.h"

#include <time.h>

#include <cmath>
#include <filesystem>
#include <set>

#include "config/material_bom_config.h"
#include "entry/entry.h"
#include "host/memory/dialogs/dialogs.h"
#include "host/memory/part_file.h"
#include "host/text.h"
#include "part_bom/export_part_bom.h"
#include "revision/previous_part.h"
#include "studio/actions.h"
#include "studio/mesh.h"
#include "studio/snapshot.h"

namespace studio {

using nlohmann::json;
namespace fs = std::filesystem;

namespace {

// A second tab may act once the acting one has been quiet this long.
constexpr std::int64_t kTabQuietMs = 10 * 60 * 1000;

std::int64_t NowMs() {
  timespec ts{};
  ::clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<std::int64_t>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

json Error(const std::string& utf8) { return json{{"error", utf8}}; }

std::string Text(const json& value) {
  return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

// What the window waits for, in the words of a refusal.
const char* PointName(int point) {
  static const char* const kNames[] = {
      "a command (nothing runs)", "a dialog", "the answer to a message box",
      "an object selection",      "a text",   "a coordinate system"};
  return kNames[point];
}

bool Fits(int point, const std::string& name) {
  switch (point) {
    case 0:
      return name == "run-material" || name == "run-parts" || name == "open" || name == "save";
    case 1:
      return IsDialogAction(name) || name == "save";
    case 2:
      return name == "answer";
    case 3:
      return name == "select";
    case 4:
      return name == "text";
    case 5:
      return name == "csys-input";
  }
  return false;
}

bool Known(const std::string& name) {
  for (int p = 0; p < 6; ++p)
    if (Fits(p, name)) return true;
  return false;
}

}  // namespace

Session::Session(SessionOptions options) : options_(std::move(options)) {}

Session::~Session() { Stop(); }

void Session::Start() {
  thread_ = std::thread([this] { HostMain(); });
}

void Session::Stop() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  changed_.notify_all();
  if (thread_.joinable()) thread_.join();
}

// --- The server's side -----------------------------------------------------------

Reply Session::Act(const json& action) {
  if (!action.is_object() || !action.contains("action") || !action["action"].is_string())
    return {400, Text(Error("an action is a JSON object with \"action\""))};
  const std::string name = action["action"];
  const std::string tab = action.value("tab", std::string());
  if (tab.empty() || !action["tab"].is_string())
    return {400, Text(Error("the action \"" + name + "\" names no tab"))};
  if (name != "take-over" && !Known(name))
    return {400, Text(Error("there is no action \"" + name + "\""))};

  std::optional<std::int64_t> have;
  if (action.contains("have")) {
    if (!action["have"].is_number_integer())
      return {400, Text(Error("\"have\" is the version of the snapshot the page holds, a number"))};
    have = action["have"].get<std::int64_t>();
  }

  std::unique_lock<std::mutex> lock(mutex_);
  const std::int64_t now = NowMs();
  if (name == "take-over") {
    acting_tab_ = tab;
    acting_since_ms_ = now;
    ++version_;
    changed_.notify_all();
    return {200, StateLocked(json::object(), have)};
  }
  if (!acting_tab_.empty() && acting_tab_ != tab && now - acting_since_ms_ < kTabQuietMs)
    return {409,
            StateLocked(Error("another tab acts on this studio; take over to act here"), have)};
  if (acting_tab_ != tab) ++version_;
  acting_tab_ = tab;
  acting_since_ms_ = now;
  if (finished_) return {409, Text(Error("the studio has ended"))};
  if (action_)
    return {409, StateLocked(Error("the host is still working on the last action"), have)};
  const std::uint64_t id = ++action_id_;
  action_ = action;
  action_have_ = have;
  action_taken_ = false;
  changed_.notify_all();
  const bool answered =
      changed_.wait_for(lock, std::chrono::milliseconds(options_.action_timeout_ms),
                        [&] { return replies_.count(id) != 0 || finished_; });
  if (!answered || !replies_.count(id)) {
    return {
        finished_ ? 409 : 503,
        StateLocked(Error(finished_ ? "the studio has ended" : "the host is still working"), have)};
  }
  Reply reply = std::move(replies_[id]);
  replies_.erase(id);
  return reply;
}

std::string Session::StateLocked(const json& extra, std::optional<std::int64_t> have) const {
  json meta = {{"version", version_},
               {"busy", !waiting_},
               {"acting_tab", acting_tab_.empty() ? json(nullptr) : json(acting_tab_)},
               {"error", snapshot_error_}};
  for (auto it = extra.begin(); it != extra.end(); ++it) meta[it.key()] = it.value();
  const std::string tail = Text(meta);
  // The engine's part is kept as text, section by section: a thousand-row
  // tree is not written again for every answer.
  std::string out = "{";
  if (!have || *have < 0 || *have > version_ || sections_.empty()) {
    for (const auto& [key, section] : sections_) {
      if (out.size() > 1) out += ',';
      out += Text(key) + ':' + section.text;
    }
  } else {
    out = DeltaLocked(*have);
  }
  if (out.size() > 1) out += ',';
  out.append(tail, 1, std::string::npos);
  return out;
}

std::string Session::DeltaLocked(std::int64_t have) const {
  // The sections changed after `have`; the others are named in "keep". When
  // the dialogs only changed in some rows, those rows alone.
  std::string out = "{\"base\":" + std::to_string(have);
  json keep = json::array();
  for (const auto& [key, section] : sections_) {
    if (section.changed <= have) {
      keep.push_back(key);
    } else if (key == "dialogs" && structure_changed_ <= have) {
      keep.push_back(key);
      std::string patch;
      for (std::size_t t = 0; t < trees_.size(); ++t) {
        std::string rows;
        for (std::size_t r = 0; r < trees_[t].rows.size(); ++r) {
          if (row_changed_[t][r] <= have) continue;
          if (!rows.empty()) rows += ',';
          rows += trees_[t].rows[r];
        }
        if (rows.empty()) continue;
        if (!patch.empty()) patch += ',';
        patch += "{\"dialog\":" + std::to_string(trees_[t].dialog) +
                 ",\"tree\":" + Text(trees_[t].tree) + ",\"rows\":[" + rows + "]}";
      }
      out += ",\"rows_patch\":[" + patch + ']';
    } else {
      out += ',' + Text(key) + ':' + section.text;
    }
  }
  out += ",\"keep\":" + Text(keep);
  return out;  // open: the server's fields follow
}

bool Session::TakeSnapshot(std::map<std::string, std::string> sections, std::string skeleton,
                           std::vector<TreeRows> trees, std::int64_t version) {
  bool changed = false;
  for (auto& [key, text] : sections) {
    Section& s = sections_[key];
    if (s.changed != 0 && s.text == text) continue;
    s.text = std::move(text);
    s.changed = version;
    changed = true;
  }
  bool same_structure = skeleton == skeleton_ && trees.size() == trees_.size();
  for (std::size_t t = 0; same_structure && t < trees.size(); ++t)
    same_structure = trees[t].dialog == trees_[t].dialog && trees[t].tree == trees_[t].tree &&
                     trees[t].paths == trees_[t].paths;
  if (!same_structure) {
    structure_changed_ = version;
    row_changed_.clear();
    for (const TreeRows& tree : trees) row_changed_.emplace_back(tree.rows.size(), version);
  } else {
    for (std::size_t t = 0; t < trees.size(); ++t)
      for (std::size_t r = 0; r < trees[t].rows.size(); ++r)
        if (trees[t].rows[r] != trees_[t].rows[r]) row_changed_[t][r] = version;
  }
  skeleton_ = std::move(skeleton);
  trees_ = std::move(trees);
  return changed;
}

std::string Session::State(std::optional<std::int64_t> since, int wait_ms,
                           std::optional<std::int64_t> have) {
  std::unique_lock<std::mutex> lock(mutex_);
  // The first snapshot comes once the first part is open.
  changed_.wait_for(lock, std::chrono::milliseconds(wait_ms),
                    [&] { return !sections_.empty() || finished_; });
  if (since) {
    changed_.wait_for(lock, std::chrono::milliseconds(wait_ms),
                      [&] { return version_ > *since || finished_; });
  }
  return StateLocked(json::object(), have);
}

std::shared_ptr<const std::string> Session::Mesh(int wait_ms) {
  auto result = std::make_shared<std::shared_ptr<const std::string>>();
  auto done = std::make_shared<bool>(false);
  std::unique_lock<std::mutex> lock(mutex_);
  if (finished_) return nullptr;
  jobs_.push_back([this, result, done] {
    // On the host thread, while it waits: the model holds still.
    if (!mesh_ || mesh_made_for_ != mesh_version_) {
      mesh_ = std::make_shared<const std::string>(mesh_cache_.Build(host_));
      mesh_made_for_ = mesh_version_;
    }
    std::lock_guard<std::mutex> l(mutex_);
    *result = mesh_;
    *done = true;
  });
  changed_.notify_all();
  changed_.wait_for(lock, std::chrono::milliseconds(wait_ms), [&] { return *done || finished_; });
  return *result;
}

std::vector<WrittenFile> Session::Files() {
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<WrittenFile> out;
  for (const WrittenFile& f : files_) {
    WrittenFile now = f;
    std::error_code ec;
    const auto size = fs::file_size(f.path, ec);
    if (ec) continue;  // removed since
    now.size = size;
    out.push_back(now);
  }
  return out;
}

// --- The host thread ------------------------------------------------------------------

void Session::HostMain() {
  try {
    InstallPerson();
    if (!options_.part.empty()) OpenPart(options_.part, options_.previous);
    for (;;) IdleAction(WaitForAction(Point::kIdle, json::object()));
  } catch (const Stopped&) {
  }
  host_.memory_dialogs().SetFallbackDriver(nullptr);
  host_.SetResponder({});
  std::lock_guard<std::mutex> lock(mutex_);
  finished_ = true;
  waiting_ = false;
  changed_.notify_all();
}

void Session::InstallPerson() {
  host_.memory_dialogs().SetFallbackDriver([this](memory::DialogDriver& d) { DriveDialog(d); });
  memory::MemoryHost::Responder person;
  person.message = [this](const memory::MessageRecord& box) {
    const json buttons = box.type == host::kQuestionMessage ? json::array({Utf8("是"), Utf8("否")})
                                                            : json::array({Utf8("确定")});
    json lines = json::array();
    for (const std::string& l : box.lines) lines.push_back(Utf8(l));
    const json pending = {
        {"message",
         {{"title", Utf8(box.title)}, {"type", box.type}, {"lines", lines}, {"buttons", buttons}}}};
    for (;;) {
      const json a = WaitForAction(Point::kMessage, pending);
      const int button = a.value("button", 0);
      const int buttons_shown = box.type == host::kQuestionMessage ? 2 : 1;
      if (a.contains("button") && a["button"].is_number_integer() && button >= 1 &&
          button <= buttons_shown)
        return button;
      Answer(400, Error("the message box has no button " + a.value("button", json()).dump()));
    }
  };
  person.selection = [this](const memory::MemoryHost::SelectionRequest& request) {
    json masks = json::array();
    for (const host::SelectionMask& m : request.masks)
      masks.push_back(json::array({m.type, m.subtype, m.solid_body_subtype}));
    const json pending = {{"selection",
                           {{"prompt", Utf8(request.prompt)},
                            {"title", Utf8(request.title)},
                            {"masks", masks},
                            {"multiple", true}}}};
    for (;;) {
      const json a = WaitForAction(Point::kSelection, pending);
      const std::string response = a.value("response", std::string());
      if (response == "back") return host::SelectionResult{host::SelectionResponse::Back, {}};
      if (response == "cancel") return host::SelectionResult{host::SelectionResponse::Cancel, {}};
      try {
        const auto tags = a.at("tags").get<std::vector<host::Tag>>();
        std::string missing;
        for (host::Tag t : tags)
          if (!host_.objects().Exists(t))
            missing += (missing.empty() ? "" : ", ") + std::to_string(t);
        if (missing.empty()) return host::SelectionResult{host::SelectionResponse::Ok, tags};
        Answer(400, Error("there is no object " + missing + " to select"));
      } catch (const json::exception&) {
        Answer(400, Error("a selection needs \"tags\" or \"response\": \"back\" or \"cancel\""));
      }
    }
  };
  person.text = [this](const std::string& prompt, const std::string& initial) {
    const json pending = {{"prompt", {{"prompt", Utf8(prompt)}, {"initial", Utf8(initial)}}}};
    for (;;) {
      const json a = WaitForAction(Point::kPrompt, pending);
      if (a.value("cancel", false)) return std::optional<std::string>();
      try {
        return std::optional<std::string>(Gbk(a.at("text").get<std::string>()));
      } catch (const ActionError& e) {
        Answer(400, Error(e.what()));
      } catch (const json::exception&) {
        Answer(400, Error("a text answer needs \"text\" or \"cancel\": true"));
      }
    }
  };
  person.csys = [this](const std::string& title) {
    const json pending = {{"csys", {{"title", Utf8(title)}}}};
    for (;;) {
      const json a = WaitForAction(Point::kCsys, pending);
      if (a.value("cancel", false)) return std::optional<host::CsysInfo>();
      try {
        const auto origin = a.at("origin").get<std::vector<double>>();
        const auto x = a.at("x").get<std::vector<double>>();
        const auto y = a.at("y").get<std::vector<double>>();
        if (origin.size() != 3 || x.size() != 3 || y.size() != 3)
          throw ActionError("origin, x and y need three numbers each");
        const host::Vector3d vx{x[0], x[1], x[2]}, vy{y[0], y[1], y[2]};
        const host::Vector3d vz{vx.Y * vy.Z - vx.Z * vy.Y, vx.Z * vy.X - vx.X * vy.Z,
                                vx.X * vy.Y - vx.Y * vy.X};
        auto length = [](const host::Vector3d& v) {
          return std::sqrt(v.X * v.X + v.Y * v.Y + v.Z * v.Z);
        };
        if (length(vx) < 1e-9 || length(vz) < 1e-9 * length(vx) * length(vy))
          throw ActionError("the x and y directions must be two directions that are not parallel");
        // Y is made square to X in the plane of the two.
        auto unit = [&](const host::Vector3d& v) {
          const double l = length(v);
          return host::Vector3d{v.X / l, v.Y / l, v.Z / l};
        };
        const host::Vector3d ux = unit(vx), uz = unit(vz);
        const host::Vector3d uy{uz.Y * ux.Z - uz.Z * ux.Y, uz.Z * ux.X - uz.X * ux.Z,
                                uz.X * ux.Y - uz.Y * ux.X};
        host::CsysInfo info;
        info.origin = {origin[0], origin[1], origin[2]};
        info.matrix = host::Matrix3x3::FromRows(ux, uy, uz);
        return std::optional<host::CsysInfo>(info);
      } catch (const ActionError& e) {
        Answer(400, Error(e.what()));
      } catch (const json::exception&) {
        Answer(400, Error("a coordinate system needs \"origin\", \"x\" and \"y\", or \"cancel\""));
      }
    }
  };
  host_.SetResponder(std::move(person));
}

json Session::WaitForAction(Point point, const json& pending) {
  Publish(pending);
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    changed_.wait(lock, [&] { return stopping_ || !jobs_.empty() || (action_ && !action_taken_); });
    if (stopping_) throw Stopped{};
    if (!jobs_.empty()) {
      RunJobs(lock);
      continue;
    }
    json action = *action_;
    action_taken_ = true;
    const std::string name = action["action"];
    const int p = static_cast<int>(point);
    std::string refusal;
    if (!Fits(p, name)) {
      refusal = std::string("the window waits for ") + PointName(p) + ", not for \"" + name + "\"";
    } else if (point == Point::kDialog && action.contains("dialog") &&
               action["dialog"] != json(dialog_file_)) {
      refusal = "the dialog " + action["dialog"].dump() + " is no longer the one in front";
    }
    if (refusal.empty()) {
      waiting_ = false;
      ++version_;
      changed_.notify_all();
      return action;
    }
    replies_[action_id_] = {409, StateLocked(Error(refusal), action_have_)};
    action_.reset();
    changed_.notify_all();
  }
}

void Session::RunJobs(std::unique_lock<std::mutex>& lock) {
  while (!jobs_.empty()) {
    std::function<void()> job = std::move(jobs_.front());
    jobs_.pop_front();
    lock.unlock();
    job();
    lock.lock();
  }
  changed_.notify_all();
}

void Session::Publish(const json& pending) {
  json s;
  s["mesh_version"] = 0;
  // What the page draws: made here, on the host thread, while nothing moves.
  std::vector<std::pair<host::Tag, std::uint64_t>> geometry;
  for (host::Tag b : host_.bodies().PartBodies(host_.session().WorkPart()))
    geometry.emplace_back(b, host_.bodies().GeometryIdentity(b));
  if (geometry != geometry_) {
    geometry_ = std::move(geometry);
    ++mesh_version_;
  }
  s["mesh_version"] = mesh_version_;
  if (part_path_.empty()) {
    s["part"] = nullptr;
  } else {
    s["part"] = {{"name", Utf8(host_.session().PartLeaf(host_.session().WorkPart()))},
                 {"path", part_path_},
                 {"modified", modified_}};
  }
  s["running"] = running_.empty() ? json(nullptr) : json(running_);
  s["error"] = error_.empty() ? json(nullptr) : json(error_);
  json dialogs = DialogsJson(host_);
  dialog_file_ = dialogs.empty() ? std::string() : dialogs.back()["file"].get<std::string>();
  s["dialogs"] = std::move(dialogs);
  s["message"] = nullptr;
  s["selection"] = nullptr;
  s["prompt"] = nullptr;
  s["csys"] = nullptr;
  for (auto it = pending.begin(); it != pending.end(); ++it) s[it.key()] = it.value();
  s["listing"] = Utf8(host_.listing());
  // The bulk of the bodies and their blanks is written as text straight away.
  std::map<std::string, std::string> sections = {{"bodies", BodiesText(host_)}};
  s["systems"] = SystemsJson(host_);
  sections["blanks"] = blanks_.Text(host_);
  NoteWrittenFiles();
  json files = json::array();
  {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const WrittenFile& f : files_) files.push_back({{"name", f.name}, {"path", f.path}});
  }
  s["files"] = std::move(files);

  // The error goes with the server's fields, so a refusal can replace it.
  json error = std::move(s["error"]);
  s.erase("error");
  std::string skeleton;
  for (auto it = s.begin(); it != s.end(); ++it) {
    std::string section = Text(it.value());
    if (it.key() == "dialogs") {
      skeleton = section;
      section = WithRows(std::move(section));
    }
    sections[it.key()] = std::move(section);
  }
  std::vector<TreeRows> trees = TakeTreeRows();
  std::lock_guard<std::mutex> lock(mutex_);
  const bool changed =
      TakeSnapshot(std::move(sections), std::move(skeleton), std::move(trees), version_ + 1);
  const bool same = !changed && error == snapshot_error_;
  if (!same) snapshot_error_ = std::move(error);
  if (!same || !waiting_) ++version_;
  waiting_ = true;
  if (action_ && action_taken_) {
    replies_[action_id_] = {200, StateLocked(extras_, action_have_)};
    action_.reset();
  }
  extras_ = json::object();
  changed_.notify_all();
}

void Session::Answer(int status, const json& body) {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!action_ || !action_taken_) return;
  replies_[action_id_] = {status, status == 200 ? StateLocked(body, action_have_) : Text(body)};
  action_.reset();
  extras_ = json::object();
  changed_.notify_all();
}

void Session::DriveDialog(memory::DialogDriver& d) {
  while (!d.closed()) {
    const json action = WaitForAction(Point::kDialog, json::object());
    const std::string name = action["action"];
    if (name == "save") {
      SavePart(action.value("path", std::string()));
      continue;
    }
    modified_ = true;
    try {
      extras_ = ApplyDialogAction(d, action);
    } catch (const ActionError& e) {
      Answer(400, Error(e.what()));
    } catch (const memory::ScriptError& e) {
      Answer(400, Error(Utf8(e.what())));
    } catch (const std::exception& e) {
      // The engine refused the value (an enumeration member that is not
      // there, ...): the program's own handlers catch their own faults.
      Answer(400, Error(Utf8(e.what())));
    }
  }
}

void Session::IdleAction(const json& action) {
  const std::string name = action["action"];
  error_.clear();
  if (name == "run-material") {
    RunMaterial();
  } else if (name == "run-parts") {
    RunParts();
  } else if (name == "open") {
    const auto path = action.find("path");
    if (path == action.end() || !path->is_string() || path->get<std::string>().empty()) {
      Answer(400, Error("\"open\" needs the \"path\" of a STEP or part file"));
      return;
    }
    const auto previous = action.find("previous");
    if (previous != action.end() && !previous->is_string()) {
      Answer(400, Error("\"previous\" is the part file of the previous revision, a text"));
      return;
    }
    OpenPart(*path, previous == action.end() ? std::string() : previous->get<std::string>());
  } else if (name == "save") {
    SavePart(action.value("path", std::string()));
  }
}

void Session::RunMaterial() {
  running_ = "material";
  entry::SetHost(&host_);
  struct Uninstall {
    std::string& running;
    ~Uninstall() {
      entry::SetHost(nullptr);
      running.clear();
    }
  } uninstall{running_};
  modified_ = true;
  ufusr(nullptr, nullptr, 0);
}

void Session::RunParts() {
  running_ = "parts";
  struct Done {
    std::string& running;
    ~Done() { running.clear(); }
  } done{running_};
  modified_ = true;
  try {
    ExportPartBom dialog(host_);
    dialog.Show();
  } catch (const std::exception& e) {
    // What the host shows for a dialog that cannot start.
    host_.messages().ShowMessage("标准件BOM", host::kErrorMessage, e.what());
  }
}

void Session::OpenPart(const std::string& path, const std::string& previous) {
  try {
    memory::OpenPart(host_, path);
    std::error_code ec;
    part_path_ = fs::absolute(path, ec).lexically_normal().string();
    modified_ = false;
    error_.clear();
  } catch (const std::exception& e) {
    error_ = Utf8(e.what());
    return;
  }
  if (!previous.empty()) CarryOverPrevious(previous);
}

// A revision: the previous BOM onto the part just opened, before any command
// sees it. What it found is written to the listing window; a previous part
// that cannot be used is said and leaves the new part as it was read.
void Session::CarryOverPrevious(const std::string& previous) {
  try {
    host_.session().Initialize();
    struct Terminate {
      host::Host& host;
      ~Terminate() { host.session().Terminate(); }
    } terminate{host_};
    const config::MaterialBomSettings settings = config::MaterialBomSettings::Load(host_);
    revision::CarryOverOptions options;
    options.changed_colour = settings.common.changed_body_color;
    options.settings = &settings;
    const revision::CarryOverResult result = revision::CarryOver(host_, previous, options);
    std::string totals;
    for (revision::Status status : revision::kStatuses)
      totals += text::Format("%s%s %d", totals.empty() ? "" : ", ", revision::StatusName(status),
                             result.Count(status));
    host_.messages().OpenListingWindow();
    host_.messages().WriteListingWindow("carried over from " + text::Utf8ToGbkLenient(previous) +
                                        ": " + totals + "\n");
    modified_ = true;
  } catch (const std::exception& e) {
    error_ = Utf8(e.what());
  }
}

void Session::SavePart(const std::string& requested) {
  std::string path = requested;
  if (path.empty()) {
    if (part_path_.empty()) {
      Answer(400, Error("there is no part to save: open one first"));
      return;
    }
    path = fs::path(part_path_).replace_extension(memory::kPartFileExtension).string();
  }
  if (fs::path(path).extension() != memory::kPartFileExtension) {
    Answer(400,
           Error("a part file is saved as .xbf, not as " + fs::path(path).filename().string()));
    return;
  }
  try {
    memory::SavePartFile(host_, path);
    std::error_code ec;
    part_path_ = fs::absolute(path, ec).lexically_normal().string();
    host_.SetPartLeaf(text::Utf8ToGbkLenient(fs::path(path).stem().string()));
    modified_ = false;
    error_.clear();
  } catch (const std::exception& e) {
    error_ = Utf8(e.what());
  }
}

void Session::NoteWrittenFiles() {
  std::set<std::string> known;
  std::vector<std::string> written;
  for (const std::string& logic : host_.opened_documents())
    written.push_back(host_.LocalPath(logic));
  std::lock_guard<std::mutex> lock(mutex_);
  for (const WrittenFile& f : files_) known.insert(f.path);
  for (const std::string& local : written) {
    std::error_code ec;
    const std::string path = fs::absolute(local, ec).lexically_normal().string();
    if (known.count(path) || !fs::is_regular_file(path, ec)) continue;
    known.insert(path);
    files_.push_back({fs::path(path).filename().string(), path, fs::file_size(path, ec)});
  }
}

}  // namespace studio
