// The dialog as the designer meets it: start-up, layer tree, layer buttons
// and closing.
#include "material_bom_fixture.h"

namespace mbom_test {
namespace {

using host::Point3d;

Shape Box(double x, double y, double z, Point3d at) { return Shape::Box(x, y, z, at); }

TEST_F(MaterialBomTest, StartUpShowsTheTemplateLayersAndTheLayerButtonsWrapAroundAfterASave) {
  ShowAllLayers();  // a part the dialog never saw
  MarkSaved();
  // A blanked system on a template layer without bodies is shown too.
  const Tag marker = host_.csys().CreateCsys({0, 0, 0}, host_.csys().CreateMatrix({}));
  host_.objects().SetLayer(marker, 50);
  host_.objects().SetBlanked(marker, true);
  AddDrawn(Box(20, 20, 20, {0, 0, 0}), 10);
  AddDrawn(Box(20, 20, 20, {0, 0, 50}), 30);
  AddDrawn(Box(20, 20, 20, {0, 0, 100}), 90);
  host_.AddBody(Box(5, 5, 5, {0, 0, 500}), 200);  // the strip: outside the template
  host_.layers().SetStatus(90, host::kStatusHidden);
  Open([&](DialogDriver& d, ExportMaterialBom& bom) {
    EXPECT_FALSE(host_.objects().IsBlanked(marker));
    EXPECT_EQ(bom.working_layers(), (std::vector<int>{10, 30, 90}));
    const auto layers = d.TopNodes("tree_control01");
    ASSERT_EQ(layers.size(), 3u);
    EXPECT_EQ(layers[0]->DisplayText(), "上模座(工作图层)");
    EXPECT_EQ(layers[1]->GetColumnDisplayText(1), "30");
    EXPECT_EQ(layers[2]->State(), host::kNodeUnchecked);  // a hidden layer
    const auto columns = d.Columns("tree_control0");
    ASSERT_EQ(columns.size(), 20u);
    EXPECT_EQ(columns[15].title, "净重(KG).");
    EXPECT_EQ(columns[18].title, "净重(KG)");
    EXPECT_EQ(d.Integer("integer0"), 1);
    EXPECT_EQ(d.Folder("nativeFolderBrowser0"), "C:\\Users\\designer\\Desktop");
    EXPECT_EQ(d.String("string036"), "张伟");
    EXPECT_EQ(d.ListItems("string031").front(), "SPCC");
    EXPECT_EQ(Column(d, 2), (std::vector<std::string>{"UB-01", "PH-01"}));

    // The work layer's row cannot be unchecked; another row hides its layer.
    d.ClickCheckBox(layers[0]);
    EXPECT_EQ(layers[0]->State(), host::kNodeChecked);
    d.ClickCheckBox(layers[1]);
    EXPECT_EQ(layers[1]->State(), host::kNodeUnchecked);
    EXPECT_EQ(host_.layers().AskStatus(30), host::kStatusHidden);
    EXPECT_EQ(Column(d, 2), (std::vector<std::string>{"UB-01"}));
    // Double-click on a layer row makes it the work layer.
    d.DoubleClick(layers[2]);
    EXPECT_EQ(host_.layers().WorkLayer(), 90);
    EXPECT_EQ(layers[2]->DisplayText(), "冲头(工作图层)");
    EXPECT_EQ(Column(d, 2), (std::vector<std::string>{"UB-01", "PU-01"}));

    // The layer buttons save first: with the header empty nothing moves.
    d.Press("button07");
    EXPECT_EQ(host_.layers().WorkLayer(), 90);
    FillHeader(d);
    d.Press("button07");  // after the last, the first
    EXPECT_EQ(host_.layers().WorkLayer(), 10);
    EXPECT_EQ(host_.layers().AskStatus(90), host::kStatusHidden);
    EXPECT_EQ(Column(d, 2), (std::vector<std::string>{"UB-01"}));
    d.Press("button07");
    EXPECT_EQ(host_.layers().WorkLayer(), 30);
    d.Press("button08");
    d.Press("button08");  // before the first, the last
    EXPECT_EQ(host_.layers().WorkLayer(), 90);
    d.Press("button09");
    EXPECT_EQ(Column(d, 2), (std::vector<std::string>{"UB-01", "PH-01", "PU-01"}));
  });
  EXPECT_EQ(host_.layers().AskStatus(200), host::kStatusHidden);
  EXPECT_EQ(Boxes("材料BOM"),
            (std::vector<std::string>{"1:提示：不在标准图层中部件，程序不会写BOM表清单，"
                                      "标准图层外的部件，程序自动将关闭，只显示标准模板图层",
                                      "0:产品材质不可以为空"}));
  // Closing hides the blank coordinate systems.
  EXPECT_EQ(host_.layers().AskStatus(256), host::kStatusHidden);
  for (Tag csys : host_.layers().ObjectsOnLayer(256)) EXPECT_TRUE(host_.objects().IsBlanked(csys));
}

TEST_F(MaterialBomTest, AnyVisibleLayerOutsideTheTemplateIsWarnedAboutAndHidden) {
  MarkSaved();
  AddDrawn(Box(20, 20, 20, {0, 0, 0}), 10);
  // An empty layer outside the template, shown: warned about and hidden.
  host_.layers().SetStatus(150, host::kStatusSelectable);
  Open([](DialogDriver&, ExportMaterialBom&) {});
  EXPECT_EQ(host_.layers().AskStatus(150), host::kStatusHidden);
  // Only template layers shown: no warning.
  Open([](DialogDriver&, ExportMaterialBom&) {});
  // The work layer outside the template: warned about too, kept while the
  // template layers are gone through, then hidden as the first template
  // layer with bodies becomes the work layer.
  host_.layers().SetWorkLayer(1);
  Open([](DialogDriver&, ExportMaterialBom&) {});
  EXPECT_EQ(host_.layers().WorkLayer(), 10);
  EXPECT_EQ(host_.layers().AskStatus(1), host::kStatusHidden);
  const std::string warning =
      "1:提示：不在标准图层中部件，程序不会写BOM表清单，标准图层外的部件，程序自动将关闭，"
      "只显示标准模板图层";
  EXPECT_EQ(Boxes("材料BOM"), (std::vector<std::string>{warning, warning}));
}

TEST_F(MaterialBomTest, NothingToListOrAMissingConfigurationIsShownAndTheDialogStaysUsable) {
  host_.AddBody(Box(5, 5, 5, {0, 0, 0}), 200);
  Open([&](DialogDriver& d, ExportMaterialBom&) {
    EXPECT_TRUE(d.TopNodes("tree_control0").empty());
  });
  ASSERT_TRUE(fs::remove(dir_ / fs::path(u8"D/MYTOOL/config/级进模/bom_head_config.csv")));
  AddDrawn(Box(20, 20, 20, {0, 0, 0}), 10);
  Open([&](DialogDriver& d, ExportMaterialBom&) {
    EXPECT_TRUE(d.TopNodes("tree_control0").empty());
    d.Press("button05");  // no configuration: an error box, no crash
  });
  EXPECT_EQ(Boxes("材料BOM"),
            (std::vector<std::string>{
                "0:当前没有需要添加材料属性的实体",
                "0:配置文件：D:\\MYTOOL\\config\\级进模\\bom_head_config.csv 不存在！",
                "0:材料BOM的配置没有读入，请检查配置文件后重新打开"}));
}

}  // namespace
}  // namespace mbom_test
