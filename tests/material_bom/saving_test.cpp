// Saving the BOM: header and rows as attributes, the crowded-layer warning,
// and the tree surviving a save, a part-file round trip and a reopen.
#include "host/memory/part_file.h"
#include "material_bom_fixture.h"
#include "samples/sample_die.h"

namespace mbom_test {
namespace {

using host::Point3d;

TEST_F(MaterialBomTest, CrowdedLayersAreWarnedAboutAfterTheSave) {
  MarkSaved();
  // 219 bodies counted once and one with an orientation counted twice: 221.
  for (int i = 0; i < 219; ++i) AddCoded(30.0 * i, 10, text::Format("UB-%03d", i + 1));
  const Tag oriented = AddCoded(30.0 * 219, 10, "UB-220");
  host_.attributes().SetString(oriented, "材料方位", "1,0,0,0,1,0");
  Open([&](DialogDriver& d, ExportMaterialBom& bom) {
    ASSERT_EQ(d.TopNodes("tree_control0").size(), 220u);
    FillHeader(d);
    bom.SaveAttributes();
    ASSERT_EQ(host_.message_log().size(), 1u);
    EXPECT_EQ(Boxes("提示"),
              std::vector<std::string>{
                  std::to_string(host::kWarningMessage) +
                  ":当前第【10】图层中数量超过200个实体，请将多余的实体移到到其他图层中"
                  "（如果不移动，出图后CAD图纸将乱跑）"});
    // 220 counted bodies pass.
    host_.attributes().Delete(oriented, host::kStringAttribute, "材料方位");
    host_.ClearMessageLog();
    bom.SaveAttributes();
    EXPECT_TRUE(host_.message_log().empty());
  });
  const Tag part = host_.session().WorkPart();
  EXPECT_EQ(Attr(part, "产品材质"), "SPCC");
  EXPECT_EQ(Attr(part, "订单编号"), "SO-7");
  EXPECT_EQ(Attr(part, "产品名称"), "");
  EXPECT_EQ(Attr(oriented, "材料代号"), "UB-220");
}

TEST_F(MaterialBomTest, EachEmptyRequiredFieldStopsTheSaveInTurnBeforeAnythingIsWritten) {
  MarkSaved();
  const Tag b = AddCoded(0, 10, "UB-01");
  std::vector<std::string> refusals;
  Open([&](DialogDriver& d, ExportMaterialBom& bom) {
    // The header filled field by field in the order the save checks them.
    d.SetString("string036", std::string());
    for (const auto& [id, value] : kHeader) {
      try {
        bom.SaveAttributes();
        break;
      } catch (const std::runtime_error& e) {
        refusals.push_back(e.what());
      }
      EXPECT_EQ(Attr(host_.session().WorkPart(), "客户名称"), "<none>");
      EXPECT_EQ(Attr(b, "是否出图"), "<none>");
      d.SetString(id, std::string(value));
    }
  });
  EXPECT_EQ(refusals, (std::vector<std::string>{"产品材质不可以为空", "模具编号不可以为空",
                                                "模具吨位不可以为空", "客户名称不可以为空",
                                                "产品厚度不可以为空", "模具类型不可以为空",
                                                "设计担当不可以为空"}));
  EXPECT_EQ(Attr(host_.session().WorkPart(), "客户名称"), "华锐汽车部件");
  EXPECT_EQ(Attr(b, "是否出图"), "是");
}

// The sample die: first open of a part never saved, a save, a part-file
// round trip and a reopen show the same tree, and nothing is computed again.
TEST_F(MaterialBomTest, SampleDieTreeSurvivesSavePartFileAndReopen) {
  const std::vector<samples::SampleBody> die = samples::BuildSampleDie(host_);
  // Left-overs of an earlier run that the first open must clear.
  for (Tag b : host_.bodies().PartBodies(host_.session().WorkPart()))
    if (host_.objects().Layer(b) == 50) host_.attributes().SetString(b, "材料代号", "DP-77");

  std::vector<std::string> first, codes;
  int round = 0;
  Open([&](DialogDriver& d, ExportMaterialBom& bom) {
    // The first open clears the time of renumbered rows; the save sets it.
    first = TreePicture(d, false);
    codes = Column(d, material_bom::kColCode);
    for (const std::string& size : Column(d, material_bom::kColSpec, false))
      round += size == "Φ10.0xH60.0";  // the round punches keep their round size
    FillHeader(d);
    bom.SaveCommand();
  });
  std::size_t listed = 0;
  for (const samples::SampleBody& b : die) listed += !b.spec.empty();
  EXPECT_EQ(codes.size(), listed);  // the same-body search is off: one row per body
  for (const std::string& code : codes) {
    EXPECT_NE(code, "DP-77");
    EXPECT_NE(code.back(), '-') << code;
  }
  EXPECT_EQ(round, 3);

  const fs::path file = dir_ / "die.xbf";
  memory::SavePartFile(host_, file.string());
  memory::OpenPart(host_, file.string());
  const std::size_t systems = host_.csys().PartCsys(host_.session().WorkPart()).size();

  host_.ClearMessageLog();
  Open([&](DialogDriver& d, ExportMaterialBom&) { EXPECT_EQ(TreePicture(d, false), first); });
  EXPECT_EQ(host_.csys().PartCsys(host_.session().WorkPart()).size(), systems);
  for (const auto& m : host_.message_log()) EXPECT_NE(m.title, "材料BOM") << m.lines[0];
}

}  // namespace
}  // namespace mbom_test
