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
    return config_test::ConfigErrorOf([&] { MaterialBomSettings::Load(host_); });
  }
};

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

TEST_F(MaterialBomSettingsTest, DefaultsForMissingColumnsAndTables) {
  Write("R:\\config\\material_bom_config.csv", "说明\r\n空表\r\n");
  Write("R:\\config\\config.csv", "说明\r\n空表\r\n");
  Write("R:\\config\\bom_head_config.csv", "说明\r\n空表\r\n");
  const MaterialBomSettings s = MaterialBomSettings::Load(host_);
  // No Layerwrk.txt: the layer table "path" is the TK folder; lists stay empty.
  EXPECT_EQ(s.layer_table_path, "R:\\config\\TK\\");
  EXPECT_TRUE(s.material.layer_numbers.empty());
  EXPECT_DOUBLE_EQ(s.material.density, 1.0);
  EXPECT_DOUBLE_EQ(s.material.ordering_weight, 1.0);
  EXPECT_EQ(s.material.first_ordering_method, "Y");  // no ordering method: "Y"
  EXPECT_EQ(s.material.first_purchase_method, "");
  EXPECT_EQ(s.material.normal_row_color, 211);
  EXPECT_EQ(s.common.changed_body_color, 186);
  EXPECT_TRUE(s.common.export_layer_codes);
  EXPECT_TRUE(s.head.designers.empty());
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
        "密度(g/cm),订购方式,采购方式,厚度等高图层,图层优化提示信息,删除重叠体提示信息\r\n"
        "7.85,库存料,毛料订购,110,第一行,\r\n"
        ",毛料订购,,120,,删除？\r\n"
        ",,,abc,\"第三行,有逗号\",\r\n");
  Write("R:\\config\\bom_head_config.csv", "模具吨位,设计担当\r\n80T,张伟\r\n,李强\r\n160T,\r\n");
  const MaterialBomSettings s = MaterialBomSettings::Load(host_);
  const MaterialBomConfig& m = s.material;
  EXPECT_EQ(m.layer_codes, (Cells{"UB", "DP", "STRIP"}));
  EXPECT_EQ(m.template_layers, (Ints{10, 50, 0}));  // an empty cell reads as layer 0
  EXPECT_EQ(m.colors, (Ints{6, 108}));
  EXPECT_EQ(m.heat_treatments, (Cells{"淬火HRC58-60", ""}));
  EXPECT_DOUBLE_EQ(m.density, 7.85);
  EXPECT_EQ(m.first_purchase_method, "毛料订购");
  // Choice lists keep their empty cells; prompt lines do not.
  EXPECT_EQ(m.ordering_methods, (Cells{"库存料", "毛料订购", ""}));
  EXPECT_EQ(m.equal_height_layers, (Ints{110, 120, 0}));
  EXPECT_EQ(m.layer_optimization_prompt, (Cells{"第一行", "第三行,有逗号"}));
  EXPECT_EQ(m.overlap_deletion_prompt, (Cells{"删除？"}));
  // Header choices without the empty cells.
  EXPECT_EQ(s.head.die_tonnages, (Cells{"80T", "160T"}));
  EXPECT_EQ(s.head.designers, (Cells{"张伟", "李强"}));
  EXPECT_EQ(s.head.ChoicesFor("设计担当"), &s.head.designers);
  EXPECT_EQ(s.head.ChoicesFor("订单编号"), nullptr);
  EXPECT_TRUE(s.head.Choices(7).empty());
}

// UTF-16 text as Notepad saves it ("Unicode"): little-endian with its mark.
std::string Utf16(const std::string& gbk) {
  std::string out = "\xFF\xFE";
  for (wchar_t c : text::GbkToWide(gbk)) {
    out += static_cast<char>(c & 0xFF);
    out += static_cast<char>((c >> 8) & 0xFF);
  }
  return out;
}

