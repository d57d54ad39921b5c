// The shipped configuration root, loaded as D:\MYTOOL through the loader the
// material BOM dialog uses.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "config/config_folder.h"
#include "config/csv.h"
#include "config/material_bom_config.h"
#include "config_test_support.h"
#include "host/text.h"

namespace config {
namespace {

namespace fs = std::filesystem;
using Cells = std::vector<std::string>;
using Ints = std::vector<int>;

fs::path SampleRoot() {
  const char* source = std::getenv("DIEBOM_SOURCE_DIR");
  return fs::path(source ? source : DIEBOM_SOURCE_DIR_FALLBACK) / "samples" / "config";
}

class SampleConfigTest : public config_test::HostFolder {
 protected:
  void SetUp() override {
    HostFolder::SetUp();
    fs::copy(SampleRoot(), dir_ / "D" / "MYTOOL", fs::copy_options::recursive);
    host_.SetVariable("RQConfig", "D:\\MYTOOL");
  }
};

TEST_F(SampleConfigTest, EveryFileIsGbkAndEveryTableParses) {
  int tables = 0;
  for (const auto& entry : fs::recursive_directory_iterator(SampleRoot())) {
    if (!entry.is_regular_file()) continue;
    const std::string ext = entry.path().extension().string();
    if (ext != ".csv" && ext != ".txt") continue;
    if (entry.path().string().find("templates-src") != std::string::npos) continue;
    const std::string logic =
        "D:\\MYTOOL\\" + text::Utf8ToGbk(fs::relative(entry.path(), SampleRoot()).string());
    std::string path = logic;
    for (char& c : path) {
      if (c == '/') c = '\\';
    }
    const std::optional<std::string> bytes = host_.platform().ReadFile(path);
    ASSERT_TRUE(bytes) << entry.path();
    EXPECT_TRUE(text::IsValidGbk(*bytes)) << entry.path();
    if (ext == ".csv") {
      const CsvTable table = ParseCsv(*bytes, path);
      EXPECT_FALSE(table.headings.empty()) << entry.path();
      ++tables;
    }
  }
  EXPECT_GE(tables, 14);
}

TEST_F(SampleConfigTest, MaterialBomSettingsValueByValue) {
  const MaterialBomSettings s = MaterialBomSettings::Load(host_);
  EXPECT_EQ(s.config_folder, "D:\\MYTOOL\\config\\级进模");
  EXPECT_EQ(s.layer_table_path, "D:\\MYTOOL\\config\\TK\\连续模图层.csv");

  const MaterialBomConfig& m = s.material;
  EXPECT_EQ(m.layer_numbers,
            (Ints{10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120, 130, 140, 150, 200, 210}));
  EXPECT_EQ(m.layer_names, (Cells{"上模座", "上垫板", "上夹板", "脱料板", "下模板", "下垫板",
                                  "下模座", "入子", "冲头", "止挡板", "上垫脚", "下垫脚", "限位块",
                                  "导料板", "标准件", "料带", "产品"}));
  EXPECT_EQ(m.layer_codes, (Cells{"UB", "UP", "PH", "SP", "DP", "LP", "LB", "IN", "PU", "BP", "UF",
                                  "LF", "ST", "GP", "STD", "STRIP", "PRD"}));
  EXPECT_EQ(m.template_layers,
            (Ints{10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120, 130, 140, 0, 0, 0}));
  EXPECT_EQ(m.colors, (Ints{6, 11, 36, 42, 78, 108, 130, 145}));
  EXPECT_EQ(m.material_names,
            (Cells{"Cr12MoV", "SKD11", "DC53", "45#", "P20", "A3", "SKH-51", "HT250"}));
  EXPECT_EQ(m.heat_treatments,
            (Cells{"淬火HRC58-60", "真空淬火HRC60-62", "真空淬火HRC60-62", "调质HRC28-32",
                   "预硬HRC30-34", "", "真空淬火HRC62-64", "时效处理"}));
  EXPECT_DOUBLE_EQ(m.density, 7.85);
  EXPECT_DOUBLE_EQ(m.ordering_weight, 5.0);
  EXPECT_EQ(m.first_ordering_method, "库存料");
  EXPECT_EQ(m.first_purchase_method, "毛料订购");
  EXPECT_EQ(m.ordering_methods, (Cells{"库存料", "毛料订购", "精料订购", "", ""}));
  EXPECT_EQ(m.purchase_methods, (Cells{"毛料订购", "精料订购", "", "", ""}));
  EXPECT_EQ(m.equal_height_layers, (Ints{110, 120, 130, 0, 0}));
  EXPECT_EQ(m.chamfer_choices, (Cells{"是", "否", "", "", ""}));
  EXPECT_EQ(m.height_exact_choices, (Cells{"是", "否", "", "", ""}));
  EXPECT_EQ(m.lead_time_choices, (Cells{"1天", "2天", "3天", "5天", "7天"}));
  EXPECT_EQ(m.layer_optimization_prompt,
            (Cells{"检测到标准图层以外的实体。",
                   "请先用\"图层优化\"把实体移到标准图层,再生成材料BOM。"}));
  EXPECT_EQ(m.overlap_deletion_prompt,
            (Cells{"检测到重叠的实体(同一位置有相同的实体)。", "是否删除重叠的实体？"}));
  EXPECT_EQ(m.normal_row_color, 211);

  EXPECT_EQ(s.common.changed_body_color, 186);
  EXPECT_EQ(s.common.joining_text, "-");
  EXPECT_EQ(s.common.validation_string, "");
  EXPECT_TRUE(s.common.export_layer_codes);

  EXPECT_EQ(s.head.product_materials, (Cells{"SPCC", "SECC", "SGCC", "SUS304", "SPHC", "AL5052"}));
  EXPECT_EQ(s.head.die_numbers, (Cells{"PD24-001", "PD24-002", "PD24-003", "PD24-004"}));
  EXPECT_EQ(s.head.die_tonnages, (Cells{"80T", "110T", "160T", "200T", "250T", "300T"}));
  EXPECT_EQ(s.head.customer_names, (Cells{"华锐汽车部件", "东成电器", "恒通五金", "瑞丰精密"}));
  EXPECT_EQ(s.head.product_thicknesses, (Cells{"0.5", "0.8", "1.0", "1.2", "1.5", "2.0", "3.0"}));
  EXPECT_EQ(s.head.die_types, (Cells{"连续模", "单冲模", "复合模", "工程模"}));
  EXPECT_EQ(s.head.designers, (Cells{"张伟", "李强", "王磊", "陈静", "刘洋"}));

  ASSERT_TRUE(s.HasMachiningProcess());
  EXPECT_DOUBLE_EQ(s.machining_process->weight_limit, 0.5);
  EXPECT_DOUBLE_EQ(s.blank_density, 7.85);
  const Cells colours = s.machining_process->Column("实体颜色");
  EXPECT_EQ(colours, (Cells{"6", "11", "36", "42", "78", "108", "130", "145"}));
  // Every colour of the process table is a colour of the colour table, and
  // the changed-body colour is none of them.
  for (const std::string& c : colours) {
    EXPECT_NE(std::find(m.colors.begin(), m.colors.end(), CellToInt(c)), m.colors.end()) << c;
  }
  EXPECT_EQ(std::find(m.colors.begin(), m.colors.end(), 186), m.colors.end());
  EXPECT_EQ(s.machining_process->Column("50")[1], "CNC开粗,热处理,磨床,慢丝,放电");
  EXPECT_EQ(s.machining_process->Column("90")[6], "磨床-慢丝-成型磨");
  EXPECT_EQ(s.machining_process->Column("10")[0], "");

  // Every material tree column has its own width.
  for (const char* heading :
       {"序号", "名称", "代号", "材质", "规格(L*W*T)", "数量", "重量(KG)", "热处理", "备注",
        "订购方式", "是否倒角", "等高", "采购周期", "实体状态", "修改时间", "净重(KG).", "制造流程",
        "净重(KG)", "余量"}) {
    EXPECT_NE(s.column_widths.GetColumnWidth(heading), ColumnWidthManager::kDefaultWidth)
        << heading;
  }
  EXPECT_EQ(s.column_widths.GetColumnWidth("规格(L*W*T)"), 150);
  EXPECT_EQ(s.column_widths.GetColumnWidth("制造流程"), 180);

  EXPECT_EQ(s.export_folder, "C:\\Users\\designer\\Desktop");
}

TEST_F(SampleConfigTest, TheOtherSetWhenItIsMarkedValid) {
  Write("D:\\MYTOOL\\config\\standard.csv", "文件夹名称,有效配置\r\n级进模,N\r\n单冲模,Y\r\n");
  const MaterialBomSettings s = MaterialBomSettings::Load(host_);
  EXPECT_EQ(s.config_folder, "D:\\MYTOOL\\config\\单冲模");
  EXPECT_EQ(s.common.joining_text, "_");
  EXPECT_FALSE(s.common.export_layer_codes);
  EXPECT_DOUBLE_EQ(s.material.ordering_weight, 10.0);
  EXPECT_FALSE(s.HasMachiningProcess());
  EXPECT_DOUBLE_EQ(s.blank_density, 0.0);
  // The layer template does not depend on the set.
  EXPECT_EQ(s.material.layer_codes.front(), "UB");
}

TEST_F(SampleConfigTest, TipFileAndStandardPartKeys) {
  const std::string folder = GetConfigFolderPath(host_);
  const Cells tip = GetFileContent(host_.platform(), folder + "\\bom_tip_config.txt");
  ASSERT_EQ(tip.size(), 6u);
  EXPECT_EQ(tip[0], "材料BOM使用说明：");
  EXPECT_EQ(tip[5], "");

  ReadConfigFile keys(host_.platform());
  ASSERT_TRUE(keys.OpenConfigFile("D:\\MYTOOL\\config\\config.csv"));
  keys.CloseConfigFile();
  EXPECT_EQ(keys.GetColumnValue("改模颜色").front(), "186");
  auto non_empty = [&keys](const char* heading) {
    Cells cells;
    for (const std::string& c : keys.GetColumnValue(heading)) {
      if (!c.empty()) cells.push_back(c);
    }
    return cells;
  };
  EXPECT_EQ(non_empty("设计人员"), (Cells{"张伟", "李强", "王磊", "陈静", "刘洋"}));
  EXPECT_EQ(non_empty("模具吨位"), (Cells{"80T", "110T", "160T", "200T", "250T", "300T"}));
  EXPECT_EQ(non_empty("名称顺序").size(), 13u);
  EXPECT_EQ(non_empty("名称顺序").front(), "外导柱");
  EXPECT_EQ(non_empty("标准件-品牌名称"), (Cells{"MISUMI", "盘起", "大圆", "国产"}));
  EXPECT_EQ(non_empty("标准件-热处理名称"), (Cells{"无", "淬火HRC58-62", "渗碳淬火", "氮化"}));
  EXPECT_EQ(non_empty("标准件-供应商"),
            (Cells{"东莞恒达模具配件", "深圳明辉五金", "苏州佳锐精密"}));
  EXPECT_EQ(non_empty("标准件-采购周期"), (Cells{"1天", "3天", "5天", "7天", "15天"}));
}

}  // namespace
}  // namespace config
