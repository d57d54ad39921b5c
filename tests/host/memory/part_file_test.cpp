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
#include <BRep_Builder.hxx>
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
#include <TopoDS.hxx>
#include <TopoDS_Compound.hxx>
#include <XCAFApp_Application.hxx>
#include <XCAFDoc_ColorTool.hxx>
#include <XCAFDoc_DocumentTool.hxx>
#include <XCAFDoc_LayerTool.hxx>
#include <XCAFDoc_ShapeTool.hxx>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <sstream>

#include "host/memory/colors.h"
#include "host/memory/memory_host.h"
#include "host/memory/model.h"
#include "host/memory/part_file.h"
#include "host/text.h"

namespace {

namespace fs = std::filesystem;
using host::Tag;
using memory::MemoryHost;
using memory::Shape;

fs::path Fresh(const std::string& name) {
  const fs::path dir = fs::path(::testing::TempDir()) / ("part_file_" + name);
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir;
}

std::string ReadBytes(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return out.str();
}

void WriteBytes(const fs::path& p, const std::string& bytes) {
  std::ofstream(p, std::ios::binary | std::ios::trunc) << bytes;
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

std::array<double, 6> Box(MemoryHost& h, Tag body) {
  const host::ExactBox b = h.bodies().AskBoundingBoxExact(body, host::kNullTag);
  return {b.corner.X, b.corner.Y, b.corner.Z, b.distances[0], b.distances[1], b.distances[2]};
}

// Every message (naming the file) is expected to contain `part`.
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
  char buf[40];
  std::snprintf(buf, sizeof buf, "DIEBOMPF%08lx%016llx", crc,
                static_cast<unsigned long long>(payload.size()));
  return buf;
}

// --- Colour table --------------------------------------------------------------

TEST(ColorTable, IndicesAndRgbMapBothWays) {
  EXPECT_EQ(memory::ColorRgb(1), (memory::Rgb{255, 255, 255}));
  EXPECT_EQ(memory::ColorRgb(216), (memory::Rgb{0, 0, 0}));
  EXPECT_EQ(memory::ColorRgb(6), (memory::Rgb{255, 255, 0}));
  EXPECT_EQ(memory::ColorRgb(31), (memory::Rgb{0, 255, 255}));
  EXPECT_EQ(memory::ColorRgb(36), (memory::Rgb{0, 255, 0}));
  EXPECT_EQ(memory::ColorRgb(87), (memory::Rgb{153, 153, 153}));
  EXPECT_EQ(memory::ColorRgb(181), (memory::Rgb{255, 0, 255}));
  EXPECT_EQ(memory::ColorRgb(186), (memory::Rgb{255, 0, 0}));
  EXPECT_EQ(memory::ColorRgb(211), (memory::Rgb{0, 0, 255}));
  for (int i = 1; i <= 216; ++i) EXPECT_EQ(memory::NearestColor(memory::ColorRgb(i)), i) << i;
  // Nearest: each channel to its nearest level (0x00, 0x33, ... 0xFF).
  EXPECT_EQ(memory::NearestColor(memory::Rgb{250, 10, 5}), 186);
  EXPECT_EQ(memory::NearestColor(memory::Rgb{25, 25, 25}), 216);
  EXPECT_EQ(memory::NearestColor(memory::Rgb{26, 26, 26}), memory::NearestColor({51, 51, 51}));
  EXPECT_EQ(memory::NearestColor(0.6, 0.6, 0.6), 87);
  EXPECT_EQ(memory::NearestColor(-1.0, 2.0, std::nan("")), memory::NearestColor({0, 255, 0}));
  EXPECT_THROW(memory::ColorRgb(0), host::HostError);
  EXPECT_THROW(memory::ColorRgb(217), host::HostError);
}

// --- STEP ----------------------------------------------------------------------

// A small die model: plates, a drilled insert, a turned block, a round punch,
// two bodies of one shape at one place, Chinese names, a hidden layer.
void BuildModel(MemoryHost& h) {
  h.AddBody(Shape::Box(300, 180, 30).Drilled({20, 20, 30}, {0, 0, -1}, 25, 30), 50, 11, "下模板");
  h.AddBody(Shape::Box(300, 180, 25, {0, 0, 60}), 40, 6, "脱料板");
  h.AddBody(Shape::Box(60, 25, 20).Rotated({0, 0, 0}, {0, 0, 1}, std::numbers::pi / 6), 80, 36,
            "斜置垫块");
  h.AddBody(Shape::Cylinder(5, 60, {100, 100, 30}), 90, 130, "冲头");
  h.AddBody(Shape::Box(40, 30, 25, {200, 20, 5}), 80, 186, "入子");
  h.AddBody(Shape::Box(40, 30, 25, {200, 20, 5}), 80, 186, "入子");
  h.AddBody(Shape::Box(10, 10, 10, {-50, 0, 0}), 1, 87, "");
  h.layers().SetStatus(90, host::kStatusHidden);
}

TEST(StepFile, BodiesColoursLayersAndNamesComeBack) {
  const fs::path dir = Fresh("step_round");
  MemoryHost a;
  BuildModel(a);
  // A body that shares the geometry of the first one, placed elsewhere.
  const Tag shared = a.AddBody(Shape::Box(1, 1, 1), 20, 42, "同形");
  gp_Trsf t;
  t.SetTranslation(gp_Vec(0, 0, 500));
  a.model().Get(shared).shape = a.model().Get(Bodies(a)[0]).shape.Moved(TopLoc_Location(t));
  const std::string path = (dir / "die.step").string();
  memory::SaveStep(a, path, "2024-01-01T00:00:00");
  ASSERT_EQ(memory::DetectPartFile(path), memory::PartFileKind::kStep);

  MemoryHost b;
  b.AddBody(Shape::Box(1, 1, 1));  // replaced by the opened model
  const memory::StepReport report = memory::OpenStep(b, path);
  EXPECT_EQ(report.bodies, 8);
  EXPECT_TRUE(report.mapped.empty());
  EXPECT_EQ(b.session().PartLeaf(b.session().WorkPart()), "die");
  const auto ta = Bodies(a), tb = Bodies(b);
  ASSERT_EQ(tb.size(), ta.size());
  for (std::size_t i = 0; i < ta.size(); ++i) {
    SCOPED_TRACE(i);
    const std::string name = a.objects().Name(ta[i]);
    EXPECT_EQ(b.objects().Name(tb[i]), name.empty() ? text::Format("body %zu", i + 1) : name);
    EXPECT_EQ(b.objects().Color(tb[i]), a.objects().Color(ta[i]));
    EXPECT_EQ(b.objects().Layer(tb[i]), a.objects().Layer(ta[i]));
    EXPECT_TRUE(b.bodies().IsSolidBody(tb[i]));
    EXPECT_NEAR(b.bodies().Volume(tb[i]), a.bodies().Volume(ta[i]),
                1e-6 * a.bodies().Volume(ta[i]));
    const auto ba = Box(a, ta[i]), bb = Box(b, tb[i]);
    for (int k = 0; k < 6; ++k) EXPECT_NEAR(bb[k], ba[k], 1e-5);
  }
  EXPECT_EQ(b.layers().AskStatus(90), host::kStatusHidden);
  EXPECT_EQ(b.layers().AskStatus(80), host::kStatusSelectable);
  EXPECT_EQ(b.layers().WorkLayer(), 1);

  // The time stamp asked for is the one written.
  const std::string x = ReadBytes(path);
  EXPECT_NE(x.find("2024-01-01T00:00:00"), std::string::npos);
}

// A STEP file written by another program: an assembly whose instances carry
// colours, a part coloured on its faces, named and unnumbered layers, a part
// on no layer, and a wire that holds no solid.
std::string WriteForeignStep(const fs::path& dir) {
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

  // Part 1: a plate whose large faces are red and small faces green.
  TopoDS_Shape plate = BRepPrimAPI_MakeBox(200, 100, 10).Shape();
  TDF_Label plate_label = shapes->AddShape(plate, false);
  TDataStd_Name::Set(plate_label, TCollection_ExtendedString("Plate"));
  for (TopExp_Explorer f(plate, TopAbs_FACE); f.More(); f.Next()) {
    TDF_Label face = shapes->AddSubShape(plate_label, f.Current());
    GProp_GProps props;
    BRepGProp::SurfaceProperties(f.Current(), props);
    colors->SetColor(face, props.Mass() > 5000 ? srgb(250, 5, 5) : srgb(0, 250, 0),
                     XCAFDoc_ColorSurf);
  }
  layers->SetLayer(plate_label, TCollection_ExtendedString("Die plates"));

  // Part 2: a pin, placed twice; the instances carry the colours.
  TopoDS_Shape pin = BRepPrimAPI_MakeCylinder(5, 40).Shape();
  TDF_Label pin_label = shapes->AddShape(pin, false);
  TDataStd_Name::Set(pin_label,
                     TCollection_ExtendedString(text::GbkToUtf8("导柱").c_str(), Standard_True));
  layers->SetLayer(pin_label, TCollection_ExtendedString("150"));

  // Part 3: a block on an out-of-range layer name and one on a name sorting first.
  TDF_Label block_label = shapes->AddShape(BRepPrimAPI_MakeBox(10, 10, 10).Shape(), false);
  TDataStd_Name::Set(block_label, TCollection_ExtendedString("Block"));
  layers->SetLayer(block_label, TCollection_ExtendedString("300"));
  TDF_Label spare_label = shapes->AddShape(BRepPrimAPI_MakeBox(5, 5, 5).Shape(), false);
  TDataStd_Name::Set(spare_label, TCollection_ExtendedString("Spare"));
  layers->SetLayer(spare_label, TCollection_ExtendedString("Aux"));
  layers->SetLayer(spare_label, TCollection_ExtendedString("2"));  // numbered one wins
  TDF_Label loose_label = shapes->AddShape(BRepPrimAPI_MakeBox(7, 7, 7).Shape(), false);
  TDataStd_Name::Set(loose_label, TCollection_ExtendedString("Loose"));
  TDF_Label aux_only = shapes->AddShape(BRepPrimAPI_MakeBox(3, 3, 3).Shape(), false);
  TDataStd_Name::Set(aux_only, TCollection_ExtendedString("AuxOnly"));
  layers->SetLayer(aux_only, TCollection_ExtendedString("Aux"));

  TDF_Label assembly = shapes->NewShape();
  TDataStd_Name::Set(assembly, TCollection_ExtendedString("Die"));
  gp_Trsf t1, t2, t3;
  t1.SetTranslation(gp_Vec(0, 0, 10));
  t2.SetTranslation(gp_Vec(50, 0, 10));
  t3.SetTranslation(gp_Vec(0, 0, -100));
  shapes->AddComponent(assembly, plate_label, TopLoc_Location());
  TDF_Label c1 = shapes->AddComponent(assembly, pin_label, TopLoc_Location(t1));
  TDF_Label c2 = shapes->AddComponent(assembly, pin_label, TopLoc_Location(t2));
  colors->SetColor(c1, srgb(0, 0, 255), XCAFDoc_ColorSurf);
  colors->SetColor(c2, srgb(255, 255, 0), XCAFDoc_ColorSurf);
  shapes->AddComponent(assembly, block_label, TopLoc_Location(t3));
  shapes->AddComponent(assembly, spare_label, TopLoc_Location());
  shapes->AddComponent(assembly, loose_label, TopLoc_Location());
  shapes->AddComponent(assembly, aux_only, TopLoc_Location());
  shapes->UpdateAssemblies();
  // A free wire: no solid in it.
  TDF_Label wire = shapes->AddShape(
      BRepBuilderAPI_MakePolygon(gp_Pnt(0, 0, 0), gp_Pnt(1, 0, 0), gp_Pnt(1, 1, 0)).Shape(), false);
  TDataStd_Name::Set(wire, TCollection_ExtendedString("Sketch"));

  STEPCAFControl_Writer writer;
  Interface_Static::SetCVal("write.step.schema", "AP242DIS");
  writer.SetColorMode(true);
  writer.SetNameMode(true);
  writer.SetLayerMode(true);
  EXPECT_TRUE(writer.Transfer(doc, STEPControl_AsIs));
  const std::string path = (dir / "foreign.stp").string();
  EXPECT_EQ(writer.Write(path.c_str()), IFSelect_RetDone);
  app->Close(doc);
  return path;
}

TEST(StepFile, ForeignModelColoursByFaceAreaInstanceAndLayerNames) {
  const fs::path dir = Fresh("step_foreign");
  const std::string path = WriteForeignStep(dir);
  MemoryHost h;
  const memory::StepReport report = memory::OpenStep(h, path);
  const auto bodies = Bodies(h);
  ASSERT_EQ(report.bodies, 7);
  ASSERT_EQ(bodies.size(), 7u);
  EXPECT_EQ(report.skipped_shapes, 1);
  std::map<std::string, std::vector<Tag>> by_name;
  for (Tag t : bodies) by_name[h.objects().Name(t)].push_back(t);

  // The plate: red covers the larger area of its faces.
  ASSERT_EQ(by_name["Plate"].size(), 1u);
  EXPECT_EQ(h.objects().Color(by_name["Plate"][0]), 186);
  // The pins: one product, two instances, each with its own colour and place.
  ASSERT_EQ(by_name["导柱"].size(), 2u);
  std::set<int> pin_colors;
  for (Tag t : by_name["导柱"]) {
    pin_colors.insert(h.objects().Color(t));
    EXPECT_EQ(h.objects().Layer(t), 150);
    EXPECT_NEAR(Box(h, t)[2], 10.0, 1e-6);
  }
  EXPECT_EQ(pin_colors, (std::set<int>{6, 211}));
  EXPECT_NEAR(Box(h, by_name["Block"][0])[2], -100.0, 1e-6);
  // Uncoloured solids get the default colour.
  EXPECT_EQ(h.objects().Color(by_name["Loose"][0]), MemoryHost::kDefaultColor);
  // Layers: "2" is a number; "Aux", "Die plates" and "300" are names, sorted
  // and put on the lowest free layers from 2 up (2 is taken by "Spare").
  EXPECT_EQ(h.objects().Layer(by_name["Spare"][0]), 2);
  EXPECT_EQ(h.objects().Layer(by_name["Loose"][0]), 1);
  ASSERT_EQ(report.mapped.size(), 3u);
  EXPECT_EQ(report.mapped[0].name, "300");
  EXPECT_EQ(report.mapped[0].layer, 3);
  EXPECT_EQ(report.mapped[1].name, "Aux");
  EXPECT_EQ(report.mapped[1].layer, 4);
  EXPECT_EQ(report.mapped[2].name, "Die plates");
  EXPECT_EQ(report.mapped[2].layer, 5);
  EXPECT_EQ(h.objects().Layer(by_name["Block"][0]), 3);
  EXPECT_EQ(h.objects().Layer(by_name["AuxOnly"][0]), 4);
  EXPECT_EQ(h.objects().Layer(by_name["Plate"][0]), 5);

  // The same file opened again maps the same way.
  MemoryHost again;
  const memory::StepReport second = memory::OpenStep(again, path);
  ASSERT_EQ(second.mapped.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(second.mapped[i].layer, report.mapped[i].layer);
}

TEST(StepFile, BadFilesFailCleanlyAndLeaveThePartAsItWas) {
  const fs::path dir = Fresh("step_bad");
  MemoryHost h;
  h.AddBody(Shape::Box(1, 2, 3), 10, 6, "kept");
  auto still_there = [&] {
    const auto bodies = Bodies(h);
    return bodies.size() == 1 && h.objects().Name(bodies[0]) == "kept";
  };
  EXPECT_NE(
      ErrorOf([&] { memory::OpenStep(h, (dir / "none.step").string()); }).find("does not exist"),
      std::string::npos);
  EXPECT_NE(ErrorOf([&] { memory::OpenStep(h, dir.string()); }).find("is a folder"),
            std::string::npos);
  WriteBytes(dir / "text.step", "just some text\n");
  EXPECT_NE(ErrorOf([&] {
              memory::OpenStep(h, (dir / "text.step").string());
            }).find("is not a STEP file"),
            std::string::npos);
  // A STEP header followed by garbage.
  WriteBytes(dir / "broken.step",
             "ISO-10303-21;\nHEADER;\nFILE_DESCRIPTION(('x'),'2;1');\nENDSEC;\nDATA;\n#1 = "
             "CARTESIAN_POINT('',(0.,0.,;\n#2 = ((((;\n");
  const std::string broken = ErrorOf([&] { memory::OpenStep(h, (dir / "broken.step").string()); });
  EXPECT_NE(broken.find("broken.step"), std::string::npos) << broken;
  // A good STEP file cut in half.
  MemoryHost src;
  BuildModel(src);
  memory::SaveStep(src, (dir / "whole.step").string());
  const std::string whole = ReadBytes(dir / "whole.step");
  WriteBytes(dir / "half.step", whole.substr(0, whole.size() / 2));
  const std::string half = ErrorOf([&] { memory::OpenStep(h, (dir / "half.step").string()); });
  // Either refused, or read as far as it goes; never a crash.
  if (half != "(no error)") {
    EXPECT_NE(half.find("half.step"), std::string::npos) << half;
    EXPECT_TRUE(still_there());
  }
  h.model() = memory::Model();
  h.AddBody(Shape::Box(1, 2, 3), 10, 6, "kept");
  // Saving into a folder that does not exist.
  EXPECT_NE(ErrorOf([&] {
              memory::SaveStep(h, (dir / "no" / "x.step").string());
            }).find("no such folder"),
            std::string::npos);
  EXPECT_TRUE(still_there());
}

// --- The part file -------------------------------------------------------------

// Every GBK double-byte character, so that the text round trip is checked
// for the whole code page.
std::string AllGbk() {
  std::string out;
  for (int lead = 0x81; lead <= 0xFE; ++lead)
    for (int trail = 0x40; trail <= 0xFE; ++trail) {
      if (trail == 0x7F) continue;
      const std::string c{static_cast<char>(lead), static_cast<char>(trail)};
      if (text::IsValidGbk(c)) out += c;
    }
  return out;
}

// A model with everything a part file keeps.
void BuildFullModel(MemoryHost& h) {
  BuildModel(h);
  const auto bodies = Bodies(h);
  auto& attrs = h.attributes();
  attrs.SetString(bodies[0], "材料代号", "DP-01");
  attrs.SetString(bodies[0], "材料名称", "下模板");
  attrs.SetString(bodies[0], "实体标识", "11211822520123");
  attrs.SetString(bodies[0], "材料规格", "300.0x180.0x30.0");
  attrs.SetString(bodies[0], "空值", "");
  attrs.SetString(bodies[2], "全部", AllGbk());
  attrs.SetString(bodies[3], "圆件", "Y");
  attrs.SetString(h.session().WorkPart(), "设计担当", "张伟");
  attrs.SetString(h.session().WorkPart(), "模具编号", "PD24-001");
  h.objects().SetBlanked(bodies[4], true);
  // A second body sharing the first one's geometry at another place.
  const Tag moved = h.AddBody(Shape::Box(1, 1, 1), 20, 42, "同形");
  gp_Trsf t;
  t.SetTranslation(gp_Vec(0, 0, 500));
  h.model().Get(moved).shape = h.model().Get(bodies[0]).shape.Moved(TopLoc_Location(t));
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

struct Snapshot {
  struct Item {
    memory::ObjectKind kind;
    std::string name, shape;
    int layer, color;
    bool blanked;
    std::vector<std::pair<std::string, std::string>> attributes;
    host::Point3d origin;
    host::Matrix3x3 matrix;
    bool is_wcs;
  };
  std::vector<Item> items;
  std::vector<std::pair<std::string, std::string>> part_attributes;
  std::array<int, 257> layers;
  int work_layer;
};

Snapshot Take(MemoryHost& h) {
  Snapshot s;
  memory::Model& m = h.model();
  for (auto& [tag, o] : m.objects) {
    if (o.kind != memory::ObjectKind::Body && !(o.kind == memory::ObjectKind::Csys && !o.temporary))
      continue;
    s.items.push_back({o.kind, o.name, o.kind == memory::ObjectKind::Body ? ShapeText(h, tag) : "",
                       o.layer, o.color, o.blanked, o.attributes, o.origin, o.matrix,
                       tag == h.csys().AskWcs()});
  }
  s.part_attributes = m.Get(m.part).attributes;
  s.layers = m.layer_status;
  s.work_layer = m.work_layer;
  return s;
}

void ExpectSame(const Snapshot& a, const Snapshot& b) {
  ASSERT_EQ(a.items.size(), b.items.size());
  for (std::size_t i = 0; i < a.items.size(); ++i) {
    SCOPED_TRACE(i);
    const auto &x = a.items[i], &y = b.items[i];
    EXPECT_EQ(x.kind, y.kind);
    EXPECT_EQ(x.name, y.name);
    EXPECT_TRUE(x.shape == y.shape) << "the geometry differs";
    EXPECT_EQ(x.layer, y.layer);
    EXPECT_EQ(x.color, y.color);
    EXPECT_EQ(x.blanked, y.blanked);
    EXPECT_TRUE(x.attributes == y.attributes) << "the attributes differ";
    EXPECT_EQ(x.origin.X, y.origin.X);
    EXPECT_EQ(x.origin.Y, y.origin.Y);
    EXPECT_EQ(x.origin.Z, y.origin.Z);
    EXPECT_EQ(0, std::memcmp(&x.matrix, &y.matrix, sizeof x.matrix));
    EXPECT_EQ(x.is_wcs, y.is_wcs);
  }
  EXPECT_EQ(a.part_attributes, b.part_attributes);
  EXPECT_EQ(a.layers, b.layers);
  EXPECT_EQ(a.work_layer, b.work_layer);
}

TEST(PartFile, SavedAndOpenedAgainEqualsTheOriginal) {
  const fs::path dir = Fresh("round");
  MemoryHost a;
  BuildFullModel(a);
  const Snapshot before = Take(a);
  const fs::path path = dir / text::GbkToUtf8("级进模.xbf");
  memory::SavePartFile(a, path.string());
  EXPECT_EQ(memory::DetectPartFile(path.string()), memory::PartFileKind::kPartFile);
  EXPECT_TRUE(fs::is_empty(dir) == false);
  EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 1)
      << "nothing is left beside the file";

  MemoryHost b;
  b.AddBody(Shape::Box(1, 1, 1), 7, 7, "replaced");
  memory::OpenPartFile(b, path.string());
  ExpectSame(before, Take(b));
  EXPECT_EQ(b.session().PartLeaf(b.session().WorkPart()), "级进模");
  EXPECT_EQ(b.layers().WorkLayer(), 80);
  // The opened part works: bodies measure, systems are listed, tags are new.
  const auto bodies = Bodies(b);
  ASSERT_EQ(bodies.size(), 8u);
  EXPECT_NEAR(b.bodies().Volume(bodies[3]), std::numbers::pi * 25 * 60, 1e-6 * 4712);
  EXPECT_EQ(b.csys().PartCsys(b.session().WorkPart()).size(), 2u);
  EXPECT_EQ(b.layers().ObjectsOnLayer(256).size(), 1u);
  EXPECT_EQ(b.objects().Name(b.layers().ObjectsOnLayer(256)[0]), "11211822520123");

  // Saved again, opened again: still the same.
  const fs::path second = dir / "second.xbf";
  memory::SavePartFile(b, second.string());
  MemoryHost c;
  memory::OpenPart(c, second.string());
  ExpectSame(before, Take(c));

  // Any XCAF reader sees the bodies with their names, colours and layers.
  Handle(TDocStd_Application) app = XCAFApp_Application::GetApplication();
  BinXCAFDrivers::DefineFormat(app);
  Handle(TDocStd_Document) doc;
  std::ifstream in(path, std::ios::binary);
  ASSERT_EQ(app->Open(in, doc), PCDM_RS_OK);
  TDF_LabelSequence free_shapes;
  XCAFDoc_DocumentTool::ShapeTool(doc->Main())->GetFreeShapes(free_shapes);
  ASSERT_EQ(free_shapes.Length(), 8);
  Handle(TDataStd_Name) name;
  ASSERT_TRUE(free_shapes(1).FindAttribute(TDataStd_Name::GetID(), name));
  EXPECT_EQ(text::Utf8ToGbk(TCollection_AsciiString(name->Get()).ToCString()), "下模板");
  Quantity_Color color;
  ASSERT_TRUE(XCAFDoc_DocumentTool::ColorTool(doc->Main())
                  ->GetColor(free_shapes(1), XCAFDoc_ColorGen, color));
  double r, g, bl;
  color.Values(r, g, bl, Quantity_TOC_sRGB);
  EXPECT_EQ(memory::NearestColor(r, g, bl), 11);
  app->Close(doc);
}

TEST(PartFile, EmptyPartRoundTrips) {
  const fs::path dir = Fresh("empty");
  MemoryHost a;
  memory::SavePartFile(a, (dir / "empty.xbf").string());
  MemoryHost b;
  b.AddBody(Shape::Box(1, 1, 1));
  memory::OpenPartFile(b, (dir / "empty.xbf").string());
  EXPECT_TRUE(Bodies(b).empty());
  EXPECT_EQ(b.layers().WorkLayer(), 1);
}

TEST(PartFile, DamagedOrForeignFilesFailCleanly) {
  const fs::path dir = Fresh("damaged");
  MemoryHost src;
  BuildFullModel(src);
  const fs::path good = dir / "good.xbf";
  memory::SavePartFile(src, good.string());
  const std::string bytes = ReadBytes(good);

  MemoryHost h;
  h.AddBody(Shape::Box(1, 2, 3), 10, 6, "kept");
  const Snapshot kept = Take(h);
  auto open_error = [&](const std::string& name, const std::string& contents) {
    WriteBytes(dir / name, contents);
    return ErrorOf([&] { memory::OpenPartFile(h, (dir / name).string()); });
  };
  auto has = [](const std::string& message, const std::string& part) {
    return message.find(part) != std::string::npos;
  };

  EXPECT_TRUE(has(ErrorOf([&] { memory::OpenPartFile(h, (dir / "none.xbf").string()); }),
                  "does not exist"));
  EXPECT_TRUE(has(ErrorOf([&] { memory::OpenPartFile(h, dir.string()); }), "is a folder"));
  EXPECT_TRUE(has(open_error("empty.xbf", ""), "is not a part file"));
  EXPECT_TRUE(has(open_error("text.xbf", "名称,代号\n"), "is not a part file"));
  EXPECT_TRUE(has(open_error("model.xbf", "ISO-10303-21;\nHEADER;\n"), "is a STEP file"));
  // Cut at many places: the check record is gone or does not match.
  for (std::size_t cut : {std::size_t{7}, std::size_t{100}, bytes.size() / 3, bytes.size() / 2,
                          bytes.size() - 33, bytes.size() - 1}) {
    const std::string message = open_error("cut.xbf", bytes.substr(0, cut));
    EXPECT_TRUE(has(message, "damaged")) << cut << ": " << message;
    EXPECT_TRUE(has(message, "cut.xbf")) << message;
  }
  // One byte changed in the middle.
  std::string flipped = bytes;
  flipped[flipped.size() / 2] = static_cast<char>(flipped[flipped.size() / 2] ^ 0x5A);
  EXPECT_TRUE(has(open_error("flipped.xbf", flipped), "do not match"));
  // Bytes added at the end.
  EXPECT_TRUE(has(open_error("longer.xbf", bytes + "x"), "damaged"));
  // An XCAF document of another program, with or without a matching check record.
  {
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
    EXPECT_TRUE(has(open_error("foreign.xbf", foreign), "check record is missing"));
    EXPECT_TRUE(has(open_error("foreign2.xbf", foreign + Crc32Trailer(foreign)),
                    "not a part file of this program"));
    // A record that matches but over contents that are not a document.
    const std::string junk = "BINFILE" + std::string(500, '\x01');
    const std::string message = open_error("junk.xbf", junk + Crc32Trailer(junk));
    EXPECT_TRUE(has(message, "cannot be read")) << message;
  }
  // The part open before every failed attempt is still there, unchanged.
  ExpectSame(kept, Take(h));
  // And the good file still opens.
  memory::OpenPartFile(h, good.string());
  EXPECT_EQ(Bodies(h).size(), 8u);
}

TEST(PartFile, InterruptedSaveLeavesThePreviousFile) {
  const fs::path dir = Fresh("interrupted");
  const fs::path path = dir / "die.xbf";
  MemoryHost small;
  small.AddBody(Shape::Box(10, 10, 10), 10, 6, "小");
  memory::SavePartFile(small, path.string());
  const std::string before = ReadBytes(path);

  // A larger model saved by a process that may write only a few kilobytes:
  // the write fails part way.
  MemoryHost big;
  BuildFullModel(big);
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    signal(SIGXFSZ, SIG_IGN);
    rlimit limit{static_cast<rlim_t>(before.size() + 1000),
                 static_cast<rlim_t>(before.size() + 1000)};
    setrlimit(RLIMIT_FSIZE, &limit);
    int code = 0;
    try {
      memory::SavePartFile(big, path.string());
    } catch (const host::HostError& e) {
      code = std::string(e.what()).find("cannot be written") != std::string::npos ? 3 : 4;
    }
    _exit(code);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 3) << "the save reports the failure";
  EXPECT_EQ(ReadBytes(path), before) << "the previous file is untouched";
  EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 1)
      << "the unfinished file is removed";
  MemoryHost check;
  memory::OpenPartFile(check, path.string());
  ASSERT_EQ(Bodies(check).size(), 1u);
  EXPECT_EQ(check.objects().Name(Bodies(check)[0]), "小");

