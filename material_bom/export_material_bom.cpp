#include "material_bom/export_material_bom.h"

#include <algorithm>
#include <exception>
#include <set>
#include <stdexcept>

#include "config/config_folder.h"
#include "host/text.h"

namespace {

using T = blank::BodyAttributeTitles;

// The material tree's column headings, by index.
constexpr const char* kMaterialHeadings[material_bom::kMaterialColumnCount] = {
    "序号",     "名称",      "代号",     "材质",     "规格(L*W*T)", "数量",     "重量(KG)",
    "热处理",   "备注",      "订购方式", "是否倒角", "等高",        "采购周期", "实体状态",
    "修改时间", "净重(KG).", "制造流程", "重量(KG)", "净重(KG)",    "余量"};

constexpr int kLayerColumnWidth = 150;
constexpr const char* kWorkLayerMark = "(工作图层)";
constexpr const char* kDesignerTitle = "设计担当";

// The buttons that do not clear the body selection first.
bool KeepsBodySelection(const std::string& id) { return id == "button019"; }

}  // namespace

ExportMaterialBom::ExportMaterialBom(host::Host& host) : host_(host) {
  dialog_name_ = "ExportMaterialBom.dlx";
  dialog_ = host_.dialogs().CreateDialog(dialog_name_);
  work_part_ = host_.session().WorkPart();
  dialog_->AddUpdateHandler([this](host::UIBlock* block) { return update_cb(block); });
  dialog_->AddInitializeHandler([this] { initialize_cb(); });
  dialog_->AddDialogShownHandler([this] { dialogShown_cb(); });
  dialog_->AddCloseHandler([this] { return close_cb(); });
  dialog_->AddFilterHandler(
      [this](host::UIBlock* block, host::Tag object) { return filter_cb(block, object); });
}

ExportMaterialBom::~ExportMaterialBom() = default;

void ExportMaterialBom::SetSmartCalc(bool reset, bool same_body, bool third, int mode) {
  options_.reset = reset;
  options_.same_body = same_body;
  options_.third = third;
  options_.mode = mode;
}

int ExportMaterialBom::Show() { return dialog_->Show(); }

host::PropertyList& ExportMaterialBom::GetBlockProperties(const std::string& block_id) {
  return dialog_->GetBlockProperties(block_id);
}

void ExportMaterialBom::ShowError(const std::string& message) {
  host_.messages().ShowMessage(kDialogTitle, host::kErrorMessage, message);
}

// --- initialize_cb ---------------------------------------------------------------

void ExportMaterialBom::initialize_cb() {
  try {
    host::CompositeBlock& top = *dialog_->TopBlock();
    top.Find<host::Group>("group");
    header_blocks_.clear();
    for (const char* id : BomHeader::kBlockIds)
      header_blocks_.push_back(top.Find<host::StringBlock>(id));
    for (const char* id : {"group4", "group3", "group1"}) top.Find<host::Group>(id);
    material_tree_ = top.Find<host::Tree>("tree_control0");
    top.Find<host::ScrolledWindow>("scrolledWindow");
    top.Find<host::Group>("group2");
    top.Find<host::ScrolledWindow>("scrolledWindow1");
    body_select_ = top.Find<host::BodyCollector>("bodySelect0");
    for (const char* id :
         {"button03", "button02", "button01", "button0", "button04", "button05", "button06",
          "button061", "button0611", "button010", "button011", "button012", "button013"})
      top.Find<host::Button>(id);
    allowance_button_ = top.Find<host::Button>("button0");
    top.Find<host::ScrolledWindow>("scrolledWindow2");
    folder_ = top.Find<host::FolderSelection>("nativeFolderBrowser0");
    integer_ = top.Find<host::IntegerBlock>("integer0");
    top.Find<host::Group>("group6");
    for (const char* id : {"button07", "button08", "button09", "button019"})
      top.Find<host::Button>(id);
    layer_tree_ = top.Find<host::Tree>("tree_control01");

    using namespace std::placeholders;
    host::Tree& m = *material_tree_;
    m.SetOnSelectHandler(std::bind(&ExportMaterialBom::OnSelectCallback, this, _1, _2, _3, _4));
    m.SetOnStateChangeHandler(
        std::bind(&ExportMaterialBom::OnStateChangeCallback, this, _1, _2, _3));
    m.SetOnBeginLabelEditHandler(
        std::bind(&ExportMaterialBom::OnBeginLabelEditCallback, this, _1, _2, _3));
    m.SetOnEndLabelEditHandler(
        std::bind(&ExportMaterialBom::OnEndLabelEditCallback, this, _1, _2, _3, _4));
    m.SetOnEditOptionSelectedHandler(
        std::bind(&ExportMaterialBom::OnEditOptionSelectedCallback, this, _1, _2, _3, _4, _5, _6));
    m.SetAskEditControlHandler(
        std::bind(&ExportMaterialBom::AskEditControlCallback, this, _1, _2, _3));
    m.SetOnMenuHandler(std::bind(&ExportMaterialBom::OnMenuCallback, this, _1, _2, _3));
    m.SetOnMenuSelectionHandler(
        std::bind(&ExportMaterialBom::OnMenuSelectionCallback, this, _1, _2, _3));
    m.SetOnDefaultActionHandler(std::bind(&ExportMaterialBom::OnDefaultAction, this, _1, _2, _3));
    layer_tree_->SetOnDefaultActionHandler(
        std::bind(&ExportMaterialBom::OnLayerTreeDefaultAction, this, _1, _2, _3));
    layer_tree_->SetOnStateChangeHandler(
        std::bind(&ExportMaterialBom::OnLayerTreeStateChangeCallback, this, _1, _2, _3));
  } catch (const std::exception& e) {
    host_.messages().ShowMessage("Block Styler", host::kErrorMessage, e.what());
  }
}

