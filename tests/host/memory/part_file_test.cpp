// Part files of the in-memory host: the colour table, STEP models in and
// out, and the host's own part file (round trip, damage, atomic save).
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>
#include <BRepBuilderAPI_MakePolygon.hxx>
#include <BRepGProp.hxx>
#include <BRepPrimAPI_MakeBox.hxx>
#include <BRepPrimAPI_MakeCylinder.hxx>
#include <BRepTools.hxx>
#include <BinXCAFDrivers.hxx>
#include <GProp_GProps.hxx>
#include <Interface_Static.hxx>
#include <Message.hxx>
#include <Message_Messenger.hxx>
#include <Quantity_Color.hxx>
#include <STEPCAFControl_Writer.hxx>
#include <TDataStd_Name.hxx>
#include <TDocStd_Document.hxx>
#include <TopExp_Explorer.hxx>
#include <XCAFApp_Application.hxx>
#include <XCAFDoc_ColorTool.hxx>
#include <XCAFDoc_DocumentTool.hxx>
#include <XCAFDoc_LayerTool.hxx>
#include <XCAFDoc_ShapeTool.hxx>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <sstream>
#include <tuple>

#include "host/memory/colors.h"
#include "host/memory/memory_host.h"
#include "host/memory/model.h"
#include "host/memory/part_file.h"
#include "host/text.h"
#include "tests/support/scratch.h"

