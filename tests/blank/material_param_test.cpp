// The material parameter computation on real bodies: both paths, the colour
// and state rules, weights, ordering, remarks and the machining table.
#include "blank/material_param_calculator.h"

#include <fstream>

#include "blank_fixture.h"
#include "host/text.h"
#include "tests/support/scratch.h"

namespace {

using namespace blank_test;
using blank::MaterialParam;
using blank::MaterialParamCalculator;

// The record's texts in the material tree's column order: name, code,
// material, spec, quantity, weight, heat treatment, remark, ordering method,
// net weight, process.
std::string Row(const MaterialParam& p) {
  std::string row = p.name;
  for (const std::string* s :
       {&p.code, &p.material, &p.spec, &p.quantity, &p.weight, &p.heat_treatment, &p.remark,
        &p.ordering_method, &p.net_weight, &p.process})
    row += "|" + *s;
  return row;
}

struct BlankParams : ::testing::Test {
  MemoryHost h;
  config::MaterialBomSettings settings = DieShopSettings();

  std::unique_ptr<MaterialParamCalculator> Calc(int mode = 0) {
    return std::make_unique<MaterialParamCalculator>(h, blank::BomOptions{false, false, true, mode},
                                                     settings);
  }
  MaterialParam Param(Tag body, int mode = 0) { return Calc(mode)->GetBodyMaterialParam(body); }
  void Set(Tag body, std::initializer_list<std::pair<const char*, const char*>> attributes) {
    for (const auto& [title, value] : attributes) h.attributes().SetString(body, title, value);
  }
  // Marks the body as processed before.
  void Mark(Tag body) {
    Set(body, {{"实体标识", "01020304050006"},
               {"材料代号", "UB-03"},
               {"材料名称", "垫板"},
               {"材料材质", "P20"}});
  }
  // The body's attributes of these titles, joined by "|".
  std::string Attrs(Tag body, std::initializer_list<const char*> titles) {
    std::string out;
    for (const char* t : titles) out += (out.empty() ? "" : "|") + Attr(h, body, t);
    return out;
  }
};

TEST_F(BlankParams, FullPathComputesWritesAndRestoresTheWorkSystem) {
  h.SetClock({2026, 11, 21, 9, 8, 7, 654});
  const Tag body = h.AddBody(Shape::Box(100, 50, 20).Rotated({}, {0, 0, 1}, Deg(30)), 10, 11);
  const Tag wcs = h.csys().AskWcs();
  const MaterialParam p = Param(body);
  // Layer 10's name and code, colour 11's steel; layer 10 is not an
  // equal-height layer; no machining table.
  EXPECT_EQ(Row(p), "上模座|UB-|Cr12MoV|100.0x50.0x20.0|1|0.8|HRC58-60||库存料||");
  EXPECT_DOUBLE_EQ(p.width, 50.0);
  EXPECT_EQ(h.csys().AskWcs(), wcs);
  // Written back: identity, spec, heat treatment and orientation; the
  // record's ordering method is not written.
  EXPECT_EQ(Attrs(body, {"实体标识", "材料规格", "材料热处理", "材料订购方式"}),
            "11210908070654|100.0x50.0x20.0|HRC58-60|<none>");
  EXPECT_NE(Attr(h, body, "材料方位"), "<none>");
  EXPECT_EQ(CsysNamed(h, "11210908070654").size(), 1u);
}

TEST_F(BlankParams, ShortPathKeepsStoredValuesButTheColourTableWins) {
  const Tag body = h.AddBody(Shape::Box(100, 50, 20), 10, 87);
  Mark(body);
  Set(body, {{"材料规格", "100.0x50.0x20.0"},
             {"材料重量", "0.8"},
             {"材料备注", "留磨量"},
             {"材料余量", "1.000_1.000_2.000_2.000_3.000"},
             {"材料热处理", "氮化"}});
  h.SetBodyShape(body, Shape::Box(300, 50, 20));  // the geometry changed since
  const Tag probe = Probe(h);
  const MaterialParam p = Param(body);
  // Colour 87 is not in the table; a missing attribute reads as empty.
  EXPECT_EQ(Row(p), "垫板|UB-03|P20|100.0x50.0x20.0||0.8|氮化|留磨量|||");
  EXPECT_EQ(p.stored_spec, "100.0x50.0x20.0");
  EXPECT_EQ(p.allowance, "1.000_1.000_2.000_2.000_3.000");
  EXPECT_EQ(LiveObjectsSince(h, probe), 0);  // no geometry work, no system
  // A colour of the table overrides the stored material and heat treatment,
  // on the body too.
  const Tag coloured = h.AddBody(Shape::Box(10, 10, 10), 10, 36);
  Mark(coloured);
  h.attributes().SetString(coloured, "材料热处理", "氮化");
  EXPECT_EQ(Row(Param(coloured)), "垫板|UB-03|SKD11||||HRC60-62||||");
  EXPECT_EQ(Attrs(coloured, {"材料材质", "材料热处理"}), "SKD11|HRC60-62");
}

TEST_F(BlankParams, ColourBeyondTheMaterialListStopsWithTheSubscriptError) {
  settings.material.material_names.pop_back();  // colour 36 now has no material
  const Tag body = h.AddBody(Shape::Box(10, 10, 10), 10, 36);
  const Tag wcs = h.csys().AskWcs();
  try {
    Param(body);
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
  MaterialParam p = Param(fresh);
  EXPECT_EQ(p.state + "|" + p.modified, "新增|2026-01-02 03:04:05");
  EXPECT_EQ(Attr(h, fresh, "修改日期"), "2026-01-02 03:04:05");
  // Short path: an existing date is kept.
  const Tag marked = h.AddBody(Shape::Box(10, 10, 10), 10, 186);
  Mark(marked);
  h.attributes().SetString(marked, "修改日期", "2025-12-31 23:59:59");
  EXPECT_EQ(Param(marked).modified, "2025-12-31 23:59:59");
  // Another colour: no state, no date written.
  const Tag plain = h.AddBody(Shape::Box(10, 10, 10), 10, 11);
  EXPECT_EQ(Param(plain).state, "");
  EXPECT_EQ(Attr(h, plain, "修改日期"), "<none>");
}

TEST_F(BlankParams, WeightLimitOrderingAndRemarks) {
  // 100 x 50 x 20 at 8 g/cm3 is 0.8 kg: exactly the limit; layer 20 is an
  // equal-height layer.
  const Tag at_limit = h.AddBody(Shape::Box(100, 50, 20), 20, 11);
  EXPECT_EQ(Row(Param(at_limit)),
            "下模板|LP-|Cr12MoV|100.0x50.0x20.0|1|0.8|HRC58-60|厚度(20.0)等高|库存料||");
  // 0.82 kg, shown with one decimal.
  const Tag heavier = h.AddBody(Shape::Box(100, 50, 20.5), 20, 11);
  EXPECT_EQ(Row(Param(heavier)),
            "下模板|LP-|Cr12MoV|100.0x50.0x20.5|1|0.8|HRC58-60|厚度(20.5)等高|毛料订购||");
  // Stored name, ordering method and remark are kept, whatever the weight says.
  const Tag kept = h.AddBody(Shape::Box(100, 50, 40.5), 20, 11);
  Set(kept, {{"材料订购方式", "库存料"}, {"材料备注", "客户提供"}, {"材料名称", "定位块"}});
  EXPECT_EQ(Row(Param(kept)),
            "定位块|LP-|Cr12MoV|100.0x50.0x40.5|1|1.6|HRC58-60|客户提供|库存料||");
  auto calc = Calc();
  EXPECT_TRUE(calc->IsNoBuyBody(kept));
  h.attributes().SetString(heavier, "材料订购方式", "毛料订购");
  EXPECT_FALSE(calc->IsNoBuyBody(heavier));
  // A layer that is not configured: no name, a bare "-" code.
  EXPECT_EQ(Row(Param(h.AddBody(Shape::Box(5, 5, 5), 77, 11))).substr(0, 2), "|-");
}

TEST_F(BlankParams, ExtentsFollowTheCalculationMode) {
  const Tag body = h.AddBody(Shape::Box(10.004, 20.3, 10.506), 10, 11);
  EXPECT_EQ(Param(body, 0).spec, "10.0x20.5x11.0");
  h.attributes().Delete(body, host::kStringAttribute, "实体标识");
  const MaterialParam exact = Param(body, 1);
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
  EXPECT_EQ(calc->GetBodyMaterialParam(body).spec, "50.0x100.0x20.0");
  EXPECT_EQ(Attr(h, body, "材料方位"), "<none>");  // no search
  EXPECT_EQ(CsysNamed(h, "05060708091234"), std::vector<Tag>{csys});
}

TEST_F(BlankParams, MachiningTableGivesNetWeightAndProcess) {
  // 100 x 50 x 10 = 50000 mm3 at 8 g/cm3: 0.4 kg. The limit is written as
  // the measured net weight to the last digit, so that the two are equal.
  const Tag equal = h.AddBody(Shape::Box(100, 50, 10), 10, 11);
  const double net = h.bodies().Volume(equal) * 8.0 / 1000000.0;
  const std::filesystem::path drive = test_support::ScratchFolder("blank_d");
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
  auto weights = [&](Tag body) {
    const MaterialParam p = calc->GetBodyMaterialParam(body);
    return p.net_weight + "|" + p.process;
  };
  EXPECT_EQ(weights(equal), "0.400|CNC开粗-热处理-磨床");
  // Lighter than the limit: none.
  EXPECT_EQ(weights(h.AddBody(Shape::Box(100, 50, 9.9), 10, 11)), "0.396|");
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
  EXPECT_EQ(weights(marked), "0.800|铣六面-钻孔");
  // A table that cannot be read: limit 0, every net weight passes, and a
  // density of 0 makes every net weight 0.
  settings.machining_process = config::MachiningProcess::Load(h.platform(), "D:\\missing.csv");
  settings.blank_density = 0.0;
  calc = Calc();
  EXPECT_EQ(weights(marked), "0.000|");
}

TEST_F(BlankParams, SheetsDeletedBodiesAndRecordLookup) {
  // A sheet has no volume: world axes, a flat spec, no failure.
  const MaterialParam p = Param(h.AddBody(Shape::Sheet(30, 20, {1, 2, 3}), 10, 11));
  EXPECT_EQ(p.spec + "|" + p.weight, "30.0x20.0x0.0|0.0");
  // A body that is gone: the host's error comes through, and the work
  // system is as it was.
  const Tag gone = h.AddBody(Shape::Box(10, 10, 10), 10, 11);
  h.objects().Delete(gone);
  const Tag wcs = h.csys().AskWcs();
  auto calc = Calc();
  EXPECT_THROW(calc->GetBodyMaterialParam(gone), host::HostError);
  EXPECT_THROW(calc->CalcBodyMinOrient(gone), host::HostError);
  EXPECT_EQ(h.csys().AskWcs(), wcs);
  // A batch keeps the order; a lookup finds the last record of a body.
  const Tag a = h.AddBody(Shape::Box(10, 10, 10), 10, 11);
  const Tag b = h.AddBody(Shape::Box(20, 10, 10), 10, 11);
  std::vector<MaterialParam> records = calc->GetBodiesMaterialParam({a, b, a});
  ASSERT_EQ(records.size(), 3u);
  EXPECT_EQ(MaterialParamCalculator::GetBodyMtlParam(a, records), &records[2]);
  EXPECT_EQ(MaterialParamCalculator::GetBodyMtlParam(b, records), &records[1]);
  EXPECT_EQ(MaterialParamCalculator::GetBodyMtlParam(999, records), nullptr);
}

}  // namespace
