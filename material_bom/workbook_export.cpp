// The material BOM's export command ("button01"), its save command, and the
// cells of the purchase workbook.
#include "material_bom/workbook_export.h"

#include <stdexcept>

#include "config/csv.h"
#include "host/host.h"
#include "host/text.h"
#include "material_bom/export_material_bom.h"
#include "workbook/workbook.h"

namespace material_bom {
namespace {

// Header cells: (row, column, field title).
struct HeaderCell {
  int row, column;
  const char* title;
};
constexpr HeaderCell kHeaderCells[] = {
    {1, 1, "产品名称"}, {1, 4, "客户名称"},  {1, 8, "模具编号"}, {2, 1, "产品编号"},
    {2, 8, "ERP编号"},  {2, 11, "设计担当"}, {3, 1, "产品材质"}, {3, 4, "模具类型"},
    {3, 8, "订单编号"}, {4, 1, "产品厚度"},  {4, 8, "模具吨位"},
};

// Sheet columns copied from tree columns: (sheet column, tree column).
constexpr std::pair<int, int> kCopiedColumns[] = {
    {1, 1},  {3, 3},   {11, 7},  {12, 8},  {13, 15}, {14, 16},
    {15, 9}, {16, 10}, {17, 11}, {18, 12}, {19, 13}, {20, 14},
};

const std::string& Column(const RowTexts& row, int column) {
  static const std::string kEmpty;
  return column < static_cast<int>(row.size()) ? row[column] : kEmpty;
}

}  // namespace

std::string WorkbookFolder(const std::string& export_folder, const std::string& leaf) {
  std::string folder = export_folder;
  if (folder.empty() || folder.back() != '\\') folder += '\\';
  return folder + leaf + "\\";
}

std::string FreeWorkbookPath(host::Platform& platform, const std::string& folder,
                             const std::string& leaf, const std::string& kind) {
  std::string path = folder + leaf + kind + ".xls";
  for (int n = 1; platform.FileExists(path); ++n) {
    path = folder + leaf + kind + text::Format("-%d", n) + ".xls";
  }
  return path;
}

std::string ExportCode(const std::string& code, const std::string& joining_text,
                       bool export_layer_codes) {
  const std::size_t dash = code.find('-');
  const std::string prefix = dash == std::string::npos ? code : code.substr(0, dash);
  const std::string number = dash == std::string::npos ? code : code.substr(dash + 1);
  return export_layer_codes ? prefix + joining_text + number : number;
}

SizeColumns SplitSize(const std::string& spec) {
  const std::vector<std::string> pieces = config::SplitString(spec, "x");
  SizeColumns size;
  if (pieces.size() == 3) {
    size = {pieces[0], pieces[1], pieces[2]};
  } else if (pieces.size() == 2) {
    size.width = pieces[0];
    size.thickness = pieces[1].rfind('H', 0) == 0 ? pieces[1].substr(1) : pieces[1];
  }
  return size;
}

bool WriteMaterialSheet(workbook::Sheet& sheet, const BomHeader& header,
                        const std::vector<RowTexts>& rows, const config::CommonConfig& common) {
  auto put = [&](int row, int column, const std::string& gbk) {
    return sheet.WriteText(row, column, text::GbkToWide(gbk));
  };
  for (const HeaderCell& cell : kHeaderCells) {
    if (!put(cell.row, cell.column, header.Get(cell.title))) return false;
  }
  int r = kFirstBodyRow;
  for (const RowTexts& row : rows) {
    const SizeColumns size = SplitSize(Column(row, 4));
    const std::string& quantity = Column(row, 5);
    bool ok = put(r, 0, text::Format("%d", r - kFirstBodyRow + 1)) &&
              put(r, 2, ExportCode(Column(row, 2), common.joining_text, common.export_layer_codes));
    if (ok && !size.length.empty()) ok = put(r, 4, size.length) && put(r, 5, "x");
    ok = ok && put(r, 6, size.width) && put(r, 7, "x") && put(r, 8, size.thickness) &&
         put(r, 9, quantity.empty() ? "1" : quantity);
    for (const auto& [sheet_column, tree_column] : kCopiedColumns) {
      ok = ok && put(r, sheet_column, Column(row, tree_column));
    }
    if (!ok) return false;
    ++r;
  }
  return true;
}

}  // namespace material_bom

