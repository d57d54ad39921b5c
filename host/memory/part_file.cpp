#include "host/memory/part_file.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <APIHeaderSection_MakeHeader.hxx>
#include <BRepAdaptor_Curve.hxx>
#include <BRepAdaptor_Surface.hxx>
#include <BRepBndLib.hxx>
#include <BRepGProp.hxx>
#include <BRepLProp_SLProps.hxx>
#include <BRepTools.hxx>
#include <BRep_Tool.hxx>
#include <BinXCAFDrivers.hxx>
#include <Bnd_Box.hxx>
#include <GProp_GProps.hxx>
#include <Interface_Check.hxx>
#include <Interface_CheckIterator.hxx>
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
#include <StepData_UndefinedEntity.hxx>
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
#include <TopoDS_Edge.hxx>
#include <TopoDS_Face.hxx>
#include <TopoDS_Vertex.hxx>
#include <XCAFApp_Application.hxx>
#include <XCAFDoc_ColorTool.hxx>
#include <XCAFDoc_DocumentTool.hxx>
#include <XCAFDoc_LayerTool.hxx>
#include <XCAFDoc_ShapeTool.hxx>
#include <XSControl_WorkSession.hxx>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
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

std::string LenientGbk(const std::string& utf8) { return text::Utf8ToGbkLenient(utf8); }

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

// True in a reading child (see InChild) once what is left of its work only
// ends with its answer: the child ends with _exit as soon as it has
// answered, so the documents it closes from then on are left to the end of
// the process rather than taken apart piece by piece. (Before that point they
// are taken apart as usual: their memory makes room for what follows.)
bool g_leave_to_exit = false;

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
    if (g_leave_to_exit) {
      new Handle(TDocStd_Document)(doc_);  // kept to the end of the process
      return;
    }
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

// Holds back interrupts (Ctrl+C, kill, hang-up) while a file is written
// beside its target: they take effect once the file is renamed into place or
// removed, so an interrupted save leaves no half-written file behind.
class DeferInterrupts {
 public:
  DeferInterrupts() {
    sigset_t interrupts;
    sigemptyset(&interrupts);
    for (int sig : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) sigaddset(&interrupts, sig);
    ::pthread_sigmask(SIG_BLOCK, &interrupts, &saved_);
  }
  ~DeferInterrupts() { ::pthread_sigmask(SIG_SETMASK, &saved_, nullptr); }
  DeferInterrupts(const DeferInterrupts&) = delete;
  DeferInterrupts& operator=(const DeferInterrupts&) = delete;

 private:
  sigset_t saved_;
};

