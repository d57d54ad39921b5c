// The allowance of a row through the blank offset dialog and the host's
// coordinate-system dialog, the undo of a failed or cancelled system, and
// the automatic orientation of selected bodies.
#include <cmath>
#include <cstdio>

#include "host/math.h"
#include "material_bom_fixture.h"

namespace mbom_test {
namespace {

using host::Matrix3x3;
using host::Point3d;

constexpr double kPi = 3.14159265358979323846;

class AllowanceTest : public CommandTest {
 protected:
  // A 100 x 50 x 20 plate numbered before with a wrong stored size, its blank
  // system on the hidden layer, and a second plate beside it.
  void SetUp() override {
    CommandTest::SetUp();
    plate_ = AddCoded(Shape::Box(100, 50, 20, {0, 0, 0}), 10, "UB-01", "1.0x1.0x1.0");
    other_ = AddCoded(Shape::Box(30, 30, 30, {200, 0, 0}), 10, "UB-02", "30.0x30.0x30.0");
    identity_ = Attr(plate_, "实体标识");
    AddBlankCsys(identity_, {50, 25, 0});
  }
  // The allowance dialog confirmed with one side value and a thickness value.
  void QueueOffset(double side, double thickness) {
    dialogs().QueueDriver("SetBoOffset.dlx", [side, thickness](DialogDriver& o) {
      o.SetToggle("toggle0", true);
      o.SetDouble("double0", side);
      o.SetDouble("double05", thickness);
      EXPECT_TRUE(o.Ok());
    });
  }
  static host::CsysInfo System(const host::Vector3d& x, const host::Vector3d& y) {
    host::CsysInfo info;
    info.matrix = Matrix3x3::FromRows(x, y, host::Cross(x, y));
    return info;
  }

