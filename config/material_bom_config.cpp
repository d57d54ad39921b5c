#include "config/material_bom_config.h"

#include "config/config_folder.h"
#include "host/host.h"

namespace config {
namespace {

std::vector<int> ToInts(const std::vector<std::string>& cells) {
  std::vector<int> values;
  values.reserve(cells.size());
  for (const std::string& cell : cells) values.push_back(CellToInt(cell));
  return values;
}

std::vector<std::string> NonEmpty(const std::vector<std::string>& cells) {
  std::vector<std::string> values;
  for (const std::string& cell : cells) {
    if (!cell.empty()) values.push_back(cell);
  }
  return values;
}

double FirstDouble(const std::vector<std::string>& cells, double if_empty) {
  return cells.empty() ? if_empty : CellToDouble(cells.front());
}

std::string FirstText(const std::vector<std::string>& cells, const std::string& if_empty) {
  return cells.empty() ? if_empty : cells.front();
}

void RequireFile(host::Platform& platform, const std::string& path) {
  if (!platform.FileExists(path)) throw ConfigError(MissingFileText(path));
}

MaterialBomConfig LoadMaterialBomConfig(host::Platform& platform, const std::string& material_path,
                                        const std::string& layer_path,
                                        const std::string& color_path,
                                        std::vector<std::string>* problems) {
  RequireFile(platform, material_path);
  ReadConfigFile material(platform), layers(platform), colors(platform);
  material.OpenConfigFile(material_path);
  // The layer and colour tables may be absent, so a damaged one is read as
  // far as it goes rather than stopping the start-up.
  layers.OpenLenient(layer_path, problems);
  layers.CloseConfigFile();
  colors.OpenLenient(color_path, problems);
  colors.CloseConfigFile();

  MaterialBomConfig c;
  c.layer_numbers = ToInts(layers.GetColumnValue("总图层"));
  c.layer_names = layers.GetColumnValue("总名称");
  c.layer_codes = layers.GetColumnValue("总图层代号");
  c.material_names = colors.GetColumnValue("材质名称");
  c.heat_treatments = colors.GetColumnValue("热处理信息");
  c.colors = ToInts(colors.GetColumnValue("材质颜色标准"));
  c.density = FirstDouble(material.GetColumnValue("密度(g/cm)"), 1.0);
  c.ordering_weight = FirstDouble(material.GetColumnValue("订购重量"), 1.0);
  c.equal_height_layers = ToInts(material.GetColumnValue("厚度等高图层"));
  c.chamfer_choices = material.GetColumnValue("是否倒角");
  c.height_exact_choices = material.GetColumnValue("高度准确");
  c.lead_time_choices = material.GetColumnValue("材料BOM_采购周期");
  c.ordering_methods = material.GetColumnValue("订购方式");
  c.first_ordering_method = FirstText(c.ordering_methods, "Y");
  c.purchase_methods = material.GetColumnValue("采购方式");
  c.first_purchase_method = FirstText(c.purchase_methods, "");
  c.layer_optimization_prompt = NonEmpty(material.GetColumnValue("图层优化提示信息"));
  c.overlap_deletion_prompt = NonEmpty(material.GetColumnValue("删除重叠体提示信息"));
  c.template_layers = ToInts(layers.GetColumnValue("模板图层"));
  c.normal_row_color = 211;
  material.CloseConfigFile();
  return c;
}

CommonConfig LoadCommonConfig(host::Platform& platform, const std::string& path) {
  RequireFile(platform, path);
  ReadConfigFile table(platform);
  table.OpenConfigFile(path);
  CommonConfig c;
  const std::vector<std::string> color = table.GetColumnValue("改模颜色");
  c.changed_body_color = color.empty() ? 186 : CellToInt(color.front());
  c.validation_string = FirstText(table.GetColumnValue("验证字符串"), "");
  c.joining_text = FirstText(table.GetColumnValue("连接字符"), "");
  const std::vector<std::string> export_codes = table.GetColumnValue("是否导出图层代号");
  c.export_layer_codes = export_codes.empty() || export_codes.front() != "N";
  table.CloseConfigFile();
  return c;
}

BomHeadConfig LoadBomHeadConfig(host::Platform& platform, const std::string& path) {
  RequireFile(platform, path);
  ReadConfigFile table(platform);
  table.OpenConfigFile(path);
  BomHeadConfig c;
  c.product_materials = NonEmpty(table.GetColumnValue(BomHeadConfig::kHeadings[0]));
  c.die_numbers = NonEmpty(table.GetColumnValue(BomHeadConfig::kHeadings[1]));
  c.die_tonnages = NonEmpty(table.GetColumnValue(BomHeadConfig::kHeadings[2]));
  c.customer_names = NonEmpty(table.GetColumnValue(BomHeadConfig::kHeadings[3]));
  c.product_thicknesses = NonEmpty(table.GetColumnValue(BomHeadConfig::kHeadings[4]));
  c.die_types = NonEmpty(table.GetColumnValue(BomHeadConfig::kHeadings[5]));
  c.designers = NonEmpty(table.GetColumnValue(BomHeadConfig::kHeadings[6]));
  table.CloseConfigFile();
  return c;
}

// "密度(g/cm)" of the material table for the blank weights; 0.0 when the column
// is empty or the file cannot be read.
double ReadBlankDensity(host::Platform& platform, const std::string& material_path) {
  ReadConfigFile table(platform);
  if (!table.OpenConfigFile(material_path)) return 0.0;
  const double density = FirstDouble(table.GetColumnValue("密度(g/cm)"), 0.0);
  table.CloseConfigFile();
  return density;
}

// A folder for the user settings file: quoted when a comma or a quote would
// otherwise split or alter it on reading.
std::string CsvCell(const std::string& value) {
  if (value.find_first_of(",\"\r\n") == std::string::npos) return value;
  std::string quoted = "\"";
  for (char c : value) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  quoted += '"';
  return quoted;
}

}  // namespace

const char* const BomHeadConfig::kHeadings[BomHeadConfig::kFieldCount] = {
    "产品材质", "模具编号", "模具吨位", "客户名称", "产品厚度", "模具类型", "设计担当"};

const std::vector<std::string>& BomHeadConfig::Choices(int index) const {
  static const std::vector<std::string> kNone;
  switch (index) {
    case 0:
      return product_materials;
    case 1:
      return die_numbers;
    case 2:
      return die_tonnages;
    case 3:
      return customer_names;
    case 4:
      return product_thicknesses;
    case 5:
      return die_types;
    case 6:
      return designers;
    default:
      return kNone;
  }
}

const std::vector<std::string>* BomHeadConfig::ChoicesFor(const std::string& heading) const {
  for (int i = 0; i < kFieldCount; ++i) {
    if (heading == kHeadings[i]) return &Choices(i);
  }
  return nullptr;
}

MachiningProcess MachiningProcess::Load(host::Platform& platform, const std::string& path) {
  MachiningProcess process{0.0, ReadConfigFile(platform)};
  if (process.table.OpenConfigFile(path)) {
    process.weight_limit = FirstDouble(process.table.GetColumnValue("重量限制"), 0.0);
  }
  return process;
}

ColumnWidthManager::ColumnWidthManager(host::Platform& platform, const std::string& path,
                                       std::vector<std::string>* problems)
    : path_(path) {
  ReadConfigFile table(platform);
  if (!table.OpenLenient(path, problems)) return;
  const std::vector<std::string> headings = table.GetColumnValue(kHeadingColumn);
  const std::vector<std::string> widths = table.GetColumnValue(kWidthColumn);
  for (std::size_t i = 0; i < headings.size() && i < widths.size(); ++i) {
    if (!headings[i].empty()) widths_.emplace(headings[i], CellToInt(widths[i]));
  }
  table.CloseConfigFile();
}

int ColumnWidthManager::GetColumnWidth(const std::string& heading) const {
  const auto it = widths_.find(heading);
  return it != widths_.end() && it->second > 0 ? it->second : kDefaultWidth;
}

MaterialBomSettings MaterialBomSettings::Load(host::Host& host) {
  host::Platform& platform = host.platform();
  MaterialBomSettings s;

  // Paths, in this order: the two layer-template tables under the root (the
  // configuration set never applies to them), the tables of the
  // configuration folder, the user settings file.
  s.root = host.environment().GetEnvironmentVariableValue(kRootVariable);
  s.layer_table_path = s.root + "\\config\\TK\\" + CurrentLayerFileName(platform);
  s.color_table_path = s.root + "\\config\\TK\\ColorConvert.csv";
  s.config_folder = GetConfigFolderPath(host);
  s.material_table_path = s.config_folder + "\\material_bom_config.csv";
  s.common_settings_path = s.config_folder + "\\config.csv";
  s.header_choices_path = s.config_folder + "\\bom_head_config.csv";
  s.machining_process_path = s.config_folder + "\\maching_process_bom.csv";
  s.drawing_settings_path = s.config_folder + "\\smart_drawing_config.csv";
  s.column_width_path = s.config_folder + "\\column_width_config.csv";
  const std::string user_folder = platform.LocalAppDataFolder() + "\\Convert";
  platform.CreateDirectory(user_folder);  // usually there already
  s.user_settings_path = user_folder + "\\config.csv";

  s.column_widths = ColumnWidthManager(platform, s.column_width_path, &s.warnings);
  s.material = LoadMaterialBomConfig(platform, s.material_table_path, s.layer_table_path,
                                     s.color_table_path, &s.warnings);
  s.common = LoadCommonConfig(platform, s.common_settings_path);
  s.head = LoadBomHeadConfig(platform, s.header_choices_path);
  if (platform.FileExists(s.machining_process_path)) {
    s.machining_process = MachiningProcess::Load(platform, s.machining_process_path);
    s.blank_density = ReadBlankDensity(platform, s.material_table_path);
  }
  s.export_folder =
      ReadExportFolder(platform, s.user_settings_path, platform.DesktopFolder(), &s.warnings);
  return s;
}

bool MaterialBomSettings::SaveExportFolder(host::Platform& platform, const std::string& folder) {
  export_folder = folder;
  return platform.WriteFile(user_settings_path,
                            std::string(kExportFolderHeading) + "\r\n" + CsvCell(folder) + "\r\n");
}

std::string ReadExportFolder(host::Platform& platform, const std::string& path,
                             const std::string& fallback, std::vector<std::string>* problems) {
  ReadConfigFile table(platform);
  if (!table.OpenLenient(path, problems)) return fallback;
  const std::vector<std::string> folder = table.GetColumnValue(kExportFolderHeading);
  table.CloseConfigFile();
  return folder.empty() || folder.front().empty() ? fallback : folder.front();
}

}  // namespace config