namespace {

namespace fs = std::filesystem;
using host::Tag;
using memory::MemoryHost;
using memory::Shape;

fs::path Fresh(const std::string& name) { return test_support::ScratchFolder("part_file_" + name); }

std::string ReadBytes(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

void WriteBytes(const fs::path& p, const std::string& bytes) {
  std::ofstream(p, std::ios::binary | std::ios::trunc) << bytes;
}

int FilesIn(const fs::path& dir) {
  return static_cast<int>(std::distance(fs::directory_iterator(dir), fs::directory_iterator()));
}

// The exact geometry of a body, as the kernel writes it out (a zero is a
// zero whatever its sign: axes rebuilt from their directions may carry -0).
std::string ShapeText(MemoryHost& h, Tag body) {
  std::ostringstream out;
  BRepTools::Write(h.model().Get(body).shape, out);
  std::istringstream in(out.str());
  std::string token, text;
  while (in >> token) text += (token == "-0" ? "0" : token) + " ";
  return text;
}

std::vector<Tag> Bodies(MemoryHost& h) { return h.bodies().PartBodies(h.session().WorkPart()); }

// One line per body: name, colour, layer, whether it is solid, its volume and
// its exact box (to a thousandth, a zero of either sign written as 0).
std::string Summary(MemoryHost& h) {
  std::string s;
  for (Tag t : Bodies(h)) {
    s += text::Format("%s %d %d %d", h.objects().Name(t).c_str(), h.objects().Color(t),
                      h.objects().Layer(t), h.bodies().IsSolidBody(t));
    const host::ExactBox b = h.bodies().AskBoundingBoxExact(t, host::kNullTag);
    for (double v : {h.bodies().Volume(t), b.corner.X, b.corner.Y, b.corner.Z, b.distances[0],
                     b.distances[1], b.distances[2]})
      s += text::Format(" %.3f", std::round(v * 1000) / 1000 + 0.0);
    s += "\n";
  }
  return s;
}

// The message of the host error `f` throws.
template <typename F>
std::string ErrorOf(F&& f) {
  try {
    f();
  } catch (const host::HostError& e) {
    return e.what();
  }
  return "(no error)";
}

std::string Crc32Trailer(const std::string& payload) {
  const uLong crc =
      crc32(0L, reinterpret_cast<const Bytef*>(payload.data()), static_cast<uInt>(payload.size()));
  return text::Format("DIEBOMPF%08lx%016llx", crc, static_cast<unsigned long long>(payload.size()));
}

// Failure messages are checked for the words that tell the user what is wrong.
#define EXPECT_HAS(text, part) EXPECT_PRED_FORMAT2(::testing::IsSubstring, part, text)

TEST(ColorTable, IndicesAndRgbMapBothWays) {
  // One colour per channel tells the channels apart in the index formula.
  EXPECT_EQ(memory::ColorRgb(1), (memory::Rgb{255, 255, 255}));
  EXPECT_EQ(memory::ColorRgb(36), (memory::Rgb{0, 255, 0}));
  EXPECT_EQ(memory::ColorRgb(87), (memory::Rgb{153, 153, 153}));
  EXPECT_EQ(memory::ColorRgb(186), (memory::Rgb{255, 0, 0}));
  EXPECT_EQ(memory::ColorRgb(211), (memory::Rgb{0, 0, 255}));
  for (int i = 1; i <= 216; ++i) EXPECT_EQ(memory::NearestColor(memory::ColorRgb(i)), i) << i;
  // Nearest: each channel to its nearest level; channels in 0..1 are clamped.
  EXPECT_EQ(memory::NearestColor(memory::Rgb{250, 10, 5}), 186);
  EXPECT_EQ(memory::NearestColor(memory::Rgb{25, 25, 25}), 216);
  EXPECT_EQ(memory::NearestColor(0.6, 0.6, 0.6), 87);
  EXPECT_EQ(memory::NearestColor(-1.0, 2.0, std::nan("")), memory::NearestColor({0, 255, 0}));
  EXPECT_THROW(memory::ColorRgb(0), host::HostError);
  EXPECT_THROW(memory::ColorRgb(217), host::HostError);
}

// A small die model: plates, a drilled insert, a turned block, a round punch,
// two bodies of one shape at one place, an unnamed body, a body sharing the
// first one's geometry elsewhere, Chinese names, a hidden layer.
void BuildModel(MemoryHost& h) {
  h.AddBody(Shape::Box(300, 180, 30).Drilled({20, 20, 30}, {0, 0, -1}, 25, 30), 50, 11, "下模板");
  h.AddBody(Shape::Box(300, 180, 25, {0, 0, 60}), 40, 6, "脱料板");
  h.AddBody(Shape::Box(60, 25, 20).Rotated({0, 0, 0}, {0, 0, 1}, std::numbers::pi / 6), 80, 36,
            "斜置垫块");
  h.AddBody(Shape::Cylinder(5, 60, {100, 100, 30}), 90, 130, "冲头");
  h.AddBody(Shape::Box(40, 30, 25, {200, 20, 5}), 80, 186, "入子");
  h.AddBody(Shape::Box(40, 30, 25, {200, 20, 5}), 80, 186, "入子");
  h.AddBody(Shape::Box(10, 10, 10, {-50, 0, 0}), 1, 87, "");
  const Tag shared = h.AddBody(Shape::Box(1, 1, 1), 20, 42, "同形");
  gp_Trsf t;
  t.SetTranslation(gp_Vec(0, 0, 500));
  h.model().Get(shared).shape = h.model().Get(Bodies(h)[0]).shape.Moved(TopLoc_Location(t));
  h.layers().SetStatus(90, host::kStatusHidden);
}

// The model comes back from its STEP file; files that are missing, no STEP
// file or broken, and damage that the STEP reader would pass over, dropping
// faces or bodies without a word, or that would bring it down, are refused
// with a message naming the file (also through the reading child of
// OpenPart), and the part open before is kept.
TEST(StepFile, BodiesColoursLayersAndNamesComeBackAndBadFilesAreRefused) {
  const fs::path dir = Fresh("step");
  MemoryHost a;
  BuildModel(a);
  const std::string path = (dir / "die.step").string();
  memory::SaveStep(a, path, "2024-01-01T00:00:00");
  const std::string good = ReadBytes(path);
  EXPECT_HAS(good, "2024-01-01T00:00:00");

  MemoryHost b;
  b.AddBody(Shape::Box(1, 1, 1));  // replaced by the opened model
  const memory::StepReport report = memory::OpenPart(b, path);
  EXPECT_EQ(report.bodies, 8);
  EXPECT_TRUE(report.mapped.empty());
  EXPECT_EQ(b.session().PartLeaf(b.session().WorkPart()), "die");
  a.objects().SetName(Bodies(a)[6], "body 7");  // an unnamed body is written as "body N"
  const std::string opened = Summary(b);
  EXPECT_EQ(opened, Summary(a));
  EXPECT_EQ(b.layers().AskStatus(90), host::kStatusHidden);
  EXPECT_EQ(b.layers().AskStatus(80), host::kStatusSelectable);
  EXPECT_EQ(b.layers().WorkLayer(), 1);

  const std::size_t data = good.find("DATA;");
  std::string misspelt = good;
  misspelt.replace(misspelt.find("CARTESIAN_POINT", data), 15, "CARTESIAN_PIONT");
  std::string dangling = good;
  dangling.insert(dangling.find(",#", dangling.find("ADVANCED_FACE", data)) + 2, "99999");
  auto open_error = [&](const std::string& name) {
    return ErrorOf([&] { memory::OpenStep(b, (dir / name).string()); });
  };
  EXPECT_HAS(open_error("none.step"), "does not exist");
  EXPECT_HAS(open_error("."), "is a folder");
  WriteBytes(dir / "text.step", "just some text\n");
  EXPECT_HAS(open_error("text.step"), "is not a STEP file");
  for (const auto& [name, bytes, expected] :
       {std::tuple{"broken.step",
                   std::string("ISO-10303-21;\nHEADER;\nFILE_DESCRIPTION(('x'),'2;1');\nENDSEC;\n"
                               "DATA;\n#1 = CARTESIAN_POINT('',(0.,0.,;\n#2 = ((((;\n"
                               "ENDSEC;\nEND-ISO-10303-21;\n"),
                   "\" cannot be read: it is not a valid STEP file"},
        std::tuple{"misspelt.step", misspelt, "\" is damaged: entity #"},
        std::tuple{"dangling.step", dangling, "\" is damaged: entity #"},
        std::tuple{"cut.step", good.substr(0, good.size() * 2 / 3), "\" is cut short"}}) {
    WriteBytes(dir / name, bytes);
    const std::string message =
        ErrorOf([&, name = name] { memory::OpenPart(b, (dir / name).string()); });
    EXPECT_HAS(message, name + std::string(expected));
    EXPECT_EQ(message.find('\n'), std::string::npos) << "one line";
  }
  EXPECT_EQ(Summary(b), opened);
  EXPECT_HAS(ErrorOf([&] { memory::SaveStep(b, (dir / "no" / "x.step").string()); }),
             "no such folder");
}

// A STEP file written by another program: an assembly whose instances carry
// colours, a part coloured on its faces, numbered and named layers, a part
// on no layer, and a wire that holds no solid.
TEST(StepFile, ForeignModelColoursByFaceAreaInstanceAndLayerNames) {
  const fs::path dir = Fresh("step_foreign");
  Message::DefaultMessenger()->ChangePrinters().Clear();
  Handle(TDocStd_Application) app = XCAFApp_Application::GetApplication();
  BinXCAFDrivers::DefineFormat(app);
  Handle(TDocStd_Document) doc;
  app->NewDocument("BinXCAF", doc);
  auto shapes = XCAFDoc_DocumentTool::ShapeTool(doc->Main());
  auto colors = XCAFDoc_DocumentTool::ColorTool(doc->Main());
  auto layers = XCAFDoc_DocumentTool::LayerTool(doc->Main());
  auto srgb = [](int r, int g, int b) {
    return Quantity_Color(r / 255.0, g / 255.0, b / 255.0, Quantity_TOC_sRGB);
  };
  auto part = [&](const TopoDS_Shape& shape, const char* name, const char* layer) {
    TDF_Label label = shapes->AddShape(shape, false);
    TDataStd_Name::Set(label, TCollection_ExtendedString(text::GbkToUtf8(name).c_str(), true));
    if (layer) layers->SetLayer(label, TCollection_ExtendedString(layer));
    return label;
  };

  // A plate whose large faces are red and small faces green.
  TopoDS_Shape plate = BRepPrimAPI_MakeBox(200, 100, 10).Shape();
  TDF_Label plate_label = part(plate, "Plate", "Die plates");
  for (TopExp_Explorer f(plate, TopAbs_FACE); f.More(); f.Next()) {
    GProp_GProps props;
    BRepGProp::SurfaceProperties(f.Current(), props);
    colors->SetColor(shapes->AddSubShape(plate_label, f.Current()),
                     props.Mass() > 5000 ? srgb(250, 5, 5) : srgb(0, 250, 0), XCAFDoc_ColorSurf);
  }
  // A pin placed twice, the instances carrying the colours; a block on a
  // layer named by an out-of-range number; one on layer "2"; one on none.
  TDF_Label pin = part(BRepPrimAPI_MakeCylinder(5, 40).Shape(), "导柱", "150");
  TDF_Label block = part(BRepPrimAPI_MakeBox(10, 10, 10).Shape(), "Block", "300");
  TDF_Label spare = part(BRepPrimAPI_MakeBox(5, 5, 5).Shape(), "Spare", "2");
  TDF_Label loose = part(BRepPrimAPI_MakeBox(7, 7, 7).Shape(), "Loose", nullptr);

  TDF_Label assembly = shapes->NewShape();
  gp_Trsf t1, t2, t3;
  t1.SetTranslation(gp_Vec(0, 0, 10));
  t2.SetTranslation(gp_Vec(50, 0, 10));
  t3.SetTranslation(gp_Vec(0, 0, -100));
  shapes->AddComponent(assembly, plate_label, TopLoc_Location());
  colors->SetColor(shapes->AddComponent(assembly, pin, TopLoc_Location(t1)), srgb(0, 0, 255),
                   XCAFDoc_ColorSurf);
  colors->SetColor(shapes->AddComponent(assembly, pin, TopLoc_Location(t2)), srgb(255, 255, 0),
                   XCAFDoc_ColorSurf);
  shapes->AddComponent(assembly, block, TopLoc_Location(t3));
  shapes->AddComponent(assembly, spare, TopLoc_Location());
  shapes->AddComponent(assembly, loose, TopLoc_Location());
  shapes->UpdateAssemblies();
  part(BRepBuilderAPI_MakePolygon(gp_Pnt(0, 0, 0), gp_Pnt(1, 0, 0), gp_Pnt(1, 1, 0)).Shape(),
       "Sketch", nullptr);

  STEPCAFControl_Writer writer;
  Interface_Static::SetCVal("write.step.schema", "AP242DIS");
  writer.SetColorMode(true);
  writer.SetNameMode(true);
  writer.SetLayerMode(true);
  EXPECT_TRUE(writer.Transfer(doc, STEPControl_AsIs));
  const std::string path = (dir / "foreign.stp").string();
  EXPECT_EQ(writer.Write(path.c_str()), IFSelect_RetDone);
  app->Close(doc);

  MemoryHost h;
  const memory::StepReport report = memory::OpenStep(h, path);
  ASSERT_EQ(report.bodies, 6);
  EXPECT_EQ(report.skipped_shapes, 1);
  // The plate: red covers the larger area of its faces; uncoloured solids get
  // the default colour. "2" is a layer number; "300" and "Die plates" are
  // names, sorted and put on the lowest free layers from 2 up (2 is taken).
  // The pin: one product, two instances, each with its own colour and place.
  EXPECT_EQ(Summary(h),
            "Plate 186 4 1 200000.000 0.000 0.000 0.000 200.000 100.000 10.000\n"
            "导柱 211 150 1 3141.593 -5.000 -5.000 10.000 10.000 10.000 40.000\n"
            "导柱 6 150 1 3141.593 45.000 -5.000 10.000 10.000 10.000 40.000\n"
            "Block 87 3 1 1000.000 0.000 0.000 -100.000 10.000 10.000 10.000\n"
            "Spare 87 2 1 125.000 0.000 0.000 0.000 5.000 5.000 5.000\n"
            "Loose 87 1 1 343.000 0.000 0.000 0.000 7.000 7.000 7.000\n");
  ASSERT_EQ(report.mapped.size(), 2u);
  EXPECT_EQ(report.mapped[0].name + ">" + std::to_string(report.mapped[0].layer), "300>3");
  EXPECT_EQ(report.mapped[1].name + ">" + std::to_string(report.mapped[1].layer), "Die plates>4");
}

// Every GBK double-byte character, so that the text round trip is checked
// for the whole code page.
std::string AllGbk() {
  std::string out;
  for (int lead = 0x81; lead <= 0xFE; ++lead)
    for (int trail = 0x40; trail <= 0xFE; ++trail) {
      const std::string c{static_cast<char>(lead), static_cast<char>(trail)};
      if (trail != 0x7F && text::IsValidGbk(c)) out += c;
    }
  return out;
}

// A model with everything a part file keeps.
void BuildFullModel(MemoryHost& h) {
  BuildModel(h);
  const auto bodies = Bodies(h);
  auto& attrs = h.attributes();
  attrs.SetString(bodies[0], "材料代号", "DP-01");
  attrs.SetString(bodies[0], "材料规格", "300.0x180.0x30.0");
  attrs.SetString(bodies[0], "空值", "");
  attrs.SetString(bodies[2], "全部", AllGbk());
  attrs.SetString(h.session().WorkPart(), "设计担当", "张伟");
  h.objects().SetBlanked(bodies[4], true);
  // Named coordinate systems on layer 256, blanked; a temporary one is not kept.
  auto& cs = h.csys();
  const Tag m1 =
      cs.CreateMatrix(host::Matrix3x3::FromRows({0.6, 0.8, 0}, {-0.8, 0.6, 0}, {0, 0, 1}));
  const Tag c1 = cs.CreateCsys({150, 90, 0}, m1);
  h.objects().SetName(c1, "11211822520123");
  h.objects().SetLayer(c1, 256);
  h.objects().SetBlanked(c1, true);
  attrs.SetString(c1, "用途", "毛坯坐标系");
  const Tag c2 = cs.CreateCsys({1.0 / 3.0, -2.5e-7, 1e6}, cs.CreateMatrix(host::Matrix3x3{}));
  h.objects().SetName(c2, "第二");
  cs.CreateTempCsys({1, 2, 3}, m1);
  cs.SetWcs(c2);
  // Layer states and the work layer.
  h.layers().SetWorkLayer(80);
  h.layers().SetStatus(10, host::kStatusVisibleOnly);
  h.layers().SetStatus(200, host::kStatusHidden);
}

// Everything a part file keeps, written out exactly (numbers in hex; the
// axes bit for bit, a zero of the origin whatever its sign).
std::string Snapshot(MemoryHost& h) {
  memory::Model& m = h.model();
  std::string s;
  auto attributes = [&s](const std::vector<std::pair<std::string, std::string>>& list) {
    for (const auto& [title, value] : list) s += " " + title + "=" + value;
    s += "\n";
  };
  for (auto& [tag, o] : m.objects) {
    const bool body = o.kind == memory::ObjectKind::Body;
    if (!body && !(o.kind == memory::ObjectKind::Csys && !o.temporary)) continue;
    const host::Matrix3x3& x = o.matrix;
    s += text::Format("%s|%s|%d|%d|%d|%d|%a %a %a|%a %a %a %a %a %a %a %a %a|", body ? "B" : "C",
                      o.name.c_str(), o.layer, o.color, o.blanked, tag == h.csys().AskWcs(),
                      o.origin.X + 0.0, o.origin.Y + 0.0, o.origin.Z + 0.0, x.Xx, x.Xy, x.Xz, x.Yx,
                      x.Yy, x.Yz, x.Zx, x.Zy, x.Zz);
    if (body) s += ShapeText(h, tag);
    attributes(o.attributes);
  }
  attributes(m.Get(m.part).attributes);
  for (int status : m.layer_status) s += std::to_string(status) + ",";
  return s + std::to_string(m.work_layer);
}

// Equal snapshots; on a difference, the bytes around its first place.
void ExpectSame(const std::string& a, const std::string& b) {
  const std::size_t at = static_cast<std::size_t>(
      std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first - a.begin());
  const std::size_t from = at < 40 ? 0 : at - 40;
  EXPECT_TRUE(a == b) << "first difference at " << at << ": "
                      << ::testing::PrintToString(a.substr(from, 80)) << " | "
                      << ::testing::PrintToString(b.substr(from, 80));
}

// Saved and opened again, a part equals the original in everything a part
// file keeps. Files missing, damaged, forged or of another kind fail with a
// message naming them and leave the part open before as it was; a save that
// fails leaves the previous file as it was.
TEST(PartFile, RoundTripsExactlyAndBadFilesOrFailedSavesLoseNothing) {
  const fs::path dir = Fresh("part");
  MemoryHost a;
  BuildFullModel(a);
  const std::string before = Snapshot(a);
  const fs::path path = dir / text::GbkToUtf8("级进模.xbf");
  memory::SavePartFile(a, path.string());
  EXPECT_EQ(FilesIn(dir), 1) << "nothing is left beside the file";

  MemoryHost b;
  b.AddBody(Shape::Box(1, 1, 1), 7, 7, "replaced");
  memory::OpenPartFile(b, path.string());
  ExpectSame(before, Snapshot(b));
  EXPECT_EQ(b.session().PartLeaf(b.session().WorkPart()), "级进模");
  // The opened part works: bodies measure, systems are listed.
  EXPECT_NEAR(b.bodies().Volume(Bodies(b)[3]), std::numbers::pi * 25 * 60, 1e-6 * 4712);
  EXPECT_EQ(b.csys().PartCsys(b.session().WorkPart()).size(), 2u);

  // Saved again from the opened part, opened again by content: still the same.
  const fs::path second = dir / "second.xbf";
  memory::SavePartFile(b, second.string());
  MemoryHost c;
  EXPECT_EQ(memory::OpenPart(c, second.string()).bodies, 0);
  ExpectSame(before, Snapshot(c));
  // An empty part round-trips too.
  MemoryHost empty;
  const fs::path small = dir / "empty.xbf";
  memory::SavePartFile(empty, small.string());
  memory::OpenPartFile(c, small.string());
  EXPECT_TRUE(Bodies(c).empty());
  EXPECT_EQ(c.layers().WorkLayer(), 1);

  // --- Bad files, opened into the part of `b`.
  const std::string bytes = ReadBytes(path);
  auto open_error = [&](const std::string& name, const std::string& contents) {
    WriteBytes(dir / name, contents);
    return ErrorOf([&] { memory::OpenPartFile(b, (dir / name).string()); });
  };
  auto open_any_error = [&](const fs::path& p) {
    return ErrorOf([&] { memory::OpenPart(b, p.string()); });
  };
  EXPECT_HAS(ErrorOf([&] { memory::OpenPartFile(b, (dir / "none.xbf").string()); }),
             "does not exist");
  // Opening by content: what is neither kind is named as such.
  WriteBytes(dir / "m.txt", "hello");
  EXPECT_EQ(memory::DetectPartFile(dir.string()), memory::PartFileKind::kMissing);
  EXPECT_HAS(open_any_error(dir / "m.txt"), "neither a STEP file nor a part file");
  WriteBytes(dir / "empty", "");
  EXPECT_HAS(open_any_error(dir / "empty"), "is empty");
  EXPECT_HAS(open_any_error(dir / "none"), "does not exist");
  EXPECT_HAS(open_any_error(dir), "is a folder");
  EXPECT_HAS(open_error("blank.xbf", ""), "is not a part file");
  EXPECT_HAS(open_error("model.xbf", "ISO-10303-21;\nHEADER;\n"), "is a STEP file");
  // Cut anywhere: the check record is gone or does not match.
  for (std::size_t cut : {std::size_t{7}, bytes.size() / 2, bytes.size() - 33, bytes.size() - 1}) {
    const std::string message = open_error("cut.xbf", bytes.substr(0, cut));
    EXPECT_HAS(message, "damaged") << cut;
    EXPECT_HAS(message, "cut.xbf");
  }
  std::string flipped = bytes;
  flipped[flipped.size() / 2] = static_cast<char>(flipped[flipped.size() / 2] ^ 0x5A);
  EXPECT_HAS(open_error("flipped.xbf", flipped), "do not match");
  EXPECT_HAS(open_error("longer.xbf", bytes + "x"), "damaged");
  // An XCAF document of another program, with or without a matching check
  // record, and a matching record over contents that are no document.
  Handle(TDocStd_Application) app = XCAFApp_Application::GetApplication();
  BinXCAFDrivers::DefineFormat(app);
  Handle(TDocStd_Document) doc;
  app->NewDocument("BinXCAF", doc);
  XCAFDoc_DocumentTool::ShapeTool(doc->Main())
      ->AddShape(BRepPrimAPI_MakeBox(1, 2, 3).Shape(), false);
  std::ostringstream out;
  ASSERT_EQ(app->SaveAs(doc, out), PCDM_SS_OK);
  app->Close(doc);
  const std::string foreign = out.str();
  EXPECT_HAS(open_error("foreign.xbf", foreign), "check record is missing");
  EXPECT_HAS(open_error("foreign2.xbf", foreign + Crc32Trailer(foreign)),
             "not a part file of this program");
  const std::string junk = "BINFILE" + std::string(500, '\x01');
  EXPECT_HAS(open_error("junk.xbf", junk + Crc32Trailer(junk)), "cannot be read");
  // Contents damaged under a check record written again over them reach the
  // document reader: read in the child, they open or give a message naming
  // the file, and this process goes on either way.
  const std::string payload = bytes.substr(0, bytes.size() - 32);
  int refused = 0;
  for (int i = 0; i < 24; ++i) {
    std::string forged = payload;
    const std::size_t at = 64 + static_cast<std::size_t>(i) * (payload.size() - 128) / 24;
    for (std::size_t k = at; k < at + 6; ++k) forged[k] = static_cast<char>(forged[k] ^ 0xA5);
    WriteBytes(dir / "forged.xbf", forged + Crc32Trailer(forged));
    MemoryHost scratch;
    try {
      memory::OpenPart(scratch, (dir / "forged.xbf").string());
    } catch (const host::HostError& e) {
      ++refused;
      EXPECT_HAS(e.what(), "forged.xbf\"");
    }
  }
  EXPECT_GT(refused, 0);
  ExpectSame(before, Snapshot(b));

  // --- Saves that fail: the full model over the empty part's file, by a
  // process that may write only a little more than that file, fails part way.
  const std::string previous = ReadBytes(small);
  const int files = FilesIn(dir);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    signal(SIGXFSZ, SIG_IGN);
    const rlim_t most = previous.size() + 1000;
    rlimit limit{most, most};
    setrlimit(RLIMIT_FSIZE, &limit);
    int code = 0;
    try {
      memory::SavePartFile(a, small.string());
    } catch (const host::HostError& e) {
      code = std::string(e.what()).find("cannot be written") != std::string::npos ? 3 : 4;
    }
    _exit(code);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 3) << "the save reports the failure";
  EXPECT_EQ(ReadBytes(small), previous) << "the previous file is untouched";
  EXPECT_EQ(FilesIn(dir), files) << "the unfinished file is removed";
  // A model whose text cannot be stored fails before anything is written.
  auto save_error = [&](MemoryHost& h, const fs::path& p) {
    return ErrorOf([&] { memory::SavePartFile(h, p.string()); });
  };
  MemoryHost bad;
  const Tag body = bad.AddBody(Shape::Box(1, 1, 1));
  bad.attributes().SetString(body, "材料名称", std::string("\x81", 1));
  EXPECT_HAS(save_error(bad, small), "材料名称");
  bad.attributes().SetString(body, "材料名称", std::string("a\0b", 3));
  EXPECT_HAS(save_error(bad, small), "材料名称");
  bad.attributes().Delete(body, host::kStringAttribute, "材料名称");
  bad.objects().SetName(body, "\xFF\xFF");
  EXPECT_HAS(save_error(bad, small), "name of body");
  EXPECT_EQ(ReadBytes(small), previous);
  // Folders that cannot take the file.
  EXPECT_HAS(save_error(empty, dir / "no" / "x.xbf"), "no such folder");
  fs::create_directory(dir / "taken.xbf");
  EXPECT_HAS(save_error(empty, dir / "taken.xbf"), "is a folder");
}

}  // namespace
