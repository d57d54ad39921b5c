// The commands on bodies the designer selects: round parts, one code for
// several bodies, the reset with its validation string, the datum and frame
// dialogs opened from the BOM.
#include <fstream>

#include "material_bom_fixture.h"

namespace mbom_test {
namespace {

using host::Point3d;

TEST_F(CommandTest, RoundPartsTakeTheirDiameterByTheABCRule) {
  const Tag aab = AddCoded(0, 10, "UB-01", "30.0x30.0x80.0");
  const Tag baa = AddCoded(100, 10, "UB-02", "80.0x30.0x30.0");
  const Tag aba = AddCoded(200, 10, "UB-03", "40.0x25.0x40.0");
  const Tag two = AddCoded(300, 10, "UB-04", "Φ30.0xH80.0");
  const Tag other = AddCoded(400, 10, "UB-05", "1.0x2.0x3.0");
  Open([&](DialogDriver& d, ExportMaterialBom& bom) {
    FillHeader(d);
    bom.SaveAttributes();  // the command saves first
    EXPECT_EQ(CancelPick(d, "button013"), "设置为圆件|选择需要设置为圆件的实体");

    QueuePick({aab, baa, aba, two});
    d.Press("button013");
    EXPECT_EQ(Column(d, 4), (std::vector<std::string>{"Φ30.0xH80.0", "Φ30.0xH80.0", "Φ40.0xH25.0",
                                                      "Φ30.0xH80.0", "1.0x2.0x3.0"}));
    // The rows of the chosen bodies are selected again.
    std::vector<Tag> selected;
    for (Node* n : d.tree("tree_control0").GetSelectedNodes()) selected.push_back(RowBody(n));
    EXPECT_EQ(selected, (std::vector<Tag>{aab, baa, aba, two}));
  });
  // Two pieces ("Φ30.0xH80.0"): left as it is.
  EXPECT_EQ(Attrs({aab, baa, aba, two, other}, "材料规格"),
            (std::vector<std::string>{"Φ30.0xH80.0", "Φ30.0xH80.0", "Φ40.0xH25.0", "Φ30.0xH80.0",
                                      "1.0x2.0x3.0"}));
  EXPECT_EQ(Attrs({aab, baa, aba, two, other}, "圆件"),
            (std::vector<std::string>{"Y", "Y", "Y", "Y", "<none>"}));
}

TEST_F(CommandTest, SameCodeMovesTheOthersToTheFirstBodysLayerAndColour) {
  const Tag first = AddCoded(0, 10, "UB-01");
  const Tag second = AddCoded(Shape::Box(20, 10, 5, {0, 0, 300}), 30, "PH-01", "", 87);
  // A body the BOM does not list: it has no code.
  const Tag uncoded = host_.AddBody(Shape::Box(20, 10, 5, {100, 0, 100}), 10);
  host_.attributes().SetString(uncoded, "实体优化", "Y");
  Open([&](DialogDriver& d, ExportMaterialBom& bom) {
    FillHeader(d);
    bom.SaveAttributes();  // the command saves first
    EXPECT_EQ(CancelPick(d, "button061"), "设置为同一代号|选择需要设置为同一代号的实体");
    const auto before = Picture(&d);
    QueuePick({first});  // one body: nothing to share
    d.Press("button061");
    // A first body without a code is refused with a message.
    QueuePick({uncoded, second});
    d.Press("button061");
    EXPECT_EQ(Picture(&d), before);
    EXPECT_EQ(
        Boxes("材料BOM"),
        std::vector<std::string>{"0:第一个选择的实体没有材料代号，请先选择清单中已有代号的实体"});

    QueuePick({first, second});
    d.Press("button061");
    EXPECT_EQ(Attrs({first, second}, "材料代号"), (std::vector<std::string>{"UB-01", "UB-01"}));
    Node* top = Row(d, "UB-01");
    Node* child = d.Children(top).at(1);
    EXPECT_EQ(top->GetColumnDisplayText(5), "2");

    // The group's cells: only some edit, lists write the whole group.
    for (int c : {0, 1, 2, 3, 5, 6, 15, 17, 18, 19}) EXPECT_FALSE(d.CanEditText(top, c)) << c;
    for (int c : {5, 6, 15, 17, 18, 19})
      EXPECT_EQ(d.AskEditor(top, c).control, host::ControlType::None) << c;
    EXPECT_EQ(d.AskEditor(top, 9).control, host::ControlType::ListBox);
    EXPECT_EQ(d.AskEditor(top, 9).options,
              (std::vector<std::string>{"", "库存料", "毛料订购", "精料订购"}));
    EXPECT_TRUE(d.ChooseOption(top, 3, "SKD11"));
    EXPECT_EQ(Column(d, 3, false), std::vector<std::string>(3, "SKD11"));
    EXPECT_EQ(Column(d, 7, false), std::vector<std::string>(3, "真空淬火HRC60-62"));
    for (Tag t : {first, second})
      EXPECT_EQ(Attr(t, "材料材质") + " " + Attr(t, "材料热处理"), "SKD11 真空淬火HRC60-62");
    EXPECT_TRUE(d.ChooseOption(child, 10, "否"));
    EXPECT_EQ(Attrs({RowBody(d.Children(top)[0]), RowBody(child)}, "材料倒角"),
              (std::vector<std::string>{"", "否"}));
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
    EXPECT_TRUE(host_.objects().IsBlanked(first) && host_.objects().IsBlanked(second));
    EXPECT_EQ(child->State(), host::kNodeUnchecked);
    d.ClickCheckBox(top);
    EXPECT_FALSE(host_.objects().IsBlanked(second));

    // Un-grouping asks first; the body is numbered again at the end.
    const Tag apart = RowBody(child);
    for (int answer : {2, 1}) {
      host_.QueueAnswer(answer);
      d.Click(child);
      d.ChooseMenuItem(child, 2);
    }
    EXPECT_EQ(Column(d, 2), (std::vector<std::string>{"UB-01", "UB-02"}));
    EXPECT_EQ(Attr(apart, "材料代号"), "UB-02");
  });
  EXPECT_EQ(host_.objects().Layer(second), 10);
  EXPECT_EQ(host_.objects().Color(second), 42);
}

TEST_F(CommandTest, OnlyTheRightStringAndAConfirmedSelectionResetTheBodies) {
  // The configuration asks for a validation string.
  std::ofstream(dir_ / fs::path(u8"D/MYTOOL/config/级进模/config.csv"), std::ios::binary)
      << "改模颜色,连接字符,验证字符串,是否导出图层代号\r\n186,-,RQ2024,Y\r\n";
  const Tag kept = AddCoded(0, 10, "UB-01", "20.0x10.0x5.0");
  const Tag reset = AddCoded(100, 10, "UB-02", "1.0x1.0x1.0");
  host_.attributes().SetString(reset, "材料余量", "1_1_1_1_1");
  host_.attributes().SetString(reset, "圆件", "N");
  const std::string identity = Attr(reset, "实体标识");
  AddBlankCsys(identity, {110, 5, 100});
  Open([&](DialogDriver& d, ExportMaterialBom&) {
    FillHeader(d);
    const auto before = Picture(&d);
    host_.objects().SetHighlighted(kept, true);  // the command takes the highlight off

    // No; yes and the string in the wrong case; yes and the input cancelled.
    const std::pair<int, std::optional<std::string>> tries[] = {
        {2, std::nullopt}, {1, "rq2024"}, {1, std::nullopt}};
    for (const auto& [answer, typed] : tries) {
      host_.QueueAnswer(answer);
      if (answer == 1) host_.QueueString(typed);
      d.Press("button04");
    }
    host_.QueueAnswer(1);
    host_.QueueString(std::string("RQ2024"));
    EXPECT_EQ(CancelPick(d, "button04"), "设置组|选择需要设置为同一组的实体");
    EXPECT_EQ(Picture(&d), before);
    EXPECT_EQ(
        Boxes("材料BOM", true),
        (std::vector<std::string>{"3:是否重设置？", "3:是否重设置？", "0:输入的验证字符串有误",
                                  "3:是否重设置？", "0:输入的验证字符串有误", "3:是否重设置？"}));

    host_.QueueAnswer(1);
    host_.QueueString(std::string("RQ2024"));
    QueuePick({reset});
    d.Press("button04");
    EXPECT_EQ(Boxes("材料BOM").back(), "2:已重新设置材料的属性！");
  });
  // Computed again from its geometry: a new identity, the next code of the
  // layer, the measured size, no allowance; its old system is gone.
  EXPECT_EQ(Attr(kept, "材料代号"), "UB-01");
  const Tag body = host_.bodies().PartBodies(host_.session().WorkPart()).back();
  EXPECT_EQ(Attr(body, "材料代号"), "UB-02");  // after the highest code left
  EXPECT_EQ(Attr(body, "材料规格"), "20.0x10.0x5.0");
  EXPECT_EQ(Attr(body, "材料余量"), "");
  EXPECT_EQ(Attr(body, "圆件"), "N");  // the designer's own mark stays
  EXPECT_NE(Attr(body, "实体标识"), identity);
  EXPECT_TRUE(CsysNamed(identity).empty());
  EXPECT_EQ(CsysNamed(Attr(body, "实体标识")).size(), 1u);
}

TEST_F(CommandTest, DatumAndFrameDialogsMarkTheBodiesAndLeaveNoPreview) {
  const Tag a = AddCoded(0, 10, "UB-01");
  const Tag b = AddCoded(100, 10, "UB-02");
  const std::size_t bodies = host_.bodies().PartBodies(host_.session().WorkPart()).size();
  Open([&](DialogDriver& d, ExportMaterialBom&) {
    // Closed without applying: the preview spheres go with the dialog.
    dialogs().QueueDriver("SelectDatum.dlx", [&](DialogDriver& datum) {
      datum.Pick("bodySelect0", {a});
      EXPECT_GT(host_.bodies().PartBodies(host_.session().WorkPart()).size(), bodies);
      datum.Cancel();
    });
    d.Press("button011");
    EXPECT_EQ(host_.bodies().PartBodies(host_.session().WorkPart()).size(), bodies);
    EXPECT_EQ(Attr(a, "标注基准"), "<none>");

    dialogs().QueueDriver("SelectDatum.dlx", [&](DialogDriver& datum) {
      datum.Pick("bodySelect0", {a, b});
      datum.SelectEnum("enum01", 1);
      datum.SelectEnum("enum02", 6);
      EXPECT_TRUE(datum.Ok());
    });
    d.Press("button011");
    dialogs().QueueDriver("SelectFrame.dlx", [&](DialogDriver& frame) {
      frame.Pick("bodySelect0", {b});
      frame.SetToggle("toggle0", false);
      frame.SetToggle("toggle02", false);
      EXPECT_TRUE(frame.Ok());
    });
    d.Press("button012");
  });
  EXPECT_EQ(host_.bodies().PartBodies(host_.session().WorkPart()).size(), bodies);
  EXPECT_EQ(Attrs({a, b}, "标注基准"), (std::vector<std::string>{"1-6", "1-6"}));
  EXPECT_EQ(Attrs({a, b}, "LEFT_FRAME"), (std::vector<std::string>{"<none>", "Y"}));
  EXPECT_EQ(Attr(b, "TOP_FRAME") + Attr(b, "BOTTOM_FRAME"), "<none><none>");
}

}  // namespace
}  // namespace mbom_test
