// The commands of the standard-part dialog: refresh, hide/show, the display
// filter, the body pick, saving the attributes and the workbook export.
#include <memory>
#include <set>
#include <stdexcept>

#include "host/text.h"
#include "part_bom/export_part_bom.h"
#include "part_bom/part_bom_texts.h"
#include "workbook/workbook.h"

using namespace part_bom;

namespace {

// Presses of the hide/show button, for as long as the library is loaded.
int hide_show_presses = 0;

// Where the export writes in the template (rows and columns from 0).
constexpr int kFirstLineRow = 6;

std::runtime_error Error(const std::string& message) { return std::runtime_error(message); }

}  // namespace

void ExportPartBom::RefreshTree() {
  host::Tree& tree = TreeBlock();
  while (host::Node* row = tree.RootNode()) tree.DeleteNode(row);
  // The display filter keeps its choice and its set-aside rows: the rebuild
  // lists only shown bodies, so the groups set aside come back only through
  // the filter.
  CreatStandardPartNodes(host_.attributes().Has(work_part_, kSortedTitle));
  host_.messages().ShowMessage(kPartBomTitle, host::kInformationMessage, "已刷新显示！");
}

void ExportPartBom::ToggleHideAll() {
  const bool shown = hide_show_presses % 2 != 0;
  for (host::Node* row : TopRows()) SetGroupShown(row, shown);
  ++hide_show_presses;
}

void ExportPartBom::FilterDisplay(int member) {
  host::Tree& tree = TreeBlock();
  if (member == 1) {
    // Set aside every row that is not a new part's, then drop those groups.
    set_aside_.clear();
    for (host::Node* n = tree.RootNode(); n != nullptr; n = n->NextNode()) {
      if (n->GetColumnDisplayText(kStateColumn) == kNewState) continue;
      NodeParam r;
      std::string* cells[kColumnCount] = {
          &r.sequence,       &r.name,   &r.type,     &r.brand,     &r.quantity, &r.material,
          &r.heat_treatment, &r.remark, &r.supplier, &r.lead_time, &r.state,    &r.modified};
      for (int c = 0; c < kColumnCount; ++c) *cells[c] = n->GetColumnDisplayText(c);
      if (n->ParentNode() != nullptr) {
        r.level = 2;
        r.body = RowBody(n);
      }
      set_aside_.push_back(std::move(r));
    }
    for (host::Node* row : TopRows()) {
      if (row->GetColumnDisplayText(kStateColumn) == kNewState) continue;
      for (host::Node* child : ChildRows(row)) SetBodyShown(RowBody(child), false);
      tree.DeleteNode(row);
    }
  } else if (member == 0) {
    CreatePartNode(set_aside_);
    set_aside_.clear();
    for (host::Node* row : TopRows()) SetGroupShown(row, true);
  }
}

void ExportPartBom::SelectPickedBodies() {
  host::Tree& tree = TreeBlock();
  const std::vector<host::Tag> picked = bodySelect0_->GetSelectedObjects();
  const std::set<host::Tag> wanted(picked.begin(), picked.end());
  for (host::Node* row : tree.GetSelectedNodes()) tree.SelectNode(row, false, false);
  for (host::Node* n = tree.RootNode(); n != nullptr; n = n->NextNode()) {
    host::Node* group = n->ParentNode();
    if (group == nullptr || !wanted.count(RowBody(n))) continue;
    if (n->IsSelected()) tree.SelectNode(n, false, false);
    if (!group->IsSelected()) tree.SelectNode(group, true, false);
  }
}

std::vector<std::pair<std::string, std::string>> ExportPartBom::ValidatedHeader() {
  if (string0_ == nullptr || string01_ == nullptr || string02_ == nullptr || string03_ == nullptr ||
      enum0_ == nullptr || enum01_ == nullptr)
    throw Error(std::string(kLayoutFile) + ": the header blocks were not found");
  const std::string customer = string0_->Value();
  if (customer.empty()) throw Error("客户名称不可以为空");
  const std::string die = string01_->Value();
  if (die.empty()) throw Error("模具编号不可以为空");
  const std::string product = string02_->Value();
  const std::string order = string03_->Value();
  const std::string tonnage = enum0_->Value() < 0 ? std::string() : enum0_->ValueAsString();
  if (tonnage.empty()) throw Error("模具吨位不可以为空");
  const std::string designer = enum01_->Value() < 0 ? std::string() : enum01_->ValueAsString();
  if (designer.empty()) throw Error("设计担当不可以为空");
  return {{kCustomerTitle, customer}, {kDieNumberTitle, die},   {kProductNumberTitle, product},
          {kOrderNumberTitle, order}, {kTonnageTitle, tonnage}, {kDesignerTitle, designer}};
}

