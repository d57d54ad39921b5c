// Carrying a previous revision's BOM over to a new model, on real solids: the
// values of unchanged and moved bodies, the blank system turned with a moved
// body, a changed plate measured again and marked in the material tree, new
// bodies numbered "新增", the header, and previous revisions that cannot be
// used.
#include <gtest/gtest.h>

#include <fstream>
#include <numbers>

#include "config/material_bom_config.h"
#include "host/memory/part_file.h"
#include "revision/previous_part.h"
#include "tests/material_bom/material_bom_fixture.h"

namespace {

namespace fs = std::filesystem;
using host::Node;
using host::Tag;
using memory::DialogDriver;
using memory::Shape;
using revision::Status;

constexpr const char* kPlateId = "06010800000001";
constexpr const char* kInsertId = "06010800000002";

// An insert with a hole off its centre: no turn maps it onto itself.
Shape Insert(double x, double y) {
  return Shape::Box(40, 30, 30, {x, y, 0}).Drilled({x + 10, y + 10, 31}, {0, 0, -1}, 8, 32);
}

class CarryOverTest : public mbom_test::MaterialBomTest {
 protected:
  // The previous revision, saved after its BOM: a die plate, an insert, a
  // guide pin (a standard part) and the header.
  void BuildPrevious() {
    plate_ = Coded(old_.AddBody(Shape::Box(300, 180, 30, {0, 0, 110}), 50, 11), kPlateId, "DP-01",
                   "下模板", "300.0x180.0x30.0", "12.7");
    insert_ = Coded(old_.AddBody(Insert(400, 0), 80, 36), kInsertId, "IN-01", "凹模入子",
                    "40.0x30.0x30.0", "0.3");
    old_.attributes().SetString(insert_, "TOP_FRAME", "Y");
    old_.attributes().SetString(insert_, "标注基准", "0-4");
    pin_ = old_.AddBody(Shape::Cylinder(12.5, 180, {-50, 0, 0}), 150, 87);
    for (const auto& [title, value] : std::vector<std::pair<std::string, std::string>>{
             {"名称", "外导柱"}, {"序号", "001"}, {"PART_ATTR", "Y"}, {"类型", "Φ25x180"}})
      old_.attributes().SetString(pin_, title, value);
    const Tag part = old_.session().WorkPart();
    old_.attributes().SetString(part, "客户名称", "华锐汽车部件");
    old_.attributes().SetString(part, "模具编号", "PD24-001");
    // A saved header: the BOM keeps the codes of a part that has one.
    old_.attributes().SetString(part, "设计担当", "张伟");
  }

  // A body as a saved BOM leaves it, with its blank system along the axes.
  Tag Coded(Tag b, const std::string& id, const std::string& code, const std::string& name,
            const std::string& spec, const std::string& weight) {
    const std::pair<const char*, std::string> attrs[] = {
        {"实体优化", "Y"},    {"实体标识", id},      {"材料代号", code},
        {"材料名称", name},   {"材料材质", "SKD11"}, {"材料规格", spec},
        {"材料重量", weight}, {"转图标识", "Y"},     {"材料方位", "1,0,0,0,1,0"}};
    for (const auto& [title, value] : attrs) old_.attributes().SetString(b, title, value);
    const Tag c = old_.csys().CreateCsys({0, 0, 0}, old_.csys().CreateMatrix(host::Matrix3x3{}));
    old_.objects().SetName(c, id);
    old_.objects().SetLayer(c, 256);
    return b;
  }

  revision::CarryOverResult Carry(bool keep_colours = false) {
    settings_ = config::MaterialBomSettings::Load(host_);
    revision::CarryOverOptions options;
    options.settings = &settings_;
    options.keep_colours = keep_colours;
    options.mode = 0;
    return revision::ApplyCarryOver(old_, host_, revision::MatchBodies(old_, host_), options);
  }

  std::vector<std::pair<std::string, std::string>> Listed(memory::MemoryHost& h, Tag b) {
    return h.attributes().List(b);
  }
  std::vector<double> Numbers(const std::string& csv) {
    std::vector<double> out;
    for (std::size_t at = 0; at < csv.size();) {
      std::size_t used = 0;
      out.push_back(std::stod(csv.substr(at), &used));
      at += used + 1;
    }
    return out;
  }

