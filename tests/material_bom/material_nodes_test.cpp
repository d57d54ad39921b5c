// Which bodies the material tree lists, how they are numbered and grouped.
#include <cmath>
#include <numbers>

#include "material_bom_fixture.h"

namespace mbom_test {
namespace {

using host::Point3d;

Shape Box(double x, double y, double z, Point3d at) { return Shape::Box(x, y, z, at); }

// A block without any mirror symmetry: a blind hole in the top face and a
// smaller one in the front face. `mirrored` gives its mirror image (in x).
Shape ChiralBlock(bool mirrored, Point3d at) {
  const double top_x = mirrored ? 50 : 10, front_x = mirrored ? 15 : 45;
  return Shape::Box(60, 30, 20)
      .Drilled({top_x, 8, 20}, {0, 0, -1}, 8, 10)
      .Drilled({front_x, 0, 14}, {0, 1, 0}, 6, 10)
      .Translated({at.X, at.Y, at.Z});
}

// The body with a code and a name, each when given.
Tag Code(memory::MemoryHost& h, Tag body, const std::string& code, const std::string& name = "") {
  if (!code.empty()) h.attributes().SetString(body, "材料代号", code);
  if (!name.empty()) h.objects().SetName(body, name);
  return body;
}

TEST_F(MaterialBomTest, CodesContinueAfterTheHighestNewBodiesLastPerLayer) {
  MarkSaved();
  Code(host_, AddDrawn(Box(50, 40, 20, {0, 0, 0}), 10), "UB-7");
  Code(host_, AddDrawn(Box(50, 40, 20, {100, 0, 0}), 10), "UB-3");
  host_.AddBody(Box(30, 30, 30, {300, 0, 0}), 10, 42, "c");  // not marked for drawing
  const Tag c = Code(host_, AddDrawn(Box(30, 30, 30, {400, 0, 0}), 10), "", "c");
  // Only the layer prefix: not numbered yet.
  const Tag p = Code(host_, AddDrawn(Box(30, 30, 30, {200, 0, 0}), 10), "UB-", "p");
  // The changed-body colour.
  const Tag n = Code(host_, AddDrawn(Box(30, 30, 30, {-100, 0, 0}), 10, 186), "", "n");
  AddDrawn(Box(20, 20, 20, {0, 0, 100}), 20);
  const Tag standard = AddDrawn(Box(10, 10, 10, {0, 200, 0}), 20);
  host_.attributes().SetString(standard, "PART_ATTR", "Y");

  Open([&](DialogDriver& d, ExportMaterialBom&) {
    // Uncoded bodies in coordinate order, then the new-colour body: name,
    // colour, code, size, state and time.
    std::vector<std::string> rows;
    for (Node* n : d.TopNodes("tree_control0")) {
      std::string row =
          host_.objects().Name(RowBody(n)) + " " + std::to_string(n->ForegroundColor());
      for (int c : {2, 4, 13, 14}) row += "|" + n->GetColumnDisplayText(c);
      rows.push_back(row);
    }
    EXPECT_EQ(rows, (std::vector<std::string>{
                        " 211|UB-3|50.0x40.0x20.0||", " 211|UB-7|50.0x40.0x20.0||",
                        "p 211|UB-08|30.0x30.0x30.0||", "c 211|UB-09|30.0x30.0x30.0||",
                        "n 186|UB-10|30.0x30.0x30.0|新增|", " 211|UP-01|20.0x20.0x20.0||"}));
    EXPECT_EQ(Column(d, 0), (std::vector<std::string>{"001", "002", "003", "004", "005", "006"}));
  });
  EXPECT_EQ(Boxes("材料BOM"), (std::vector<std::string>{}));
  // The fresh bodies of the work layer went through the neutral file: new
  // bodies with the old layer, colour, name and attributes; the file is gone.
  EXPECT_EQ(host_.layers().WorkLayer(), 10);
  EXPECT_FALSE(host_.objects().Exists(c));
  EXPECT_FALSE(host_.objects().Exists(n));
  EXPECT_TRUE(host_.objects().Exists(p));  // coded (prefix only): kept as it is
  std::vector<std::string> solids;
  for (Tag b : host_.layers().ObjectsOnLayer(10))
    if (host_.objects().AskTypeAndSubtype(b).type == host::kSolidType)
      solids.push_back(host_.objects().Name(b) + " " + std::to_string(host_.objects().Color(b)) +
                       " " + Attr(b, "实体优化") + Attr(b, "转图标识"));
  EXPECT_EQ(solids, (std::vector<std::string>{" 42 YY", " 42 YY", "p 42 YY", "c 42 Y<none>",
                                              "c 42 YY", "n 186 YY"}));
  EXPECT_FALSE(fs::exists(dir_ / "C/Users/designer/AppData/Local/Temp/temp.x_t"));
}

TEST_F(MaterialBomTest, TurnedCopiesShareACodeMirrorImagesDoNot) {
  host_.objects().SetName(AddDrawn(ChiralBlock(false, {0, 0, 0}), 80), "a");
  AddDrawn(
      ChiralBlock(false, {200, 0, 0}).Rotated({200, 0, 0}, {0, 0, 1}, 37 * std::numbers::pi / 180),
      80);
  AddDrawn(ChiralBlock(true, {400, 0, 0}), 80);
  AddDrawn(Box(40, 40, 40, {600, 0, 0}), 80);
  Open(
      [&](DialogDriver& d, ExportMaterialBom&) {
        // One row for the turned copies with their count and group weights;
        // the first in position stands for the group.
        const std::string in01 = "|入子|IN-01|45#|60.0x30.0x20.0|";
        const std::string rest = "|调质HRC28-32||库存料||||||";
        EXPECT_EQ(
            TreePicture(d),
            (std::vector<std::string>{
                "2 211|001" + in01 + "2|0.3x2" + rest + "0.276x2||0.3|0.276|",
                "  2 211|001" + in01 + "1|0.3" + rest + "0.276||0.3|0.276|",
                "  2 211|001" + in01 + "1|0.3" + rest + "0.276||0.3|0.276|",
                "2 211|002|入子|IN-02|45#|60.0x30.0x20.0|1|0.3" + rest + "0.276||0.3|0.276|",
                "2 211|003|入子|IN-03|45#|40.0x40.0x40.0|1|0.5" + rest + "0.502||0.5|0.502|"}));
        Node* group = d.TopNodes("tree_control0").at(0);
        EXPECT_EQ(host_.objects().Name(RowBody(d.Children(group).at(0))), "a");
        EXPECT_EQ(RowBody(group), RowBody(d.Children(group)[0]));
      },
      /*same_body=*/true);
}

TEST_F(MaterialBomTest, OverlappingBodiesAreOfferedForDeletionTouchingOnesAreNot) {
  MarkSaved();
  host_.layers().SetWorkLayer(20);
  AddDrawn(Box(100, 100, 20, {0, 0, 0}), 10);
  AddDrawn(Box(100, 100, 20, {0, 0, 20}), 10);  // rests on the first: touching
  const Tag a = Code(host_, AddDrawn(Box(50, 50, 50, {500, 0, 0}), 20), "UP-01");
  const Tag b = Code(host_, AddDrawn(Box(50, 50, 50, {530, 0, 0}), 20), "UP-02");

  host_.QueueAnswer(2);  // keep them
  Open([&](DialogDriver& d, ExportMaterialBom&) {
    EXPECT_EQ(d.TopNodes("tree_control0").size(), 4u);
  });
  ASSERT_EQ(host_.message_log().size(), 1u);
  EXPECT_EQ(Boxes("提示"), std::vector<std::string>{
                               std::to_string(host::kQuestionMessage) +
                               ":检测到重叠的实体(同一位置有相同的实体)。\n是否删除重叠的实体？"});
  EXPECT_FALSE(host_.objects().IsHighlighted(a));

  host_.ClearMessageLog();
  host_.QueueAnswer(1);  // delete them
  Open([&](DialogDriver& d, ExportMaterialBom&) {
    EXPECT_EQ(Column(d, 2), (std::vector<std::string>{"UB-01", "UB-02"}));
  });
  EXPECT_FALSE(host_.objects().Exists(a));
  EXPECT_FALSE(host_.objects().Exists(b));
  EXPECT_EQ(host_.pending_answers(), 0u);
}

TEST_F(MaterialBomTest, DisplayFilterAndRenumberingFromScratch) {
  MarkSaved();
  const Tag made = Code(host_, AddDrawn(Box(20, 20, 20, {0, 0, 0}), 10), "UB-05");
  const Tag bought = Code(host_, AddDrawn(Box(20, 20, 20, {50, 0, 0}), 10), "UB-09");
  host_.attributes().SetString(made, "材料订购方式", "库存料");  // the light method: not bought
  host_.attributes().SetString(bought, "材料订购方式", "毛料订购");
  Open([&](DialogDriver& d, ExportMaterialBom& bom) {
    bom.CreatMaterialNodes(1, 1);
    EXPECT_EQ(Column(d, 2), (std::vector<std::string>{"UB-05"}));
    EXPECT_TRUE(host_.objects().IsBlanked(bought));
    bom.CreatMaterialNodes(1, 2);
    EXPECT_EQ(Column(d, 2), (std::vector<std::string>{"UB-09"}));
    bom.CreatMaterialNodes(1, 3);
    EXPECT_TRUE(d.TopNodes("tree_control0").empty());
    EXPECT_TRUE(host_.objects().IsBlanked(made));
    bom.CreatMaterialNodes(0, 0);  // from scratch: numbers in coordinate order
    EXPECT_EQ(Column(d, 2), (std::vector<std::string>{"UB-01", "UB-02"}));
    EXPECT_EQ(Attr(made, "材料代号"), "<none>");
  });
}

}  // namespace
}  // namespace mbom_test