  // A model whose text cannot be stored fails before anything is written.
  MemoryHost bad;
  const Tag body = bad.AddBody(Shape::Box(1, 1, 1));
  bad.attributes().SetString(body, "材料名称", std::string("\x81", 1));
  const std::string message = ErrorOf([&] { memory::SavePartFile(bad, path.string()); });
  EXPECT_NE(message.find("材料名称"), std::string::npos) << message;
  EXPECT_EQ(ReadBytes(path), before);
  bad.attributes().SetString(body, "材料名称", std::string("a\0b", 3));
  EXPECT_THROW(memory::SavePartFile(bad, path.string()), host::HostError);
  bad.attributes().Delete(body, host::kStringAttribute, "材料名称");
  bad.objects().SetName(body, "\xFF\xFF");
  EXPECT_NE(ErrorOf([&] { memory::SavePartFile(bad, path.string()); }).find("name of body"),
            std::string::npos);
  EXPECT_EQ(ReadBytes(path), before);

  // Folders that cannot take the file.
  EXPECT_NE(ErrorOf([&] {
              memory::SavePartFile(small, (dir / "no" / "x.xbf").string());
            }).find("no such folder"),
            std::string::npos);
  fs::create_directory(dir / "taken.xbf");
  EXPECT_NE(ErrorOf([&] {
              memory::SavePartFile(small, (dir / "taken.xbf").string());
            }).find("is a folder"),
            std::string::npos);
}

