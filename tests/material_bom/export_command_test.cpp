// The export and save commands of the material BOM dialog, driven as the
// designer presses them.
#include <gtest/gtest.h>

#include <algorithm>

#include "host/memory/part_file.h"
#include "host/text.h"
#include "tests/material_bom/material_bom_fixture.h"

namespace mbom_test {
namespace {

class ExportCommandTest : public MaterialBomTest {
 protected:
  void SetUp() override {
    MaterialBomTest::SetUp();
    fs::create_directories(dir_ / "O");
    host_.MapDrive('O', (dir_ / "O").string());
    host_.SetPartLeaf("P1");
    AddDrawn(Shape::Box(100, 50, 20), 10);
    AddDrawn(Shape::Box(60, 40, 30, {200, 0, 0}), 10);
  }
};

TEST_F(ExportCommandTest, EachExportTakesTheNextFreeNameAfterAYesAndAWholeHeader) {
  host_.QueueAnswer(host::kSecondButton);
  for (int i = 0; i < 5; ++i) host_.QueueAnswer(host::kFirstButton);
  Open([&](DialogDriver& d, ExportMaterialBom&) {
    d.SetFolder("nativeFolderBrowser0", "O:\\");
    // No answer, then an empty required field: nothing is written.
    d.Press("button01");
    d.Press("button01");
    EXPECT_TRUE(host_.opened_documents().empty());
    EXPECT_FALSE(fs::exists(dir_ / "O" / "P1"));
    EXPECT_EQ(Attr(host_.session().WorkPart(), "客户名称"), "<none>");
    FillHeader(d);
    for (int i = 0; i < 3; ++i) d.Press("button01");
    fs::remove(dir_ / "D" / "MYTOOL" / "config" / fs::path(u8"级进模") /
               fs::path(u8"模具材料采购单.xls"));
    d.Press("button01");
  });
  const std::vector<std::string> expected = {"O:\\P1\\P1材料BOM.xls", "O:\\P1\\P1材料BOM-1.xls",
                                             "O:\\P1\\P1材料BOM-2.xls"};
  EXPECT_EQ(host_.opened_documents(), expected);
  // The save checks the fields first, in its own order.
  std::vector<std::string> boxes = {"0:产品材质不可以为空"};
  for (const std::string& path : expected) {
    EXPECT_TRUE(fs::is_regular_file(host_.LocalPath(path))) << path;
    boxes.push_back("2:导出材料BOM成功！\n文件路径：" + path);
  }
  boxes.push_back("0:D:\\MYTOOL\\config\\级进模\\模具材料采购单.xls 配置文件不存在");
  EXPECT_EQ(Boxes("材料BOM"), boxes);
  // The export saved the header on the part.
  EXPECT_EQ(Attr(host_.session().WorkPart(), "客户名称"), "华锐汽车部件");
}

TEST_F(ExportCommandTest, ADamagedTemplateIsNamedAndLeavesTheExportFolderAsItWas) {
  const std::string templ = "D:\\MYTOOL\\config\\级进模\\模具材料采购单.xls";
  const std::string whole = host_.platform().ReadFile(templ).value_or("");
  ASSERT_GT(whole.size(), 1536u);
  for (int i = 0; i < 4; ++i) host_.QueueAnswer(host::kFirstButton);
  std::string first;
  Open([&](DialogDriver& d, ExportMaterialBom&) {
    d.SetFolder("nativeFolderBrowser0", "O:\\");
    FillHeader(d);
    d.Press("button01");
    first = host_.platform().ReadFile("O:\\P1\\P1材料BOM.xls").value_or("");
    // Cut short, then not a workbook at all: refused, twice, naming the template.
    ASSERT_TRUE(host_.platform().WriteFile(templ, whole.substr(0, 1536)));
    d.Press("button01");
    ASSERT_TRUE(host_.platform().WriteFile(templ, "序号,名称\r\n"));
    d.Press("button01");
    // Whole again: the next free name.
    ASSERT_TRUE(host_.platform().WriteFile(templ, whole));
    d.Press("button01");
  });
  std::vector<fs::path> files;
  for (const auto& e : fs::directory_iterator(dir_ / "O" / "P1"))
    files.push_back(e.path().filename());
  std::sort(files.begin(), files.end());
  EXPECT_EQ(files, (std::vector<fs::path>{u8"P1材料BOM-1.xls", u8"P1材料BOM.xls"}));
  EXPECT_EQ(host_.platform().ReadFile("O:\\P1\\P1材料BOM.xls").value_or("?"), first)
      << "the earlier workbook stays as it was";
  const std::string damaged =
      "0:模板文件 D:\\MYTOOL\\config\\级进模\\模具材料采购单.xls 已损坏，无法读取（is not a "
      "workbook that can be read: ";
  EXPECT_EQ(Boxes("材料BOM"),
            (std::vector<std::string>{
                "2:导出材料BOM成功！\n文件路径：O:\\P1\\P1材料BOM.xls",
                damaged + "compound file truncated: sector beyond the end），请换用完好的模板",
                damaged + "not a compound file (no OLE2 signature)），请换用完好的模板",
                "2:导出材料BOM成功！\n文件路径：O:\\P1\\P1材料BOM-1.xls"}));
}

TEST_F(ExportCommandTest, TheSaveCommandConfirmsAndTheFolderIsRemembered) {
  Open([&](DialogDriver& d, ExportMaterialBom& bom) {
    FillHeader(d);
    d.SetFolder("nativeFolderBrowser0", "O:\\BOM");
    bom.SaveCommand();
  });
  EXPECT_EQ(Boxes("材料BOM"), std::vector<std::string>{"2:保存BOM属性成功！"});
  EXPECT_EQ(host_.platform().ReadFile("C:\\Users\\designer\\AppData\\Local\\Convert\\config.csv"),
            std::optional<std::string>("出图的路径\r\nO:\\BOM\r\n"));
  // The next start-up shows it.
  Open([&](DialogDriver& d, ExportMaterialBom&) {
    EXPECT_EQ(d.Folder("nativeFolderBrowser0"), "O:\\BOM");
  });

  // A folder that cannot be remembered is reported; the dialog keeps it.
  host_.SetLocalAppDataFolder("Q:\\NoSuchDrive");
  Open([&](DialogDriver& d, ExportMaterialBom&) {
    d.SetFolder("nativeFolderBrowser0", "O:\\Other");
    EXPECT_EQ(d.Folder("nativeFolderBrowser0"), "O:\\Other");
  });
  EXPECT_EQ(Boxes("材料BOM").back(),
            "0:出图的路径无法保存到文件：Q:\\NoSuchDrive\\Convert\\config.csv");
}

}  // namespace
}  // namespace mbom_test