// --- dialogShown_cb --------------------------------------------------------------

void ExportMaterialBom::dialogShown_cb() {
  try {
    integer_->SetValue(1);
    if (options_.reset)
      host_.attributes().Delete(work_part_, host::kStringAttribute, kDesignerTitle);
    LoadConfiguration();
    SetUpMaterialColumns();
    SetUpLayerColumns();
    Trace("初始化BOM头信息");
    LoadHeader();
    Trace("出图的路径");
    ShowOutputFolder();
    InitilTreeValuedLayers(settings_->material.template_layers);
    Trace("获取所有的可见图层");
    Trace("去除无效的图层");
    bool outside_template = false;
    const std::vector<int> visible_listed = ShowTemplateLayersOnly(outside_template);
    Trace("添加图层节点");
    AddLayerRows();
    if (visible_listed.empty()) {
      ShowError("当前没有需要添加材料属性的实体");
      return;
    }
    if (outside_template) {
      host_.messages().ShowMessage(
          kDialogTitle, host::kWarningMessage,
          "提示：不在标准图层中部件，程序不会写BOM表清单，标准图层外的部件，程序自动将关闭，"
          "只显示标准模板图层");
    }
    ChooseWorkLayer(visible_listed);
    ClearNeverSavedPart();
    Trace("初始化图层树");
    SetLayerTreeState();
    Trace("CreatMaterialNodes");
    CreatMaterialNodes(1, 0);
  } catch (const std::exception& e) {
    ShowError(e.what());
  }
}

void ExportMaterialBom::LoadConfiguration() {
  settings_ =
      std::make_unique<config::MaterialBomSettings>(config::MaterialBomSettings::Load(host_));
  calculator_ = std::make_unique<blank::MaterialParamCalculator>(host_, options_, *settings_);
  calculator_->SetRecords(&records_);
  calculator_->SetRowRefresh(
      [this](host::Tag body, const MaterialParam& record) { RefreshBodyRows(body, record); });
}

void ExportMaterialBom::SetUpMaterialColumns() {
  for (int i = 0; i < material_bom::kMaterialColumnCount; ++i) {
    material_tree_->InsertColumn(i, kMaterialHeadings[i],
                                 settings_->column_widths.GetColumnWidth(kMaterialHeadings[i]));
  }
  material_tree_->SetShowToolTips(true);
  if (!settings_->HasMachiningProcess()) {
    // Without the process table there is no net weight of a group and no process.
    material_tree_->SetColumnVisible(material_bom::kColGroupNetWeight, false);
    material_tree_->SetColumnTitle(material_bom::kColProcess, "");
  }
}

void ExportMaterialBom::SetUpLayerColumns() {
  layer_tree_->InsertColumn(0, "图层名称", kLayerColumnWidth);
  layer_tree_->InsertColumn(1, "图层", kLayerColumnWidth);
}

void ExportMaterialBom::ShowOutputFolder() {
  const std::string desktop = host_.platform().DesktopFolder();
  std::string folder =
      config::ReadExportFolder(host_.platform(), settings_->user_settings_path, desktop);
  if (folder.empty()) folder = desktop;
  settings_->export_folder = folder;
  folder_->SetPath(folder);
}

