#include "host/memory/part_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <APIHeaderSection_MakeHeader.hxx>
#include <BRepGProp.hxx>
#include <BinXCAFDrivers.hxx>
#include <GProp_GProps.hxx>
#include <Interface_HArray1OfHAsciiString.hxx>
#include <Interface_Static.hxx>
#include <Message.hxx>
#include <Message_Messenger.hxx>
#include <NCollection_DataMap.hxx>
#include <Quantity_Color.hxx>
#include <STEPCAFControl_Reader.hxx>
#include <STEPCAFControl_Writer.hxx>
#include <STEPControl_Writer.hxx>
#include <Standard_Failure.hxx>
#include <StepData_StepModel.hxx>
#include <TColStd_HSequenceOfExtendedString.hxx>
#include <TDF_ChildIterator.hxx>
#include <TDF_Label.hxx>
#include <TDF_LabelSequence.hxx>
#include <TDF_Reference.hxx>
#include <TDataStd_ExtStringArray.hxx>
#include <TDataStd_Integer.hxx>
#include <TDataStd_IntegerArray.hxx>
#include <TDataStd_Name.hxx>
#include <TDataStd_RealArray.hxx>
#include <TDocStd_Document.hxx>
#include <TNaming_Builder.hxx>
#include <TopExp_Explorer.hxx>
#include <TopTools_ShapeMapHasher.hxx>
#include <TopoDS.hxx>
#include <XCAFApp_Application.hxx>
#include <XCAFDoc_ColorTool.hxx>
#include <XCAFDoc_DocumentTool.hxx>
#include <XCAFDoc_LayerTool.hxx>
#include <XCAFDoc_ShapeTool.hxx>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <sstream>

#include "host/memory/colors.h"
#include "host/memory/model.h"
#include "host/text.h"

namespace memory {
namespace {

namespace fs = std::filesystem;

// Version of the part data this program writes under the document's label 0:2.
constexpr int kFormatVersion = 1;
constexpr const char* kMarker = "diebom part";
constexpr int kDataTag = 2;  // 0:2, beside the XCAF data at 0:1
constexpr int kPartTag = 1, kBodiesTag = 2, kCsysTag = 3;

// The check record at the end of a part file: magic, CRC-32 of everything
// before it (8 hex digits), length of everything before it (16 hex digits).
constexpr std::string_view kTrailerMagic = "DIEBOMPF";
constexpr std::size_t kTrailerSize = 8 + 8 + 16;

constexpr std::string_view kStepMagic = "ISO-10303-21";
constexpr std::string_view kBinMagic = "BINFILE";

// --- Text ----------------------------------------------------------------------

// A local (UTF-8) path for a GBK message; characters without a GBK form
// become "?".
std::string LenientGbk(const std::string& utf8);

std::string Quoted(const std::string& path) { return "\"" + LenientGbk(path) + "\""; }

host::HostError FileError(const std::string& path, const std::string& what) {
  return host::HostError(Quoted(path) + " " + what);
}

std::string LenientGbk(const std::string& utf8) {
  try {
    return text::Utf8ToGbk(utf8);
  } catch (const text::EncodingError&) {
  }
  std::string out;
  std::size_t i = 0;
  while (i < utf8.size()) {
    const unsigned char c = static_cast<unsigned char>(utf8[i]);
    std::size_t n = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 1;
    n = std::min(n, utf8.size() - i);
    try {
      out += text::Utf8ToGbk(utf8.substr(i, n));
    } catch (const text::EncodingError&) {
      out += '?';
    }
    i += n;
  }
  return out;
}

std::string ExtToUtf8(const TCollection_ExtendedString& s) {
  return TCollection_AsciiString(s).ToCString();
}

TCollection_ExtendedString Utf8ToExt(const std::string& utf8) {
  return TCollection_ExtendedString(utf8.c_str(), Standard_True);
}

// GBK text of the model for the document. Throws text::EncodingError for text
// that is not GBK; a NUL byte cannot be stored either.
TCollection_ExtendedString GbkToExt(const std::string& gbk) {
  if (gbk.find('\0') != std::string::npos) throw text::EncodingError("a NUL byte", gbk.find('\0'));
  return Utf8ToExt(text::GbkToUtf8(gbk));
}

// --- Kernel session --------------------------------------------------------------

Handle(TDocStd_Application) App();

// Keeps the kernel's messages (transfer statistics, warnings, reading
// errors) off the console while a file is read or written.
class QuietKernel {
 public:
  QuietKernel() {
    Silence(Message::DefaultMessenger());
    Silence(App()->MessageDriver());
  }
  ~QuietKernel() {
    for (auto& [messenger, printers] : saved_) messenger->ChangePrinters() = printers;
  }
  QuietKernel(const QuietKernel&) = delete;
  QuietKernel& operator=(const QuietKernel&) = delete;