// The files that may be absent are read as far as they go when damaged, and
// what was wrong is noted for the command-line tool; the required ones still
// stop the start-up.
TEST_F(MaterialBomSettingsTest, DamagedOptionalFilesAreReadAsFarAsTheyGo) {
  WriteRequired();
  // A GBK layer file name that is valid UTF-8 as well is found as it is.
  Write(kLayerWorkFile, "CURRENT_LAYER_FILE = 小位.csv\r\n");
  Write("R:\\config\\TK\\小位.csv", "总图层,总名称,模板图层\r\n10,上模座,10\r\n20,\"上垫板,20\r\n");
  Write("R:\\config\\TK\\ColorConvert.csv", Utf16("材质颜色标准,材质名称\r\n6,Cr12MoV\r\n"));
  Write("R:\\config\\column_width_config.csv", "列标题,列宽\r\n名称,120\r\n\x81\x20,9\r\n");
  Write("C:\\Users\\designer\\AppData\\Local\\Convert\\config.csv",
        Utf16("出图的路径\r\nE:\\图纸\r\n"));
  const MaterialBomSettings s = MaterialBomSettings::Load(host_);
  EXPECT_EQ(s.material.layer_numbers, (Ints{10, 20}));
  // The open quote runs to the end of the file, as a spreadsheet reads it.
  EXPECT_EQ(s.material.layer_names, (Cells{"上模座", "上垫板,20\r\n"}));
  EXPECT_EQ(s.material.template_layers, (Ints{10, 0}));
  EXPECT_EQ(s.material.colors, (Ints{6}));
  EXPECT_EQ(s.material.material_names, (Cells{"Cr12MoV"}));
  EXPECT_EQ(s.column_widths.GetColumnWidth("名称"), 120);
  EXPECT_EQ(s.export_folder, "E:\\图纸");
  EXPECT_EQ(
      s.warnings,
      (Cells{"配置文件：R:\\config\\column_width_config.csv 第3行：不是有效的GBK文本（第24个字节 "
             "0x81），按原样读取",
             "配置文件：R:\\config\\TK\\小位.csv 第3行：引号未闭合，单元格读到文件末尾",
             "配置文件：R:\\config\\TK\\ColorConvert.csv 是UTF-16(Unicode)编码，已按UTF-16读取",
             "配置文件：C:\\Users\\designer\\AppData\\Local\\Convert\\config.csv "
             "是UTF-16(Unicode)编码，已按UTF-16读取"}));

  // A required table in UTF-16 is still refused, naming the file.
  Write("R:\\config\\config.csv", Utf16("改模颜色\r\n186\r\n"));
  EXPECT_NE(LoadError().find("R:\\config\\config.csv 是UTF-16"), std::string::npos);
}

TEST_F(MaterialBomSettingsTest, CommonSettingsEdgeValues) {
  WriteRequired();
  auto common = [this](const std::string& content) {
    Write("R:\\config\\config.csv", content);
    return MaterialBomSettings::Load(host_).common;
  };
  EXPECT_EQ(common("改模颜色,验证字符串\r\n31,重置\r\n").validation_string, "重置");
  EXPECT_FALSE(common("是否导出图层代号\r\nN\r\n").export_layer_codes);
  EXPECT_TRUE(common("是否导出图层代号\r\n N\r\n").export_layer_codes);
  EXPECT_TRUE(common("是否导出图层代号\r\nn\r\n").export_layer_codes);
  EXPECT_TRUE(common("是否导出图层代号\r\n\r\nN\r\n").export_layer_codes);  // first cell only
  EXPECT_EQ(common("改模颜色\r\n红色\r\n").changed_body_color, 0);          // not a number
  EXPECT_EQ(common("改模颜色\r\n\r\n").changed_body_color, 186);            // no cell at all
  EXPECT_EQ(common("改模颜色,连接字符\r\n,\r\n").changed_body_color, 0);    // an empty cell
}

