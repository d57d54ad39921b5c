#include "samples/sample_die.h"

#include <cmath>
#include <filesystem>
#include <map>
#include <numbers>
#include <utility>

#include "host/memory/part_file.h"
#include "host/text.h"

namespace samples {
namespace {

using host::Point3d;
using host::Vector3d;
using memory::Shape;

// Layers of the sample layer table.
constexpr int kUpperShoe = 10, kUpperBacking = 20, kPunchHolder = 30, kStripper = 40,
              kDiePlate = 50, kLowerBacking = 60, kLowerShoe = 70, kInsert = 80, kPunch = 90,
              kStopPlate = 100, kUpperFoot = 110, kLowerFoot = 120, kStop = 130, kRail = 140,
              kStandard = 150, kStrip = 200, kProduct = 210;

// Colours of the sample colour table, and the changed-body colour.
constexpr int kCr12MoV = 6, kSKD11 = 11, kDC53 = 36, k45 = 42, kP20 = 78, kA3 = 108, kSKH51 = 130,
              kHT250 = 145, kChanged = 186, kGrey = 87, kBlack = 216;

const std::map<int, std::string>& LayerNames() {
  static const std::map<int, std::string> names = {
      {kUpperShoe, "上模座"}, {kUpperBacking, "上垫板"}, {kPunchHolder, "上夹板"},
      {kStripper, "脱料板"},  {kDiePlate, "下模板"},     {kLowerBacking, "下垫板"},
      {kLowerShoe, "下模座"}, {kInsert, "入子"},         {kPunch, "冲头"},
      {kStopPlate, "止挡板"}, {kUpperFoot, "上垫脚"},    {kLowerFoot, "下垫脚"},
      {kStop, "限位块"},      {kRail, "导料板"}};
  return names;
}

// One body of the die before it goes into the host.
struct Piece {
  Shape shape;
  int layer;
  int color;
  std::string name;
  std::vector<std::pair<std::string, std::string>> attributes;
  std::string spec;  // the intended blank
  bool standard = false;
};

std::string Spec(double l, double w, double t) { return text::Format("%.1fx%.1fx%.1f", l, w, t); }
std::string RoundSpec(double d, double h) { return text::Format("Φ%.1fxH%.1f", d, h); }

// Plan positions (X, Y).
struct XY {
  double x, y;
};

// Through holes along Z in a plate whose faces are at z0 and z1.
Shape DrillZ(Shape s, const std::vector<XY>& at, double diameter, double z0, double z1) {
  for (const XY& p : at) s = s.Drilled({p.x, p.y, z1 + 1.0}, {0, 0, -1}, diameter, z1 - z0 + 2.0);
  return s;
}

// A rectangular through opening along Z, centred at `c`.
Shape CutRectZ(const Shape& s, XY c, double dx, double dy, double z0, double z1) {
  return s.Cut(Shape::Box(dx, dy, z1 - z0 + 2.0, {c.x - dx / 2, c.y - dy / 2, z0 - 1.0}));
}

// A tube (bush, spring) standing on `base`.
Shape Tube(double outer, double inner, double height, Point3d base) {
  return Shape::Cylinder(outer / 2, height, base)
      .Cut(Shape::Cylinder(inner / 2, height + 2.0, {base.X, base.Y, base.Z - 1.0}));
}

// A socket head cap screw standing head down on `base`.
Shape Screw(double d, double head_d, double head_h, double length, Point3d base) {
  return Shape::Cylinder(head_d / 2, head_h, base)
      .Fuse(Shape::Cylinder(d / 2, length, {base.X, base.Y, base.Z + head_h}));
}

std::vector<std::pair<std::string, std::string>> StandardAttributes(
    const std::string& name, const std::string& type, const std::string& brand,
    const std::string& material, const std::string& heat, const std::string& supplier,
    const std::string& lead_time) {
  return {{"名称", name},   {"类型", type},       {"品牌", brand},         {"材质", material},
          {"热处理", heat}, {"供应商", supplier}, {"采购周期", lead_time}, {"PART_ATTR", "Y"}};
}

std::vector<Piece> DiePieces() {
  std::vector<Piece> out;
  const std::pair<std::string, std::string> drawn = {"转图标识", "Y"};
  auto plate = [&](Shape s, int layer, int color, double l, double w, double t) {
    out.push_back({std::move(s), layer, color, LayerNames().at(layer), {drawn}, Spec(l, w, t)});
  };

  // Plan positions. The plates (300 x 180) sit at x 50..350, y 35..215 on
  // shoes of 400 x 250; the strip runs along X at y 105..145.
  const std::vector<XY> guides = {{30, 30}, {370, 30}, {30, 220}, {370, 220}};
  const std::vector<XY> screws = {{70, 55},  {200, 55},  {330, 55},
                                  {70, 195}, {200, 195}, {330, 195}};
  const std::vector<XY> dowels = {{90, 75}, {310, 175}};
  const std::vector<XY> round10 = {{100, 125}, {160, 125}, {290, 125}};
  const std::vector<XY> round6 = {{215, 125}, {235, 125}};
  const std::vector<XY> rect = {{65, 125}, {330, 125}};
  std::vector<XY> slugs = round10;
  slugs.insert(slugs.end(), round6.begin(), round6.end());

  // Heights: lower feet 0..40, lower shoe 40..90, lower backing 90..110, die
  // plate 110..140, strip 140..141, rails 140..148, stripper 149..174, stop
  // plate 174..186, punch holder 186..208, upper backing 208..223, upper
  // shoe 223..268, upper feet 268..308.

  // Feet: identical pairs, no holes.
  for (double y : {0.0, 200.0})
    plate(Shape::Box(400, 50, 40, {0, y, 0}), kLowerFoot, kA3, 400, 50, 40);

  // Lower die shoe: guide pins, screws, dowels, slug holes.
  {
    Shape s = Shape::Box(400, 250, 50, {0, 0, 40});
    s = DrillZ(s, guides, 25, 40, 90);
    s = DrillZ(s, screws, 11, 40, 90);
    s = DrillZ(s, dowels, 8, 40, 90);
    s = DrillZ(s, slugs, 14, 40, 90);
    for (const XY& r : rect) s = CutRectZ(s, r, 24, 16, 40, 90);
    plate(s, kLowerShoe, kHT250, 400, 250, 50);
  }
  // Lower backing plate.
  {
    Shape s = Shape::Box(300, 180, 20, {50, 35, 90});
    s = DrillZ(s, screws, 11, 90, 110);
    s = DrillZ(s, dowels, 8, 90, 110);
    s = DrillZ(s, slugs, 12, 90, 110);
    for (const XY& r : rect) s = CutRectZ(s, r, 22, 14, 90, 110);
    plate(s, kLowerBacking, kCr12MoV, 300, 180, 20);
  }
  // Die plate: tapped screw holes, dowels, insert pockets, openings for the
  // square punches.
  const std::vector<std::pair<XY, std::pair<double, double>>> pockets = {{{100, 125}, {40, 30}},
                                                                         {{160, 125}, {40, 30}},
                                                                         {{225, 125}, {50, 30}},
                                                                         {{290, 125}, {40, 30}}};
  {
    Shape s = Shape::Box(300, 180, 30, {50, 35, 110});
    s = DrillZ(s, screws, 8.5, 110, 140);
    s = DrillZ(s, dowels, 8, 110, 140);
    for (const auto& [c, size] : pockets) s = CutRectZ(s, c, size.first, size.second, 110, 140);
    for (const XY& r : rect) s = CutRectZ(s, r, 20.2, 12.2, 110, 140);
    plate(s, kDiePlate, kSKD11, 300, 180, 30);
  }
  // Die inserts in the pockets: two identical, one wider with two holes, and
  // one replaced insert in the changed-body colour.
  auto insert = [&](XY c, double l, double w, const std::vector<XY>& holes, double hole, int color,
                    const std::string& name,
                    std::vector<std::pair<std::string, std::string>> extra) {
    Shape s = Shape::Box(l, w, 30, {c.x - l / 2, c.y - w / 2, 110});
    s = DrillZ(s, holes, hole, 110, 140);
    extra.insert(extra.begin(), drawn);
    extra.insert(extra.begin(), {"材料名称", name});
    out.push_back({s, kInsert, color, name, extra, Spec(l, w, 30)});
  };
  insert({100, 125}, 40, 30, {{100, 125}}, 10.2, kDC53, "凹模入子", {});
  insert({160, 125}, 40, 30, {{160, 125}}, 10.2, kDC53, "凹模入子", {});
  insert({225, 125}, 50, 30, round6, 6.2, kDC53, "凹模入子B", {});
  insert({290, 125}, 40, 30, {{290, 125}}, 10.2, kChanged, "凹模入子",
         {{"材料材质", "DC53"}, {"材料热处理", "真空淬火HRC60-62"}});

  // Guide rails on the die plate, along the strip.
  for (double y : {85.0, 145.0}) {
    Shape s = Shape::Box(300, 20, 8, {50, y, 140});
    s = DrillZ(s, {{80, y + 10}, {200, y + 10}, {320, y + 10}}, 6.6, 140, 148);
    plate(s, kRail, k45, 300, 20, 8);
  }

  // Plates of the upper half, each with screw and dowel holes and openings
  // for the punches.
  auto punched = [&](Shape s, double z0, double z1, double clearance) {
    s = DrillZ(s, round10, 10 + clearance, z0, z1);
    s = DrillZ(s, round6, 6 + clearance, z0, z1);
    for (const XY& r : rect) s = CutRectZ(s, r, 20 + clearance, 12 + clearance, z0, z1);
    return s;
  };
  {
    Shape s = Shape::Box(300, 180, 25, {50, 35, 149});
    s = DrillZ(s, screws, 8.5, 149, 174);
    s = punched(s, 149, 174, 0.4);
    plate(s, kStripper, kCr12MoV, 300, 180, 25);
  }
  {
    Shape s = Shape::Box(300, 180, 12, {50, 35, 174});
    s = DrillZ(s, screws, 11, 174, 186);
    s = punched(s, 174, 186, 1.0);
    plate(s, kStopPlate, k45, 300, 180, 12);
  }
  {
    Shape s = Shape::Box(300, 180, 22, {50, 35, 186});
    s = DrillZ(s, screws, 11, 186, 208);
    s = DrillZ(s, dowels, 8, 186, 208);
    s = punched(s, 186, 208, 0.0);
    plate(s, kPunchHolder, kP20, 300, 180, 22);
  }
  {
    Shape s = Shape::Box(300, 180, 15, {50, 35, 208});
    s = DrillZ(s, screws, 11, 208, 223);
    s = DrillZ(s, dowels, 8, 208, 223);
    plate(s, kUpperBacking, kCr12MoV, 300, 180, 15);
  }
  {
    Shape s = Shape::Box(400, 250, 45, {0, 0, 223});
    s = DrillZ(s, guides, 38, 223, 268);
    s = DrillZ(s, screws, 11, 223, 268);
    s = DrillZ(s, dowels, 8, 223, 268);
    plate(s, kUpperShoe, k45, 400, 250, 45);
  }
  for (double y : {0.0, 200.0})
    plate(Shape::Box(400, 50, 40, {0, y, 268}), kUpperFoot, kA3, 400, 50, 40);

  // Punches, 60 long, standing in the punch holder: round ones are marked
  // as round parts.
  auto punch = [&](Shape s, const std::string& name, std::string spec, bool round) {
    std::vector<std::pair<std::string, std::string>> attrs = {{"材料名称", name}, drawn};
    if (round) attrs.push_back({"圆件", "Y"});
    out.push_back({std::move(s), kPunch, kSKH51, name, attrs, std::move(spec)});
  };
  for (const XY& p : round10)
    punch(Shape::Cylinder(5, 60, {p.x, p.y, 148}), "冲孔冲头", RoundSpec(10, 60), true);
  for (const XY& p : round6)
    punch(Shape::Cylinder(3, 60, {p.x, p.y, 148}), "冲孔冲头", RoundSpec(6, 60), true);
  for (const XY& r : rect)
    punch(Shape::Box(20, 12, 60, {r.x - 10, r.y - 6, 148}), "方形冲头", Spec(20, 12, 60), false);

  // Stops: four round stop pins on the lower shoe, and a stop block turned
  // 30 degrees about Z.
  for (const XY& p : std::vector<XY>{{25, 80}, {25, 170}, {375, 75}, {375, 175}})
    out.push_back({Shape::Cylinder(15, 60, {p.x, p.y, 90}),
                   kStop,
                   k45,
                   "限位柱",
                   {{"材料名称", "限位柱"}, drawn},
                   Spec(30, 30, 60)});
  out.push_back({Shape::Box(40, 16, 20, {355, 117, 90})
                     .Rotated({375, 125, 90}, {0, 0, 1}, std::numbers::pi / 6),
                 kStop,
                 k45,
                 "斜置挡块",
                 {{"材料名称", "斜置挡块"}, drawn},
                 Spec(40, 16, 20)});

  // The strip and a product: not on template layers.
  out.push_back({Shape::Box(400, 40, 1, {0, 105, 140}), kStrip, kGrey, "料带", {}, ""});
  out.push_back({Shape::Box(30, 20, 1, {365, 115, 141}), kProduct, kGrey, "产品", {}, ""});

  // Bought standard parts.
  auto standard = [&](Shape s, int color, std::vector<std::pair<std::string, std::string>> attrs) {
    const std::string name = attrs.front().second;
    out.push_back({std::move(s), kStandard, color, name, std::move(attrs), "", true});
  };
  for (const XY& g : guides)
    standard(Shape::Cylinder(12.5, 180, {g.x, g.y, 40}), kGrey,
             StandardAttributes("外导柱", "Φ25x180", "MISUMI", "SUJ2", "淬火HRC58-62",
                                "东莞恒达模具配件", "3天"));
  for (const XY& g : guides)
    standard(Tube(38, 25, 45, {g.x, g.y, 223}), kGrey,
             StandardAttributes("外导套", "Φ25xΦ38x45", "MISUMI", "SUJ2", "淬火HRC58-62",
                                "东莞恒达模具配件", "3天"));
  for (const XY& p : std::vector<XY>{{140, 60}, {260, 60}, {140, 190}, {260, 190}})
    standard(
        Tube(25, 13, 50, {p.x, p.y, 174}), kCr12MoV,
        StandardAttributes("矩形弹簧", "TF25x50", "盘起", "SWOSC-V", "无", "深圳明辉五金", "5天"));
  for (const XY& p : screws)
    standard(
        Screw(10, 16, 10, 80, {p.x, p.y, 40}), kBlack,
        StandardAttributes("内六角螺钉", "M10x80", "国产", "SCM435", "无", "苏州佳锐精密", "1天"));
  for (const XY& p : dowels) {
    standard(Shape::Cylinder(4, 40, {p.x, p.y, 80}), kGrey,
             StandardAttributes("定位销", "Φ8x40", "MISUMI", "SUJ2", "淬火HRC58-62",
                                "东莞恒达模具配件", "3天"));
    standard(Shape::Cylinder(4, 40, {p.x, p.y, 195}), kGrey,
             StandardAttributes("定位销", "Φ8x40", "MISUMI", "SUJ2", "淬火HRC58-62",
                                "东莞恒达模具配件", "3天"));
  }
  for (const XY& p : std::vector<XY>{{70, 100}, {70, 150}, {330, 100}, {330, 150}})
    standard(Shape::Cylinder(4, 30, {p.x, p.y, 120}), kGrey,
             StandardAttributes("浮升销", "Φ8x30", "MISUMI", "SKD11", "淬火HRC58-62",
                                "东莞恒达模具配件", "3天"));
  // Parts added when the die was changed, in the changed-body colour: a fifth
  // spring like the four above, and two nitrogen gas springs.
  standard(
      Tube(25, 13, 50, {100, 60, 174}), kChanged,
      StandardAttributes("矩形弹簧", "TF25x50", "盘起", "SWOSC-V", "无", "深圳明辉五金", "5天"));
  for (const XY& p : std::vector<XY>{{200, 60}, {200, 190}})
    standard(Shape::Cylinder(16, 50, {p.x, p.y, 174}).Fuse(Shape::Cylinder(8, 15, {p.x, p.y, 224})),
             kChanged,
             StandardAttributes("氮气弹簧", "X350-050", "大圆", "", "无", "苏州佳锐精密", "7天"));
  return out;
}

const std::vector<Piece>& Die() {
  static const std::vector<Piece> die = DiePieces();
  return die;
}

}  // namespace

int SampleDieBodyCount() { return static_cast<int>(Die().size()); }

std::vector<SampleBody> BuildSampleDie(memory::MemoryHost& host, int bodies) {
  const std::vector<Piece>& die = Die();
  const int total = bodies > 0 ? bodies : static_cast<int>(die.size());
  std::vector<SampleBody> out;
  out.reserve(static_cast<std::size_t>(total));
  for (int i = 0; i < total; ++i) {
    const int copy = i / static_cast<int>(die.size());
    const Piece& p = die[static_cast<std::size_t>(i) % die.size()];
    const Vector3d offset{500.0 * (copy % 4), 400.0 * (copy / 4), 0.0};
    // Every body its own geometry, as in a die read from a file.
    const Shape shape = p.shape.Translated(offset);
    const host::Tag tag = host.AddBody(shape, p.layer, p.color, p.name);
    for (const auto& [title, value] : p.attributes) host.attributes().SetString(tag, title, value);
    SampleBody b;
    b.name = p.name;
    b.layer = p.layer;
    b.color = p.color;
    b.standard = p.standard;
    b.spec = p.spec;
    b.material_name = p.name;
    bool named = false;
    for (const auto& [title, value] : p.attributes) named = named || title == "材料名称";
    if (!named && LayerNames().count(p.layer)) b.material_name = LayerNames().at(p.layer);
    out.push_back(std::move(b));
  }
  return out;
}

void WriteSampleDie(const std::string& folder, const std::string& name, int bodies) {
  memory::MemoryHost host;
  BuildSampleDie(host, bodies);
  host.SetPartLeaf(text::Utf8ToGbk(name));
  const std::filesystem::path dir(folder);
  memory::SaveStep(host, (dir / (name + ".step")).string(), kSampleTimeStamp);
  memory::SavePartFile(host, (dir / (name + memory::kPartFileExtension)).string());
}

}  // namespace samples