 private:
  void Silence(const Handle(Message_Messenger) & messenger) {
    if (messenger.IsNull()) return;
    for (const auto& s : saved_)
      if (s.first == messenger) return;
    saved_.emplace_back(messenger, messenger->Printers());
    messenger->ChangePrinters().Clear();
  }
  std::vector<std::pair<Handle(Message_Messenger), Message_SequenceOfPrinters>> saved_;
};

Handle(TDocStd_Application) App() {
  static Handle(TDocStd_Application) app = [] {
    Handle(TDocStd_Application) a = XCAFApp_Application::GetApplication();
    BinXCAFDrivers::DefineFormat(a);
    return a;
  }();
  return app;
}

// An XCAF document, closed when it goes.
class Document {
 public:
  Document() = default;
  ~Document() {
    if (doc_.IsNull()) return;
    try {
      App()->Close(doc_);
    } catch (const Standard_Failure&) {
    }
  }
  Document(const Document&) = delete;
  Document& operator=(const Document&) = delete;

  void New() { App()->NewDocument("BinXCAF", doc_); }
  Handle(TDocStd_Document) & handle() { return doc_; }
  TDF_Label Main() const { return doc_->Main(); }
  TDF_Label Data(bool create) const { return doc_->GetData()->Root().FindChild(kDataTag, create); }

 private:
  Handle(TDocStd_Document) doc_;
};

Quantity_Color KernelColor(int index) {
  const Rgb rgb =
      ColorRgb(index >= kFirstColor && index <= kLastColor ? index : MemoryHost::kDefaultColor);
  return Quantity_Color(rgb.r / 255.0, rgb.g / 255.0, rgb.b / 255.0, Quantity_TOC_sRGB);
}

int ColorIndex(const Quantity_Color& c) {
  double r = 0, g = 0, b = 0;
  c.Values(r, g, b, Quantity_TOC_sRGB);
  return NearestColor(r, g, b);
}

// --- Files -----------------------------------------------------------------------

std::string ReadWholeFile(const std::string& path) {
  std::error_code ec;
  const auto status = fs::status(path, ec);
  if (!fs::exists(status)) throw FileError(path, "does not exist");
  if (fs::is_directory(status)) throw FileError(path, "is a folder, not a file");
  std::ifstream in(path, std::ios::binary);
  if (!in) throw FileError(path, std::string("cannot be opened: ") + std::strerror(errno));
  std::ostringstream out;
  out << in.rdbuf();
  if (in.bad()) throw FileError(path, "cannot be read");
  return out.str();
}

std::string ReadHead(const std::string& path, std::size_t n) {
  std::ifstream in(path, std::ios::binary);
  std::string head(n, '\0');
  in.read(head.data(), static_cast<std::streamsize>(n));
  head.resize(static_cast<std::size_t>(std::max<std::streamsize>(in.gcount(), 0)));
  return head;
}

bool LooksLikeStep(std::string_view head) {
  if (head.substr(0, 3) == "\xEF\xBB\xBF") head.remove_prefix(3);
  while (!head.empty() && std::isspace(static_cast<unsigned char>(head.front())))
    head.remove_prefix(1);
  return head.substr(0, kStepMagic.size()) == kStepMagic;
}

std::uint32_t Crc32(std::string_view data) {
  static const std::array<std::uint32_t, 256> table = [] {
    std::array<std::uint32_t, 256> t{};
    for (std::uint32_t i = 0; i < 256; ++i) {
      std::uint32_t c = i;
      for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
      t[i] = c;
    }
    return t;
  }();
  std::uint32_t crc = 0xFFFFFFFFu;
  for (unsigned char ch : data) crc = table[(crc ^ ch) & 0xFF] ^ (crc >> 8);
  return crc ^ 0xFFFFFFFFu;
}

std::string Trailer(std::string_view payload) {
  return std::string(kTrailerMagic) + text::Format("%08x%016llx", Crc32(payload),
                                                   static_cast<unsigned long long>(payload.size()));
}

// The file a save of `path` writes first, beside it, to rename over it once
// complete; FileError when `path` cannot be a file to write.
fs::path SaveBeside(const std::string& path) {
  const fs::path target(path);
  if (target.filename().empty()) throw FileError(path, "names no file");
  const fs::path folder = target.parent_path().empty() ? fs::path(".") : target.parent_path();
  std::error_code ec;
  if (!fs::is_directory(folder, ec)) throw FileError(path, "cannot be written: no such folder");
  if (fs::is_directory(target, ec)) throw FileError(path, "is a folder, not a file");
  return folder / ("." + target.filename().string() + text::Format(".saving-%d", ::getpid()));
}

// Writes `bytes` to a new file beside `path` and renames it over `path`.
void WriteAtomically(const std::string& path, const std::string& bytes) {
  const fs::path target(path);
  const fs::path temp = SaveBeside(path);
  const fs::path folder = temp.parent_path();
  const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd < 0) throw FileError(path, std::string("cannot be written: ") + std::strerror(errno));
  auto fail = [&](int err) {
    ::close(fd);
    ::unlink(temp.c_str());
    throw FileError(path, std::string("cannot be written: ") + std::strerror(err));
  };
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (n < 0) {
      if (errno == EINTR) continue;
      fail(errno);
    }
    done += static_cast<std::size_t>(n);
  }
  if (::fsync(fd) != 0) fail(errno);
  if (::close(fd) != 0) {
    const int err = errno;
    ::unlink(temp.c_str());
    throw FileError(path, std::string("cannot be written: ") + std::strerror(err));
  }
  if (::rename(temp.c_str(), target.c_str()) != 0) {
    const int err = errno;
    ::unlink(temp.c_str());
    throw FileError(path, std::string("cannot be written: ") + std::strerror(err));
  }
  const int dir = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dir >= 0) {
    ::fsync(dir);
    ::close(dir);
  }
}

