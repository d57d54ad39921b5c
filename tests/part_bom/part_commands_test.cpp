// The standard-part dialog as the designer works it: editing group rows,
// showing and hiding bodies, the display filter, saving and the export.
#include "tests/part_bom/part_bom_fixture.h"
#include "tests/workbook/xls_support.h"

namespace part_bom_test {
namespace {

TEST_F(PartBomTest, GroupRowEditsReachTheirBodyRowsAndTheTreeHidesAndShowsBodies) {
  const Tag pin1 = AddPart({"外导柱", "Φ25x180"});
  const Tag pin2 = AddPart({"外导柱", "Φ25x180"});
  const Tag screw = AddPart({"内六角螺钉", "M10x80"});
  auto blanked = [&](Tag b) { return host_.objects().IsBlanked(b); };
  Run([&](DialogDriver& d) {
    Node* pins = d.TopNodes("tree_control0").at(0);
    const auto bodies = d.Children(pins);
    EXPECT_TRUE(d.EditCell(pins, 5, "SCM435"));
    EXPECT_EQ(Column(bodies, 5), (std::vector<std::string>{"SCM435", "SCM435"}));
    EXPECT_FALSE(d.EditCell(bodies[0], 1, "X")) << "body rows are edited through their group";
    for (int column : {0, 4, 10, 11}) EXPECT_FALSE(d.CanEditText(pins, column)) << column;
    EXPECT_EQ(d.AskEditor(bodies[0], 3).control, host::ControlType::None);
    EXPECT_TRUE(d.ChooseOption(pins, 8, "明辉"));
    EXPECT_EQ(Column(bodies, 8), (std::vector<std::string>{"明辉", "明辉"}));
    EXPECT_FALSE(d.ChooseOption(pins, 8, -1)) << "no option chosen changes nothing";
    EXPECT_EQ(Column(bodies, 8), (std::vector<std::string>{"明辉", "明辉"}));

    // The check boxes: a body row, then a group row with all its bodies.
    d.ClickCheckBox(bodies[0]);
    EXPECT_TRUE(blanked(pin1));
    EXPECT_EQ(bodies[0]->State(), host::kNodeUnchecked);
    d.ClickCheckBox(pins);
    EXPECT_TRUE(blanked(pin1) && blanked(pin2));
    d.ClickCheckBox(pins);
    EXPECT_FALSE(blanked(pin1) || blanked(pin2));
    EXPECT_EQ(bodies[0]->State(), host::kNodeChecked);
    // A click on a group row selects its body rows too.
    d.Click(pins);
    EXPECT_EQ(d.tree("tree_control0").GetSelectedNodes().size(), 3u);
    // The context menu: on a row hide and show, on empty space nothing.
    EXPECT_TRUE(d.OpenMenuOnEmptySpace("tree_control0").empty());
    const auto menu = d.OpenMenu(pins);
    ASSERT_EQ(menu.size(), 2u);
    EXPECT_EQ(menu[0].text + menu[1].text, "隐藏显示");
    d.ChooseMenuItem(pins, 0);
    EXPECT_TRUE(blanked(pin1) && blanked(pin2) && !blanked(screw));
    EXPECT_EQ(pins->State(), host::kNodeUnchecked);
    d.ChooseMenuItem(pins, 1);
    EXPECT_FALSE(blanked(pin1) || blanked(pin2));
    // A body picked in the graphics window selects its group row only.
    d.Pick("bodySelect0", {screw});
    EXPECT_EQ(d.tree("tree_control0").GetSelectedNodes(),
              std::vector<Node*>{d.TopNodes("tree_control0")[1]});
    // Hide all, then show all, whatever the rows' states.
    for (bool hidden : {true, false}) {
      d.Press("button03");
      for (Tag b : {pin1, pin2, screw}) EXPECT_EQ(blanked(b), hidden);
      for (Node* n : d.AllNodes("tree_control0"))
        EXPECT_EQ(n->State(), hidden ? host::kNodeUnchecked : host::kNodeChecked);
    }
  });
  EXPECT_TRUE(host_.message_log().empty());
}

TEST_F(PartBomTest, DisplayFilterShowsTheNewRowsThenBringsTheOthersBack) {
  const Tag pin = AddPart({"外导柱", "Φ25x180"});
  const Tag spring = AddPart({"矩形弹簧", "TF25x50"});
  const Tag new_spring = AddPart({"矩形弹簧", "TF25x50"}, kChanged);
  Run([&](DialogDriver& d) {
    const auto before = Rows(d);
    d.SelectEnum("enum02", 1);
    EXPECT_EQ(Column(d.TopNodes("tree_control0"), 0), std::vector<std::string>{"003"});
    EXPECT_EQ(d.AllNodes("tree_control0").size(), 2u);
    EXPECT_TRUE(host_.objects().IsBlanked(pin) && host_.objects().IsBlanked(spring));
    EXPECT_FALSE(host_.objects().IsBlanked(new_spring));

    d.SelectEnum("enum02", 0);
    // The set-aside groups come back after the new ones.
    std::vector<std::string> expected(before.begin() + 4, before.end());
    expected.insert(expected.end(), before.begin(), before.begin() + 4);
    EXPECT_EQ(Rows(d), expected);
    for (Tag b : {pin, spring, new_spring}) EXPECT_FALSE(host_.objects().IsBlanked(b));
    for (Node* n : d.AllNodes("tree_control0")) EXPECT_EQ(n->State(), host::kNodeChecked);
    EXPECT_EQ(BodyOf(d.Children(d.TopNodes("tree_control0")[1])[0]), pin);

    // A refresh while only the new rows are shown rebuilds the rows of the
    // shown bodies and leaves the filter as it is, with the groups it set
    // aside: switching back brings them back, unblanked.
    d.SelectEnum("enum02", 1);
    d.Press("button02");
    EXPECT_EQ(d.Enum("enum02"), 1);
    EXPECT_EQ(Rows(d),
              (std::vector<std::string>{"001|矩形弹簧|TF25x50|MISUMI|1|SUJ2|淬火||恒达|3天|新增",
                                        "  001|矩形弹簧|TF25x50|MISUMI||SUJ2|淬火||恒达|3天|新增"}))
        << "the rebuild numbers only what it lists";
    d.SelectEnum("enum02", 0);
    EXPECT_EQ(Rows(d),
              (std::vector<std::string>{"001|矩形弹簧|TF25x50|MISUMI|1|SUJ2|淬火||恒达|3天|新增",
                                        "  001|矩形弹簧|TF25x50|MISUMI||SUJ2|淬火||恒达|3天|新增",
                                        "001|外导柱|Φ25x180|MISUMI|1|SUJ2|淬火||恒达|3天",
                                        "  001|外导柱|Φ25x180|MISUMI||SUJ2|淬火||恒达|3天",
                                        "002|矩形弹簧|TF25x50|MISUMI|1|SUJ2|淬火||恒达|3天",
                                        "  002|矩形弹簧|TF25x50|MISUMI||SUJ2|淬火||恒达|3天"}));
    std::vector<Tag> listed;
    for (Node* n : d.AllNodes("tree_control0"))
      if (BodyOf(n) != host::kNullTag) listed.push_back(BodyOf(n));
    EXPECT_EQ(listed, (std::vector<Tag>{new_spring, pin, spring}));
    for (Tag b : {pin, spring, new_spring}) EXPECT_FALSE(host_.objects().IsBlanked(b));
  });
  EXPECT_EQ(Messages(), std::vector<std::string>{"标准件BOM: 已刷新显示！"});
}

TEST_F(PartBomTest, SaveChecksTheHeaderStoresTheRowsAndTheExportNeverOverwritesAnEarlierBom) {
  const Tag screw = AddPart({"内六角螺钉", "M10x80"}, kChanged);
  const Tag pin = AddPart({"外导柱", "Φ25x180"});
  AddPart({"外导柱", "Φ25x180"});
  host_.attributes().SetString(pin, "修改日期", "2024-05-01 10:00:00");
  const fs::path folder = dir_ / "R" / "Desktop" / "die";
  Run([&](DialogDriver& d) {
    // Required fields, in order; an incomplete header touches no file.
    d.Press("button01");
    d.Press("button0");
    d.SetString("string0", "华南汽车");
    d.Press("button0");
    d.SetString("string01", "DM-2024-017");
    d.Press("button0");
    d.SelectEnumMember("enum0", "110T");
    d.Press("button0");
    EXPECT_EQ(Attr(WorkPart(), "客户名称"), "<none>")
        << "nothing is written before the header is whole";
    EXPECT_EQ(Attr(screw, "序号"), "<none>");
    EXPECT_FALSE(fs::exists(folder));
    d.SelectEnumMember("enum01", "李强");
    d.SetString("string03", "PO-88");  // the order number stays out of the workbook
    d.EditCell(d.TopNodes("tree_control0")[1], 5, "SCM435");
    d.Press("button0");
    d.Press("button01");
    d.Press("button01");
    fs::remove(TemplateFile());
    d.Press("button01");
  });
  const std::string first = "R:\\Desktop\\die\\die标准件BOM.xls";
  const std::string second = "R:\\Desktop\\die\\die标准件BOM-1.xls";
  EXPECT_EQ(Messages(), (std::vector<std::string>{
                            "Block Styler: 客户名称不可以为空", "Block Styler: 客户名称不可以为空",
                            "Block Styler: 模具编号不可以为空", "Block Styler: 模具吨位不可以为空",
                            "Block Styler: 设计担当不可以为空", "标准件BOM: 保存标准件属性成功！",
                            "标准件BOM: 导出标准件BOM成功！\n文件路径：" + first,
                            "标准件BOM: 导出标准件BOM成功！\n文件路径：" + second,
                            "Block Styler: R:\\config\\模具标准件申购表.xls 配置文件不存在"}));
  EXPECT_EQ(host_.opened_documents(), (std::vector<std::string>{first, second}));
  EXPECT_EQ(Attr(WorkPart(), "客户名称"), "华南汽车");
  EXPECT_EQ(Attr(WorkPart(), "产品编号"), "") << "may be empty";
  EXPECT_EQ(Attr(WorkPart(), "设计担当"), "李强");
  EXPECT_EQ(Attr(WorkPart(), "已排序"), "Y");
  EXPECT_EQ(Attr(screw, "序号"), "002");
  EXPECT_EQ(Attr(screw, "材质"), "SCM435");
  EXPECT_EQ(Attr(screw, "类型"), "M10x80");
  EXPECT_EQ(Attr(pin, "序号"), "001");
  EXPECT_EQ(Attr(pin, "修改时间"), "2024-05-01 10:00:00");
  EXPECT_EQ(Attr(pin, "数量"), "<none>");

  // The workbooks read back by xlrd: the header cells, one line per group
  // row, and everything else as the template has it.
  std::vector<wbtest::Cell> cells = {
      {1, 2, L"华南汽车"}, {2, 2, L"DM-2024-017"}, {3, 2, L""}, {2, 4, L"李强"}, {3, 7, L"110T"}};
  const std::vector<std::vector<std::wstring>> want = {
      {L"1", L"外导柱", L"Φ25x180", L"MISUMI", L"2", L"淬火", L"", L"SUJ2", L"恒达", L"3天", L""},
      {L"2", L"内六角螺钉", L"M10x80", L"MISUMI", L"1", L"淬火", L"", L"SCM435", L"恒达", L"3天",
       L"新增"}};
  const int columns[] = {0, 1, 2, 3, 4, 5, 6, 8, 9, 10, 11};
  for (int i = 0; i < 2; ++i)
    for (int k = 0; k < 11; ++k) cells.push_back({6 + i, columns[k], want[i][k]});
  const fs::path shipped =
      fs::path(std::getenv("DIEBOM_SOURCE_DIR")) / "samples/config/config" / kTemplateName;
  for (const fs::path& file : {folder / u8"die标准件BOM.xls", folder / u8"die标准件BOM-1.xls"}) {
    const std::string report = wbtest::CheckWithXlrd(dir_, shipped, file, 0, cells);
    EXPECT_EQ(report.substr(report.size() < 3 ? 0 : report.size() - 3), "OK\n") << report;
  }

  // The part is sorted now: a refresh keeps the stored numbers, the new
  // group after the others, and the header is shown again.
  host_.ClearMessageLog();
  Run([&](DialogDriver& d) {
    EXPECT_EQ(d.EnumText("enum01"), "李强");
    d.Press("button02");
    EXPECT_EQ(Column(d.TopNodes("tree_control0"), 0), (std::vector<std::string>{"001", "002"}));
    EXPECT_EQ(d.TopNodes("tree_control0")[1]->GetColumnDisplayText(5), "SCM435");
  });
  EXPECT_EQ(Messages(), std::vector<std::string>{"标准件BOM: 已刷新显示！"});
}

TEST_F(PartBomTest, ADamagedTemplateIsNamedAndNoWorkbookIsLeft) {
  const Tag pin = AddPart({"外导柱", "Φ25x180"});
  fs::resize_file(TemplateFile(), 1536);  // cut short
  Run([&](DialogDriver& d) {
    d.SetString("string0", "华南汽车");
    d.SetString("string01", "DM-2024-017");
    d.SelectEnumMember("enum0", "110T");
    d.SelectEnumMember("enum01", "李强");
    d.Press("button01");
    d.Press("button01");
  });
  const std::string damaged =
      "Block Styler: 模板文件 R:\\config\\模具标准件申购表.xls 已损坏，无法读取（is not a "
      "workbook that can be read: compound file truncated: sector beyond the end），"
      "请换用完好的模板";
  EXPECT_EQ(Messages(), (std::vector<std::string>{damaged, damaged}));
  EXPECT_TRUE(fs::is_empty(dir_ / "R" / "Desktop" / "die"));
  EXPECT_TRUE(host_.opened_documents().empty());
  EXPECT_EQ(Attr(pin, "序号"), "<none>") << "nothing saved either";
}

}  // namespace
}  // namespace part_bom_test