namespace {

constexpr const char* kExportQuestion =
    "导出BOM前,请检查代号顺序是否按照（UB-01、UB-02、UB-03、.....）排列？\nA:如果是新模具,"
    "没有按照顺序排列,请点击重排序,将自动按照顺序重排列。\nB:如果是旧模具,则不需要点击重排序操作，"
    "否则球标顺序会乱（与旧模具序号不一致）";
// The header fields the export needs, in the order it checks them.
constexpr const char* kExportRequired[] = {"客户名称", "模具编号", "模具吨位", "设计担当"};
constexpr int kTreeColumns = 20;

std::vector<material_bom::RowTexts> TopLevelRows(host::Tree& tree) {
  std::vector<material_bom::RowTexts> rows;
  for (host::Node* node = tree.RootNode(); node != nullptr; node = node->NextSiblingNode()) {
    material_bom::RowTexts row(kTreeColumns);
    for (int c = 0; c < kTreeColumns; ++c) row[c] = node->GetColumnDisplayText(c);
    rows.push_back(std::move(row));
  }
  return rows;
}

}  // namespace

void ExportMaterialBom::ExportWorkbook() {
  host::Host& h = host();
  if (h.messages().ShowMessage("提示", host::kQuestionMessage, kExportQuestion) ==
      host::kSecondButton) {
    return;
  }
  SaveAttributes();
  const material_bom::BomHeader header = ReadHeader();
  for (const char* title : kExportRequired) {
    if (header.Get(title).empty()) throw std::runtime_error(std::string(title) + "不可以为空");
  }

  host::Platform& platform = h.platform();
  const std::string leaf = h.session().PartLeaf(h.session().WorkPart());
  const std::string template_path = settings().config_folder + material_bom::kMaterialTemplate;
  if (!platform.FileExists(template_path)) {
    throw std::runtime_error(template_path + " 配置文件不存在");
  }
  const std::unique_ptr<workbook::Book> book = workbook::CreateXlsBook();
  // A template that is no readable workbook stops the export before anything
  // is made in the export folder.
  const std::string native_template = platform.NativePath(template_path);
  if (!book->Load(native_template) || book->GetSheet(book->ActiveSheet()) == nullptr) {
    throw std::runtime_error(workbook::DamagedTemplateText(template_path, book->ErrorMessage()));
  }
  book->Release();

  const std::string folder = material_bom::WorkbookFolder(OutputFolder(), leaf);
  platform.CreateDirectory(folder);
  const std::string path = material_bom::FreeWorkbookPath(platform, folder, leaf, "材料BOM");
  platform.RemoveFile(path);
  platform.CopyFile(template_path, path, false);

  // A workbook that cannot be written whole is not left behind.
  try {
    const std::string native = platform.NativePath(path);
    if (!book->Load(native)) throw std::runtime_error(book->ErrorMessage());
    workbook::Sheet* sheet = book->GetSheet(book->ActiveSheet());
    if (sheet == nullptr) throw std::runtime_error(book->ErrorMessage());
    if (!material_bom::WriteMaterialSheet(*sheet, header, TopLevelRows(*material_tree()),
                                          settings().common) ||
        !book->Save(native)) {
      throw std::runtime_error(book->ErrorMessage());
    }
  } catch (...) {
    book->Release();
    platform.RemoveFile(path);
    throw;
  }
  book->Release();
  h.messages().ShowMessage("材料BOM", host::kInformationMessage,
                           std::string("导出材料BOM成功！\n文件路径：") + path);
  platform.OpenDocument(path);
}

void ExportMaterialBom::SaveCommand() {
  SaveAttributes();
  host().messages().ShowMessage("材料BOM", host::kInformationMessage, "保存BOM属性成功！");
}