std::string LeafOf(const std::string& path) { return LenientGbk(fs::path(path).stem().string()); }

// --- Building a document from the model ------------------------------------------

std::string Describe(const Object& o) {
  switch (o.kind) {
    case ObjectKind::Body:
      return text::Format("body %u", o.tag);
    case ObjectKind::Csys:
      return text::Format("coordinate system %u", o.tag);
    case ObjectKind::Part:
      return "the part";
    default:
      return text::Format("object %u", o.tag);
  }
}

void StoreAttributes(const TDF_Label& label, const Object& o) {
  if (o.attributes.empty()) return;
  const int n = static_cast<int>(o.attributes.size());
  Handle(TDataStd_ExtStringArray) array = TDataStd_ExtStringArray::Set(label, 1, 2 * n);
  for (int i = 0; i < n; ++i) {
    const auto& [title, value] = o.attributes[static_cast<std::size_t>(i)];
    try {
      array->SetValue(2 * i + 1, GbkToExt(title));
    } catch (const text::EncodingError&) {
      throw host::HostError("the title of an attribute of " + Describe(o) + " is not GBK text");
    }
    try {
      array->SetValue(2 * i + 2, GbkToExt(value));
    } catch (const text::EncodingError&) {
      throw host::HostError("the attribute \"" + title + "\" of " + Describe(o) +
                            " is not GBK text");
    }
  }
}

TCollection_ExtendedString NameOf(const Object& o) {
  try {
    return GbkToExt(o.name);
  } catch (const text::EncodingError&) {
    throw host::HostError("the name of " + Describe(o) + " is not GBK text");
  }
}

// The bodies as free shapes of the XCAF document (name, colour, layer,
// visibility); with `part_data`, everything else of the part under 0:2.
void BuildDocument(const Model& m, Document& d, bool part_data) {
  d.New();
  Handle(XCAFDoc_ShapeTool) shapes = XCAFDoc_DocumentTool::ShapeTool(d.Main());
  Handle(XCAFDoc_ColorTool) colors = XCAFDoc_DocumentTool::ColorTool(d.Main());
  Handle(XCAFDoc_LayerTool) layers = XCAFDoc_DocumentTool::LayerTool(d.Main());

  TDF_Label data, bodies, csys;
  if (part_data) {
    data = d.Data(true);
    TDataStd_Name::Set(data, TCollection_ExtendedString(kMarker));
    TDataStd_Integer::Set(data, kFormatVersion);
    bodies = data.FindChild(kBodiesTag, true);
    csys = data.FindChild(kCsysTag, true);
  }

  std::set<int> hidden_layers;
  int order = 0, body_count = 0, csys_count = 0, wcs_entry = 0;
  for (const auto& [tag, o] : m.objects) {
    if (o.kind == ObjectKind::Body && !o.shape.IsNull()) {
      ++order;
      // A label of its own for every body, even where two bodies share one
      // shape, so that names, colours and layers stay apart.
      TDF_Label label = shapes->NewShape();
      TNaming_Builder(label).Generated(o.shape);
      // In a STEP file an unnamed body is named after its place in the part
      // ("body 7"): the STEP writer would make up a name that changes from
      // run to run.
      if (!o.name.empty())
        TDataStd_Name::Set(label, NameOf(o));
      else if (!part_data)
        TDataStd_Name::Set(label,
                           TCollection_ExtendedString(text::Format("body %d", order).c_str()));
      colors->SetColor(label, KernelColor(o.color), XCAFDoc_ColorGen);
      layers->SetLayer(label, TCollection_ExtendedString(o.layer));
      if (o.blanked) colors->SetVisibility(label, Standard_False);
      if (m.layer_status[static_cast<std::size_t>(std::clamp(o.layer, 1, 256))] ==
          host::kStatusHidden)
        hidden_layers.insert(o.layer);
      if (!part_data) continue;
      TDF_Label entry = bodies.FindChild(++body_count, true);
      TDF_Reference::Set(entry, label);
      Handle(TDataStd_IntegerArray) ints = TDataStd_IntegerArray::Set(entry, 1, 4);
      ints->SetValue(1, order);
      ints->SetValue(2, o.color);
      ints->SetValue(3, o.layer);
      ints->SetValue(4, o.blanked ? 1 : 0);
      StoreAttributes(entry, o);
    } else if (o.kind == ObjectKind::Csys && !o.temporary && part_data) {
      ++order;
      TDF_Label entry = csys.FindChild(++csys_count, true);
      TDataStd_Name::Set(entry, NameOf(o));
      Handle(TDataStd_RealArray) reals = TDataStd_RealArray::Set(entry, 1, 12);
      const std::array<double, 12> v = {o.origin.X,  o.origin.Y,  o.origin.Z,  o.matrix.Xx,
                                        o.matrix.Xy, o.matrix.Xz, o.matrix.Yx, o.matrix.Yy,
                                        o.matrix.Yz, o.matrix.Zx, o.matrix.Zy, o.matrix.Zz};
      for (int i = 0; i < 12; ++i) reals->SetValue(i + 1, v[static_cast<std::size_t>(i)]);
      Handle(TDataStd_IntegerArray) ints = TDataStd_IntegerArray::Set(entry, 1, 4);
      ints->SetValue(1, order);
      ints->SetValue(2, o.color);
      ints->SetValue(3, o.layer);
      ints->SetValue(4, o.blanked ? 1 : 0);
      StoreAttributes(entry, o);
      if (tag == m.wcs) wcs_entry = csys_count;
    }
  }
  for (int layer : hidden_layers) {
    TDF_Label label;
    if (layers->FindLayer(TCollection_ExtendedString(layer), label))
      layers->SetVisibility(label, Standard_False);
  }
  if (!part_data) return;

  TDF_Label part = data.FindChild(kPartTag, true);
  Handle(TDataStd_IntegerArray) state = TDataStd_IntegerArray::Set(part, 1, 2 + 256);
  state->SetValue(1, m.work_layer);
  state->SetValue(2, wcs_entry);
  for (int l = 1; l <= 256; ++l)
    state->SetValue(2 + l, m.layer_status[static_cast<std::size_t>(l)]);
  StoreAttributes(part, m.objects.at(m.part));
}