void ExportPartBom::SaveAttributes() {
  const auto header = ValidatedHeader();
  host::Attributes& a = host_.attributes();
  for (const auto& [title, value] : header) a.SetString(work_part_, title, value);

  // The body attributes, by title alone (the category "标准件属性" is only a
  // name here), the model brought up to date after every one.
  static constexpr std::pair<const char*, int> kSaved[] = {
      {kSequenceAttr, kSequenceColumn}, {kNameAttr, kNameColumn},
      {kTypeAttr, kTypeColumn},         {kBrandAttr, kBrandColumn},
      {kMaterialAttr, kMaterialColumn}, {kHeatTreatmentAttr, kHeatTreatmentColumn},
      {kSupplierAttr, kSupplierColumn}, {kLeadTimeAttr, kLeadTimeColumn},
      {kRemarkAttr, kRemarkColumn},     {kModifiedSavedAttr, kModifiedColumn}};
  for (host::Node* group : TopRows()) {
    for (host::Node* row : ChildRows(group)) {
      const host::Tag body = RowBody(row);
      if (body == host::kNullTag || !host_.objects().Exists(body)) continue;
      for (const auto& [title, column] : kSaved) {
        a.SetString(body, title, row->GetColumnDisplayText(column));
        host_.session().UpdateModel();
      }
    }
  }
  a.SetString(work_part_, kSortedTitle, "Y");
}

void ExportPartBom::ExportWorkbook() {
  const auto header = ValidatedHeader();
  auto header_text = [&](const char* title) {
    for (const auto& [t, v] : header)
      if (t == title) return v;
    return std::string();
  };

  host::Platform& platform = host_.platform();
  const std::string leaf = host_.session().PartLeaf(work_part_);
  const std::string folder = platform.DesktopFolder() + "\\" + leaf;
  platform.CreateDirectory(folder);  // an existing folder is fine
  const std::string stem = folder + "\\" + leaf + "标准件BOM";
  std::string file = stem + ".xls";
  for (int n = 1; platform.FileExists(file); ++n) file = stem + text::Format("-%d", n) + ".xls";

  const std::string template_path = ConfigRoot() + kTemplate;
  if (!platform.FileExists(template_path)) throw Error(template_path + " 配置文件不存在");
  std::unique_ptr<workbook::Book> book = workbook::CreateXlsBook();
  struct Release {
    workbook::Book& book;
    ~Release() { book.Release(); }
  } release{*book};
  // A template that is no readable workbook stops the export before a copy
  // of it is made.
  const std::string native_template = platform.NativePath(template_path);
  if (!book->Load(native_template) || book->GetSheet(0) == nullptr)
    throw Error(workbook::DamagedTemplateText(template_path, book->ErrorMessage()));
  book->Release();
  platform.RemoveFile(file);
  if (!platform.CopyFile(template_path, file, false))
    throw Error("无法将模板 " + template_path + " 复制为 " + file);

  const std::vector<host::Node*> rows = TopRows();
  // A workbook that cannot be written whole is not left behind.
  try {
    const std::string native = platform.NativePath(file);
    if (!book->Load(native)) throw Error(book->ErrorMessage());
    workbook::Sheet* sheet = book->GetSheet(0);
    if (sheet == nullptr) throw Error(book->ErrorMessage());
    auto write = [&](int row, int col, const std::string& value) {
      if (!sheet->WriteText(row, col, text::GbkToWide(value))) throw Error(book->ErrorMessage());
    };
    write(1, 2, header_text(kCustomerTitle));
    write(2, 2, header_text(kDieNumberTitle));
    write(3, 2, header_text(kProductNumberTitle));
    write(2, 4, header_text(kDesignerTitle));
    write(3, 7, header_text(kTonnageTitle));
    // One line per group row; column 7 keeps what the template has there.
    static constexpr std::pair<int, int> kLineCells[] = {
        {1, kNameColumn},          {2, kTypeColumn},   {3, kBrandColumn},    {4, kQuantityColumn},
        {5, kHeatTreatmentColumn}, {6, kRemarkColumn}, {8, kMaterialColumn}, {9, kSupplierColumn},
        {10, kLeadTimeColumn},     {11, kStateColumn}};
    for (std::size_t i = 0; i < rows.size(); ++i) {
      const int line = kFirstLineRow + static_cast<int>(i);
      write(line, 0, std::to_string(i + 1));
      for (const auto& [col, column] : kLineCells)
        write(line, col, rows[i]->GetColumnDisplayText(column));
    }
    if (!book->Save(native)) throw Error(book->ErrorMessage());
  } catch (...) {
    book->Release();
    platform.RemoveFile(file);
    throw;
  }

  SaveAttributes();
  exported_file_ = file;
  host_.messages().ShowMessage(kPartBomTitle, host::kInformationMessage,
                               "导出标准件BOM成功！\n文件路径：" + file);
  platform.OpenDocument(file);
}
