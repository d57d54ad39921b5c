#include "config/material_bom_config.h"

#include <gtest/gtest.h>

#include "config/config_folder.h"
#include "config_test_support.h"
#include "host/text.h"

namespace config {
namespace {

using Cells = std::vector<std::string>;
using Ints = std::vector<int>;

class MaterialBomSettingsTest : public config_test::HostFolder {
 protected:
  // The three required files of a configuration under R:\config.
  void WriteRequired() {
    Write("R:\\config\\material_bom_config.csv", "密度(g/cm)\r\n7.85\r\n");
    Write("R:\\config\\config.csv", "改模颜色\r\n186\r\n");
    Write("R:\\config\\bom_head_config.csv", "模具类型\r\n连续模\r\n");
  }
  std::string LoadError() {
    try {
      MaterialBomSettings::Load(host_);
    } catch (const ConfigError& e) {
      return e.what();
    }
    ADD_FAILURE() << "no error";
    return {};
  }
};

TEST_F(MaterialBomSettingsTest, PathsOfTheConfiguration) {
  Write("R:\\config\\standard.csv", "文件夹名称,有效配置\r\n级进模,Y\r\n");
  Write("R:\\config\\级进模\\material_bom_config.csv", "订购重量\r\n5\r\n");
  Write("R:\\config\\级进模\\config.csv", "连接字符\r\n-\r\n");
  Write("R:\\config\\级进模\\bom_head_config.csv", "模具类型\r\n连续模\r\n");
  Write(kLayerWorkFile, "CURRENT_LAYER_FILE = 图层.csv\r\n");
  const MaterialBomSettings s = MaterialBomSettings::Load(host_);
  EXPECT_EQ(s.root, "R:");
  // The layer template tables are under the root whatever set is selected.
  EXPECT_EQ(s.layer_table_path, "R:\\config\\TK\\图层.csv");
  EXPECT_EQ(s.color_table_path, "R:\\config\\TK\\ColorConvert.csv");
  EXPECT_EQ(s.config_folder, "R:\\config\\级进模");
  EXPECT_EQ(s.material_table_path, "R:\\config\\级进模\\material_bom_config.csv");
  EXPECT_EQ(s.common_settings_path, "R:\\config\\级进模\\config.csv");
  EXPECT_EQ(s.header_choices_path, "R:\\config\\级进模\\bom_head_config.csv");
  EXPECT_EQ(s.machining_process_path, "R:\\config\\级进模\\maching_process_bom.csv");
  EXPECT_EQ(s.drawing_settings_path, "R:\\config\\级进模\\smart_drawing_config.csv");
  EXPECT_EQ(s.column_width_path, "R:\\config\\级进模\\column_width_config.csv");
  EXPECT_EQ(s.user_settings_path, "C:\\Users\\designer\\AppData\\Local\\Convert\\config.csv");
  EXPECT_TRUE(host_.platform().FileExists("C:\\Users\\designer\\AppData\\Local\\Convert"));
  EXPECT_DOUBLE_EQ(s.material.ordering_weight, 5.0);
  EXPECT_EQ(s.common.joining_text, "-");
}

TEST_F(MaterialBomSettingsTest, EachMissingRequiredFileStopsTheLoad) {
  EXPECT_EQ(LoadError(), "配置文件：R:\\config\\material_bom_config.csv 不存在！");
  Write("R:\\config\\material_bom_config.csv", "密度(g/cm)\r\n7.85\r\n");
  EXPECT_EQ(LoadError(), "配置文件：R:\\config\\config.csv 不存在！");
  Write("R:\\config\\config.csv", "改模颜色\r\n186\r\n");
  EXPECT_EQ(LoadError(), "配置文件：R:\\config\\bom_head_config.csv 不存在！");
  Write("R:\\config\\bom_head_config.csv", "");
  EXPECT_NO_THROW(MaterialBomSettings::Load(host_));
  // Without RQConfig every path is a bare name, and the first one is reported.
  host_.UnsetVariable("RQConfig");
  EXPECT_EQ(LoadError(), "配置文件：\\material_bom_config.csv 不存在！");
}

TEST_F(MaterialBomSettingsTest, MalformedTableStopsTheLoadWithItsLine) {
  WriteRequired();
  Write("R:\\config\\bom_head_config.csv", "模具类型,设计担当\r\n连续模,张伟\r\n单冲模,\xCD\r\n");
  const std::string error = LoadError();
  EXPECT_EQ(error.rfind("配置文件：R:\\config\\bom_head_config.csv 第3行：", 0), 0u)
      << text::GbkToUtf8(error);
}

TEST_F(MaterialBomSettingsTest, DefaultsForMissingColumnsAndTables) {
  Write("R:\\config\\material_bom_config.csv", "说明\r\n空表\r\n");
  Write("R:\\config\\config.csv", "说明\r\n空表\r\n");
  Write("R:\\config\\bom_head_config.csv", "说明\r\n空表\r\n");
  const MaterialBomSettings s = MaterialBomSettings::Load(host_);
  // No Layerwrk.txt: the layer table "path" is the TK folder; lists stay empty.
  EXPECT_EQ(s.layer_table_path, "R:\\config\\TK\\");
  EXPECT_TRUE(s.material.layer_numbers.empty());
  EXPECT_TRUE(s.material.colors.empty());
  EXPECT_TRUE(s.material.template_layers.empty());
  EXPECT_DOUBLE_EQ(s.material.density, 1.0);
  EXPECT_DOUBLE_EQ(s.material.ordering_weight, 1.0);
  EXPECT_EQ(s.material.first_ordering_method, "Y");
  EXPECT_EQ(s.material.first_purchase_method, "");
  EXPECT_TRUE(s.material.ordering_methods.empty());
  EXPECT_EQ(s.material.normal_row_color, 211);
  EXPECT_EQ(s.common.changed_body_color, 186);
  EXPECT_EQ(s.common.validation_string, "");
  EXPECT_EQ(s.common.joining_text, "");
  EXPECT_TRUE(s.common.export_layer_codes);
  for (int i = 0; i < BomHeadConfig::kFieldCount; ++i) EXPECT_TRUE(s.head.Choices(i).empty());
  EXPECT_FALSE(s.HasMachiningProcess());
  EXPECT_DOUBLE_EQ(s.blank_density, 0.0);
  EXPECT_EQ(s.column_widths.GetColumnWidth("序号"), ColumnWidthManager::kDefaultWidth);
  EXPECT_EQ(s.export_folder, "C:\\Users\\designer\\Desktop");
}

TEST_F(MaterialBomSettingsTest, TablesValueByValue) {
  WriteRequired();
  Write(kLayerWorkFile, "CURRENT_LAYER_FILE = layers.csv\r\n");
  Write("R:\\config\\TK\\layers.csv",
        "总图层,总名称,总图层代号,模板图层\r\n10,上模座,UB,10\r\n50,下模板,DP,50\r\n200,料带,STRIP,"
        "\r\n");
  Write("R:\\config\\TK\\ColorConvert.csv",
        "材质颜色标准,材质名称,热处理信息\r\n6,Cr12MoV,淬火HRC58-60\r\n108,A3,\r\n");
  Write("R:\\config\\material_bom_config.csv",
        "密度(g/cm),订购重量,订购方式,采购方式,厚度等高图层,是否倒角,高度准确,"
        "材料BOM_采购周期,图层优化提示信息,删除重叠体提示信息\r\n"
        "7.85,5,库存料,毛料订购,110,是,是,3天,第一行,\r\n"
        ",,毛料订购,,120,否,,7天,,删除？\r\n"
        ",,,,abc,,,,\"第三行,有逗号\",\r\n");
  Write("R:\\config\\config.csv",
        "改模颜色,验证字符串,连接字符,是否导出图层代号\r\n"
        "31,重置,_,n\r\n");
  Write("R:\\config\\bom_head_config.csv",
        "产品材质,模具编号,模具吨位,客户名称,产品厚度,模具类型,设计担当\r\n"
        "SPCC,PD-001,80T,恒通五金,1.0,连续模,张伟\r\n"
        ",PD-002,,,1.5,,李强\r\n"
        "SUS304,,160T,,,,\r\n");
  const MaterialBomSettings s = MaterialBomSettings::Load(host_);
  const MaterialBomConfig& m = s.material;
  EXPECT_EQ(m.layer_numbers, (Ints{10, 50, 200}));
  EXPECT_EQ(m.layer_names, (Cells{"上模座", "下模板", "料带"}));
  EXPECT_EQ(m.layer_codes, (Cells{"UB", "DP", "STRIP"}));
  EXPECT_EQ(m.template_layers, (Ints{10, 50, 0}));  // an empty cell reads as layer 0
  EXPECT_EQ(m.colors, (Ints{6, 108}));
  EXPECT_EQ(m.material_names, (Cells{"Cr12MoV", "A3"}));
  EXPECT_EQ(m.heat_treatments, (Cells{"淬火HRC58-60", ""}));
  EXPECT_DOUBLE_EQ(m.density, 7.85);
  EXPECT_DOUBLE_EQ(m.ordering_weight, 5.0);
  EXPECT_EQ(m.first_ordering_method, "库存料");
  EXPECT_EQ(m.first_purchase_method, "毛料订购");
  EXPECT_EQ(m.ordering_methods, (Cells{"库存料", "毛料订购", ""}));
  EXPECT_EQ(m.purchase_methods, (Cells{"毛料订购", "", ""}));
  EXPECT_EQ(m.equal_height_layers, (Ints{110, 120, 0}));
  EXPECT_EQ(m.chamfer_choices, (Cells{"是", "否", ""}));
  EXPECT_EQ(m.height_exact_choices, (Cells{"是", "", ""}));
  EXPECT_EQ(m.lead_time_choices, (Cells{"3天", "7天", ""}));
  EXPECT_EQ(m.layer_optimization_prompt, (Cells{"第一行", "第三行,有逗号"}));
  EXPECT_EQ(m.overlap_deletion_prompt, (Cells{"删除？"}));
  EXPECT_EQ(s.common.changed_body_color, 31);
  EXPECT_EQ(s.common.validation_string, "重置");
  EXPECT_EQ(s.common.joining_text, "_");
  EXPECT_TRUE(s.common.export_layer_codes);  // "n" is not "N"
  EXPECT_EQ(s.head.product_materials, (Cells{"SPCC", "SUS304"}));
  EXPECT_EQ(s.head.die_numbers, (Cells{"PD-001", "PD-002"}));
  EXPECT_EQ(s.head.die_tonnages, (Cells{"80T", "160T"}));
  EXPECT_EQ(s.head.customer_names, (Cells{"恒通五金"}));
  EXPECT_EQ(s.head.product_thicknesses, (Cells{"1.0", "1.5"}));
  EXPECT_EQ(s.head.die_types, (Cells{"连续模"}));
  EXPECT_EQ(s.head.designers, (Cells{"张伟", "李强"}));
  ASSERT_NE(s.head.ChoicesFor("设计担当"), nullptr);
  EXPECT_EQ(*s.head.ChoicesFor("设计担当"), s.head.designers);
  EXPECT_EQ(s.head.ChoicesFor("订单编号"), nullptr);
  EXPECT_TRUE(s.head.Choices(7).empty());
}

TEST_F(MaterialBomSettingsTest, CommonSettingsEdgeValues) {
  WriteRequired();
  auto common = [this](const std::string& content) {
    Write("R:\\config\\config.csv", content);
    return MaterialBomSettings::Load(host_).common;
  };
  EXPECT_FALSE(common("是否导出图层代号\r\nN\r\n").export_layer_codes);
  EXPECT_TRUE(common("是否导出图层代号\r\nY\r\n").export_layer_codes);
  EXPECT_TRUE(common("是否导出图层代号\r\n N\r\n").export_layer_codes);
  EXPECT_TRUE(common("是否导出图层代号\r\n\r\nN\r\n").export_layer_codes);  // first cell only
  EXPECT_EQ(common("改模颜色\r\n红色\r\n").changed_body_color, 0);          // not a number
  EXPECT_EQ(common("改模颜色\r\n\r\n").changed_body_color, 186);            // no cell at all
  EXPECT_EQ(common("改模颜色,连接字符\r\n,\r\n").changed_body_color, 0);    // an empty cell
}

TEST_F(MaterialBomSettingsTest, MachiningProcessTableAndBlankDensity) {
  WriteRequired();
  // Absent: no weight limit object and a blank density of 0.0, while the
  // table's own density is the configured one.
  MaterialBomSettings s = MaterialBomSettings::Load(host_);
  EXPECT_FALSE(s.HasMachiningProcess());
  EXPECT_DOUBLE_EQ(s.blank_density, 0.0);
  EXPECT_DOUBLE_EQ(s.material.density, 7.85);

  Write("R:\\config\\maching_process_bom.csv",
        "重量限制,实体颜色,50,90\r\n0.5,6,\"CNC开粗,热处理\",热处理-磨床\r\n,11,慢丝\r\n");
  s = MaterialBomSettings::Load(host_);
  ASSERT_TRUE(s.HasMachiningProcess());
  EXPECT_DOUBLE_EQ(s.machining_process->weight_limit, 0.5);
  EXPECT_EQ(s.machining_process->Column("实体颜色"), (Cells{"6", "11"}));
  EXPECT_EQ(s.machining_process->Column("50"), (Cells{"CNC开粗,热处理", "慢丝"}));
  EXPECT_EQ(s.machining_process->Column("90"), (Cells{"热处理-磨床", ""}));
  EXPECT_TRUE(s.machining_process->Column("70").empty());
  EXPECT_DOUBLE_EQ(s.blank_density, 7.85);

  // Present but without the columns: both 0.0; the table's density 1.0.
  Write("R:\\config\\maching_process_bom.csv", "实体颜色\r\n6\r\n");
  Write("R:\\config\\material_bom_config.csv", "订购重量\r\n5\r\n");
  s = MaterialBomSettings::Load(host_);
  ASSERT_TRUE(s.HasMachiningProcess());
  EXPECT_DOUBLE_EQ(s.machining_process->weight_limit, 0.0);
  EXPECT_DOUBLE_EQ(s.blank_density, 0.0);
  EXPECT_DOUBLE_EQ(s.material.density, 1.0);
}

TEST_F(MaterialBomSettingsTest, ExportFolderWrittenAndReadBack) {
  WriteRequired();
  MaterialBomSettings s = MaterialBomSettings::Load(host_);
  EXPECT_EQ(s.export_folder, "C:\\Users\\designer\\Desktop");
  ASSERT_TRUE(s.SaveExportFolder(host_.platform(), "D:\\出图\\PD24-001"));
  EXPECT_EQ(host_.platform().ReadFile(s.user_settings_path),
            std::string("出图的路径\r\nD:\\出图\\PD24-001\r\n"));
  EXPECT_EQ(MaterialBomSettings::Load(host_).export_folder, "D:\\出图\\PD24-001");

  // A comma in the folder is quoted so that it reads back whole.
  ASSERT_TRUE(s.SaveExportFolder(host_.platform(), "D:\\出图,2024"));
  EXPECT_EQ(s.export_folder, "D:\\出图,2024");
  EXPECT_EQ(MaterialBomSettings::Load(host_).export_folder, "D:\\出图,2024");

  // An empty first cell, an empty file or another heading: the desktop.
  for (const char* content : {"出图的路径\r\n\r\nD:\\x\r\n", "", "路径\r\nD:\\x\r\n"}) {
    Write(s.user_settings_path, content);
    EXPECT_EQ(MaterialBomSettings::Load(host_).export_folder, "C:\\Users\\designer\\Desktop");
  }
  // A file written as UTF-8 by an editor still reads.
  Write(s.user_settings_path, text::GbkToUtf8("出图的路径\r\nD:\\出图\r\n"));
  EXPECT_EQ(MaterialBomSettings::Load(host_).export_folder, "D:\\出图");
  // A damaged file is named.
  Write(s.user_settings_path, "出图的路径\r\nD:\\\xFF\r\n");
  EXPECT_NE(LoadError().find(s.user_settings_path), std::string::npos);

  // An unwritable settings file: false, nothing thrown.
  host_.SetLocalAppDataFolder("Q:\\nowhere");
  s = MaterialBomSettings::Load(host_);
  EXPECT_FALSE(s.SaveExportFolder(host_.platform(), "D:\\出图"));
}

TEST_F(MaterialBomSettingsTest, ColumnWidths) {
  Write("R:\\w.csv",
        "列标题,列宽\r\n序号,50\r\n规格(L*W*T),150\r\n序号,99\r\n备注,abc\r\n等高,0\r\n余量,-5\r\n"
        ",70\r\n净重(KG).,72\r\n");
  const ColumnWidthManager widths(host_.platform(), "R:\\w.csv");
  EXPECT_EQ(widths.GetColumnWidth("序号"), 50);  // the first row wins
  EXPECT_EQ(widths.GetColumnWidth("规格(L*W*T)"), 150);
  EXPECT_EQ(widths.GetColumnWidth("净重(KG)."), 72);
  EXPECT_EQ(widths.GetColumnWidth("净重(KG)"), ColumnWidthManager::kDefaultWidth);
  for (const char* heading : {"备注", "等高", "余量", "", "名称"}) {
    EXPECT_EQ(widths.GetColumnWidth(heading), ColumnWidthManager::kDefaultWidth) << heading;
  }
  const ColumnWidthManager none(host_.platform(), "R:\\none.csv");
  EXPECT_EQ(none.GetColumnWidth("序号"), ColumnWidthManager::kDefaultWidth);
  EXPECT_EQ(ColumnWidthManager().GetColumnWidth("序号"), ColumnWidthManager::kDefaultWidth);
}

}  // namespace
}  // namespace config
