#include "host/memory/dialogs/dialogs.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "host/memory/dialogs/engine.h"
#include "host/memory/memory_host.h"
#include "host/text.h"

namespace memory {

ScriptError::ScriptError(std::string message) : message_(std::move(message)) {
  // The console is UTF-8; the message is the host's GBK text.
  std::string shown = message_;
  try {
    shown = text::GbkToUtf8(message_);
  } catch (const text::EncodingError&) {
  }
  std::cerr << "script error: " << shown << std::endl;
}

// --- Property lists ------------------------------------------------------------

bool MemoryPropertyList::Has(const std::string& name) const {
  return std::any_of(properties_.begin(), properties_.end(),
                     [&](const Property& p) { return p.name == name; });
}

PropertyValue& MemoryPropertyList::Value(const std::string& name) {
  for (Property& p : properties_) {
    if (p.name == name) return p.value;
  }
  throw host::HostError(owner_ + " has no property \"" + name + "\"");
}

template <class T>
T& MemoryPropertyList::As(const std::string& name) {
  PropertyValue& value = Value(name);
  if (T* typed = std::get_if<T>(&value)) return *typed;
  static const PropertyValue kWanted{T{}};
  throw host::HostError("property \"" + name + "\" of " + owner_ + " holds " +
                        PropertyTypeName(value) + ", not " + PropertyTypeName(kWanted));
}

std::vector<std::string> MemoryPropertyList::GetPropertyNames() {
  std::vector<std::string> names;
  for (const Property& p : properties_) names.push_back(p.name);
  return names;
}

bool MemoryPropertyList::GetLogical(const std::string& name) { return As<bool>(name); }
void MemoryPropertyList::SetLogical(const std::string& name, bool value) { As<bool>(name) = value; }
int MemoryPropertyList::GetInteger(const std::string& name) { return As<int>(name); }
void MemoryPropertyList::SetInteger(const std::string& name, int value) { As<int>(name) = value; }
double MemoryPropertyList::GetDouble(const std::string& name) { return As<double>(name); }
void MemoryPropertyList::SetDouble(const std::string& name, double value) {
  As<double>(name) = value;
}
std::string MemoryPropertyList::GetString(const std::string& name) { return As<std::string>(name); }
void MemoryPropertyList::SetString(const std::string& name, const std::string& value) {
  As<std::string>(name) = value;
}
std::vector<std::string> MemoryPropertyList::GetStrings(const std::string& name) {
  return As<std::vector<std::string>>(name);
}
void MemoryPropertyList::SetStrings(const std::string& name,
                                    const std::vector<std::string>& value) {
  As<std::vector<std::string>>(name) = value;
}
int MemoryPropertyList::GetEnum(const std::string& name) { return As<EnumValue>(name).index; }
void MemoryPropertyList::SetEnum(const std::string& name, int index) {
  EnumValue& e = As<EnumValue>(name);
  if (index < 0 || index >= static_cast<int>(e.members.size())) {
    throw host::HostError("property \"" + name + "\" of " + owner_ + " has no member " +
                          std::to_string(index) + " (" + std::to_string(e.members.size()) +
                          " members)");
  }
  e.index = index;
}
std::string MemoryPropertyList::GetEnumAsString(const std::string& name) {
  const EnumValue& e = As<EnumValue>(name);
  return e.index < 0 ? std::string() : e.members[e.index];
}
void MemoryPropertyList::SetEnumAsString(const std::string& name, const std::string& member) {
  EnumValue& e = As<EnumValue>(name);
  const auto it = std::find(e.members.begin(), e.members.end(), member);
  if (it == e.members.end()) {
    throw host::HostError("property \"" + name + "\" of " + owner_ + " has no member \"" + member +
                          "\"");
  }
  e.index = static_cast<int>(it - e.members.begin());
}
std::vector<std::string> MemoryPropertyList::GetEnumMembers(const std::string& name) {
  return As<EnumValue>(name).members;
}
void MemoryPropertyList::SetEnumMembers(const std::string& name,
                                        const std::vector<std::string>& members) {
  EnumValue& e = As<EnumValue>(name);
  e.members = members;
  e.index = members.empty() ? -1 : 0;
}
host::Point3d MemoryPropertyList::GetPoint(const std::string& name) {
  return As<host::Point3d>(name);
}
void MemoryPropertyList::SetPoint(const std::string& name, const host::Point3d& value) {
  As<host::Point3d>(name) = value;
}
host::Vector3d MemoryPropertyList::GetVector(const std::string& name) {
  return As<host::Vector3d>(name);
}
void MemoryPropertyList::SetVector(const std::string& name, const host::Vector3d& value) {
  As<host::Vector3d>(name) = value;
}
std::vector<host::Tag> MemoryPropertyList::GetTaggedObjectVector(const std::string& name) {
  return As<std::vector<host::Tag>>(name);
}
void MemoryPropertyList::SetTaggedObjectVector(const std::string& name,
                                               const std::vector<host::Tag>& value) {
  As<std::vector<host::Tag>>(name) = value;
}

template bool& MemoryPropertyList::As<bool>(const std::string&);
template int& MemoryPropertyList::As<int>(const std::string&);
template double& MemoryPropertyList::As<double>(const std::string&);
template std::string& MemoryPropertyList::As<std::string>(const std::string&);
template std::vector<std::string>& MemoryPropertyList::As<std::vector<std::string>>(
    const std::string&);
template EnumValue& MemoryPropertyList::As<EnumValue>(const std::string&);
template host::Point3d& MemoryPropertyList::As<host::Point3d>(const std::string&);
template host::Vector3d& MemoryPropertyList::As<host::Vector3d>(const std::string&);
template std::vector<host::Tag>& MemoryPropertyList::As<std::vector<host::Tag>>(const std::string&);

// --- The dialog ------------------------------------------------------------------

namespace {

std::unique_ptr<host::UIBlock> MakeBlock(BlockCore core) {
  const std::string& type = core.layout->type;
  if (type == host::Group::kType)
    return std::make_unique<MemoryBlock<host::Group>>(std::move(core));
  if (type == host::ScrolledWindow::kType)
    return std::make_unique<MemoryBlock<host::ScrolledWindow>>(std::move(core));
  if (type == host::Separator::kType)
    return std::make_unique<MemoryBlock<host::Separator>>(std::move(core));
  if (type == host::LabelBlock::kType)
    return std::make_unique<MemoryBlock<host::LabelBlock>>(std::move(core));
  if (type == host::Button::kType)
    return std::make_unique<MemoryBlock<host::Button>>(std::move(core));
  if (type == host::Toggle::kType)
    return std::make_unique<MemoryBlock<host::Toggle>>(std::move(core));
  if (type == host::IntegerBlock::kType)
    return std::make_unique<MemoryBlock<host::IntegerBlock>>(std::move(core));
  if (type == host::DoubleBlock::kType)
    return std::make_unique<MemoryBlock<host::DoubleBlock>>(std::move(core));
  if (type == host::StringBlock::kType)
    return std::make_unique<MemoryBlock<host::StringBlock>>(std::move(core));
  if (type == host::MultilineString::kType)
    return std::make_unique<MemoryBlock<host::MultilineString>>(std::move(core));
  if (type == host::Enumeration::kType)
    return std::make_unique<MemoryBlock<host::Enumeration>>(std::move(core));
  if (type == host::FolderSelection::kType)
    return std::make_unique<MemoryBlock<host::FolderSelection>>(std::move(core));
  if (type == host::BodyCollector::kType)
    return std::make_unique<MemoryBlock<host::BodyCollector>>(std::move(core));
  if (type == host::SpecifyCSYS::kType)
    return std::make_unique<MemoryBlock<host::SpecifyCSYS>>(std::move(core));
  if (type == host::SpecifyVector::kType)
    return std::make_unique<MemoryBlock<host::SpecifyVector>>(std::move(core));
  if (type == host::SpecifyPoint::kType)
    return std::make_unique<MemoryBlock<host::SpecifyPoint>>(std::move(core));
  if (type == host::Tree::kType) return std::make_unique<MemoryTree>(std::move(core));
  throw host::HostError("no block kind " + type);
}

}  // namespace

MemoryDialog::MemoryDialog(MemoryDialogs& owner, Layout layout)
    : owner_(owner), layout_(std::move(layout)) {
  for (const BlockLayout& b : layout_.blocks) {
    BlockCore core;
    core.dialog = this;
    core.layout = &b;
    core.parent = b.parent < 0 ? nullptr : blocks_[b.parent].get();
    core.properties =
        std::make_unique<MemoryPropertyList>("block \"" + b.id + "\" of " + layout_.file);
    core.properties->Reset(b.properties);
    blocks_.push_back(MakeBlock(std::move(core)));
    by_id_[b.id] = blocks_.back().get();
  }
}

MemoryDialog::~MemoryDialog() {
  if (showing_) owner_.NoteHidden(this);
}

BlockCore& MemoryDialog::Core(host::UIBlock* block) {
  return dynamic_cast<BlockImpl&>(*block).core();
}

host::UIBlock* MemoryDialog::FindBlock(const std::string& id) {
  const auto it = by_id_.find(id);
  if (it == by_id_.end()) {
    throw host::HostError(layout_.file + " has no block \"" + id + "\"");
  }
  return it->second;
}

host::PropertyList& MemoryDialog::GetBlockProperties(const std::string& block_id) {
  return FindBlock(block_id)->GetProperties();
}

host::UIBlock* MemoryDialog::ScriptBlock(const std::string& id) {
  const auto it = by_id_.find(id);
  if (it == by_id_.end()) throw ScriptError(layout_.file + " has no block \"" + id + "\"");
  return it->second;
}

bool MemoryDialog::Visible(host::UIBlock* block) {
  for (host::UIBlock* b = block; b != nullptr; b = Core(b).parent) {
    if (!b->Show()) return false;
  }
  return true;
}

bool MemoryDialog::Enabled(host::UIBlock* block) {
  for (host::UIBlock* b = block; b != nullptr; b = Core(b).parent) {
    if (!b->Enable()) return false;
  }
  return true;
}

void MemoryDialog::RequireOpen(const char* action) const {
  if (!showing_ || closed_) {
    throw ScriptError(std::string("cannot ") + action + " in " + layout_.file +
                      ": the dialog is not open");
  }
}

int MemoryDialog::Show() {
  if (showing_) throw host::HostError(layout_.file + " is already shown");
  owner_.NoteShownRequest(layout_.file);
  MemoryDialogs::Driver driver = owner_.TakeDriver(layout_.file);

  // The dialog opens as its layout describes it.
  for (auto& block : blocks_) {
    BlockCore& core = Core(block.get());
    core.properties->Reset(core.layout->properties);
    if (auto* tree = dynamic_cast<MemoryTree*>(block.get())) tree->Reset();
  }
  showing_ = true;
  closed_ = false;
  response_ = host::kResponseInvalid;
  owner_.NoteShown(this);
  struct Hide {
    MemoryDialog* d;
    ~Hide() {
      d->showing_ = false;
      d->owner_.NoteHidden(d);
    }
  } hide{this};

  if (initialize_) initialize_();
  if (shown_) shown_();
  DialogDriver designer(*this);
  driver(designer);
  if (!closed_) {
    throw ScriptError("the driver of " + layout_.file +
                      " returned without closing the dialog (OK, Cancel or Close)");
  }
  return response_;
}

int MemoryDialog::CallUpdate(host::UIBlock* block) { return update_ ? update_(block) : 0; }

bool MemoryDialog::CallFilter(host::UIBlock* block, host::Tag object) {
  return !filter_ || filter_(block, object) == host::kSelectionAccept;
}

void MemoryDialog::End(int response) {
  closed_ = true;
  response_ = response;
}

bool MemoryDialog::Ok() {
  RequireOpen("press OK");
  if (!layout_.ok_button) throw ScriptError(layout_.file + " has no OK button");
  int result = 0;
  if (ok_) {
    result = ok_();
  } else if (apply_) {
    result = apply_();
  }
  if (result != 0) return false;
  End(host::kResponseOk);
  return true;
}

int MemoryDialog::Apply() {
  RequireOpen("press Apply");
  if (!layout_.apply_button) throw ScriptError(layout_.file + " has no Apply button");
  return apply_ ? apply_() : 0;
}

void MemoryDialog::Cancel() {
  RequireOpen("press Cancel");
  if (!layout_.cancel_button) throw ScriptError(layout_.file + " has no Cancel button");
  if (cancel_) {
    cancel_();
  } else if (close_) {
    close_();
  }
  End(host::kResponseCancel);
}

void MemoryDialog::Close() {
  RequireOpen("close");
  if (close_) close_();
  End(host::kResponseClose);
}

// --- The engine --------------------------------------------------------------------

namespace {

std::string DefaultLayoutFolder() {
  if (const char* source = std::getenv("DIEBOM_SOURCE_DIR"); source != nullptr && *source) {
    return std::string(source) + "/ui";
  }
#ifdef DIEBOM_UI_DIR
  return DIEBOM_UI_DIR;
#else
  return "ui";
#endif
}

}  // namespace

MemoryDialogs::MemoryDialogs(MemoryHost& host)
    : host_(host), layout_folder_(DefaultLayoutFolder()) {
  host_.SetButtonPresser([this](const std::string& title, const std::string& label) {
    return PressButtonByLabel(title, label);
  });
}

MemoryDialogs::~MemoryDialogs() = default;

std::unique_ptr<host::BlockDialog> MemoryDialogs::CreateDialog(const std::string& layout_file) {
  created_.push_back(layout_file);
  return std::make_unique<MemoryDialog>(*this, LoadLayout(layout_folder_, layout_file));
}

void MemoryDialogs::QueueDriver(const std::string& layout_file, Driver driver) {
  if (!driver) throw ScriptError("an empty driver was queued for " + layout_file);
  drivers_[layout_file].push_back(std::move(driver));
}

std::size_t MemoryDialogs::pending_drivers() const {
  std::size_t n = 0;
  for (const auto& [file, queue] : drivers_) n += queue.size();
  return n;
}

std::size_t MemoryDialogs::pending_drivers(const std::string& layout_file) const {
  const auto it = drivers_.find(layout_file);
  return it == drivers_.end() ? 0 : it->second.size();
}

void MemoryDialogs::NoteShownRequest(const std::string& layout_file) {
  shown_.push_back(layout_file);
}

MemoryDialogs::Driver MemoryDialogs::TakeDriver(const std::string& layout_file) {
  auto it = drivers_.find(layout_file);
  if ((it == drivers_.end() || it->second.empty()) && fallback_) return fallback_;
  if (it == drivers_.end() || it->second.empty()) {
    std::string queued;
    for (const auto& [file, queue] : drivers_) {
      if (!queue.empty()) queued += (queued.empty() ? "" : ", ") + file;
    }
    throw ScriptError(layout_file + " was shown but no driver is queued for it" +
                      (queued.empty() ? std::string(" (none is queued)")
                                      : " (drivers are queued for " + queued + ")"));
  }
  Driver driver = std::move(it->second.front());
  it->second.pop_front();
  return driver;
}

void MemoryDialogs::NoteShown(MemoryDialog* dialog) { showing_.push_back(dialog); }

void MemoryDialogs::NoteHidden(MemoryDialog* dialog) {
  showing_.erase(std::remove(showing_.begin(), showing_.end(), dialog), showing_.end());
}

bool MemoryDialogs::PressButtonByLabel(const std::string& dialog_title, const std::string& label) {
  for (auto d = showing_.rbegin(); d != showing_.rend(); ++d) {
    MemoryDialog* dialog = *d;
    if (dialog->layout().title != dialog_title || dialog->closed()) continue;
    for (const auto& block : dialog->blocks()) {
      auto* button = dynamic_cast<host::Button*>(block.get());
      if (button != nullptr && button->Label() == label) {
        dialog->CallUpdate(button);
        return true;
      }
    }
    return false;
  }
  return false;
}

}  // namespace memory
