// The standard-part BOM dialog: construction, blocks, start-up and the
// dispatch of its commands.
#include "part_bom/export_part_bom.h"

#include <algorithm>
#include <stdexcept>

#include "config/csv.h"
#include "part_bom/part_bom_texts.h"

using namespace part_bom;

host::Session* ExportPartBom::theSession = nullptr;
host::Host* ExportPartBom::theUI = nullptr;

namespace {

// The tree's columns: headings and widths.
struct ColumnSpec {
  const char* heading;
  int width;
};
constexpr ColumnSpec kColumns[ExportPartBom::kColumnCount] = {
    {"序号", 65},   {"名称", 120},    {"型号/尺寸", 120}, {"品牌", 80},
    {"数量", 60},   {"材质", 60},     {"热处理", 75},     {"备注", 60},
    {"供应商", 86}, {"采购周期", 80}, {"状态", 50},       {"修改时间", 80}};

// The members of an enumeration: one empty entry followed by the non-empty
// cells of a column (an enumeration shows one empty member only).
std::vector<std::string> MemberList(const std::vector<std::string>& cells) {
  std::vector<std::string> out{""};
  for (const std::string& c : cells)
    if (!c.empty()) out.push_back(c);
  return out;
}

// A cell editor's options: one empty entry followed by every cell of the
// column as the table holds it, blank cells included.
std::vector<std::string> OptionList(const std::vector<std::string>& cells) {
  std::vector<std::string> out{""};
  out.insert(out.end(), cells.begin(), cells.end());
  return out;
}

template <class T>
T& Need(T* block, const char* id) {
  if (block == nullptr)
    throw std::runtime_error(std::string(kLayoutFile) + ": block " + id + " was not found");
  return *block;
}

}  // namespace

ExportPartBom::ExportPartBom(host::Host& host) : host_(host) {
  theSession = &host.session();
  theUI = &host;
  work_part_ = host.session().WorkPart();
  dialog_name_ = kLayoutFile;
  dialog_ = host.dialogs().CreateDialog(dialog_name_);
  dialog_->AddApplyHandler([this] { return apply_cb(); });
  dialog_->AddUpdateHandler([this](host::UIBlock* block) { return update_cb(block); });
  dialog_->AddInitializeHandler([this] { initialize_cb(); });
  dialog_->AddDialogShownHandler([this] { dialogShown_cb(); });
}

ExportPartBom::~ExportPartBom() {
  if (initialized_session_) host_.session().Terminate();
}

int ExportPartBom::Show() { return dialog_->Show(); }

host::PropertyList& ExportPartBom::GetBlockProperties(const std::string& block_id) {
  return dialog_->GetBlockProperties(block_id);
}

std::vector<std::string>& ExportPartBom::NameOrder() {
  static std::vector<std::string> order;
  return order;
}

void ExportPartBom::ShowError(const char* title, const std::exception& e) {
  host_.messages().ShowMessage(title, host::kErrorMessage, e.what());
}

std::string ExportPartBom::ConfigRoot() {
  return host_.environment().TranslateVariable("RQConfig").value_or(std::string());
}

host::Tree& ExportPartBom::TreeBlock() { return Need(tree_control0_, "tree_control0"); }

void ExportPartBom::initialize_cb() {
  try {
    host::CompositeBlock* top = dialog_->TopBlock();
    group_ = top->Find<host::Group>("group");
    string0_ = top->Find<host::StringBlock>("string0");
    label0_ = top->Find<host::LabelBlock>("label0");
    string01_ = top->Find<host::StringBlock>("string01");
    label01_ = top->Find<host::LabelBlock>("label01");
    enum0_ = top->Find<host::Enumeration>("enum0");
    string02_ = top->Find<host::StringBlock>("string02");
    label02_ = top->Find<host::LabelBlock>("label02");
    string03_ = top->Find<host::StringBlock>("string03");
    label03_ = top->Find<host::LabelBlock>("label03");
    enum01_ = top->Find<host::Enumeration>("enum01");
    group1_ = top->Find<host::Group>("group1");
    tree_control0_ = top->Find<host::Tree>("tree_control0");
    scrolledWindow_ = top->Find<host::ScrolledWindow>("scrolledWindow");
    group2_ = top->Find<host::Group>("group2");
    group3_ = top->Find<host::Group>("group3");
    enum02_ = top->Find<host::Enumeration>("enum02");
    bodySelect0_ = top->Find<host::BodyCollector>("bodySelect0");
    button02_ = top->Find<host::Button>("button02");
    button03_ = top->Find<host::Button>("button03");
    button01_ = top->Find<host::Button>("button01");
    button0_ = top->Find<host::Button>("button0");

    const std::string bitmap = ConfigRoot() + kSelectBitmap;
    if (host_.platform().FileExists(bitmap))
      bodySelect0_->GetProperties().SetString("Bitmap", bitmap);

    host::Tree* tree = tree_control0_;
    tree->SetOnSelectHandler(
        [this](host::Tree* t, host::Node* n, int c, bool s) { OnSelectCallback(t, n, c, s); });
    tree->SetOnStateChangeHandler(
        [this](host::Tree* t, host::Node* n, int s) { OnStateChangeCallback(t, n, s); });
    tree->SetOnBeginLabelEditHandler(
        [this](host::Tree* t, host::Node* n, int c) { return OnBeginLabelEditCallback(t, n, c); });
    tree->SetOnEndLabelEditHandler(
        [this](host::Tree* t, host::Node* n, int c, const std::string& text) {
          return OnEndLabelEditCallback(t, n, c, text);
        });
    tree->SetOnEditOptionSelectedHandler([this](host::Tree* t, host::Node* n, int c, int i,
                                                const std::string& text,
                                                host::ControlType control) {
      return OnEditOptionSelectedCallback(t, n, c, i, text, control);
    });
    tree->SetAskEditControlHandler(
        [this](host::Tree* t, host::Node* n, int c) { return AskEditControlCallback(t, n, c); });
    tree->SetOnMenuHandler(
        [this](host::Tree* t, host::Node* n, int c) { OnMenuCallback(t, n, c); });
    tree->SetOnMenuSelectionHandler(
        [this](host::Tree* t, host::Node* n, int item) { OnMenuSelectionCallback(t, n, item); });
  } catch (const std::exception& e) {
    ShowError(kBlockStylerTitle, e);
  }
}