// --- Reading the part data back --------------------------------------------------

// Reading errors without the file's name; the caller adds it.
struct Damaged : host::HostError {
  explicit Damaged(const std::string& what) : host::HostError(what) {}
};
struct NotOurs : host::HostError {
  explicit NotOurs(const std::string& what) : host::HostError(what) {}
};

std::vector<std::pair<std::string, std::string>> LoadAttributes(const TDF_Label& label) {
  std::vector<std::pair<std::string, std::string>> out;
  Handle(TDataStd_ExtStringArray) array;
  if (!label.FindAttribute(TDataStd_ExtStringArray::GetID(), array)) return out;
  if (array->Lower() != 1 || array->Length() % 2 != 0) throw Damaged("an attribute list is cut");
  for (int i = 1; i <= array->Upper(); i += 2)
    out.emplace_back(text::Utf8ToGbk(ExtToUtf8(array->Value(i))),
                     text::Utf8ToGbk(ExtToUtf8(array->Value(i + 1))));
  return out;
}

Handle(TDataStd_IntegerArray) Ints(const TDF_Label& label, int count) {
  Handle(TDataStd_IntegerArray) ints;
  if (!label.FindAttribute(TDataStd_IntegerArray::GetID(), ints) || ints->Lower() != 1 ||
      ints->Upper() != count)
    throw Damaged("an entry lacks its numbers");
  return ints;
}

void CheckLayer(int layer) {
  if (layer < host::kFirstLayer || layer > host::kLastLayer)
    throw Damaged(text::Format("layer %d is out of range", layer));
}

// Colour, layer, blank status (integers 2 to 4 of an entry), the name kept on
// `named` and the attributes kept on `entry`, as bodies and systems store them.
void LoadDisplayed(const TDataStd_IntegerArray& ints, const TDF_Label& named,
                   const TDF_Label& entry, Object& o) {
  o.color = ints.Value(2);
  o.layer = ints.Value(3);
  CheckLayer(o.layer);
  o.blanked = ints.Value(4) != 0;
  Handle(TDataStd_Name) name;
  if (named.FindAttribute(TDataStd_Name::GetID(), name))
    o.name = text::Utf8ToGbk(ExtToUtf8(name->Get()));
  o.attributes = LoadAttributes(entry);
}