  Tag plate_ = host::kNullTag, other_ = host::kNullTag;
  std::string identity_;
};

TEST_F(AllowanceTest, TheRowsAllowanceIsAppliedToTheSizeInTheSystemGiven) {
  Open([&](DialogDriver& d, ExportMaterialBom& bom) {
    FillHeader(d);
    Node* row = Row(d, "UB-01");
    QueueOffset(2, 3);
    // The designer turns the blank a quarter about Z: X along world Y.
    host_.QueueCsys(System({0, 1, 0}, {-1, 0, 0}));
    d.DoubleClick(row);
    EXPECT_EQ(bom.pressed_row(), row);
    EXPECT_EQ(row->GetColumnDisplayText(19), "2.000_2.000_2.000_2.000_3.000");
    EXPECT_EQ(row->GetColumnDisplayText(4), "54.0x104.0x23.0");
    EXPECT_EQ(row->ForegroundColor(), ExportMaterialBom::kEditMarkColor);
    // Both bodies are shown again afterwards.
    EXPECT_FALSE(host_.objects().IsBlanked(other_));
    EXPECT_EQ(Row(d, "UB-02")->State(), host::kNodeChecked);
    EXPECT_FALSE(host_.objects().IsHighlighted(plate_));

    // Opened again from the menu, the dialog starts from the row's values.
    dialogs().QueueDriver("SetBoOffset.dlx", [](DialogDriver& o) {
      EXPECT_EQ(o.Double("double01"), 2.0);
      EXPECT_EQ(o.Double("double05"), 3.0);
      EXPECT_TRUE(o.Toggle("toggle03"));  // the frames written the first time
      for (const char* side : {"double01", "double02"}) o.SetDouble(side, 1);
      for (const char* side : {"double03", "double04"}) o.SetDouble(side, 2);
      EXPECT_TRUE(o.Ok());
    });
    host_.QueueCsys(System({1, 0, 0}, {0, 1, 0}));
    d.ChooseMenuItem(row, 4);
    EXPECT_EQ(row->GetColumnDisplayText(4), "104.0x52.0x23.0");
  });
  EXPECT_EQ(Boxes("材料BOM", true),
            (std::vector<std::string>{"2:保存BOM属性成功！", "2:保存BOM属性成功！"}));
  EXPECT_EQ(Attr(plate_, "材料余量"), "1.000_1.000_2.000_2.000_3.000");
  EXPECT_EQ(Attr(plate_, "材料规格"), "104.0x52.0x23.0");
  EXPECT_EQ(Attr(plate_, "材料方位"),
            "1.000000000000000,0.000000000000000,0.000000000000000,"
            "0.000000000000000,1.000000000000000,0.000000000000000");
  for (const char* frame : {"TOP_FRAME", "LEFT_FRAME", "BOTTOM_FRAME"})
    EXPECT_EQ(Attr(plate_, frame), "Y");
  // One blank system of the body's name, replaced, hidden on layer 256.
  const std::vector<Tag> named = CsysNamed(identity_);
  ASSERT_EQ(named.size(), 1u);
  EXPECT_EQ(host_.objects().Layer(named[0]), 256);
  EXPECT_TRUE(host_.objects().IsBlanked(named[0]));
  const host::CsysInfo info = host_.csys().AskCsysInfo(named[0]);
  EXPECT_NEAR(info.origin.X, 50, 1e-6);
  EXPECT_NEAR(info.origin.Y, 25, 1e-6);
  EXPECT_EQ(host_.csys().AskWcs(), named[0]);
  EXPECT_EQ(Attr(other_, "材料规格"), "30.0x30.0x30.0");
  ASSERT_EQ(host_.selection_requests().size(), 0u);
}

TEST_F(AllowanceTest, ACancelledOrImpossibleSystemKeepsTheAllowanceAndTheFrameMarks) {
  Open([&](DialogDriver& d, ExportMaterialBom&) {
    FillHeader(d);
    Node* row = Row(d, "UB-01");
    d.Click(row);  // shows the body's blank system
    EXPECT_FALSE(host_.objects().IsBlanked(CsysNamed(identity_).at(0)));
    const auto before = Picture(&d);

    // The allowance dialog cancelled: nothing changes.
    dialogs().QueueDriver("SetBoOffset.dlx", [](DialogDriver& o) { o.Cancel(); });
    d.DoubleClick(row);
    EXPECT_EQ(Picture(&d), before);

    // The system dialog cancelled, or vectors that make no system (reported):
    // the system, size, orientation and visibility stay as they were; the
    // allowance just entered and the frame marks stay on the body and in
    // its row.
    auto after = before;
    const std::string body_line = "body " + std::to_string(plate_) + " ";
    for (std::string& line : after) {
      if (line.rfind(body_line, 0) == 0)
        line += " TOP_FRAME=Y LEFT_FRAME=Y BOTTOM_FRAME=Y 材料余量=2.000_2.000_2.000_2.000_3.000";
      if (line.find("|UB-01|") != std::string::npos) line += "2.000_2.000_2.000_2.000_3.000";
    }
    for (const auto& system :
         {std::optional<host::CsysInfo>(), std::optional(System({1, 0, 0}, {2, 0, 0}))}) {
      QueueOffset(2, 3);
      host_.QueueCsys(system);
      d.DoubleClick(row);
      EXPECT_EQ(Picture(&d), after);
    }
    EXPECT_EQ(Attr(plate_, "材料规格"), "1.0x1.0x1.0");
  });
  EXPECT_EQ(Boxes("提示", true), (std::vector<std::string>{"0:指定的向量无法创建坐标系"}));
  EXPECT_TRUE(Boxes("材料BOM").empty()) << "nothing saved, nothing reported";
}

TEST_F(AllowanceTest, TheDesignersUndoToTheResetMarkRestoresTheBodyExactly) {
  Open([&](DialogDriver& d, ExportMaterialBom& bom) {
    Node* row = Row(d, "UB-01");
    host_.attributes().SetString(plate_, "材料余量", "1_1_1_1_1");
    host_.objects().SetBlanked(other_, true);
    const auto before = Picture();
    // The reset's mark is the one after this probe.
    const int probe = host_.undo().SetUndoMark(host::MarkVisibility::Invisible, "probe");
    host_.QueueCsys(System({0, 1, 0}, {-1, 0, 0}));
    ASSERT_TRUE(bom.ResetBodyCsys(row));
    EXPECT_EQ(Attr(plate_, "材料规格"), "52.0x102.0x21.0");
    EXPECT_NE(Picture(), before);
    host_.undo().UndoToMark(probe + 1);
    EXPECT_EQ(Picture(), before);
  });
}

TEST_F(AllowanceTest, TheButtonAloneWorksOnTheSelectedRowOrSaysWhatIsMissing) {
  const Tag sheet = host_.AddBody(Shape::Sheet(10, 10), 10);
  Open([&](DialogDriver& d, ExportMaterialBom&) {
    FillHeader(d);
    d.Press("button0");
    EXPECT_EQ(Boxes("材料BOM", true),
              std::vector<std::string>{"0:请先在清单中双击需要设置余量的实体"});
    // A pick selects the body's row; only solids pass the filter.
    EXPECT_EQ(d.Pick("bodySelect0", {sheet, other_}), (std::vector<Tag>{other_}));
    EXPECT_EQ(d.tree("tree_control0").GetSelectedNodes(), std::vector<Node*>{Row(d, "UB-02")});
    QueueOffset(0, 0);
    host_.QueueCsys(System({1, 0, 0}, {0, 1, 0}));
    d.Press("button0");
    EXPECT_TRUE(d.Selected("bodySelect0").empty());  // a button clears the picks
  });
  EXPECT_EQ(Attr(other_, "材料余量"), "0.000_0.000_0.000_0.000_0.000");
  EXPECT_EQ(Attr(plate_, "材料规格"), "1.0x1.0x1.0");  // the other row is untouched
}

TEST_F(AllowanceTest, AutomaticOrientationTurnsTheSelectedBodiesAndAddsTheirAllowance) {
  // The plate turned 30 degrees about Z, with an allowance.
  host_.SetBodyShape(plate_,
                     Shape::Box(100, 50, 20, {0, 0, 0}).Rotated({0, 0, 0}, {0, 0, 1}, kPi / 6));
  host_.attributes().SetString(plate_, "材料余量", "1_1_2_2_3");
  Open([&](DialogDriver& d, ExportMaterialBom&) {
    FillHeader(d);
    EXPECT_EQ(CancelPick(d, "button019"), "自动摆正|选择需要自动摆正的实体");
    QueuePick({plate_});
    d.Press("button019");
    EXPECT_EQ(Row(d, "UB-01")->GetColumnDisplayText(4), "104.0x52.0x23.0");
  });
  EXPECT_EQ(Boxes("提示", true), (std::vector<std::string>{"2:提示：", "2:提示："}));
  EXPECT_EQ(Attr(plate_, "材料规格"), "104.0x52.0x23.0");
  // X along the long edge, nearest world +X; Z up.
  double x[6];
  ASSERT_EQ(std::sscanf(Attr(plate_, "材料方位").c_str(), "%lf,%lf,%lf,%lf,%lf,%lf", &x[0], &x[1],
                        &x[2], &x[3], &x[4], &x[5]),
            6);
  EXPECT_NEAR(x[0], std::cos(kPi / 6), 1e-3);
  EXPECT_NEAR(x[1], std::sin(kPi / 6), 1e-3);
  EXPECT_NEAR(x[2], 0, 1e-9);
  EXPECT_EQ(CsysNamed(identity_).size(), 1u);
  EXPECT_EQ(Attr(other_, "材料规格"), "30.0x30.0x30.0");
}

}  // namespace
}  // namespace mbom_test