// Writes `bytes` to a new file beside `path` and renames it over `path`.
void WriteAtomically(const std::string& path, const std::string& bytes) {
  DeferInterrupts defer;
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

// --- Checking what was read ------------------------------------------------------

bool Finite(const gp_Pnt& p) {
  return std::isfinite(p.X()) && std::isfinite(p.Y()) && std::isfinite(p.Z());
}

// Why the shape of a body cannot be worked on (a face without a surface, an
// edge without a curve, a point that is not a number), or empty. With
// `exercise`, the geometry is also evaluated as the blank computation
// evaluates it (surface points and derivatives, curve points, boxes), so a
// shape that would bring the kernel down does so here, in the reading child.
std::string ShapeFault(const TopoDS_Shape& shape, bool exercise) {
  if (shape.IsNull()) return "has no shape";
  for (TopExp_Explorer e(shape, TopAbs_VERTEX); e.More(); e.Next())
    if (!Finite(BRep_Tool::Pnt(TopoDS::Vertex(e.Current()))))
      return "has a point that is not a number";
  for (TopExp_Explorer e(shape, TopAbs_EDGE); e.More(); e.Next()) {
    const TopoDS_Edge& edge = TopoDS::Edge(e.Current());
    if (BRep_Tool::Degenerated(edge)) continue;
    double first = 0, last = 0;
    if (BRep_Tool::Curve(edge, first, last).IsNull()) return "has an edge without a curve";
    if (!std::isfinite(first) || !std::isfinite(last)) return "has an edge without bounds";
    if (exercise) {
      BRepAdaptor_Curve c(edge);
      if (!Finite(c.Value((first + last) / 2))) return "has an edge that is not a number";
    }
  }
  for (TopExp_Explorer e(shape, TopAbs_FACE); e.More(); e.Next()) {
    const TopoDS_Face& face = TopoDS::Face(e.Current());
    if (BRep_Tool::Surface(face).IsNull()) return "has a face without a surface";
    if (!exercise) continue;
    double u0 = 0, u1 = 0, v0 = 0, v1 = 0;
    BRepTools::UVBounds(face, u0, u1, v0, v1);
    if (!std::isfinite(u0 + u1 + v0 + v1)) return "has a face without bounds";
    BRepAdaptor_Surface s(face, true);
    BRepLProp_SLProps props(s, (u0 + u1) / 2, (v0 + v1) / 2, 1, 1e-9);
    if (!Finite(props.Value())) return "has a face that is not a number";
    Bnd_Box box;
    BRepBndLib::Add(face, box, false);
  }
  if (exercise) {
    Bnd_Box box;
    BRepBndLib::Add(shape, box, false);
  }
  return {};
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

Model ReadModel(Document& d, bool exercise) {
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
    if (const std::string fault = ShapeFault(shape, exercise); !fault.empty())
      throw Damaged(text::Format("body %d ", static_cast<int>(pending.size()) + 1) + fault);
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
  int sheets = 0, curves = 0, points = 0;

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

    // Pieces outside the solids are counted, not read: sheets (shells and
    // faces), curves (edges and wires) and points.
    for (TopExp_Explorer e(shape, TopAbs_SHELL, TopAbs_SOLID); e.More(); e.Next()) ++sheets;
    for (TopExp_Explorer e(shape, TopAbs_FACE, TopAbs_SHELL); e.More(); e.Next()) ++sheets;
    for (TopExp_Explorer e(shape, TopAbs_EDGE, TopAbs_FACE); e.More(); e.Next()) ++curves;
    for (TopExp_Explorer e(shape, TopAbs_VERTEX, TopAbs_EDGE); e.More(); e.Next()) ++points;
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

// True when the file ends with the STEP trailer (blanks after it allowed):
// a file cut short is refused rather than read in part.
bool EndsLikeStep(const std::string& path) {
  std::ifstream in(path, std::ios::binary | std::ios::ate);
  const std::streamoff size = in.tellg();
  const std::streamoff n = std::min<std::streamoff>(size, 256);
  std::string tail(static_cast<std::size_t>(std::max<std::streamoff>(n, 0)), '\0');
  in.seekg(size - n);
  in.read(tail.data(), n);
  while (!tail.empty() && std::isspace(static_cast<unsigned char>(tail.back()))) tail.pop_back();
  constexpr std::string_view kEnd = "END-ISO-10303-21;";
  return tail.size() >= kEnd.size() &&
         tail.compare(tail.size() - kEnd.size(), kEnd.size(), kEnd) == 0;
}

// The first failure the reader found in the file's syntax and references, as
// "entity #N: message"; empty when there is none.
std::string FirstFail(const Handle(XSControl_WorkSession) & ws) {
  if (ws.IsNull()) return {};
  Interface_CheckIterator checks = ws->ModelCheckList(Standard_False);
  const Handle(StepData_StepModel) model = Handle(StepData_StepModel)::DownCast(ws->Model());
  int fails = 0;
  std::string first;
  for (checks.Start(); checks.More(); checks.Next()) {
    const Handle(Interface_Check)& check = checks.Value();
    if (check.IsNull() || !check->HasFailed()) continue;
    // An entity of a type this reader does not know (newer schemas, other
    // vendors) is passed over by the transfer; only what the solids are made
    // of, and what refers to it wrongly, counts.
    const int at = checks.Number();
    if (!model.IsNull() && at > 0 && at <= model->NbEntities() &&
        model->Value(at)->IsKind(STANDARD_TYPE(StepData_UndefinedEntity)))
      continue;
    if (++fails > 1) continue;
    const int number = checks.Number();
    std::string what = check->NbFails() > 0 && check->CFail(1)[0] != '\0'
                           ? check->CFail(1)
                           : "not as the standard says";
    while (!what.empty() && std::isspace(static_cast<unsigned char>(what.back()))) what.pop_back();
    first = number > 0 && !model.IsNull() && number <= model->NbEntities()
                ? text::Format("entity #%d: ", model->IdentLabel(model->Value(number))) + what
                : what;
  }
  if (fails > 1)
    first += text::Format(" (and %d more %s)", fails - 1, fails == 2 ? "fault" : "faults");
  return LenientGbk(first);
}

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
    if (!EndsLikeStep(path))
      throw FileError(path, "is cut short: it does not end with \"END-ISO-10303-21;\"");
    if (reader.ReadFile(path.c_str()) != IFSelect_RetDone)
      throw FileError(path, "cannot be read: it is not a valid STEP file");
    // What the file says wrongly (an entity of no known type, a reference to
    // no entity, a parameter of the wrong kind) would drop faces or bodies
    // without a word: the file is refused instead.
    if (const std::string fail = FirstFail(reader.ChangeReader().WS()); !fail.empty())
      throw FileError(path, "is damaged: " + fail);
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

  int number = 0;
  for (const ReadSolid& solid : walker->solids) {
    ++number;
    std::string fault;
    try {
      fault = ShapeFault(solid.shape, true);
    } catch (const Standard_Failure& e) {
      fault = std::string("cannot be evaluated: ") + e.GetMessageString();
    }
    if (!fault.empty())
      throw FileError(path, text::Format("is damaged: solid %d ", number) + fault);
  }
  report.bodies = static_cast<int>(walker->solids.size());
  report.skipped_shapes = walker->skipped;
  report.sheets = walker->sheets;
  report.curves = walker->curves;
  report.points = walker->points;
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
  DeferInterrupts defer;
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

namespace {

// The bytes of a part file of the model, without its check record.
std::string PartFileBytes(const Model& m, const std::string& path) {
  QuietKernel quiet;
  Document d;
  BuildDocument(m, d, true);
  std::ostringstream out;
  PCDM_StoreStatus status = PCDM_SS_Failure;
  try {
    status = App()->SaveAs(d.handle(), out);
  } catch (const Standard_Failure& e) {
    throw FileError(path, std::string("cannot be written: ") + e.GetMessageString());
  }
  if (status != PCDM_SS_OK)
    throw FileError(path, text::Format("cannot be written (document status %d)", int(status)));
  return std::move(out).str();
}

// The model held by the document bytes `payload` (check record removed).
Model ReadPartBytes(std::string payload, const std::string& path, bool exercise = false) {
  QuietKernel quiet;
  Document d;
  try {
    std::istringstream in(std::move(payload), std::ios::binary);
    const PCDM_ReaderStatus status = App()->Open(in, d.handle());
    if (status != PCDM_RS_OK)
      throw FileError(path, text::Format("cannot be read (document status %d)", int(status)));
    return ReadModel(d, exercise);
  } catch (const Damaged& e) {
    throw FileError(path, std::string("is damaged: ") + e.what());
  } catch (const text::EncodingError&) {
    throw FileError(path, "is damaged: a text is not GBK");
  } catch (const NotOurs& e) {
    throw FileError(path, e.what());
  } catch (const Standard_Failure& e) {
    throw FileError(path, std::string("cannot be read: ") + e.GetMessageString());
  }
}

// The document bytes of a part file, its check record verified.
std::string CheckedPartFile(const std::string& path) {
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
  bytes.resize(payload.size());
  return bytes;
}

// --- Reading in a child process ----------------------------------------------------
//
// The kernel's readers trust their input: a damaged file can bring them down
// (a null pointer followed, memory overrun) or make them fail on closing. The
// file is therefore read first in a child process, which hands back either a
// message or what it read; the program itself only ever reads what the child
// has checked or written.

void PutInt(std::string& out, std::uint64_t v) {
  for (int i = 0; i < 8; ++i) out += static_cast<char>((v >> (8 * i)) & 0xFF);
}

std::uint64_t GetInt(std::string_view& in) {
  if (in.size() < 8) throw host::HostError("short answer");
  std::uint64_t v = 0;
  for (int i = 0; i < 8; ++i) v |= std::uint64_t(static_cast<unsigned char>(in[i])) << (8 * i);
  in.remove_prefix(8);
  return v;
}

std::string GetText(std::string_view& in) {
  const std::uint64_t n = GetInt(in);
  if (n > in.size()) throw host::HostError("short answer");
  std::string out(in.substr(0, n));
  in.remove_prefix(n);
  return out;
}

bool WriteAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t n = ::write(fd, bytes.data(), bytes.size());
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(n));
  }
  return true;
}

// Runs `work` in a child process. The child answers 'O' + what `work`
// returns, or 'E' + the message of a HostError. Returns the answer after
// 'O'; throws the child's message, or a FileError naming the file when the
// child ended without an answer (killed by a signal).
template <class Work>
std::string InChild(const std::string& path, const char* reader, Work work) {
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) != 0)
    throw FileError(path, std::string("cannot be read: ") + std::strerror(errno));
  std::fflush(nullptr);
  const pid_t pid = ::fork();
  if (pid < 0) {
    const int err = errno;
    ::close(fds[0]);
    ::close(fds[1]);
    throw FileError(path,
                    std::string("cannot be read: no reader process (") + std::strerror(err) + ")");
  }
  if (pid == 0) {
    ::close(fds[0]);
    // The child ends as the kernel makes it end: no handler of the program
    // (which would clean up the parent's files) runs in it.
    for (int sig : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGINT, SIGTERM, SIGHUP, SIGPIPE})
      ::signal(sig, SIG_DFL);
    std::string answer;
    try {
      answer = "O" + work();
    } catch (const std::exception& e) {
      answer = std::string("E") + e.what();
    } catch (...) {
      answer = "E" + Quoted(path) + " cannot be read";
    }
    _exit(WriteAll(fds[1], answer) ? 0 : 3);
  }
  ::close(fds[1]);
  // Some damaged files send the reader round in circles: it gets a time
  // that grows with the file (two minutes, and a minute more per megabyte).
  std::error_code ec;
  const std::uintmax_t size = fs::file_size(path, ec);
  double limit = 120.0 + (ec ? 0.0 : static_cast<double>(size) / 1e6 * 60.0);
  if (const char* env = std::getenv("DIEBOM_READ_SECONDS"); env && std::atof(env) > 0)
    limit = std::atof(env);
  timespec start{};
  ::clock_gettime(CLOCK_MONOTONIC, &start);
  std::string answer;
  char buffer[65536];
  bool timed_out = false;
  for (;;) {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    const double left = limit - (now.tv_sec - start.tv_sec) - (now.tv_nsec - start.tv_nsec) / 1e9;
    if (left <= 0) {
      timed_out = true;
      ::kill(pid, SIGKILL);
      break;
    }
    pollfd p{fds[0], POLLIN, 0};
    const int ready = ::poll(&p, 1, static_cast<int>(std::min(left, 1.0) * 1000) + 1);
    if (ready < 0 && errno != EINTR) break;
    if (ready <= 0) continue;
    const ssize_t n = ::read(fds[0], buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    answer.append(buffer, static_cast<std::size_t>(n));
  }
  ::close(fds[0]);
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  if (timed_out)
    throw FileError(path, text::Format("cannot be read: it is damaged (the %s did not finish "
                                       "within %.0f seconds)",
                                       reader, limit));
  if (WIFSIGNALED(status)) {
    const int sig = WTERMSIG(status);
    // An interrupt of the user reaches the parent too; a kill from outside
    // names itself.
    if (sig == SIGINT || sig == SIGTERM || sig == SIGKILL || sig == SIGHUP)
      throw FileError(path, std::string("was not read: the ") + reader + " was stopped (" +
                                strsignal(sig) + ")");
    throw FileError(path, std::string("cannot be read: it is damaged (the ") + reader +
                              " failed on it: " + strsignal(sig) + ")");
  }
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 || answer.empty())
    throw FileError(path, std::string("cannot be read: it is damaged (the ") + reader +
                              " ended without an answer)");
  if (answer[0] == 'E') throw host::HostError(answer.substr(1));
  return answer.substr(1);
}

}  // namespace

