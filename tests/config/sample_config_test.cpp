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
    std::string path =
        "D:\\MYTOOL\\" + text::Utf8ToGbk(fs::relative(entry.path(), SampleRoot()).string());
    std::replace(path.begin(), path.end(), '/', '\\');
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

  // Each setting, by a representative value of the shipped tables.
  const MaterialBomConfig& m = s.material;
  ASSERT_EQ(m.layer_numbers.size(), 17u);
  EXPECT_EQ(m.layer_numbers[16], 210);
  EXPECT_EQ(m.layer_names[4], "下模板");
  EXPECT_EQ(m.layer_codes[14], "STD");
  EXPECT_EQ(m.template_layers,
            (Ints{10, 20, 30, 40, 50, 60, 70, 80, 90, 100, 110, 120, 130, 140, 0, 0, 0}));
  EXPECT_EQ(m.colors, (Ints{6, 11, 36, 42, 78, 108, 130, 145}));
  EXPECT_EQ(m.material_names[1], "SKD11");
  EXPECT_EQ(m.heat_treatments[5], "");
  EXPECT_DOUBLE_EQ(m.density, 7.85);
  EXPECT_DOUBLE_EQ(m.ordering_weight, 5.0);
  EXPECT_EQ(m.first_ordering_method, "库存料");
  EXPECT_EQ(m.first_purchase_method, "毛料订购");
  EXPECT_EQ(m.ordering_methods, (Cells{"库存料", "毛料订购", "精料订购", "", ""}));
  EXPECT_EQ(m.purchase_methods[1], "精料订购");
  EXPECT_EQ(m.equal_height_layers, (Ints{110, 120, 130, 0, 0}));
  EXPECT_EQ(m.chamfer_choices[1], "否");
  EXPECT_EQ(m.height_exact_choices[0], "是");
  EXPECT_EQ(m.lead_time_choices[4], "7天");
  EXPECT_EQ(m.layer_optimization_prompt.size(), 2u);
  EXPECT_EQ(m.overlap_deletion_prompt[1], "是否删除重叠的实体？");
  EXPECT_EQ(m.normal_row_color, 211);
  EXPECT_EQ(s.common.changed_body_color, 186);
  EXPECT_EQ(s.common.joining_text, "-");
  EXPECT_EQ(s.common.validation_string, "");
  EXPECT_TRUE(s.common.export_layer_codes);
  EXPECT_EQ(s.head.product_materials[3], "SUS304");
  EXPECT_EQ(s.head.die_numbers[0], "PD24-001");
  EXPECT_EQ(s.head.die_tonnages[2], "160T");
  EXPECT_EQ(s.head.customer_names[2], "恒通五金");
  EXPECT_EQ(s.head.product_thicknesses[4], "1.5");
  EXPECT_EQ(s.head.die_types[1], "单冲模");
  EXPECT_EQ(s.head.designers.size(), 5u);

  ASSERT_TRUE(s.HasMachiningProcess());
  EXPECT_DOUBLE_EQ(s.machining_process->weight_limit, 0.5);
  EXPECT_DOUBLE_EQ(s.blank_density, 7.85);
  // Every colour of the process table is a colour of the colour table, and
  // the changed-body colour is none of them.
  const Cells colours = s.machining_process->Column("实体颜色");
  EXPECT_EQ(colours.size(), m.colors.size());
  for (const std::string& c : colours) {
    EXPECT_NE(std::find(m.colors.begin(), m.colors.end(), CellToInt(c)), m.colors.end()) << c;
  }
  EXPECT_EQ(std::find(m.colors.begin(), m.colors.end(), 186), m.colors.end());
  EXPECT_EQ(s.machining_process->Column("50")[1], "CNC开粗,热处理,磨床,慢丝,放电");

  // Every material tree column has its own width.
  for (const char* heading :
       {"序号", "名称", "代号", "材质", "规格(L*W*T)", "数量", "重量(KG)", "热处理", "备注",
        "订购方式", "是否倒角", "等高", "采购周期", "实体状态", "修改时间", "净重(KG).", "制造流程",
        "净重(KG)", "余量"}) {
    EXPECT_NE(s.column_widths.GetColumnWidth(heading), ColumnWidthManager::kDefaultWidth)
        << heading;
  }
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
  const Cells tip =
      GetFileContent(host_.platform(), GetConfigFolderPath(host_) + "\\bom_tip_config.txt");
  ASSERT_EQ(tip.size(), 6u);
  EXPECT_EQ(tip[0], "材料BOM使用说明：");
  ReadConfigFile keys(host_.platform());
  ASSERT_TRUE(keys.OpenConfigFile("D:\\MYTOOL\\config\\config.csv"));
  EXPECT_EQ(keys.GetColumnValue("名称顺序").front(), "外导柱");
  EXPECT_EQ(keys.GetColumnValue("标准件-品牌名称").front(), "MISUMI");
}

}  // namespace
}  // namespace config