Model ReadModel(Document& d) {
  TDF_Label data = d.Data(false);
  Handle(TDataStd_Name) marker;
  Handle(TDataStd_Integer) version;
  if (data.IsNull() || !data.FindAttribute(TDataStd_Name::GetID(), marker) ||
      marker->Get() != TCollection_ExtendedString(kMarker) ||
      !data.FindAttribute(TDataStd_Integer::GetID(), version))
    throw NotOurs("is an XCAF document but not a part file of this program");
  if (version->Get() != kFormatVersion)
    throw NotOurs(text::Format("is a part file of format %d; this program reads format %d",
                               version->Get(), kFormatVersion));

  Handle(XCAFDoc_ShapeTool) shapes = XCAFDoc_DocumentTool::ShapeTool(d.Main());
  Model m;
  // Objects come back in the order they were saved.
  struct Pending {
    int order;
    Object object;
    bool is_wcs = false;
  };
  std::vector<Pending> pending;

  TDF_Label part = data.FindChild(kPartTag, false);
  if (part.IsNull()) throw Damaged("the part entry is missing");
  Handle(TDataStd_IntegerArray) state = Ints(part, 2 + 256);
  m.work_layer = state->Value(1);
  CheckLayer(m.work_layer);
  const int wcs_entry = state->Value(2);
  for (int l = 1; l <= 256; ++l) {
    const int s = state->Value(2 + l);
    if (s < host::kStatusWork || s > host::kStatusHidden)
      throw Damaged(text::Format("layer %d has status %d", l, s));
    m.layer_status[static_cast<std::size_t>(l)] = s;
  }
  if (m.layer_status[static_cast<std::size_t>(m.work_layer)] != host::kStatusWork)
    throw Damaged("the work layer is not marked as such");
  m.Get(m.part).attributes = LoadAttributes(part);

  for (TDF_ChildIterator it(data.FindChild(kBodiesTag, true)); it.More(); it.Next()) {
    const TDF_Label entry = it.Value();
    Handle(TDF_Reference) ref;
    if (!entry.FindAttribute(TDF_Reference::GetID(), ref)) throw Damaged("a body lacks its shape");
    const TDF_Label label = ref->Get();
    const TopoDS_Shape shape = shapes->GetShape(label);
    if (shape.IsNull()) throw Damaged("a body has no shape");
    Handle(TDataStd_IntegerArray) ints = Ints(entry, 4);
    Object o;
    o.kind = ObjectKind::Body;
    o.shape = shape;
    LoadDisplayed(*ints, label, entry, o);
    pending.push_back({ints->Value(1), std::move(o)});
  }

  int index = 0;
  for (TDF_ChildIterator it(data.FindChild(kCsysTag, true)); it.More(); it.Next()) {
    ++index;
    const TDF_Label entry = it.Value();
    Handle(TDataStd_RealArray) reals;
    if (!entry.FindAttribute(TDataStd_RealArray::GetID(), reals) || reals->Lower() != 1 ||
        reals->Upper() != 12)
      throw Damaged("a coordinate system lacks its frame");
    Handle(TDataStd_IntegerArray) ints = Ints(entry, 4);
    Object o;
    o.kind = ObjectKind::Csys;
    o.origin = {reals->Value(1), reals->Value(2), reals->Value(3)};
    o.matrix = {reals->Value(4),  reals->Value(5),  reals->Value(6),
                reals->Value(7),  reals->Value(8),  reals->Value(9),
                reals->Value(10), reals->Value(11), reals->Value(12)};
    LoadDisplayed(*ints, entry, entry, o);
    pending.push_back({ints->Value(1), std::move(o), index == wcs_entry});
  }

  std::stable_sort(pending.begin(), pending.end(),
                   [](const Pending& a, const Pending& b) { return a.order < b.order; });
  for (Pending& p : pending) {
    const host::Tag tag = m.NewObject(p.object.kind);
    p.object.tag = tag;
    m.Get(tag) = std::move(p.object);
    if (p.is_wcs) m.wcs = tag;
  }
  return m;
}

// --- STEP ------------------------------------------------------------------------

struct Style {
  std::optional<Quantity_Color> color;
  std::vector<std::string> layers;  // UTF-8 layer names
  std::string name;                 // UTF-8
};

std::optional<Quantity_Color> OwnColor(const Handle(XCAFDoc_ColorTool) & colors,
                                       const TDF_Label& label) {
  Quantity_Color c;
  for (XCAFDoc_ColorType type : {XCAFDoc_ColorGen, XCAFDoc_ColorSurf})
    if (colors->GetColor(label, type, c)) return c;
  return std::nullopt;
}

std::vector<std::string> OwnLayers(const Handle(XCAFDoc_LayerTool) & layers,
                                   const TDF_Label& label) {
  std::vector<std::string> out;
  Handle(TColStd_HSequenceOfExtendedString) names = layers->GetLayers(label);
  if (!names.IsNull())
    for (int i = 1; i <= names->Length(); ++i) out.push_back(ExtToUtf8(names->Value(i)));
  return out;
}

std::string OwnName(const TDF_Label& label) {
  Handle(TDataStd_Name) name;
  return label.FindAttribute(TDataStd_Name::GetID(), name) ? ExtToUtf8(name->Get()) : std::string();
}

// A layer name that is a layer number: digits only (blanks around allowed), 1 to 256.
std::optional<int> LayerNumber(const std::string& name) {
  std::size_t a = name.find_first_not_of(" \t"), b = name.find_last_not_of(" \t");
  if (a == std::string::npos) return std::nullopt;
  const std::string digits = name.substr(a, b - a + 1);
  if (digits.size() > 3 ||
      !std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; }))
    return std::nullopt;
  const int n = std::stoi(digits);
  if (n < host::kFirstLayer || n > host::kLastLayer) return std::nullopt;
  return n;
}

