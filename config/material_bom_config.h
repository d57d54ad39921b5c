// The configuration of the material BOM: every table the material BOM dialog
// loads when it starts, in one component that the dialog keeps.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "config/csv.h"

namespace host {
class Host;
class Platform;
}  // namespace host

namespace config {

// Layers, colours and material rules (layer table, colour table, material
// table). Each list comes from the column named in its comment.
struct MaterialBomConfig {
  std::vector<int> layer_numbers;                 // layer table "总图层", atoi
  std::vector<std::string> layer_names;           // layer table "总名称"
  std::vector<std::string> layer_codes;           // layer table "总图层代号"
  std::vector<int> colors;                        // colour table "材质颜色标准", atoi
  std::vector<std::string> material_names;        // colour table "材质名称"
  std::vector<std::string> heat_treatments;       // colour table "热处理信息"
  double density = 1.0;                           // "密度(g/cm)" first cell; 1.0 when empty
  double ordering_weight = 1.0;                   // "订购重量" first cell; 1.0 when empty
  std::string first_ordering_method = "Y";        // "订购方式" first cell; "Y" when empty
  std::string first_purchase_method;              // "采购方式" first cell; empty when empty
  std::vector<std::string> ordering_methods;      // "订购方式"
  std::vector<std::string> purchase_methods;      // "采购方式"
  std::vector<int> equal_height_layers;           // "厚度等高图层", atoi
  std::vector<std::string> chamfer_choices;       // "是否倒角"
  std::vector<std::string> height_exact_choices;  // "高度准确"
  std::vector<std::string> lead_time_choices;     // "材料BOM_采购周期"
  int normal_row_color = 211;                     // always 211
  std::vector<int> template_layers;               // layer table "模板图层", atoi
  std::vector<std::string> layer_optimization_prompt;  // "图层优化提示信息", non-empty cells
  std::vector<std::string> overlap_deletion_prompt;  // "删除重叠体提示信息", non-empty cells
};

// Common settings ("config.csv" of the configuration folder).
struct CommonConfig {
  int changed_body_color = 186;   // "改模颜色" first cell; 186 when empty
  std::string validation_string;  // "验证字符串" first cell
  std::string joining_text;       // "连接字符" first cell
  bool export_layer_codes = true;  // "是否导出图层代号": false only when the first cell is "N"
};

// The choices offered for the seven header fields ("bom_head_config.csv"),
// each column without its empty cells.
struct BomHeadConfig {
  static constexpr int kFieldCount = 7;
  // The column headings, which are also the header field titles, in order.
  static const char* const kHeadings[kFieldCount];

  std::vector<std::string> product_materials;    // "产品材质"
  std::vector<std::string> die_numbers;          // "模具编号"
  std::vector<std::string> die_tonnages;         // "模具吨位"
  std::vector<std::string> customer_names;       // "客户名称"
  std::vector<std::string> product_thicknesses;  // "产品厚度"
  std::vector<std::string> die_types;            // "模具类型"
  std::vector<std::string> designers;            // "设计担当"

  // The choices of field `index` (order of kHeadings); empty out of range.
  const std::vector<std::string>& Choices(int index) const;
  // The choices of the field titled `heading`; null for another title.
  const std::vector<std::string>* ChoicesFor(const std::string& heading) const;
};

// The machining-process table ("maching_process_bom.csv"): the weight limit
// and the table itself for the process lookup by colour row and layer column.
struct MachiningProcess {
  double weight_limit = 0.0;  // "重量限制" first cell; 0.0 when empty
  ReadConfigFile table;

  // Loads the table at `path`; weight limit 0.0 when the file cannot be read.
  static MachiningProcess Load(host::Platform& platform, const std::string& path);
  // The cells under `heading` ("实体颜色", or a layer number as text).
  std::vector<std::string> Column(const std::string& heading) const {
    return table.GetColumnValue(heading);
  }
};

// Tree column widths by heading ("column_width_config.csv"). The file is a
// table with the columns "列标题" (a tree column heading, exactly as the tree
// shows it) and "列宽" (its width in pixels), one row per tree column. A
// heading that is not listed, a width that is not a positive number, or a
// missing file give kDefaultWidth. When a heading is listed twice the first
// row wins.
class ColumnWidthManager {
 public:
  static constexpr int kDefaultWidth = 80;
  static constexpr const char* kHeadingColumn = "列标题";
  static constexpr const char* kWidthColumn = "列宽";

  ColumnWidthManager() = default;
  // Reads the file at `path` leniently (the file may be absent, so a damaged
  // one gives what can be read); findings go to `problems` when not null.
  ColumnWidthManager(host::Platform& platform, const std::string& path,
                     std::vector<std::string>* problems = nullptr);

  int GetColumnWidth(const std::string& heading) const;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  std::map<std::string, int> widths_;
};

// Everything the material BOM dialog loads at start-up. Paths are logic paths
// (GBK); the table members hold the loaded values.
struct MaterialBomSettings {
  std::string root;                    // RQConfig
  std::string layer_table_path;        // root + "\config\TK\" + current layer file name
  std::string color_table_path;        // root + "\config\TK\ColorConvert.csv"
  std::string config_folder;           // GetConfigFolderPath
  std::string material_table_path;     // folder + "\material_bom_config.csv"
  std::string common_settings_path;    // folder + "\config.csv"
  std::string header_choices_path;     // folder + "\bom_head_config.csv"
  std::string machining_process_path;  // folder + "\maching_process_bom.csv"
  std::string drawing_settings_path;   // folder + "\smart_drawing_config.csv"
  std::string column_width_path;       // folder + "\column_width_config.csv"
  std::string user_settings_path;      // LOCALAPPDATA + "\Convert\config.csv"

  ColumnWidthManager column_widths;
  MaterialBomConfig material;
  CommonConfig common;
  BomHeadConfig head;
  // Present only when the machining-process file exists.
  std::optional<MachiningProcess> machining_process;
  // "密度(g/cm)" of the material table, read only when the machining-process
  // file exists; 0.0 otherwise or when the column is empty.
  double blank_density = 0.0;
  // The export folder: "出图的路径" of the user settings file when it is set,
  // else the desktop folder.
  std::string export_folder;

  // What was found wrong in the files that may be absent (layer table,
  // colour table, column widths, user settings), which are read as far as
  // they go: GBK lines naming the file. The dialogs do not show them.
  std::vector<std::string> warnings;

  bool HasMachiningProcess() const { return machining_process.has_value(); }

  // Loads everything in the start-up order. A missing material table, common
  // settings file or header choices file throws ConfigError
  // "配置文件：" + path + " 不存在！"; a malformed one of them throws
  // ConfigError naming the file and line.
  static MaterialBomSettings Load(host::Host& host);

  // Rewrites the user settings file with the heading "出图的路径" and `folder`
  // (quoted when it holds a comma, so that it reads back whole) and keeps
  // `folder` as the export folder. False when the file cannot be written.
  bool SaveExportFolder(host::Platform& platform, const std::string& folder);
};

// The export folder remembered in the user settings file at `path`, or
// `fallback` when the file, the column or its first cell is missing or empty.
// The file is read leniently; findings go to `problems` when not null.
std::string ReadExportFolder(host::Platform& platform, const std::string& path,
                             const std::string& fallback,
                             std::vector<std::string>* problems = nullptr);

// The user settings file's heading.
inline constexpr const char* kExportFolderHeading = "出图的路径";

}  // namespace config
