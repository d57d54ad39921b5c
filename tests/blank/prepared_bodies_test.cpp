// The bodies' geometry measured on worker threads: the records, attributes
// and blank systems are those of the one-thread run to the last byte; a body
// that cannot be measured stops the batch where it stands, as on one thread.
// And round bodies, whose axis is their orientation.
#include <fstream>

#include "blank/body_info.h"
#include "blank/material_param_calculator.h"
#include "blank_fixture.h"
#include "host/text.h"
#include "tests/support/scratch.h"

namespace {

using namespace blank_test;
using blank::MaterialParam;
using blank::MaterialParamCalculator;

// Every field of a record, doubles to the last bit.
std::string Record(const MaterialParam& p) {
  std::string out;
  for (const std::string* s :
       {&p.name, &p.code, &p.material, &p.heat_treatment, &p.spec, &p.quantity, &p.weight,
        &p.remark, &p.ordering_method, &p.state, &p.modified, &p.net_weight, &p.process})
    out += *s + "|";
  return out + text::Format("%a|%a|%a|%d|%u", p.length, p.width, p.thickness, p.color, p.body);
}

// A die's worth of bodies, the same in every host it is built in: drilled
// plates, a pocketed block, turned blocks, round and headed punches (one
// tilted), an L prism, a ball, a body processed before and a sheet.
std::vector<Tag> BuildDie(MemoryHost& h) {
  Shape plate = Shape::Box(300, 200, 35);
  for (int i = 0; i < 3; ++i) plate = plate.Drilled({50.0 + 90 * i, 60, 35}, {0, 0, -1}, 13, 35);
  plate = plate.Drilled({0, 100, 17.5}, {1, 0, 0}, 10, 300);
  const Shape block = Shape::Box(160, 120, 60).Cut(Shape::Box(60, 40, 25, {20, 20, 40}));
  const Shape punch = Shape::Cylinder(8, 90);
  const Shape headed = Shape::Cylinder(10, 80).Fuse(Shape::Cylinder(14, 8, {0, 0, 80}));
  const Shape l_prism = Shape::Prism(
      {{0, 0, 0}, {140, 0, 0}, {140, 30, 0}, {30, 30, 0}, {30, 90, 0}, {0, 90, 0}}, 45);
  std::vector<Tag> bodies;
  for (int copy = 0; copy < 3; ++copy) {
    const Vector3d at{500.0 * copy, 0, 0};
    bodies.push_back(h.AddBody(plate.Translated(at), 10, 6));
    bodies.push_back(
        h.AddBody(block.Rotated({}, {0, 0, 1}, Deg(25 + 10 * copy)).Translated(at), 10, 11));
    bodies.push_back(h.AddBody(punch.Translated(at), 20, 36));
    bodies.push_back(h.AddBody(headed.Rotated({}, {1, 1, 0}, Deg(37)).Translated(at), 20, 186));
    bodies.push_back(h.AddBody(l_prism.Rotated({}, {0, 0, 1}, Deg(-20)).Translated(at), 20, 11));
  }
  bodies.push_back(h.AddBody(Shape::Sphere({5, 6, 7}, 12), 10, 6));
  bodies.push_back(h.AddBody(Shape::Sheet(30, 20, {1, 2, 3}), 10, 11));
  const Tag processed = h.AddBody(Shape::Box(100, 50, 20), 20, 6);
  for (const auto& [title, value] :
       std::vector<std::pair<std::string, std::string>>{{"实体标识", "01020304050006"},
                                                        {"材料代号", "LP-03"},
                                                        {"材料名称", "垫板"},
                                                        {"材料材质", "P20"},
                                                        {"材料规格", "100.0x50.0x20.0"}})
    h.attributes().SetString(processed, title, value);
  bodies.push_back(processed);
  return bodies;
}

struct Outcome {
  std::vector<std::string> records;
  std::vector<std::string> attributes;  // every attribute of every body
  std::vector<std::string> systems;     // the named blank systems
};

Outcome Compute(int threads) {
  MemoryHost h;
  h.SetClock({2026, 11, 24, 9, 0, 0, 0});
  const std::filesystem::path drive =
      test_support::ScratchFolder("prepared_d" + std::to_string(threads));
  h.MapDrive('D', drive.string());
  std::ofstream(drive / "maching_process_bom.csv", std::ios::binary)
      << "重量限制,密度(g/cm),实体颜色,10,20\r\n"
         "0.5,7.85,6,铣六面-钻孔,线割\r\n"
         ",,11,CNC开粗,慢走丝\r\n";
  config::MaterialBomSettings settings = DieShopSettings();
  settings.machining_process =
      config::MachiningProcess::Load(h.platform(), "D:\\maching_process_bom.csv");
  settings.blank_density = 7.85;
  const std::vector<Tag> bodies = BuildDie(h);
  MaterialParamCalculator calc(h, blank::BomOptions{}, settings);
  calc.SetThreads(threads);
  Outcome run;
  for (const MaterialParam& p : calc.GetBodiesMaterialParam(bodies))
    run.records.push_back(Record(p));
  for (Tag b : bodies)
    for (const auto& [title, value] : h.attributes().List(b))
      run.attributes.push_back(text::Format("%u ", b) + title + "=" + value);
  for (Tag c : h.csys().PartCsys(h.session().WorkPart())) {
    const host::CsysInfo info = h.csys().AskCsysInfo(c);
    const Matrix3x3& m = info.matrix;
    run.systems.push_back(h.objects().Name(c) +
                          text::Format(" %a %a %a | %a %a %a %a %a %a %a %a %a", info.origin.X,
                                       info.origin.Y, info.origin.Z, m.Xx, m.Xy, m.Xz, m.Yx, m.Yy,
                                       m.Yz, m.Zx, m.Zy, m.Zz));
  }
  return run;
}

TEST(BlankThreads, TwoThreadsGiveTheOneThreadRecordsAttributesAndSystemsToTheLastBit) {
  const Outcome one = Compute(1);
  const Outcome two = Compute(2);
  const Outcome four = Compute(4);  // more threads than the machine has cores
  ASSERT_EQ(one.records.size(), 18u);
  EXPECT_EQ(two.records, one.records);
  EXPECT_EQ(four.records, one.records);
  EXPECT_EQ(two.attributes, one.attributes);
  EXPECT_EQ(two.systems, one.systems);
  EXPECT_EQ(four.systems, one.systems);
  EXPECT_EQ(one.systems.size(), 17u);  // every body but the one processed before
  // Spot checks of what was computed: the drilled plate, the upright punch,
  // the tilted headed punch (along its own axis), the ball, the sheet and the
  // processed body's stored spec.
  auto fields = [&](std::size_t i) {
    const std::string& r = one.records[i];
    std::vector<std::string> f;
    for (std::size_t a = 0, b; (b = r.find('|', a)) != std::string::npos && f.size() < 13;
         a = b + 1)
      f.push_back(r.substr(a, b - a));
    return f[4] + " " + f[6] + " " + f[11] + " " + f[12];
  };
  EXPECT_EQ(fields(0), "300.0x200.0x35.0 16.8 16.191 铣六面-钻孔");
  EXPECT_EQ(fields(2), "16.0x16.0x90.0 0.2 0.142 ");
  EXPECT_EQ(fields(3), "28.0x28.0x88.0 0.6 0.236 ");
  EXPECT_EQ(fields(15), "24.0x24.0x24.0 0.1 0.057 ");
  EXPECT_EQ(fields(16), "30.0x20.0x0.0 0.0 0.000 ");
  EXPECT_EQ(fields(17), "100.0x50.0x20.0  0.785 线割");
}

TEST(BlankThreads, ABodyThatIsGoneStopsTheBatchWhereItStandsOnEveryThreadCount) {
  for (int threads : {1, 2}) {
    MemoryHost h;
    const config::MaterialBomSettings settings = DieShopSettings();
    const Tag first = h.AddBody(Shape::Box(100, 50, 20).Rotated({}, {0, 0, 1}, Deg(30)), 10, 11);
    const Tag gone = h.AddBody(Shape::Box(10, 10, 10), 10, 11);
    const Tag after = h.AddBody(Shape::Cylinder(8, 90), 10, 11);
    h.objects().Delete(gone);
    MaterialParamCalculator calc(h, blank::BomOptions{}, settings);
    calc.SetThreads(threads);
    std::string message;
    try {
      calc.GetBodiesMaterialParam({first, gone, after});
    } catch (const host::HostError& e) {
      message = e.what();
    }
    EXPECT_EQ(message, text::Format("no object with tag %u", gone)) << threads;
    // The body before it was computed and kept its blank; the one after was
    // not reached.
    EXPECT_EQ(Attr(h, first, "材料规格"), "100.0x50.0x20.0") << threads;
    EXPECT_EQ(Attr(h, after, "材料规格"), "<none>") << threads;
  }
}

// A round body's axis is its orientation, however it is turned; bodies that
// only look round (a flat ground on the head, a cross hole) are searched.
TEST(BlankRoundBodies, TheAxisIsTheOrientationAndTheExactBoxIsTheSmallest) {
  MemoryHost h;
  const Vector3d axis = host::Unit({1, -2, 0.5});
  auto turned = [&](const Shape& s) {
    // Turns world Z onto `axis` about the origin.
    const Vector3d z{0, 0, 1};
    return s.Rotated({}, host::Cross(z, axis), std::acos(host::Dot(z, axis))).Translated({7, 8, 9});
  };
  struct Case {
    const char* name;
    Shape shape;
    double volume;
    bool along_axis;
  };
  const Shape headed = Shape::Cylinder(10, 80).Fuse(Shape::Cylinder(14, 8, {0, 0, 80}));
  const std::vector<Case> cases = {
      {"punch", Shape::Cylinder(8, 90), 16.0 * 16 * 90, true},
      {"headed", headed, 28.0 * 28 * 88, true},
      {"cone tip", Shape::Cylinder(6, 50).Fuse(Shape::Cone(6, 2, 10, {0, 0, 50})), 12.0 * 12 * 60,
       true},
      {"ball nose", Shape::Cylinder(5, 40).Fuse(Shape::Sphere({0, 0, 40}, 5)), 10.0 * 10 * 45,
       true},
      {"flat on the head", headed.Cut(Shape::Box(40, 40, 8, {-20, 11, 80})), 28.0 * 25 * 88, true},
      {"cross hole", Shape::Cylinder(10, 60).Drilled({-10, 0, 30}, {1, 0, 0}, 4, 20),
       20.0 * 20 * 60, true},
  };
  for (const Case& c : cases) {
    const Tag body = h.AddBody(turned(c.shape));
    Matrix3x3 m;
    ASSERT_TRUE(blank::BodyInfo(h, body).GetBodyMinVolumeOrient(m, 0.05)) << c.name;
    const Tag csys = h.csys().CreateTempCsys({}, h.csys().CreateMatrix(m));
    const std::array<double, 3> e = h.bodies().AskBoundingBoxExact(body, csys).distances;
    EXPECT_NEAR(e[0] * e[1] * e[2] / c.volume, 1.0, 1e-7) << c.name;
    const double along =
        std::max({std::fabs(host::Dot(m.XAxis(), axis)), std::fabs(host::Dot(m.YAxis(), axis)),
                  std::fabs(host::Dot(m.ZAxis(), axis))});
    EXPECT_NEAR(along, 1.0, 1e-9) << c.name;
  }
  // Upright, the punch keeps the world axes; lying along world X, its side
  // across the axis is world Y.
  Matrix3x3 m;
  ASSERT_TRUE(blank::BodyInfo(h, h.AddBody(Shape::Cylinder(8, 90, {3, 4, 5})))
                  .GetBodyMinVolumeOrient(m, 0.05));
  ExpectVec(m.XAxis(), {1, 0, 0});
  ExpectVec(m.ZAxis(), {0, 0, 1});
  ASSERT_TRUE(blank::BodyInfo(h, h.AddBody(Shape::Cylinder(8, 90, {}, {-1, 0, 0})))
                  .GetBodyMinVolumeOrient(m, 0.05));
  ExpectVec(m.XAxis(), {0, 1, 0});
  ExpectVec(m.ZAxis(), {1, 0, 0});
}

}  // namespace