TEST_F(MaterialBomSettingsTest, MachiningProcessTableAndBlankDensity) {
  WriteRequired();
  // Whether there is a table, its weight limit, the blank density and the
  // configured density.
  auto weights = [this] {
    const MaterialBomSettings s = MaterialBomSettings::Load(host_);
    const double limit = s.HasMachiningProcess() ? s.machining_process->weight_limit : -1;
    return text::Format("%d %g %g %g", s.HasMachiningProcess(), limit, s.blank_density,
                        s.material.density);
  };
  // Absent: no table and a blank density of 0.0, while the table's own
  // density is the configured one.
  EXPECT_EQ(weights(), "0 -1 0 7.85");
  Write("R:\\config\\maching_process_bom.csv",
        "重量限制,实体颜色,50,90\r\n0.5,6,\"CNC开粗,热处理\",热处理-磨床\r\n,11,慢丝\r\n");
  ASSERT_EQ(weights(), "1 0.5 7.85 7.85");
  const MaterialBomSettings s = MaterialBomSettings::Load(host_);
  EXPECT_EQ(s.machining_process->Column("50"), (Cells{"CNC开粗,热处理", "慢丝"}));
  EXPECT_TRUE(s.machining_process->Column("70").empty());
  // Present but without the columns: both 0.0; the table's density 1.0.
  Write("R:\\config\\maching_process_bom.csv", "实体颜色\r\n6\r\n");
  Write("R:\\config\\material_bom_config.csv", "订购重量\r\n5\r\n");
  EXPECT_EQ(weights(), "1 0 0 1");
}

TEST_F(MaterialBomSettingsTest, ExportFolderWrittenAndReadBack) {
  WriteRequired();
  MaterialBomSettings s = MaterialBomSettings::Load(host_);
  // The user's own settings file, in a folder made for it.
  EXPECT_EQ(s.user_settings_path, "C:\\Users\\designer\\AppData\\Local\\Convert\\config.csv");
  EXPECT_TRUE(host_.platform().FileExists("C:\\Users\\designer\\AppData\\Local\\Convert"));
  ASSERT_TRUE(s.SaveExportFolder(host_.platform(), "D:\\出图\\PD24-001"));
  EXPECT_EQ(host_.platform().ReadFile(s.user_settings_path),
            std::string("出图的路径\r\nD:\\出图\\PD24-001\r\n"));
  EXPECT_EQ(MaterialBomSettings::Load(host_).export_folder, "D:\\出图\\PD24-001");

  // A comma in the folder is quoted so that it reads back whole.
  ASSERT_TRUE(s.SaveExportFolder(host_.platform(), "D:\\出图,2024"));
  EXPECT_EQ(s.export_folder, "D:\\出图,2024");
  EXPECT_EQ(MaterialBomSettings::Load(host_).export_folder, "D:\\出图,2024");

  // An empty first cell: the desktop.
  Write(s.user_settings_path, "出图的路径\r\n\r\nD:\\x\r\n");
  EXPECT_EQ(MaterialBomSettings::Load(host_).export_folder, "C:\\Users\\designer\\Desktop");
  // Bytes that are not GBK stay as the file holds them, and are noted.
  Write(s.user_settings_path, "出图的路径\r\nD:\\\xFF\r\n");
  const MaterialBomSettings damaged = MaterialBomSettings::Load(host_);
  EXPECT_EQ(damaged.export_folder, "D:\\\xFF");
  ASSERT_EQ(damaged.warnings.size(), 1u);
  EXPECT_NE(damaged.warnings[0].find(s.user_settings_path), std::string::npos);

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
  EXPECT_EQ(widths.GetColumnWidth("净重(KG)."), 72);
  // Not a number, zero, negative, no heading, not listed, not exactly listed.
  for (const char* heading : {"备注", "等高", "余量", "", "名称", "净重(KG)"}) {
    EXPECT_EQ(widths.GetColumnWidth(heading), ColumnWidthManager::kDefaultWidth) << heading;
  }
  const ColumnWidthManager none(host_.platform(), "R:\\none.csv");
  EXPECT_EQ(none.GetColumnWidth("序号"), ColumnWidthManager::kDefaultWidth);
}

}  // namespace
}  // namespace config