// Unblanks the objects of every visible layer and hides the visible layers
// outside the template (not the work layer). Returns the visible layers of
// the working list; `outside_template` tells whether a visible layer lay
// outside the template, the work layer included.
std::vector<int> ExportMaterialBom::ShowTemplateLayersOnly(bool& outside_template) {
  const auto& templ = settings_->material.template_layers;
  host::Layers& layers = host_.layers();
  const int work = layers.WorkLayer();
  std::vector<int> visible_listed;
  for (int layer = host::kFirstLayer; layer <= host::kLastLayer; ++layer) {
    if (layers.GetState(layer) == host::LayerState::Hidden) continue;
    for (host::Tag o : layers.ObjectsOnLayer(layer)) host_.objects().SetBlanked(o, false);
    if (std::find(layers_.begin(), layers_.end(), layer) != layers_.end())
      visible_listed.push_back(layer);
    if (std::find(templ.begin(), templ.end(), layer) != templ.end()) continue;
    outside_template = true;
    if (layer != work) layers.SetState(layer, host::LayerState::Hidden);
  }
  return visible_listed;
}

void ExportMaterialBom::AddLayerRows() {
  const int work = host_.layers().WorkLayer();
  const auto& m = settings_->material;
  for (int layer : layers_) {
    const auto it = std::find(m.layer_numbers.begin(), m.layer_numbers.end(), layer);
    const std::size_t i = static_cast<std::size_t>(it - m.layer_numbers.begin());
    const std::string name = i < m.layer_names.size() ? m.layer_names[i] : "";
    host::Node* row = layer_tree_->CreateNode(layer == work ? name + kWorkLayerMark : name);
    layer_tree_->InsertNode(row, nullptr, nullptr, host::NodeInsertOption::Last);
    row->SetColumnDisplayText(1, text::Format("%d", layer));
    row->SetState(host_.layers().AskStatus(layer) == host::kStatusHidden ? host::kNodeUnchecked
                                                                         : host::kNodeChecked);
  }
}

void ExportMaterialBom::ChooseWorkLayer(const std::vector<int>& visible_listed) {
  host::Layers& layers = host_.layers();
  const int former = layers.WorkLayer();
  if (std::find(visible_listed.begin(), visible_listed.end(), former) != visible_listed.end()) {
    shown_work_layer_ = former;
    return;
  }
  layers.SetWorkLayer(visible_listed.front());
  layers.SetState(former, host::LayerState::Hidden);
  shown_work_layer_ = visible_listed.front();
}

// A part whose header was never saved starts clean: no material attributes
// on the bodies of the listed layers.
void ExportMaterialBom::ClearNeverSavedPart() {
  if (host_.attributes().Has(work_part_, kDesignerTitle)) return;
  std::vector<host::Tag> bodies;
  for (host::Tag b : host_.bodies().PartBodies(work_part_)) {
    const int layer = host_.objects().Layer(b);
    if (std::find(layers_.begin(), layers_.end(), layer) != layers_.end()) bodies.push_back(b);
  }
  DeleteMaterialAttributes(bodies);
}

void ExportMaterialBom::DeleteMaterialAttributes(const std::vector<host::Tag>& bodies) {
  static const std::set<std::string> kMarks = {T::kStandardPart, T::kRoundPart, T::kTopFrame,
                                               T::kLeftFrame, T::kBottomFrame};
  host::Attributes& attrs = host_.attributes();
  std::set<std::string> identities;
  for (host::Tag body : bodies) {
    if (attrs.Has(body, T::kIdentity)) identities.insert(attrs.GetString(body, T::kIdentity));
    for (const std::string& title : T::AllTitles()) {
      if (!kMarks.count(title) && attrs.Has(body, title, host::kAnyAttribute))
        attrs.Delete(body, host::kStringAttribute, title);
    }
  }
  if (identities.empty()) return;
  // The blank systems named after the forgotten identities go with them.
  for (host::Tag csys : GetLayerCsys(kCsysLayer)) {
    if (identities.count(host_.objects().Name(csys))) host_.objects().Delete(csys);
  }
}

// --- close_cb, filter_cb, update_cb ------------------------------------------------

int ExportMaterialBom::close_cb() {
  try {
    for (host::Tag o : host_.layers().ObjectsOnLayer(kCsysLayer))
      host_.objects().SetBlanked(o, true);
    host_.layers().SetStatus(kCsysLayer, host::kStatusHidden);
  } catch (const std::exception& e) {
    ShowError(e.what());
  }
  return 0;
}

