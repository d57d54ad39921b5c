// The dialog as the designer meets it: start-up, layer tree, body picks,
// cell editing, context menu and closing.
#include "material_bom_fixture.h"

namespace mbom_test {
namespace {

using host::Point3d;

Shape Box(double x, double y, double z, Point3d at) { return Shape::Box(x, y, z, at); }

TEST_F(MaterialBomTest, StartUpShowsTheTemplateLayersAndTheLayerButtonsWrapAroundAfterASave) {
  MarkSaved();
  AddDrawn(Box(20, 20, 20, {0, 0, 0}), 10);
  AddDrawn(Box(20, 20, 20, {0, 0, 50}), 30);
  AddDrawn(Box(20, 20, 20, {0, 0, 100}), 90);
  host_.AddBody(Box(5, 5, 5, {0, 0, 500}), 200);  // the strip: outside the template
  host_.layers().SetStatus(90, host::kStatusHidden);
  Open([&](DialogDriver& d, ExportMaterialBom& bom) {
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

TEST_F(MaterialBomTest, CellsEditOnlyWhereAllowedAndListsWriteTheWholeGroup) {
  MarkSaved();
  const Tag a = AddDrawn(Box(20, 20, 20, {0, 0, 0}), 80);
  const Tag b = AddDrawn(Box(20, 20, 20, {50, 0, 0}), 80);
  for (Tag t : {a, b}) host_.attributes().SetString(t, "材料代号", "IN-04");
  Open([&](DialogDriver& d, ExportMaterialBom&) {
    Node* top = d.TopNodes("tree_control0").at(0);
    Node* child = d.Children(top).at(1);
    for (int c : {0, 1, 2, 3, 5, 6, 15, 17, 18, 19}) EXPECT_FALSE(d.CanEditText(top, c)) << c;
    for (int c : {5, 6, 15, 17, 18, 19})
      EXPECT_EQ(d.AskEditor(top, c).control, host::ControlType::None) << c;
    EXPECT_EQ(d.AskEditor(top, 9).control, host::ControlType::ListBox);
    EXPECT_EQ(d.AskEditor(top, 9).options,
              (std::vector<std::string>{"", "库存料", "毛料订购", "精料订购"}));

    EXPECT_TRUE(d.ChooseOption(top, 3, "SKD11"));
    EXPECT_EQ(Column(d, 3, false), std::vector<std::string>(3, "SKD11"));
    EXPECT_EQ(Column(d, 7, false), std::vector<std::string>(3, "真空淬火HRC60-62"));
    for (Tag t : {a, b})
      EXPECT_EQ(Attr(t, "材料材质") + " " + Attr(t, "材料热处理"), "SKD11 真空淬火HRC60-62");
    EXPECT_TRUE(d.ChooseOption(child, 10, "否"));
    EXPECT_EQ(Attr(a, "材料倒角") + " " + Attr(b, "材料倒角"), "<none> 否");

    EXPECT_TRUE(d.EditCell(child, 4, "25.0x25.0x20.0"));
    EXPECT_EQ(child->ForegroundColor(), ExportMaterialBom::kEditMarkColor);
    EXPECT_EQ(Attr(RowBody(child), "材料规格"), "25.0x25.0x20.0");
    EXPECT_TRUE(d.EditCell(top, 8, "线割"));
    EXPECT_EQ(Attr(RowBody(top), "材料备注"), "线割");
    EXPECT_FALSE(d.EditCell(top, 14, "x"));

    // Menus: a group row offers the allowance, a child row the un-grouping.
    auto ids = [](const std::vector<memory::MenuEntry>& menu) {
      std::vector<int> out;
      for (const auto& e : menu) out.push_back(e.id);
      return out;
    };
    EXPECT_EQ(ids(d.OpenMenu(top)), (std::vector<int>{0, 1, 4}));
    EXPECT_EQ(ids(d.OpenMenu(child)), (std::vector<int>{0, 1, 2}));
    d.Click(top);
    d.ChooseMenuItem(top, 0);
    EXPECT_TRUE(host_.objects().IsBlanked(a) && host_.objects().IsBlanked(b));
    EXPECT_EQ(child->State(), host::kNodeUnchecked);
    d.ClickCheckBox(top);
    EXPECT_FALSE(host_.objects().IsBlanked(b));

    // Un-grouping asks first; the body is numbered again at the end.
    host_.QueueAnswer(2);
    d.Click(child);
    d.ChooseMenuItem(child, 2);
    EXPECT_EQ(Column(d, 2), (std::vector<std::string>{"IN-04"}));
    FillHeader(d);
    host_.QueueAnswer(1);
    d.Click(child);
    d.ChooseMenuItem(child, 2);
    EXPECT_EQ(Column(d, 2), (std::vector<std::string>{"IN-04", "IN-05"}));
    EXPECT_EQ(Attr(RowBody(d.TopNodes("tree_control0")[1]), "材料代号"), "IN-05");
  });
}

}  // namespace
}  // namespace mbom_test