  memory::MemoryHost old_;
  config::MaterialBomSettings settings_;
  Tag plate_ = 0, insert_ = 0, pin_ = 0;
};

TEST_F(CarryOverTest, EachBodyTakesWhatItsPreviousBodyCarriedAndTheTreeShowsIt) {
  BuildPrevious();
  // The revision: the plate 10 mm longer with a new hole, the insert turned a
  // quarter and moved, the pin as it was, a punch added, and a copy of the
  // plate's attributes on a new block (a body copied in the host).
  const Tag plate = host_.AddBody(
      Shape::Box(310, 180, 30, {0, 0, 110}).Drilled({150, 90, 141}, {0, 0, -1}, 12, 32), 50, 11);
  const Tag insert = host_.AddBody(
      Insert(400, 0).Rotated({400, 0, 0}, {0, 0, 1}, std::numbers::pi / 2).Translated({0, 50, 0}),
      80, 36);
  const Tag pin = host_.AddBody(Shape::Cylinder(12.5, 180, {-50, 0, 0}), 150, 87);
  const Tag punch = host_.AddBody(Shape::Cylinder(5, 60, {600, 0, 0}), 90, 130);
  const Tag copy = host_.AddBody(Shape::Box(50, 40, 30, {0, 400, 110}), 50, 11);
  for (const auto& [title, value] : Listed(old_, plate_))
    host_.attributes().SetString(copy, title, value);
  host_.attributes().SetString(host_.session().WorkPart(), "模具编号", "PD24-002");

  const revision::CarryOverResult r = Carry();
  ASSERT_EQ(r.bodies.size(), 5u);
  EXPECT_EQ(r.OfCurrent(plate)->status, Status::kChanged);
  EXPECT_EQ(r.OfCurrent(insert)->status, Status::kMoved);
  EXPECT_EQ(r.OfCurrent(pin)->status, Status::kUnchanged);
  EXPECT_EQ(r.OfCurrent(punch)->status, Status::kNew);
  EXPECT_EQ(r.OfCurrent(copy)->status, Status::kNew);

  // The pin: every standard-part value, as it was.
  EXPECT_EQ(Listed(host_, pin), Listed(old_, pin_));
  // The insert: every value but the orientation, which turned with it.
  for (const auto& [title, value] : Listed(old_, insert_)) {
    if (title == "材料方位") continue;
    EXPECT_EQ(Attr(insert, title), value) << title;
  }
  const std::vector<double> o = Numbers(Attr(insert, "材料方位"));
  ASSERT_EQ(o.size(), 6u);
  const double turned[] = {0, 1, 0, -1, 0, 0};
  for (int i = 0; i < 6; ++i) EXPECT_NEAR(o[i], turned[i], 1e-9) << i;
  // Its blank system stands at its new place: the middle of the box, at the
  // bottom.
  std::vector<Tag> systems;
  for (Tag c : host_.csys().PartCsys(host_.session().WorkPart()))
    if (host_.objects().Name(c) == kInsertId) systems.push_back(c);
  ASSERT_EQ(systems.size(), 1u);
  const host::CsysInfo info = host_.csys().AskCsysInfo(systems[0]);
  EXPECT_NEAR(info.origin.X, 385, 1e-6);
  EXPECT_NEAR(info.origin.Y, 70, 1e-6);
  EXPECT_NEAR(info.origin.Z, 0, 1e-6);
  EXPECT_EQ(host_.objects().Layer(systems[0]), 256);

  // The plate: its code, its new size and weight, the size it was bought at.
  EXPECT_EQ(Attr(plate, "材料代号"), "DP-01");
  EXPECT_EQ(Attr(plate, "材料规格"), "310.0x180.0x30.0");
  EXPECT_EQ(Attr(plate, "改模前规格"), "300.0x180.0x30.0");
  EXPECT_EQ(Attr(plate, "材料重量"), "13.1");
  EXPECT_TRUE(r.OfCurrent(plate)->ToBuy());
  EXPECT_FALSE(r.OfCurrent(insert)->ToBuy());

  // New bodies: the changed-body colour, the drawing mark; the copy keeps
  // its name but not what made it a processed body.
  EXPECT_EQ(host_.objects().Color(punch), 186);
  EXPECT_EQ(Attr(punch, "转图标识"), "Y");
  EXPECT_EQ(Attr(punch, "材料材质"), "SKH-51") << "what its own colour gave it";
  EXPECT_EQ(Attr(punch, "材料热处理"), "真空淬火HRC62-64");
  EXPECT_EQ(host_.objects().Color(copy), 186);
  EXPECT_EQ(Attr(copy, "材料代号"), "<none>");
  EXPECT_EQ(Attr(copy, "实体标识"), "<none>");
  EXPECT_EQ(Attr(copy, "材料规格"), "<none>");
  EXPECT_EQ(Attr(copy, "材料名称"), "下模板");
  EXPECT_EQ(Attr(copy, "转图标识"), "Y");

  // The header: carried where the new model has none.
  EXPECT_EQ(Attr(host_.session().WorkPart(), "客户名称"), "华锐汽车部件");
  EXPECT_EQ(Attr(host_.session().WorkPart(), "模具编号"), "PD24-002");

  // The material tree: the plate keeps its code and shows its new size in the
  // size-changed colour; the new bodies are "新增" after the highest codes.
  Open([&](DialogDriver& d, ExportMaterialBom&) {
    Node* row = d.FindNode("tree_control0", material_bom::kColCode, "DP-01");
    EXPECT_EQ(row->GetColumnDisplayText(material_bom::kColSpec), "310.0x180.0x30.0");
    EXPECT_EQ(row->ForegroundColor(), 186);
    Node* added = d.FindNode("tree_control0", material_bom::kColCode, "DP-02");
    EXPECT_EQ(RowBody(added), copy);
    EXPECT_EQ(added->GetColumnDisplayText(material_bom::kColState), "新增");
    Node* moved = d.FindNode("tree_control0", material_bom::kColCode, "IN-01");
    EXPECT_EQ(moved->GetColumnDisplayText(material_bom::kColSpec), "40.0x30.0x30.0");
    EXPECT_NE(moved->ForegroundColor(), 186);
    Node* punched = d.FindNode("tree_control0", material_bom::kColCode, "PU-01");
    EXPECT_EQ(RowBody(punched), punch);
    EXPECT_EQ(punched->GetColumnDisplayText(material_bom::kColState), "新增");
    EXPECT_EQ(punched->GetColumnDisplayText(material_bom::kColMaterial), "SKH-51");
  });
}

TEST_F(CarryOverTest, NewBodiesKeepTheirColourWhenAskedAndNothingElseMoves) {
  BuildPrevious();
  const Tag punch = host_.AddBody(Shape::Cylinder(5, 60, {600, 0, 0}), 90, 130);
  const revision::CarryOverResult r = Carry(true);
  EXPECT_EQ(host_.objects().Color(punch), 130);
  EXPECT_EQ(Attr(punch, "材料材质"), "<none>") << "the colour still gives it";
  EXPECT_EQ(r.Count(Status::kNew), 1);
  EXPECT_EQ(r.Count(Status::kRemoved), 3);
  // Removed bodies are listed with what they were.
  std::vector<std::string> removed;
  for (const revision::RevisedBody& b : r.bodies)
    if (b.status == Status::kRemoved) removed.push_back(b.code + "|" + b.name + "|" + b.old_spec);
  EXPECT_EQ(removed, (std::vector<std::string>{"DP-01|下模板|300.0x180.0x30.0",
                                               "IN-01|凹模入子|40.0x30.0x30.0", "|外导柱|"}));
}

TEST_F(CarryOverTest, AChangedBodyNeverMeasuredIsMeasuredAsTheBomWould) {
  // Two plates numbered by hand: one with an identity, one without; neither
  // has an orientation or a blank system.
  const Tag a = old_.AddBody(Shape::Box(100, 50, 20), 10, 42);
  const Tag b = old_.AddBody(Shape::Box(100, 50, 20, {0, 200, 0}), 10, 42);
  for (Tag t : {a, b}) old_.attributes().SetString(t, "材料规格", "100.0x50.0x20.0");
  old_.attributes().SetString(a, "实体标识", "06010800000009");
  old_.attributes().SetString(a, "材料代号", "UB-01");
  old_.attributes().SetString(b, "材料代号", "UB-02");
  const Tag a2 = host_.AddBody(Shape::Box(120, 50, 20), 10, 42);
  const Tag b2 = host_.AddBody(Shape::Box(100, 50, 25, {0, 200, 0}), 10, 42);
  const revision::CarryOverResult r = Carry();
  EXPECT_EQ(r.Count(Status::kChanged), 2);
  EXPECT_EQ(Attr(a2, "材料规格"), "120.0x50.0x20.0");
  EXPECT_EQ(Attr(a2, "改模前规格"), "100.0x50.0x20.0");
  EXPECT_EQ(Attr(a2, "材料重量"), "0.9");
  EXPECT_EQ(Attr(b2, "材料规格"), "100.0x50.0x25.0");
  EXPECT_EQ(Attr(b2, "材料代号"), "UB-02");
  // The one with an identity has its blank system now; the other gets one
  // when the BOM gives it an identity.
  int named = 0;
  for (Tag c : host_.csys().PartCsys(host_.session().WorkPart()))
    named += host_.objects().Name(c) == "06010800000009";
  EXPECT_EQ(named, 1);
  EXPECT_EQ(Attr(b2, "实体标识"), "<none>");
}

TEST(SizeGrewTest, AnyLargerExtentOrAnUnreadableSizeIsBoughtAgain) {
  using revision::SizeGrew;
  EXPECT_FALSE(SizeGrew("100.0x50.0x20.0", "100.0x50.0x20.0"));
  EXPECT_FALSE(SizeGrew("100.0x50.0x20.0", "99.5x50.0x20.0"));
  EXPECT_TRUE(SizeGrew("100.0x50.0x20.0", "100.0x50.5x20.0"));
  EXPECT_TRUE(SizeGrew("100.0x50.0x20.0", "90.0x50.0x20.5"));
  EXPECT_FALSE(SizeGrew("Φ10.0xH60.0", "Φ10.0xH59.0"));
  EXPECT_TRUE(SizeGrew("Φ10.0xH60.0", "Φ10.5xH60.0"));
  EXPECT_TRUE(SizeGrew("Φ10.0xH60.0", "10.0x10.0x60.0")) << "another form";
  EXPECT_TRUE(SizeGrew("", "10.0x10.0x60.0")) << "never sized";
  EXPECT_TRUE(SizeGrew("10.0x10.0", "10.0x1O.0")) << "not a number";
}

class PreviousPartTest : public CarryOverTest {
 protected:
  // Carrying over from `path` fails with a message holding `expected`, and
  // the new model is as it was.
  void ExpectRefused(const fs::path& path, const std::string& expected) {
    const Tag punch = host_.AddBody(Shape::Cylinder(5, 60), 90, 130);
    const auto before = host_.attributes().List(punch);
    try {
      revision::CarryOver(host_, path.string(), {});
      ADD_FAILURE() << path << " was taken";
    } catch (const revision::PreviousPartError& e) {
      EXPECT_NE(std::string(e.what()).find(expected), std::string::npos) << e.what();
    }
    EXPECT_EQ(host_.objects().Color(punch), 130);
    EXPECT_EQ(host_.attributes().List(punch), before);
    EXPECT_TRUE(host_.attributes().List(host_.session().WorkPart()).empty());
  }
};

TEST_F(PreviousPartTest, APreviousRevisionWithoutItsBomIsRefusedWithItsReason) {
  BuildPrevious();
  const fs::path good = dir_ / "old.xbf";
  memory::SavePartFile(old_, good.string());

  memory::SaveStep(old_, (dir_ / "old.step").string());
  ExpectRefused(dir_ / "old.step", "is a STEP file");
  ExpectRefused(dir_ / "missing.xbf", "does not exist");
  std::ofstream(dir_ / "notes.xbf") << "not a part\n";
  ExpectRefused(dir_ / "notes.xbf", "is not a part file");

  // A part file cut short.
  const std::string bytes = [&] {
    std::ifstream in(good, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }();
  std::ofstream(dir_ / "cut.xbf", std::ios::binary) << bytes.substr(0, bytes.size() / 2);
  ExpectRefused(dir_ / "cut.xbf", "cannot be read");

  // A model saved as a part file before any BOM was made.
  memory::MemoryHost bare;
  bare.AddBody(Shape::Box(10, 10, 10), 50);
  memory::SavePartFile(bare, (dir_ / "bare.xbf").string());
  ExpectRefused(dir_ / "bare.xbf", "carries no BOM");

  // The saved revision itself is taken.
  const revision::CarryOverResult r = revision::CarryOver(host_, good.string(), {});
  EXPECT_EQ(r.Count(Status::kRemoved), 3);
}

}  // namespace