int ExportMaterialBom::filter_cb(host::UIBlock* block, host::Tag object) {
  if (block == nullptr || block != body_select_) return host::kSelectionReject;
  const host::TypeAndSubtype t = host_.objects().AskTypeAndSubtype(object);
  if (t.type != host::kSolidType || t.subtype != host::kSolidBodySubtype)
    return host::kSelectionReject;
  return host_.bodies().IsSolidBody(object) ? host::kSelectionAccept : host::kSelectionReject;
}

void ExportMaterialBom::ClearBodySelection() {
  if (body_select_) body_select_->SetSelectedObjects({});
}

int ExportMaterialBom::update_cb(host::UIBlock* block) {
  using Command = void (ExportMaterialBom::*)();
  struct Entry {
    const char* block;
    Command command;
  };
  // One line per block.
  static const Entry kCommands[] = {
      {"bodySelect0", &ExportMaterialBom::SelectPickedRows},
      {"button03", &ExportMaterialBom::ShowMadeParts},
      {"button02", &ExportMaterialBom::ShowBoughtParts},
      {"button05", &ExportMaterialBom::ShowAllParts},
      {"button01", &ExportMaterialBom::ExportWorkbook},
      {"button07", &ExportMaterialBom::NextLayer},
      {"button08", &ExportMaterialBom::PreviousLayer},
      {"button09", &ExportMaterialBom::ShowAllLayers},
      {"button0", &ExportMaterialBom::SetAllowance},
      {"button04", &ExportMaterialBom::ResetBodies},
      {"button06", &ExportMaterialBom::ShowNewBodies},
      {"button061", &ExportMaterialBom::SetSameCode},
      {"button0611", &ExportMaterialBom::Reorder},
      {"button010", &ExportMaterialBom::BalloonNumbering},
      {"button013", &ExportMaterialBom::SetRoundParts},
      {"button011", &ExportMaterialBom::OpenDatumDialog},
      {"button012", &ExportMaterialBom::OpenFrameDialog},
      {"button019", &ExportMaterialBom::AutoOrient},
      {"integer0", &ExportMaterialBom::RewriteSpecs},
      {"nativeFolderBrowser0", &ExportMaterialBom::RememberOutputFolder},
  };
  try {
    const std::string id = block->Name();
    if (id.rfind("button", 0) == 0 && !KeepsBodySelection(id)) ClearBodySelection();
    for (const Entry& e : kCommands) {
      if (id == e.block) {
        (this->*e.command)();
        break;
      }
    }
  } catch (const std::exception& e) {
    ShowError(e.what());
  }
  return 0;
}

// --- Members delegating to the configuration and the calculator -----------------------

const config::MaterialBomSettings& ExportMaterialBom::settings() const {
  if (!settings_) throw std::logic_error("材料BOM的配置没有读入，请检查配置文件后重新打开");
  return *settings_;
}

blank::MaterialParamCalculator& ExportMaterialBom::calculator() {
  if (!calculator_) throw std::logic_error("材料BOM的配置没有读入，请检查配置文件后重新打开");
  return *calculator_;
}

std::string ExportMaterialBom::GetConfigFolderPath() { return config::GetConfigFolderPath(host_); }

blank::MaterialParam ExportMaterialBom::GetBodyMaterialParam(host::Tag body) {
  return calculator().GetBodyMaterialParam(body);
}

std::vector<blank::MaterialParam> ExportMaterialBom::GetBodiesMaterialParam(
    const std::vector<host::Tag>& bodies) {
  return calculator().GetBodiesMaterialParam(bodies);
}

blank::MaterialParam* ExportMaterialBom::GetBodyMtlParam(host::Tag body,
                                                         std::vector<MaterialParam>& records) {
  return blank::MaterialParamCalculator::GetBodyMtlParam(body, records);
}

void ExportMaterialBom::CalcBodyMinOrient(host::Tag body) { calculator().CalcBodyMinOrient(body); }

std::vector<host::Tag> ExportMaterialBom::GetLayerCsys(int layer) {
  std::vector<host::Tag> out;
  for (host::Tag t : host_.layers().ObjectsOnLayer(layer))
    if (host_.objects().AskTypeAndSubtype(t).type == host::kCoordinateSystemType) out.push_back(t);
  return out;
}

std::optional<std::string> ExportMaterialBom::ResetBodyOffset(host::Tag body) {
  return calculator().ResetBodyOffset(body);
}

bool ExportMaterialBom::IsNoBuyBody(host::Tag body) { return calculator().IsNoBuyBody(body); }

std::string ExportMaterialBom::OutputFolder() { return folder_ ? folder_->Path() : std::string(); }
