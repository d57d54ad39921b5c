// The standard-part dialog's start-up and its tree: configuration messages,
// the header load, grouping, ordering and the two numberings.
#include "tests/part_bom/part_bom_fixture.h"

namespace part_bom_test {
namespace {

TEST_F(PartBomTest, StartUpLoadsTheTableAndStopsWithoutItOrTheChangedColour) {
  Part screw{"内六角螺钉", "M8x30"};
  screw.brand = "HASCO";  // not a configured brand
  AddPart(screw);
  AddPart({"外导柱", "Φ25x180"});
  host::Attributes& a = host_.attributes();
  a.SetString(WorkPart(), "客户名称", "华南汽车");
  a.SetString(WorkPart(), "模具吨位", "110T");
  a.SetString(WorkPart(), "设计担当", "赵六");  // not a configured designer
  Run([&](DialogDriver& d) {
    const auto columns = d.Columns("tree_control0");
    ASSERT_EQ(columns.size(), 12u);
    EXPECT_EQ(columns[2].title, "型号/尺寸");
    EXPECT_EQ(columns[11].title, "修改时间");
    EXPECT_EQ(d.String("string0"), "华南汽车");
    EXPECT_EQ(d.String("string01"), "");
    EXPECT_EQ(d.EnumMembers("enum0"), (std::vector<std::string>{"", "80T", "110T"}));
    EXPECT_EQ(d.EnumText("enum0"), "110T");
    EXPECT_EQ(d.EnumMembers("enum01"), (std::vector<std::string>{"", "张伟", "李强"}));
    EXPECT_EQ(d.Enum("enum01"), 0) << "a stored value that is no member selects the empty one";
    // The option lists begin with the empty entry and keep the table's blank
    // cells; the cell's value is preselected.
    Node* group = d.TopNodes("tree_control0").at(0);
    const memory::CellEditor brand = d.AskEditor(group, 3);
    EXPECT_EQ(brand.control, host::ControlType::ComboBox);
    EXPECT_EQ(brand.options, (std::vector<std::string>{"", "MISUMI", "盘起", ""}));
    EXPECT_EQ(brand.selected, 1);
    EXPECT_EQ(d.AskEditor(group, 9).options, (std::vector<std::string>{"", "1天", "3天", ""}));
    EXPECT_EQ(d.AskEditor(group, 6).selected, 2);
    EXPECT_EQ(d.AskEditor(d.TopNodes("tree_control0").at(1), 3).selected, 0);
  });
  EXPECT_TRUE(host_.message_log().empty()) << Messages().front();

  fs::remove(dir_ / "R" / "config" / "config.csv");
  Run([&](DialogDriver& d) { EXPECT_TRUE(d.TopNodes("tree_control0").empty()); });
  EXPECT_EQ(Messages(),
            std::vector<std::string>{"Block Styler: 配置文件：R:\\config\\config.csv 不存在！"});

  host_.ClearMessageLog();
  WriteConfig("设计人员,改模颜色\r\n张伟,\r\n李强,\r\n");
  Run([&](DialogDriver& d) {
    EXPECT_TRUE(d.TopNodes("tree_control0").empty());
    EXPECT_EQ(d.Columns("tree_control0").size(), 12u) << "the columns come first";
  });
  EXPECT_EQ(Messages(), std::vector<std::string>{"Block Styler: 未找到改模颜色！"});

  // The colour is the first cell as the table holds it: a blank first cell
  // names colour 0, not the 186 below it, and a part in 186 is no new part.
  host_.ClearMessageLog();
  WriteConfig("改模颜色,标准件-供应商\r\n,\r\n186,恒达\r\n");
  const Tag pink = AddPart({"氮气弹簧", "X350"}, kChanged);
  Run([&](DialogDriver& d) {
    EXPECT_EQ(Column(d.TopNodes("tree_control0"), 10), (std::vector<std::string>{"", "", ""}));
    EXPECT_EQ(BodyOf(d.Children(d.TopNodes("tree_control0").at(2)).at(0)), pink);
    EXPECT_EQ(d.AskEditor(d.TopNodes("tree_control0").at(0), 8).options,
              (std::vector<std::string>{"", "", "恒达"}));
  });
  EXPECT_TRUE(host_.message_log().empty());

  // Keys missing from the table: lists with the empty entry only, no order.
  host_.ClearMessageLog();
  WriteConfig("改模颜色\r\n186\r\n");
  Run([&](DialogDriver& d) {
    EXPECT_EQ(d.EnumMembers("enum0"), std::vector<std::string>{""});
    EXPECT_EQ(d.AskEditor(d.TopNodes("tree_control0").at(0), 8).options,
              std::vector<std::string>{""});
    EXPECT_EQ(Column(d.TopNodes("tree_control0"), 1),
              (std::vector<std::string>{"内六角螺钉", "外导柱", "氮气弹簧"}))
        << "without a name order the part's order stays";
  });
  EXPECT_TRUE(host_.message_log().empty());
}

TEST_F(PartBomTest, NewBuildGroupsOrdersAndNumbersOverTheChangedGroups) {
  AddPart({"内六角螺钉", "M10x80"});
  const Tag spring1 = AddPart({"矩形弹簧", "TF25x50", "SWOSC-V"});
  AddPart({"外导柱", "Φ25x180"}, kChanged);
  AddPart({"矩形弹簧", "TF25x50", "60Si2Mn"});  // other material
  AddPart({"卸料螺钉", "M8x60"});               // not in the order
  const Tag new_spring = AddPart({"矩形弹簧", "TF25x50"}, kChanged);
  host_.attributes().SetString(new_spring, "修改日期", "2024-06-01 08:00:00");
  host_.objects().SetBlanked(AddPart({"外导柱", "Φ25x180"}), true);  // hidden: not listed
  host_.AddBody(Shape::Box(10, 10, 10), kStandardLayer);             // no "名称"
  // An empty "名称" still makes a standard part, on any layer.
  const Tag unnamed = host_.AddBody(Shape::Box(5, 5, 5), 1);
  host_.attributes().SetString(unnamed, "名称", "");

  Run([&](DialogDriver& d) {
    EXPECT_EQ(Rows(d), (std::vector<std::string>{
                           "001|矩形弹簧|TF25x50|MISUMI|2|SWOSC-V|淬火||恒达|3天",
                           "  001|矩形弹簧|TF25x50|MISUMI||SWOSC-V|淬火||恒达|3天",
                           "  001|矩形弹簧|TF25x50|MISUMI||60Si2Mn|淬火||恒达|3天",
                           "002|内六角螺钉|M10x80|MISUMI|1|SUJ2|淬火||恒达|3天",
                           "  002|内六角螺钉|M10x80|MISUMI||SUJ2|淬火||恒达|3天",
                           "003|卸料螺钉|M8x60|MISUMI|1|SUJ2|淬火||恒达|3天",
                           "  003|卸料螺钉|M8x60|MISUMI||SUJ2|淬火||恒达|3天",
                           "004||||1",
                           "  004",
                           "005|外导柱|Φ25x180|MISUMI|1|SUJ2|淬火||恒达|3天|新增",
                           "  005|外导柱|Φ25x180|MISUMI||SUJ2|淬火||恒达|3天|新增",
                           "006|矩形弹簧|TF25x50|MISUMI|1|SUJ2|淬火||恒达|3天|新增|"
                           "2024-06-01 08:00:00",
                           "  006|矩形弹簧|TF25x50|MISUMI||SUJ2|淬火||恒达|3天|新增|"
                           "2024-06-01 08:00:00",
                       }));
    const auto top = d.TopNodes("tree_control0");
    EXPECT_EQ(BodyOf(top[0]), host::kNullTag) << "group rows carry no body";
    EXPECT_EQ(BodyOf(d.Children(top[0])[0]), spring1);
    EXPECT_EQ(BodyOf(d.Children(top[3])[0]), unnamed);
    EXPECT_EQ(top[5]->ForegroundColor(), kChanged);
    EXPECT_EQ(d.Children(top[5])[0]->ForegroundColor(), kChanged);
    EXPECT_NE(top[0]->ForegroundColor(), kChanged);
    for (Node* n : d.AllNodes("tree_control0")) EXPECT_EQ(n->State(), host::kNodeChecked);
  });
  EXPECT_TRUE(host_.message_log().empty());
}

TEST_F(PartBomTest, SortedPartKeepsStoredNumbersAndAdditionsFollowTheLastGroupRow) {
  auto numbered = [&](const Part& p, const std::string& number, int color = kGrey) {
    const Tag b = AddPart(p, color);
    if (!number.empty()) host_.attributes().SetString(b, "序号", number);
    return b;
  };
  host_.attributes().SetString(WorkPart(), "已排序", "Y");
  numbered({"外导柱", "Φ25x180"}, "007");
  numbered({"矩形弹簧", "TF25x50"}, "003", kChanged);  // first of its group, a new body
  numbered({"矩形弹簧", "TF25x50"}, "004");
  const Tag screw = numbered({"内六角螺钉", "M10x80"}, "001");
  numbered({"氮气弹簧", "X350"}, "", kChanged);

  Run([&](DialogDriver& d) {
    const auto top = d.TopNodes("tree_control0");
    EXPECT_EQ(Column(top, 0), (std::vector<std::string>{"007", "003", "001", "002", "003"}));
    EXPECT_EQ(Column(top, 1), (std::vector<std::string>{"外导柱", "矩形弹簧", "内六角螺钉",
                                                        "矩形弹簧", "氮气弹簧"}));
    EXPECT_EQ(Column(top, 10), (std::vector<std::string>{"", "", "", "新增", "新增"}));
    EXPECT_EQ(Column(d.Children(top[1]), 0), std::vector<std::string>{"004"});
    EXPECT_EQ(Column(d.Children(top[3]), 0), std::vector<std::string>{"002"});
  });
  EXPECT_TRUE(host_.message_log().empty());

  // Additions after a group row numbered 999 would need four digits.
  host_.attributes().SetString(screw, "序号", "999");
  Run([&](DialogDriver&) {});
  EXPECT_EQ(Messages(),
            std::vector<std::string>{"Block Styler: 标准件超过999组，序号无法编为三位数！"});
}

}  // namespace
}  // namespace part_bom_test
