// The numbering commands driven as the designer does: reorder per layer,
// balloon numbers over the whole tree, the new bodies only and the decimals
// of every blank size.
#include "material_bom_fixture.h"

namespace mbom_test {
namespace {

using host::Point3d;

TEST_F(CommandTest, ReorderNumbersEachLayerFromOneAndKeepsGroupsAndNoChangesNothing) {
  const Tag ub7a = AddCoded(0, 10, "UB-07", "20.0x10.0x5.0");
  const Tag ub3 = AddCoded(100, 10, "UB-03", "20.0x10.0x5.0");
  const Tag ub7b = AddCoded(200, 10, "UB-07", "20.0x10.0x5.0");
  const Tag ph5 = AddCoded(0, 30, "PH-05", "20.0x10.0x5.0");
  host_.attributes().SetString(ub7a, "材料余量", "1.000_1.000_1.000_1.000_1.000");
  host_.attributes().SetString(ub7b, "材料余量", "2.000_2.000_2.000_2.000_2.000");
  Open([&](DialogDriver& d, ExportMaterialBom&) {
    FillHeader(d);
    ASSERT_EQ(Column(d, 2), (std::vector<std::string>{"UB-03", "UB-07", "PH-05"}));
    // The group's head child takes the group row's columns up to the net
    // weight, not its allowance; the children's quantities are their own.
    EXPECT_EQ(Column(d, 19, false),
              (std::vector<std::string>{"", "1.000_1.000_1.000_1.000_1.000", "",
                                        "2.000_2.000_2.000_2.000_2.000", ""}));
    EXPECT_EQ(Column(d, 5, false), (std::vector<std::string>{"", "2", "", "", ""}));
    const auto before = Picture(&d);
    host_.QueueAnswer(2);
    d.Press("button0611");
    EXPECT_EQ(Picture(&d), before);

    host_.QueueAnswer(1);
    d.Press("button0611");
    // The group keeps its children, its count and its group weight.
    EXPECT_EQ(Column(d, 2, false),
              (std::vector<std::string>{"UB-01", "UB-02", "UB-02", "UB-02", "PH-01"}));
    EXPECT_EQ(Column(d, 5, false), (std::vector<std::string>{"", "2", "", "", ""}));
    EXPECT_EQ(Column(d, 6, false), (std::vector<std::string>{"1.0", "1.0x2", "1.0", "1.0", "1.0"}));
  });
  EXPECT_EQ(Attrs({ub3, ub7a, ub7b, ph5}, "材料代号"),
            (std::vector<std::string>{"UB-01", "UB-02", "UB-02", "PH-01"}));
  EXPECT_EQ(Boxes("材料BOM").size(), 2u);  // the two questions, nothing else
}

TEST_F(CommandTest, BalloonNumbersRunOverTheWholeTreeWithThreeDigits) {
  std::vector<Tag> bodies;
  for (int i = 0; i < 7; ++i)
    bodies.push_back(AddCoded(40.0 * i, 10, text::Format("UB-%02d", i + 1)));
  for (int i = 0; i < 5; ++i)
    bodies.push_back(AddCoded(40.0 * i, 30, text::Format("PH-%02d", i + 1)));
  std::vector<std::string> expected;
  for (int i = 1; i <= 12; ++i) expected.push_back(text::Format(i <= 7 ? "UB-%03d" : "PH-%03d", i));
  Open([&](DialogDriver& d, ExportMaterialBom&) {
    FillHeader(d);
    d.Press("button010");
    EXPECT_EQ(Column(d, 2), expected);
  });
  EXPECT_EQ(Attrs(bodies, "材料代号"), expected);
  EXPECT_EQ(Boxes("提示", true), std::vector<std::string>{"2:提示："});
}

TEST_F(CommandTest, NewBodiesShowsOnlyTheBodiesInTheChangedColour) {
  const Tag old1 = AddCoded(0, 10, "UB-01");
  const Tag old2 = AddCoded(100, 10, "UB-02");
  const Tag added = AddCoded(Shape::Box(20, 10, 5, {200, 0, 100}), 10, "UB-03", "", 186);
  Open([&](DialogDriver& d, ExportMaterialBom&) {
    ASSERT_EQ(Column(d, 13), (std::vector<std::string>{"", "", "新增"}));
    d.Press("button06");
    ASSERT_EQ(Column(d, 2), (std::vector<std::string>{"UB-03"}));
    EXPECT_EQ(d.TopNodes("tree_control0")[0]->State(), host::kNodeChecked);
    EXPECT_TRUE(host_.objects().IsBlanked(old1));
    EXPECT_TRUE(host_.objects().IsBlanked(old2));
    EXPECT_FALSE(host_.objects().IsBlanked(added));
    // Showing all again brings every row back.
    d.Press("button05");
    EXPECT_EQ(Column(d, 2).size(), 3u);
  });
}

TEST_F(CommandTest, TheDecimalsFieldRewritesEverySizeOfThePart) {
  const Tag block = AddCoded(0, 10, "UB-01", "30.5x20.0x10.9");
  const Tag round = AddCoded(100, 10, "UB-02", "Φ30.0xH80.0");
  const Tag odd = AddCoded(200, 10, "UB-03", "见图纸");
  // A body off the template layers is rewritten too.
  const Tag strip = host_.AddBody(Shape::Box(5, 5, 5, {0, 0, 500}), 200);
  host_.attributes().SetString(strip, "材料规格", "5.25x5x5");
  Open([&](DialogDriver& d, ExportMaterialBom&) {
    // The start-up's 1 rewrites nothing.
    EXPECT_EQ(Attr(block, "材料规格"), "30.5x20.0x10.9");
    d.SetInteger("integer0", 2);
    EXPECT_EQ(Attr(block, "材料规格"), "30.50x20.00x10.90");
    EXPECT_EQ(Attr(round, "材料规格"), "Φ30.00xH80.00");
    EXPECT_EQ(Attr(odd, "材料规格"), "见图纸");
    EXPECT_EQ(Attr(strip, "材料规格"), "5.25x5.00x5.00");
    EXPECT_EQ(Column(d, 4),
              (std::vector<std::string>{"30.50x20.00x10.90", "Φ30.00xH80.00", "见图纸"}));
    d.SetInteger("integer0", 0);  // the fraction is cut off, not rounded
    EXPECT_EQ(Attr(block, "材料规格"), "30x20x10");
    EXPECT_EQ(Attr(round, "材料规格"), "Φ30xH80");
    EXPECT_EQ(Column(d, 4), (std::vector<std::string>{"30x20x10", "Φ30xH80", "见图纸"}));
    d.SetInteger("integer0", 9);
    EXPECT_EQ(Attr(block, "材料规格"), "30.000000000x20.000000000x10.000000000");
    d.SetInteger("integer0", -1);  // out of range: "%f"
    EXPECT_EQ(Attr(block, "材料规格"), "30.000000x20.000000x10.000000");
    d.SetInteger("integer0", 10);
    EXPECT_EQ(Attr(round, "材料规格"), "Φ30.000000xH80.000000");
  });
}

}  // namespace
}  // namespace mbom_test
