// The material parameter computation on real bodies: both paths, the colour
// and state rules, weights, ordering, remarks and the machining table.
#include "blank/material_param_calculator.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "blank_fixture.h"
#include "host/text.h"

namespace {

using namespace blank_test;
using blank::MaterialParam;
using blank::MaterialParamCalculator;

struct BlankParams : ::testing::Test {
  MemoryHost h;
  config::MaterialBomSettings settings = DieShopSettings();

  std::unique_ptr<MaterialParamCalculator> Calc(int mode = 0) {
    return std::make_unique<MaterialParamCalculator>(h, blank::BomOptions{false, false, true, mode},
                                                     settings);
  }
  void Mark(Tag body, const std::string& id = "01020304050006") {
    h.attributes().SetString(body, "实体标识", id);
    h.attributes().SetString(body, "材料代号", "UB-03");
    h.attributes().SetString(body, "材料名称", "垫板");
    h.attributes().SetString(body, "材料材质", "P20");
  }
};

TEST_F(BlankParams, FullPathComputesWritesAndRestoresTheWorkSystem) {
  h.SetClock({2026, 11, 21, 9, 8, 7, 654});
  const Tag body = h.AddBody(Shape::Box(100, 50, 20).Rotated({}, {0, 0, 1}, Deg(30)), 10, 11);
  const Tag wcs = h.csys().AskWcs();
  const MaterialParam p = Calc()->GetBodyMaterialParam(body);
  EXPECT_EQ(p.name, "上模座");  // layer 10's name
  EXPECT_EQ(p.code, "UB-");
  EXPECT_EQ(p.material, "Cr12MoV");  // colour 11
  EXPECT_EQ(p.heat_treatment, "HRC58-60");
  EXPECT_EQ(p.spec, "100.0x50.0x20.0");
  EXPECT_DOUBLE_EQ(p.width, 50.0);
  EXPECT_EQ(p.weight, "0.8");
  EXPECT_EQ(p.quantity, "1");
  EXPECT_EQ(p.remark, "");      // layer 10 is not an equal-height layer
  EXPECT_EQ(p.net_weight, "");  // no machining table
  EXPECT_EQ(h.csys().AskWcs(), wcs);
  // Written back: identity, spec, orientation, material and heat treatment;
  // the record's ordering method is not written.
  EXPECT_EQ(Attr(h, body, "实体标识"), "11210908070654");
  EXPECT_EQ(Attr(h, body, "材料规格"), "100.0x50.0x20.0");
  EXPECT_EQ(Attr(h, body, "材料热处理"), "HRC58-60");
  EXPECT_NE(Attr(h, body, "材料方位"), "<none>");
  EXPECT_EQ(Attr(h, body, "材料订购方式"), "<none>");
  EXPECT_EQ(CsysNamed(h, "11210908070654").size(), 1u);
}

TEST_F(BlankParams, ShortPathKeepsStoredValuesButTheColourTableWins) {
  const Tag body = h.AddBody(Shape::Box(100, 50, 20), 10, 87);
  Mark(body);
  h.attributes().SetString(body, "材料规格", "100.0x50.0x20.0");
  h.attributes().SetString(body, "材料重量", "0.8");
  h.attributes().SetString(body, "材料备注", "留磨量");
  h.attributes().SetString(body, "材料余量", "1.000_1.000_2.000_2.000_3.000");
  h.attributes().SetString(body, "材料热处理", "氮化");
  h.SetBodyShape(body, Shape::Box(300, 50, 20));  // the geometry changed since
  const Tag probe = Probe(h);
  const MaterialParam p = Calc()->GetBodyMaterialParam(body);
  EXPECT_EQ(p.spec, "100.0x50.0x20.0");
  EXPECT_EQ(p.stored_spec, "100.0x50.0x20.0");
  EXPECT_EQ(p.weight, "0.8");
  EXPECT_EQ(p.code, "UB-03");
  EXPECT_EQ(p.material, "P20");  // colour 87 is not in the table
  EXPECT_EQ(p.heat_treatment, "氮化");
  EXPECT_EQ(p.remark, "留磨量");
  EXPECT_EQ(p.allowance, "1.000_1.000_2.000_2.000_3.000");
  EXPECT_EQ(p.quantity, "");                 // missing attribute: empty
  EXPECT_EQ(LiveObjectsSince(h, probe), 0);  // no geometry work, no system
  // A colour of the table overrides the stored material and heat treatment,
  // on the body too.
  const Tag coloured = h.AddBody(Shape::Box(10, 10, 10), 10, 36);
  Mark(coloured);
  h.attributes().SetString(coloured, "材料热处理", "氮化");
  const MaterialParam c = Calc()->GetBodyMaterialParam(coloured);
  EXPECT_EQ(c.material, "SKD11");
  EXPECT_EQ(c.heat_treatment, "HRC60-62");
  EXPECT_EQ(Attr(h, coloured, "材料材质"), "SKD11");
  EXPECT_EQ(Attr(h, coloured, "材料热处理"), "HRC60-62");
}

TEST_F(BlankParams, ColourBeyondTheMaterialListStopsWithTheSubscriptError) {
  settings.material.material_names.pop_back();  // colour 36 now has no material
  const Tag body = h.AddBody(Shape::Box(10, 10, 10), 10, 36);
  auto calc = Calc();
  const Tag wcs = h.csys().AskWcs();
  try {
    calc->GetBodyMaterialParam(body);
    FAIL() << "no error";
  } catch (const std::out_of_range& e) {
    EXPECT_STREQ(e.what(), "invalid vector<T> subscript");
  }
  // The work system is restored on the way out.
  EXPECT_EQ(h.csys().AskWcs(), wcs);
}

TEST_F(BlankParams, NewBodiesGetTheStateAndADate) {
  h.SetClock({2026, 1, 2, 3, 4, 5, 6});
  const Tag fresh = h.AddBody(Shape::Box(10, 10, 10), 10, 186);
  MaterialParam p = Calc()->GetBodyMaterialParam(fresh);
  EXPECT_EQ(p.state, "新增");
  EXPECT_EQ(p.modified, "2026-01-02 03:04:05");
  EXPECT_EQ(Attr(h, fresh, "修改日期"), "2026-01-02 03:04:05");
  // Short path: an existing date is kept.
  const Tag marked = h.AddBody(Shape::Box(10, 10, 10), 10, 186);
  Mark(marked);
  h.attributes().SetString(marked, "修改日期", "2025-12-31 23:59:59");
  EXPECT_EQ(Calc()->GetBodyMaterialParam(marked).modified, "2025-12-31 23:59:59");
  // Another colour: no state, no date written.
  const Tag plain = h.AddBody(Shape::Box(10, 10, 10), 10, 11);
  p = Calc()->GetBodyMaterialParam(plain);
  EXPECT_EQ(p.state, "");
  EXPECT_EQ(Attr(h, plain, "修改日期"), "<none>");
}

TEST_F(BlankParams, WeightLimitOrderingAndRemarks) {
  // 100 x 50 x 20 at 8 g/cm3 is 0.8 kg: exactly the limit.
  const Tag at_limit = h.AddBody(Shape::Box(100, 50, 20), 20, 11);
  MaterialParam p = Calc()->GetBodyMaterialParam(at_limit);
  EXPECT_EQ(p.ordering_method, "库存料");
  EXPECT_EQ(p.remark, "厚度(20.0)等高");  // layer 20 is an equal-height layer
  EXPECT_EQ(p.code, "LP-");
  const Tag heavier = h.AddBody(Shape::Box(100, 50, 20.5), 20, 11);
  p = Calc()->GetBodyMaterialParam(heavier);
  EXPECT_EQ(p.weight, "0.8");  // 0.82 shown with one decimal
  EXPECT_EQ(p.ordering_method, "毛料订购");
  // Stored ordering method and remark are kept, whatever the weight says.
  const Tag kept = h.AddBody(Shape::Box(100, 50, 40.5), 20, 11);
  h.attributes().SetString(kept, "材料订购方式", "库存料");
  h.attributes().SetString(kept, "材料备注", "客户提供");
  h.attributes().SetString(kept, "材料名称", "定位块");
  p = Calc()->GetBodyMaterialParam(kept);
  EXPECT_EQ(p.ordering_method, "库存料");
  EXPECT_EQ(p.remark, "客户提供");
  EXPECT_EQ(p.name, "定位块");
  auto calc = Calc();
  EXPECT_TRUE(calc->IsNoBuyBody(kept));
  h.attributes().SetString(heavier, "材料订购方式", "毛料订购");
  EXPECT_FALSE(calc->IsNoBuyBody(heavier));
  // A layer that is not configured: no name, a bare "-" code.
  p = Calc()->GetBodyMaterialParam(h.AddBody(Shape::Box(5, 5, 5), 77, 11));
  EXPECT_EQ(p.name, "");
  EXPECT_EQ(p.code, "-");
}

TEST_F(BlankParams, ExtentsFollowTheCalculationMode) {
  const Tag body = h.AddBody(Shape::Box(10.004, 20.3, 10.506), 10, 11);
  EXPECT_EQ(Calc(0)->GetBodyMaterialParam(body).spec, "10.0x20.5x11.0");
  h.attributes().Delete(body, host::kStringAttribute, "实体标识");
  const MaterialParam exact = Calc(1)->GetBodyMaterialParam(body);
  EXPECT_EQ(exact.spec, "10.0x20.3x10.5");
  EXPECT_NEAR(exact.length, 10.004, 1e-7);
}

TEST_F(BlankParams, ExistingNamedSystemIsUsedWithoutASearch) {
  const Tag body = h.AddBody(Shape::Box(100, 50, 20), 10, 11);
  h.attributes().SetString(body, "实体标识", "05060708091234");
  // A system given by hand: turned 90 degrees about Z, so X runs along the
  // block's 50 side.
  auto calc = Calc();
  Matrix3x3 m{0, 1, 0, -1, 0, 0, 0, 0, 1};
  const Tag csys = calc->geometry().CreateCsys(m);
  h.objects().SetName(csys, "05060708091234");
  const MaterialParam p = calc->GetBodyMaterialParam(body);
  EXPECT_EQ(p.spec, "50.0x100.0x20.0");
  EXPECT_EQ(Attr(h, body, "材料方位"), "<none>");  // no search
  EXPECT_EQ(CsysNamed(h, "05060708091234"), std::vector<Tag>{csys});
}

TEST_F(BlankParams, MachiningTableGivesNetWeightAndProcess) {
  // 100 x 50 x 10 = 50000 mm3 at 8 g/cm3: 0.4 kg. The limit is written as
  // the measured net weight to the last digit, so that the two are equal.
  const Tag equal = h.AddBody(Shape::Box(100, 50, 10), 10, 11);
  const double net = h.bodies().Volume(equal) * 8.0 / 1000000.0;
  const std::filesystem::path drive =
      std::filesystem::path(::testing::TempDir()) / ("blank_d_" + std::to_string(getpid()));
  std::filesystem::create_directories(drive);
  h.MapDrive('D', drive.string());
  std::ofstream(drive / "maching_process_bom.csv", std::ios::binary)
      << ("重量限制,密度(g/cm),实体颜色,10,20\r\n" + text::Format("%.17g", net) +
          ",7.85,6,铣六面-钻孔,线割\r\n"
          ",,11,CNC开粗-热处理-磨床,\r\n"
          ",,36\r\n");
  settings.machining_process =
      config::MachiningProcess::Load(h.platform(), "D:\\maching_process_bom.csv");
  ASSERT_EQ(settings.machining_process->weight_limit, net);
  settings.blank_density = 8.0;
  auto calc = Calc();
  MaterialParam p = calc->GetBodyMaterialParam(equal);
  EXPECT_EQ(p.net_weight, "0.400");
  EXPECT_EQ(p.process, "CNC开粗-热处理-磨床");
  // Lighter than the limit: none.
  EXPECT_EQ(calc->GetBodyMaterialParam(h.AddBody(Shape::Box(100, 50, 9.9), 10, 11)).process, "");
  // By layer column and colour row: a colour not in the table, a layer
  // without a column, a row past the end of a short column.
  auto process = [&](int layer, int colour) {
    return calc->weights().ManufacturingProcess(h.AddBody(Shape::Box(100, 50, 20), layer, colour));
  };
  EXPECT_EQ(process(20, 6), "线割");
  EXPECT_EQ(process(10, 87), "");
  EXPECT_EQ(process(30, 11), "");
  EXPECT_EQ(process(20, 36), "");
  // The short path computes them too.
  const Tag marked = h.AddBody(Shape::Box(100, 50, 20), 10, 6);
  Mark(marked);
  p = calc->GetBodyMaterialParam(marked);
  EXPECT_EQ(p.net_weight, "0.800");
  EXPECT_EQ(p.process, "铣六面-钻孔");
  // A table that cannot be read: limit 0, every net weight passes, and a
  // density of 0 makes every net weight 0.
  settings.machining_process = config::MachiningProcess::Load(h.platform(), "D:\\missing.csv");
  settings.blank_density = 0.0;
  p = Calc()->GetBodyMaterialParam(marked);
  EXPECT_EQ(p.net_weight, "0.000");
  EXPECT_EQ(p.process, "");
  std::filesystem::remove_all(drive);
}

TEST_F(BlankParams, SheetsAndDeletedBodies) {
  // A sheet has no volume: world axes, a flat spec, no failure.
  const Tag sheet = h.AddBody(Shape::Sheet(30, 20, {1, 2, 3}), 10, 11);
  const MaterialParam p = Calc()->GetBodyMaterialParam(sheet);
  EXPECT_EQ(p.spec, "30.0x20.0x0.0");
  EXPECT_EQ(p.weight, "0.0");
  // A body that is gone: the host's error comes through, and the work
  // system is as it was.
  const Tag gone = h.AddBody(Shape::Box(10, 10, 10), 10, 11);
  h.objects().Delete(gone);
  const Tag wcs = h.csys().AskWcs();
  auto calc = Calc();
  EXPECT_THROW(calc->GetBodyMaterialParam(gone), host::HostError);
  EXPECT_THROW(calc->CalcBodyMinOrient(gone), host::HostError);
  EXPECT_EQ(h.csys().AskWcs(), wcs);
}

TEST_F(BlankParams, RecordLookupAndBatches) {
  const Tag a = h.AddBody(Shape::Box(10, 10, 10), 10, 11);
  const Tag b = h.AddBody(Shape::Box(20, 10, 10), 10, 11);
  auto calc = Calc();
  std::vector<MaterialParam> records = calc->GetBodiesMaterialParam({a, b, a});
  ASSERT_EQ(records.size(), 3u);
  records[2].remark = "later";
  EXPECT_EQ(MaterialParamCalculator::GetBodyMtlParam(a, records), &records[2]);  // last match
  EXPECT_EQ(MaterialParamCalculator::GetBodyMtlParam(b, records), &records[1]);
  EXPECT_EQ(MaterialParamCalculator::GetBodyMtlParam(999, records), nullptr);
}

}  // namespace