// The layer name a solid is on: its first numbered layer, else its first layer.
std::optional<std::string> ChosenLayer(const std::vector<std::string>& names) {
  for (const std::string& n : names)
    if (LayerNumber(n)) return n;
  if (!names.empty()) return names.front();
  return std::nullopt;
}

struct ReadSolid {
  TopoDS_Shape shape;
  int color = MemoryHost::kDefaultColor;
  std::optional<std::string> layer;  // layer name
  std::string name;                  // UTF-8
};

class StepWalker {
 public:
  StepWalker(const Handle(XCAFDoc_ShapeTool) & shapes, const Handle(XCAFDoc_ColorTool) & colors,
             const Handle(XCAFDoc_LayerTool) & layers)
      : shapes_(shapes), colors_(colors), layers_(layers) {}

  void Visit(const TDF_Label& label, const TopLoc_Location& location, const Style& inherited,
             int depth = 0) {
    if (depth > 64) return;  // a cycle in a broken product structure
    if (shapes_->IsReference(label)) {
      TDF_Label referred;
      if (!shapes_->GetReferredShape(label, referred)) return;
      // Product style over the parents', the instance's over its product's.
      Style style = Merged(Merged(inherited, referred), label);
      const std::string product_name = OwnName(referred);
      style.name = !product_name.empty()     ? product_name
                   : !OwnName(label).empty() ? OwnName(label)
                                             : inherited.name;
      VisitContent(referred, location * shapes_->GetLocation(label), style, depth);
      return;
    }
    VisitContent(label, location, Merged(inherited, label), depth);
  }

  std::vector<ReadSolid> solids;
  int skipped = 0;

 private:
  Style Merged(const Style& base, const TDF_Label& label) const {
    Style s = base;
    if (auto c = OwnColor(colors_, label)) s.color = c;
    std::vector<std::string> own = OwnLayers(layers_, label);
    if (!own.empty()) s.layers = std::move(own);
    const std::string name = OwnName(label);
    if (!name.empty()) s.name = name;
    return s;
  }

  void VisitContent(const TDF_Label& label, const TopLoc_Location& location, const Style& style,
                    int depth) {
    if (shapes_->IsAssembly(label)) {
      TDF_LabelSequence components;
      shapes_->GetComponents(label, components);
      for (int i = 1; i <= components.Length(); ++i)
        Visit(components(i), location, style, depth + 1);
      return;
    }
    const TopoDS_Shape shape = shapes_->GetShape(label);
    if (shape.IsNull()) return;

    // Styles of the shape's parts: solids and faces with labels of their own.
    NCollection_DataMap<TopoDS_Shape, Style, TopTools_ShapeMapHasher> solid_styles;
    NCollection_DataMap<TopoDS_Shape, int, TopTools_ShapeMapHasher> face_colors;
    TDF_LabelSequence subs;
    shapes_->GetSubShapes(label, subs);
    for (int i = 1; i <= subs.Length(); ++i) {
      const TopoDS_Shape sub = shapes_->GetShape(subs(i));
      if (sub.IsNull()) continue;
      if (sub.ShapeType() == TopAbs_SOLID) {
        Style s;
        s.color = OwnColor(colors_, subs(i));
        s.layers = OwnLayers(layers_, subs(i));
        s.name = OwnName(subs(i));
        solid_styles.Bind(sub, s);
      }
      if (auto c = OwnColor(colors_, subs(i)))
        for (TopExp_Explorer f(sub, TopAbs_FACE); f.More(); f.Next())
          face_colors.Bind(f.Current(), ColorIndex(*c));
    }

    bool any = false;
    for (TopExp_Explorer e(shape, TopAbs_SOLID); e.More(); e.Next()) {
      any = true;
      const TopoDS_Shape& solid = e.Current();
      Style s = style;
      if (const Style* own = solid_styles.Seek(solid)) {
        if (own->color) s.color = own->color;
        if (!own->layers.empty()) s.layers = own->layers;
        if (!own->name.empty()) s.name = own->name;
      }
      ReadSolid out;
      out.shape = solid.Moved(location);
      out.name = s.name;
      out.layer = ChosenLayer(s.layers);
      out.color = s.color ? ColorIndex(*s.color) : FaceColor(solid, face_colors);
      solids.push_back(std::move(out));
    }
    if (!any) ++skipped;
  }