void SavePartFile(MemoryHost& host, const std::string& path) {
  std::string bytes = PartFileBytes(host.model(), path);
  bytes += Trailer(bytes);
  WriteAtomically(path, bytes);
}

void OpenPartFile(MemoryHost& host, const std::string& path) {
  Model m = ReadPartBytes(CheckedPartFile(path), path);
  host.model() = std::move(m);
  host.SetPartLeaf(LeafOf(path));
}

StepReport OpenPart(MemoryHost& host, const std::string& path) {
  std::error_code ec;
  const auto status = fs::status(path, ec);
  if (!fs::exists(status)) throw FileError(path, "does not exist");
  if (fs::is_directory(status)) throw FileError(path, "is a folder, not a file");
  if (!fs::is_regular_file(status)) throw FileError(path, "is not a regular file");
  {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw FileError(path, std::string("cannot be opened: ") + std::strerror(errno));
  }
  if (fs::file_size(path, ec) == 0) throw FileError(path, "is empty");
  switch (DetectPartFile(path)) {
    case PartFileKind::kStep: {
      // The child reads the model and hands it back as the bytes of a part
      // file, with the report.
      const std::string answer = InChild(path, "STEP reader", [&] {
        MemoryHost& scratch = *new MemoryHost;  // kept to the child's end
        const StepReport r = OpenStep(scratch, path);
        std::string out;
        for (int v : {r.bodies, r.skipped_shapes, r.sheets, r.curves, r.points})
          PutInt(out, static_cast<std::uint64_t>(v));
        PutInt(out, r.mapped.size());
        for (const MappedLayer& m : r.mapped) {
          PutInt(out, static_cast<std::uint64_t>(m.layer));
          PutInt(out, m.name.size());
          out += m.name;
        }
        g_leave_to_exit = true;
        return out + PartFileBytes(scratch.model(), path);
      });
      StepReport report;
      std::string_view in(answer);
      try {
        report.bodies = static_cast<int>(GetInt(in));
        report.skipped_shapes = static_cast<int>(GetInt(in));
        report.sheets = static_cast<int>(GetInt(in));
        report.curves = static_cast<int>(GetInt(in));
        report.points = static_cast<int>(GetInt(in));
        const std::uint64_t mapped = GetInt(in);
        for (std::uint64_t i = 0; i < mapped; ++i) {
          MappedLayer m;
          m.layer = static_cast<int>(GetInt(in));
          m.name = GetText(in);
          report.mapped.push_back(std::move(m));
        }
      } catch (const host::HostError&) {
        throw FileError(path, "cannot be read: the STEP reader gave a short answer");
      }
      Model m = ReadPartBytes(std::string(in), path);
      host.model() = std::move(m);
      host.SetPartLeaf(LeafOf(path));
      return report;
    }
    case PartFileKind::kPartFile:
      // The child reads the file through; only then is it read here.
      InChild(path, "part file reader", [&] {
        g_leave_to_exit = true;
        new Model(ReadPartBytes(CheckedPartFile(path), path, true));  // kept to the child's end
        return std::string();
      });
      OpenPartFile(host, path);
      return {};
    case PartFileKind::kMissing:
      throw FileError(path, "cannot be opened");
    case PartFileKind::kOther:
      break;
  }
  throw FileError(path,
                  "is neither a STEP file nor a part file (it does not start with "
                  "\"ISO-10303-21\" or \"BINFILE\")");
}

}  // namespace memory