void ExportPartBom::dialogShown_cb() {
  try {
    if (host_.session().IsInitialized() == 0) {
      host_.session().Initialize();
      initialized_session_ = true;
    }
    host::Tree& tree = TreeBlock();
    tree.SetShowToolTips(true);
    for (int c = 0; c < kColumnCount; ++c)
      tree.InsertColumn(c, kColumns[c].heading, kColumns[c].width);
    Need(enum02_, "enum02").SetValue(0);

    LoadConfiguration();
    LoadHeader();
    CreatStandardPartNodes(host_.attributes().Has(work_part_, kSortedTitle));
  } catch (const std::exception& e) {
    ShowError(kBlockStylerTitle, e);
  }
}

void ExportPartBom::LoadConfiguration() {
  const std::string path = ConfigRoot() + kConfigTable;
  if (!host_.platform().FileExists(path)) throw std::runtime_error(config::MissingFileText(path));
  config::ReadConfigFile table(host_.platform());
  table.OpenConfigFile(path);
  const std::vector<std::string> designers = table.GetColumnValue(kDesignersKey);
  const std::vector<std::string> tonnages = table.GetColumnValue(kTonnagesKey);
  const std::vector<std::string> name_order = table.GetColumnValue(kNameOrderKey);
  const std::vector<std::string> colors = table.GetColumnValue(kChangedColorKey);
  const std::vector<std::string> brands = table.GetColumnValue(kBrandsKey);
  const std::vector<std::string> heat_treatments = table.GetColumnValue(kHeatTreatmentsKey);
  const std::vector<std::string> suppliers = table.GetColumnValue(kSuppliersKey);
  const std::vector<std::string> lead_times = table.GetColumnValue(kLeadTimesKey);
  table.CloseConfigFile();

  // The colour is the column's first cell as the table holds it (a blank
  // first cell reads as 0); a column without any value names no colour.
  if (std::all_of(colors.begin(), colors.end(), [](const std::string& c) { return c.empty(); }))
    throw std::runtime_error("未找到改模颜色！");
  changed_color_ = config::CellToInt(colors.front());

  Need(enum0_, "enum0").SetEnumMembers(MemberList(tonnages));
  Need(enum01_, "enum01").SetEnumMembers(MemberList(designers));
  brands_ = OptionList(brands);
  heat_treatments_ = OptionList(heat_treatments);
  suppliers_ = OptionList(suppliers);
  lead_times_ = OptionList(lead_times);
  std::vector<std::string>& order = NameOrder();
  order.clear();
  for (const std::string& name : name_order)
    if (!name.empty()) order.push_back(name);
}

void ExportPartBom::LoadHeader() {
  host::Attributes& a = host_.attributes();
  auto text_of = [&](const char* title) {
    return a.Has(work_part_, title) ? a.GetString(work_part_, title) : std::string();
  };
  Need(string0_, "string0").SetValue(text_of(kCustomerTitle));
  Need(string01_, "string01").SetValue(text_of(kDieNumberTitle));
  Need(string02_, "string02").SetValue(text_of(kProductNumberTitle));
  Need(string03_, "string03").SetValue(text_of(kOrderNumberTitle));
  auto select = [&](host::Enumeration& block, const char* title) {
    int index = 0;
    if (a.Has(work_part_, title)) {
      const std::string value = a.GetString(work_part_, title);
      const std::vector<std::string> members = block.GetEnumMembers();
      for (std::size_t i = 0; i < members.size(); ++i) {
        if (members[i] == value) {
          index = static_cast<int>(i);
          break;
        }
      }
    }
    block.SetValue(index);
  };
  select(Need(enum0_, "enum0"), kTonnageTitle);
  select(Need(enum01_, "enum01"), kDesignerTitle);
}

int ExportPartBom::apply_cb() { return 0; }

int ExportPartBom::update_cb(host::UIBlock* block) {
  try {
    if (block == nullptr) return 0;
    if (block == enum02_) {
      FilterDisplay(enum02_->Value());
    } else if (block == bodySelect0_) {
      SelectPickedBodies();
    } else if (block == button02_) {
      RefreshTree();
    } else if (block == button03_) {
      ToggleHideAll();
    } else if (block == button01_) {
      ExportWorkbook();
    } else if (block == button0_) {
      SaveAttributes();
      host_.messages().ShowMessage(kPartBomTitle, host::kInformationMessage,
                                   "保存标准件属性成功！");
    }
    // The header blocks and their captions need nothing here.
  } catch (const std::exception& e) {
    ShowError(kBlockStylerTitle, e);
  }
  return 0;
}