  // The colour that covers the largest area of the solid's faces; the
  // default colour when no face has one.
  static int FaceColor(const TopoDS_Shape& solid,
                       const NCollection_DataMap<TopoDS_Shape, int, TopTools_ShapeMapHasher>& map) {
    std::map<int, double> area;
    for (TopExp_Explorer f(solid, TopAbs_FACE); f.More(); f.Next()) {
      const int* c = map.Seek(f.Current());
      if (!c) continue;
      GProp_GProps props;
      BRepGProp::SurfaceProperties(f.Current(), props);
      area[*c] += props.Mass();
    }
    int best = MemoryHost::kDefaultColor;
    double best_area = -1.0;
    for (const auto& [color, a] : area)
      if (a > best_area) {
        best = color;
        best_area = a;
      }
    return best;
  }

  Handle(XCAFDoc_ShapeTool) shapes_;
  Handle(XCAFDoc_ColorTool) colors_;
  Handle(XCAFDoc_LayerTool) layers_;
};

}  // namespace

PartFileKind DetectPartFile(const std::string& path) {
  std::error_code ec;
  if (!fs::is_regular_file(path, ec)) return PartFileKind::kMissing;
  const std::string head = ReadHead(path, 64);
  if (LooksLikeStep(head)) return PartFileKind::kStep;
  if (std::string_view(head).substr(0, kBinMagic.size()) == kBinMagic)
    return PartFileKind::kPartFile;
  return PartFileKind::kOther;
}

StepReport OpenStep(MemoryHost& host, const std::string& path) {
  std::error_code ec;
  if (!fs::exists(path, ec)) throw FileError(path, "does not exist");
  if (fs::is_directory(path, ec)) throw FileError(path, "is a folder, not a file");
  if (!LooksLikeStep(ReadHead(path, 64))) throw FileError(path, "is not a STEP file");

  QuietKernel quiet;
  Document d;
  std::optional<StepWalker> walker;
  Handle(XCAFDoc_LayerTool) layer_tool;
  try {
    STEPCAFControl_Reader reader;
    reader.SetColorMode(Standard_True);
    reader.SetNameMode(Standard_True);
    reader.SetLayerMode(Standard_True);
    if (reader.ReadFile(path.c_str()) != IFSelect_RetDone)
      throw FileError(path, "cannot be read: it is not a valid STEP file");
    d.New();
    if (!reader.Transfer(d.handle()))
      throw FileError(path, "holds nothing that could be read as a shape");
    Handle(XCAFDoc_ShapeTool) shape_tool = XCAFDoc_DocumentTool::ShapeTool(d.Main());
    layer_tool = XCAFDoc_DocumentTool::LayerTool(d.Main());
    walker.emplace(shape_tool, XCAFDoc_DocumentTool::ColorTool(d.Main()), layer_tool);
    TDF_LabelSequence roots;
    shape_tool->GetFreeShapes(roots);
    for (int i = 1; i <= roots.Length(); ++i) walker->Visit(roots(i), TopLoc_Location(), Style{});
  } catch (const Standard_Failure& e) {
    throw FileError(path, std::string("cannot be read: ") + e.GetMessageString());
  }

  // Layers: numbered names as they are, the other names on free layers.
  std::set<int> used;
  std::set<std::string> others;
  for (const ReadSolid& s : walker->solids)
    if (s.layer) {
      if (auto n = LayerNumber(*s.layer))
        used.insert(*n);
      else
        others.insert(*s.layer);
    }
  std::map<std::string, int> layer_of;
  StepReport report;
  int next = 2;
  for (const std::string& name : others) {
    while (next < host::kLastLayer && used.count(next)) ++next;
    const int layer = next < host::kLastLayer ? next++ : host::kFirstLayer;
    layer_of[name] = layer;
    report.mapped.push_back({LenientGbk(name), layer});
  }

  Model m;
  for (const ReadSolid& s : walker->solids) {
    const host::Tag tag = m.NewObject(ObjectKind::Body);
    Object& o = m.Get(tag);
    o.shape = s.shape;
    o.color = s.color;
    o.layer = !s.layer                ? host::kFirstLayer
              : LayerNumber(*s.layer) ? *LayerNumber(*s.layer)
                                      : layer_of.at(*s.layer);
    o.name = LenientGbk(s.name);
  }
  // Layers the file marks invisible are hidden (the work layer stays as it is).
  std::set<int> on_layers;
  for (const auto& [tag, o] : m.objects)
    if (o.kind == ObjectKind::Body) on_layers.insert(o.layer);
  TDF_LabelSequence layer_labels;
  layer_tool->GetLayerLabels(layer_labels);
  for (int i = 1; i <= layer_labels.Length(); ++i) {
    if (layer_tool->IsVisible(layer_labels(i))) continue;
    TCollection_ExtendedString name;
    layer_tool->GetLayer(layer_labels(i), name);
    const std::string utf8 = ExtToUtf8(name);
    const auto n = LayerNumber(utf8);
    const int layer = n ? *n : layer_of.count(utf8) ? layer_of.at(utf8) : 0;
    if (layer > 0 && layer != m.work_layer && on_layers.count(layer))
      m.layer_status[static_cast<std::size_t>(layer)] = host::kStatusHidden;
  }

  report.bodies = static_cast<int>(walker->solids.size());
  report.skipped_shapes = walker->skipped;
  host.model() = std::move(m);
  host.SetPartLeaf(LeafOf(path));
  return report;
}

