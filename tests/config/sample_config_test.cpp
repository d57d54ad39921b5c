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

// The shipped tables agree with each other and load without a fault; their
// values themselves are the configuration's business, not the program's.
TEST_F(SampleConfigTest, TheShippedTablesAgreeAndLoadCleanly) {
  MaterialBomSettings s = MaterialBomSettings::Load(host_);
  EXPECT_EQ(s.config_folder, "D:\\MYTOOL\\config\\级进模");
  EXPECT_TRUE(s.warnings.empty()) << s.warnings.front();
  const MaterialBomConfig& m = s.material;
  auto in = [](const Ints& list, int value) {
    return std::find(list.begin(), list.end(), value) != list.end();
  };
  ASSERT_FALSE(m.layer_numbers.empty());
  EXPECT_EQ(m.layer_names.size(), m.layer_numbers.size());
  EXPECT_EQ(m.layer_codes.size(), m.layer_numbers.size());
  // 0: the empty cells of the shorter column.
  for (int layer : m.template_layers)
    EXPECT_TRUE(layer == 0 || in(m.layer_numbers, layer)) << layer;
  EXPECT_EQ(m.material_names.size(), m.colors.size());
  // Every colour of the process table is a colour of the colour table, and
  // the changed-body colour is none of them.
  ASSERT_TRUE(s.HasMachiningProcess());
  for (const std::string& c : s.machining_process->Column("实体颜色"))
    EXPECT_TRUE(in(m.colors, CellToInt(c))) << c;
  EXPECT_FALSE(in(m.colors, s.common.changed_body_color));
  // Every material tree column has its own width.
  for (const char* heading :
       {"序号", "名称", "代号", "材质", "规格(L*W*T)", "数量", "重量(KG)", "热处理", "备注",
        "订购方式", "是否倒角", "等高", "采购周期", "实体状态", "修改时间", "净重(KG).", "制造流程",
        "净重(KG)", "余量"}) {
    EXPECT_NE(s.column_widths.GetColumnWidth(heading), ColumnWidthManager::kDefaultWidth)
        << heading;
  }

  // The other set, marked valid, is loaded instead; the layer template stays.
  Write("D:\\MYTOOL\\config\\standard.csv", "文件夹名称,有效配置\r\n级进模,N\r\n单冲模,Y\r\n");
  const MaterialBomSettings other = MaterialBomSettings::Load(host_);
  EXPECT_EQ(other.config_folder, "D:\\MYTOOL\\config\\单冲模");
  EXPECT_TRUE(other.warnings.empty());
  EXPECT_EQ(other.material.layer_codes, m.layer_codes);
}

}  // namespace
}  // namespace config