TEST(PartFile, OpenPartTellsTheKindsApart) {
  const fs::path dir = Fresh("kinds");
  MemoryHost a;
  BuildModel(a);
  memory::SaveStep(a, (dir / "m.step").string());
  memory::SavePartFile(a, (dir / "m.xbf").string());
  WriteBytes(dir / "m.txt", "hello");
  EXPECT_EQ(memory::DetectPartFile((dir / "none").string()), memory::PartFileKind::kMissing);
  EXPECT_EQ(memory::DetectPartFile(dir.string()), memory::PartFileKind::kMissing);
  EXPECT_EQ(memory::DetectPartFile((dir / "m.txt").string()), memory::PartFileKind::kOther);
  MemoryHost b;
  EXPECT_EQ(memory::OpenPart(b, (dir / "m.step").string()).bodies, 7);
  EXPECT_EQ(memory::OpenPart(b, (dir / "m.xbf").string()).bodies, 0);
  EXPECT_EQ(Bodies(b).size(), 7u);
  EXPECT_NE(ErrorOf([&] {
              memory::OpenPart(b, (dir / "m.txt").string());
            }).find("neither a STEP file nor a part file"),
            std::string::npos);
  EXPECT_NE(ErrorOf([&] { memory::OpenPart(b, (dir / "none").string()); }).find("does not exist"),
            std::string::npos);
  EXPECT_NE(ErrorOf([&] { memory::OpenPart(b, dir.string()); }).find("is a folder"),
            std::string::npos);
  EXPECT_EQ(Bodies(b).size(), 7u);
}

}  // namespace
