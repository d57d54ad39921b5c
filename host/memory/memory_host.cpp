#include "host/memory/memory_host.h"

#include <sys/stat.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "host/memory/families.h"
#include "host/text.h"

namespace memory {

namespace fs = std::filesystem;

MemoryHost::MemoryHost() : model_(std::make_unique<Model>()) {
  families_ = std::make_unique<Families>(*this);
  families_->bodies.local_path = [this](const std::string& p) { return LocalPath(p); };
}

MemoryHost::~MemoryHost() = default;

host::Session& MemoryHost::session() { return families_->session; }
host::Bodies& MemoryHost::bodies() { return families_->bodies; }
host::Attributes& MemoryHost::attributes() { return families_->attributes; }
host::Layers& MemoryHost::layers() { return families_->layers; }
host::CoordinateSystems& MemoryHost::csys() { return families_->csys; }
host::Objects& MemoryHost::objects() { return families_->objects; }
host::Display& MemoryHost::display() { return families_->display; }
host::Selection& MemoryHost::selection() { return families_->selection; }
host::Messages& MemoryHost::messages() { return families_->messages; }
host::Dialogs& MemoryHost::dialogs() { return families_->dialogs; }
host::Environment& MemoryHost::environment() { return families_->environment; }
host::Undo& MemoryHost::undo() { return families_->undo; }
host::Platform& MemoryHost::platform() { return families_->platform; }
MemoryDialogs& MemoryHost::memory_dialogs() { return families_->dialogs; }

host::Tag MemoryHost::AddBody(const Shape& shape, int layer, int color, const std::string& name) {
  if (shape.IsNull()) throw host::HostError("a body needs a shape");
  if (layer < host::kFirstLayer || layer > host::kLastLayer)
    throw host::HostError(text::Format("layer %d is not between 1 and 256", layer));
  const host::Tag tag = model_->NewObject(ObjectKind::Body);
  Object& o = model_->Get(tag);
  o.shape = shape.data().shape;
  o.layer = layer;
  o.color = color;
  o.name = name;
  return tag;
}

Shape MemoryHost::BodyShape(host::Tag body) const {
  const Object* o = model_->Find(body);
  if (!o || o->kind != ObjectKind::Body) throw host::HostError("not a body");
  return Shape(std::make_unique<ShapeData>(ShapeData{o->shape}));
}

void MemoryHost::SetBodyShape(host::Tag body, const Shape& shape) {
  Object& o = model_->Get(body, ObjectKind::Body);
  model_->DropSubTags(o);
  o.shape = shape.data().shape;
}

void MemoryHost::SetPartLeaf(const std::string& leaf) { model_->leaf = leaf; }

void MemoryHost::MapDrive(char letter, const std::string& local_folder) {
  drives_[static_cast<char>(std::toupper(static_cast<unsigned char>(letter)))] = local_folder;
}

void MemoryHost::AdvanceClockMilliseconds(int ms) {
  if (!clock_) return;
  std::tm t{};
  t.tm_year = clock_->year - 1900;
  t.tm_mon = clock_->month - 1;
  t.tm_mday = clock_->day;
  t.tm_hour = clock_->hour;
  t.tm_min = clock_->minute;
  t.tm_sec = clock_->second;
  long total = clock_->milliseconds + ms;
  t.tm_sec += static_cast<int>(total / 1000);
  total %= 1000;
  t.tm_isdst = -1;
  std::mktime(&t);
  *clock_ = {t.tm_year + 1900, t.tm_mon + 1,           t.tm_mday, t.tm_hour, t.tm_min,
             t.tm_sec,         static_cast<int>(total)};
}

std::string MemoryHost::LocalPath(const std::string& path) const {
  std::string p = text::GbkToUtf8(path);
  for (char& c : p)
    if (c == '\\') c = '/';
  if (!p.empty() && p[0] == '/' && (p.size() < 2 || p[1] != '/')) {
    // "\x\y": the root of the current drive; "/x/y" given as a local path
    // (the command-line tool's folders) stays as it is.
    if (path[0] == '/') return p;
    auto it = drives_.find('C');
    return (it == drives_.end() ? std::string("/nonexistent-drive/C") : it->second) + p;
  }
  if (p.size() >= 2 && p[1] == ':' && std::isalpha(static_cast<unsigned char>(p[0]))) {
    const char letter = static_cast<char>(std::toupper(static_cast<unsigned char>(p[0])));
    std::string rest = p.substr(2);
    if (!rest.empty() && rest[0] != '/') rest = "/" + rest;
    auto it = drives_.find(letter);
    return (it == drives_.end() ? "/nonexistent-drive/" + std::string(1, letter) : it->second) +
           rest;
  }
  return working_folder_ + "/" + p;
}

// --- Session -------------------------------------------------------------------

int SessionImpl::Initialize() {
  ++h_.initialize_calls_;
  if (h_.initialize_result_ != 0) return h_.initialize_result_;
  ++h_.init_depth_;
  return 0;
}

int SessionImpl::IsInitialized() { return h_.init_depth_ > 0 ? 1 : 0; }

int SessionImpl::Terminate() {
  ++h_.terminate_calls_;
  if (h_.terminate_result_ != 0) return h_.terminate_result_;
  if (h_.init_depth_ > 0) --h_.init_depth_;
  return 0;
}

std::string SessionImpl::FailMessage(int code) {
  switch (code) {
    case 0:
      return "No error";
    case 5:
      return "The Open API license is not available";
    default:
      return text::Format("Unknown error %d", code);
  }
}

host::Tag SessionImpl::WorkPart() { return h_.model().part; }
host::Tag SessionImpl::DisplayPart() { return h_.model().part; }

std::string SessionImpl::PartLeaf(host::Tag part) {
  h_.model().Get(part, ObjectKind::Part);
  return h_.model().leaf;
}

int SessionImpl::UpdateModel() { return 0; }

// --- Messages ------------------------------------------------------------------

int MessagesImpl::ShowMessage(const std::string& title, int type, const std::string& text) {
  return ShowMessage(title, type, std::vector<std::string>{text});
}

int MessagesImpl::ShowMessage(const std::string& title, int type,
                              const std::vector<std::string>& lines) {
  MessageRecord record{title, type, lines, 1};
  if (type != host::kQuestionMessage && h_.responder_.message) {
    record.answer = h_.responder_.message(record);
  } else if (type == host::kQuestionMessage) {
    if (h_.answers_.empty() && (h_.answerer_ || h_.responder_.message)) {
      record.answer = h_.answerer_ ? h_.answerer_(record) : h_.responder_.message(record);
      h_.message_log_.push_back(record);
      return record.answer;
    }
    if (h_.answers_.empty()) {
      h_.message_log_.push_back(record);
      std::string first = lines.empty() ? std::string() : lines.front();
      throw ScriptError("a question box \"" + title + "\" (" + first +
                        ") was shown with no answer queued");
    }
    record.answer = h_.answers_.front();
    h_.answers_.pop_front();
  }
  h_.message_log_.push_back(record);
  return record.answer;
}

int MessagesImpl::PrintSyslog(const std::string& text) {
  h_.syslog_ += text;
  return 0;
}

int MessagesImpl::OpenListingWindow() {
  if (h_.listing_open_result_ != 0) return h_.listing_open_result_;
  h_.listing_open_ = true;
  return 0;
}

int MessagesImpl::WriteListingWindow(const std::string& text) {
  if (!h_.listing_open_) return 1;
  h_.listing_ += text;
  return 0;
}

// --- Selection -----------------------------------------------------------------

host::SelectionResult SelectionImpl::SelectObjects(const std::string& prompt,
                                                   const std::string& title, host::SelectionScope,
                                                   const std::vector<host::SelectionMask>& masks) {
  h_.selection_requests_.push_back({prompt, title, masks});
  if (h_.selections_.empty() && h_.responder_.selection)
    return h_.responder_.selection(h_.selection_requests_.back());
  if (h_.selections_.empty())
    throw ScriptError("a selection dialog \"" + title + "\" was shown with no answer queued");
  host::SelectionResult r = h_.selections_.front();
  h_.selections_.pop_front();
  return r;
}

std::optional<std::string> SelectionImpl::AskString(const std::string& prompt,
                                                    const std::string& initial) {
  if (h_.strings_.empty() && h_.responder_.text) return h_.responder_.text(prompt, initial);
  if (h_.strings_.empty())
    throw ScriptError("a text input \"" + prompt + "\" was shown with no answer queued");
  auto r = h_.strings_.front();
  h_.strings_.pop_front();
  return r;
}

std::optional<host::CsysInfo> SelectionImpl::SpecifyCsys(const std::string& title) {
  if (h_.csys_answers_.empty() && h_.responder_.csys) return h_.responder_.csys(title);
  if (h_.csys_answers_.empty())
    throw ScriptError("a coordinate-system dialog \"" + title +
                      "\" was shown with no answer queued");
  auto r = h_.csys_answers_.front();
  h_.csys_answers_.pop_front();
  return r;
}

// --- Environment ---------------------------------------------------------------

std::optional<std::string> EnvironmentImpl::TranslateVariable(const std::string& name) {
  auto it = h_.variables_.find(name);
  if (it == h_.variables_.end()) return std::nullopt;
  return it->second;
}

std::string EnvironmentImpl::GetEnvironmentVariableValue(const std::string& name) {
  auto it = h_.variables_.find(name);
  return it == h_.variables_.end() ? std::string() : it->second;
}

// --- Undo ----------------------------------------------------------------------

int UndoImpl::SetUndoMark(host::MarkVisibility, const std::string&) {
  const int id = next_mark_++;
  marks_.emplace(id, m_);
  return id;
}

void UndoImpl::UndoToMark(int mark) {
  auto it = marks_.find(mark);
  if (it == marks_.end()) throw host::HostError(text::Format("no undo mark %d", mark));
  const host::Tag next = m_.next_tag;
  m_ = it->second;
  m_.next_tag = next;  // tags are never reused
  marks_.erase(std::next(it), marks_.end());
}

void UndoImpl::DeleteUndoMark(int mark) { marks_.erase(mark); }

// --- Display -------------------------------------------------------------------

void DisplayImpl::SetTranslucency(const std::vector<host::Tag>& objects, int translucency) {
  for (host::Tag t : objects) m_.Get(t).translucency = translucency;
}

int DisplayImpl::Translucency(host::Tag object) { return m_.Get(object).translucency; }

void DisplayImpl::SetDisplayColor(const std::vector<host::Tag>& objects, int color) {
  for (host::Tag t : objects) m_.Get(t).color = color;
}

// --- Platform ------------------------------------------------------------------

bool PlatformImpl::FileExists(const std::string& path) {
  std::error_code ec;
  return fs::exists(h_.LocalPath(path), ec);
}

bool PlatformImpl::CreateDirectory(const std::string& path) {
  return ::mkdir(h_.LocalPath(path).c_str(), 0777) == 0;
}

bool PlatformImpl::CopyFile(const std::string& from, const std::string& to, bool fail_if_exists) {
  std::error_code ec;
  const auto opts = fail_if_exists ? fs::copy_options::none : fs::copy_options::overwrite_existing;
  return fs::copy_file(h_.LocalPath(from), h_.LocalPath(to), opts, ec) && !ec;
}

bool PlatformImpl::RemoveFile(const std::string& path) {
  std::error_code ec;
  return fs::remove(h_.LocalPath(path), ec) && !ec;
}

std::optional<std::string> PlatformImpl::ReadFile(const std::string& path) {
  std::ifstream in(h_.LocalPath(path), std::ios::binary);
  if (!in) return std::nullopt;
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

bool PlatformImpl::WriteFile(const std::string& path, const std::string& contents) {
  std::ofstream out(h_.LocalPath(path), std::ios::binary | std::ios::trunc);
  if (!out) return false;
  out << contents;
  return static_cast<bool>(out.flush());
}

std::string PlatformImpl::NativePath(const std::string& path) { return h_.LocalPath(path); }

std::string PlatformImpl::DesktopFolder() { return h_.desktop_; }

std::string PlatformImpl::LocalAppDataFolder() { return h_.local_app_data_; }

host::LocalTime PlatformImpl::Now() {
  if (h_.clock_) return *h_.clock_;
  timespec ts{};
  clock_gettime(CLOCK_REALTIME, &ts);
  std::tm tm{};
  localtime_r(&ts.tv_sec, &tm);
  const int ms = static_cast<int>(ts.tv_nsec / 1000000);
  return {tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec, ms};
}

bool PlatformImpl::OpenDocument(const std::string& path) {
  h_.opened_documents_.push_back(path);
  return true;
}

bool PlatformImpl::PressDialogButton(const std::string& dialog_title,
                                     const std::string& button_label) {
  return h_.button_presser_ ? h_.button_presser_(dialog_title, button_label) : false;
}

}  // namespace memory