void SaveStep(MemoryHost& host, const std::string& path, const std::string& time_stamp) {
  QuietKernel quiet;
  Document d;
  BuildDocument(host.model(), d, false);
  const fs::path target(path);
  const fs::path temp = SaveBeside(path);
  std::error_code ec;
  try {
    STEPCAFControl_Writer writer;
    Interface_Static::SetCVal("write.step.schema", "AP214IS");
    Interface_Static::SetCVal("write.step.unit", "MM");
    writer.SetColorMode(Standard_True);
    writer.SetNameMode(Standard_True);
    writer.SetLayerMode(Standard_True);
    if (!writer.Transfer(d.handle(), STEPControl_AsIs))
      throw FileError(path, "cannot be written: the bodies could not be translated");
    APIHeaderSection_MakeHeader header(writer.ChangeWriter().Model());
    const std::string leaf = text::GbkToUtf8(host.model().leaf);
    header.SetName(new TCollection_HAsciiString(leaf.c_str()));
    if (!time_stamp.empty()) header.SetTimeStamp(new TCollection_HAsciiString(time_stamp.c_str()));
    header.SetOriginatingSystem(new TCollection_HAsciiString("diebom"));
    if (writer.Write(temp.c_str()) != IFSelect_RetDone) {
      fs::remove(temp, ec);
      throw FileError(path, "cannot be written");
    }
  } catch (const Standard_Failure& e) {
    fs::remove(temp, ec);
    throw FileError(path, std::string("cannot be written: ") + e.GetMessageString());
  }
  if (::rename(temp.c_str(), target.c_str()) != 0) {
    const int err = errno;
    fs::remove(temp, ec);
    throw FileError(path, std::string("cannot be written: ") + std::strerror(err));
  }
}

void SavePartFile(MemoryHost& host, const std::string& path) {
  QuietKernel quiet;
  Document d;
  BuildDocument(host.model(), d, true);
  std::ostringstream out;
  PCDM_StoreStatus status = PCDM_SS_Failure;
  try {
    status = App()->SaveAs(d.handle(), out);
  } catch (const Standard_Failure& e) {
    throw FileError(path, std::string("cannot be written: ") + e.GetMessageString());
  }
  if (status != PCDM_SS_OK)
    throw FileError(path, text::Format("cannot be written (document status %d)", int(status)));
  std::string bytes = std::move(out).str();
  bytes += Trailer(bytes);
  WriteAtomically(path, bytes);
}

void OpenPartFile(MemoryHost& host, const std::string& path) {
  std::string bytes = ReadWholeFile(path);
  if (LooksLikeStep(std::string_view(bytes).substr(0, 64)))
    throw FileError(path, "is a STEP file, not a part file");
  if (std::string_view(bytes).substr(0, kBinMagic.size()) != kBinMagic)
    throw FileError(path, "is not a part file");
  if (bytes.size() < kTrailerSize + kBinMagic.size() ||
      std::string_view(bytes).substr(bytes.size() - kTrailerSize, kTrailerMagic.size()) !=
          kTrailerMagic)
    throw FileError(path,
                    "is damaged or was not written by this program (its check record is "
                    "missing)");
  const std::string_view payload(bytes.data(), bytes.size() - kTrailerSize);
  if (Trailer(payload) != std::string_view(bytes).substr(payload.size()))
    throw FileError(path, "is damaged (its contents do not match its check record)");

  QuietKernel quiet;
  Document d;
  try {
    std::istringstream in(std::string(payload), std::ios::binary);
    bytes.clear();
    const PCDM_ReaderStatus status = App()->Open(in, d.handle());
    if (status != PCDM_RS_OK)
      throw FileError(path, text::Format("cannot be read (document status %d)", int(status)));
    Model m = ReadModel(d);
    host.model() = std::move(m);
  } catch (const Damaged& e) {
    throw FileError(path, std::string("is damaged: ") + e.what());
  } catch (const text::EncodingError&) {
    throw FileError(path, "is damaged: a text is not GBK");
  } catch (const NotOurs& e) {
    throw FileError(path, e.what());
  } catch (const Standard_Failure& e) {
    throw FileError(path, std::string("cannot be read: ") + e.GetMessageString());
  }
  host.SetPartLeaf(LeafOf(path));
}

StepReport OpenPart(MemoryHost& host, const std::string& path) {
  switch (DetectPartFile(path)) {
    case PartFileKind::kStep:
      return OpenStep(host, path);
    case PartFileKind::kPartFile:
      OpenPartFile(host, path);
      return {};
    case PartFileKind::kMissing: {
      std::error_code ec;
      if (fs::is_directory(path, ec)) throw FileError(path, "is a folder, not a file");
      throw FileError(path, "does not exist");
    }
    case PartFileKind::kOther:
      break;
  }
  throw FileError(path, "is neither a STEP file nor a part file");
}

}  // namespace memory
