// The standard-part BOM dialog: the bought standard parts of the die (guide
// pillars and bushes, springs, screws, pins) listed in a tree, grouped and
// numbered, completed by the designer, stored as user attributes and exported
// to the standard-part purchase workbook.
#pragma once

#include <string>
#include <vector>

#include "host/host.h"
#include "material_bom/base_bom.h"

// One standard-part body as its attributes describe it.
struct StandardPartParam {
  host::Tag body = host::kNullTag;
  int color = 0;
  std::string sequence;        // "序号"
  std::string name;            // "名称"
  std::string type;            // "类型", shown under "型号/尺寸"
  std::string brand;           // "品牌"
  std::string material;        // "材质"
  std::string heat_treatment;  // "热处理"
  std::string remark;          // "备注"
  std::string supplier;        // "供应商"
  std::string lead_time;       // "采购周期"
  std::string state;           // "状态"
  std::string modified;        // "修改日期"
  bool changed = false;        // in the changed-body colour: a new part ("新增")
};

class ExportPartBom : public BaseBom {
 public:
  // One tree row: the twelve columns, the row's body and its level (1 for a
  // group row, 2 for a body row under the last group row).
  struct NodeParam {
    std::string sequence, name, type, brand, quantity, material, heat_treatment, remark, supplier,
        lead_time, state, modified;
    host::Tag body = host::kNullTag;
    int level = 1;
  };
  using Group = std::vector<StandardPartParam>;

  // The tree's columns.
  enum Column : int {
    kSequenceColumn = 0,
    kNameColumn,
    kTypeColumn,
    kBrandColumn,
    kQuantityColumn,
    kMaterialColumn,
    kHeatTreatmentColumn,
    kRemarkColumn,
    kSupplierColumn,
    kLeadTimeColumn,
    kStateColumn,
    kModifiedColumn,
    kColumnCount
  };

  // Creates the dialog from "ExportPartBom.dlx" for the host's work part and
  // registers its handlers; throws when the host cannot create it.
  explicit ExportPartBom(host::Host& host);
  ~ExportPartBom() override;

  // Shows the dialog modally; the host's result code.
  int Show();
  // The property list of a block of the dialog.
  host::PropertyList& GetBlockProperties(const std::string& block_id);

  // The workbook written by the last successful export (a logic path), empty
  // before the first.
  const std::string& exported_file() const { return exported_file_; }

  // Class-level host handles, set by the constructor.
  static host::Session* theSession;
  static host::Host* theUI;

  // --- Dialog handlers -------------------------------------------------------------
  void initialize_cb();
  void dialogShown_cb();
  int update_cb(host::UIBlock* block);
  int apply_cb();

  // --- Tree handlers ---------------------------------------------------------------
  void OnSelectCallback(host::Tree* tree, host::Node* node, int column, bool selected);
  void OnStateChangeCallback(host::Tree* tree, host::Node* node, int state);
  host::BeginLabelEditState OnBeginLabelEditCallback(host::Tree* tree, host::Node* node,
                                                     int column);
  host::EndLabelEditState OnEndLabelEditCallback(host::Tree* tree, host::Node* node, int column,
                                                 const std::string& text);
  host::EditControlOption OnEditOptionSelectedCallback(host::Tree* tree, host::Node* node,
                                                       int column, int option_index,
                                                       const std::string& option_text,
                                                       host::ControlType control);
  host::ControlType AskEditControlCallback(host::Tree* tree, host::Node* node, int column);
  void OnMenuCallback(host::Tree* tree, host::Node* node, int column);
  void OnMenuSelectionCallback(host::Tree* tree, host::Node* node, int menu_item);

  // --- Tree building ---------------------------------------------------------------
  // Collects the standard parts of the work part, groups, orders and numbers
  // them and fills the tree; `sorted` is whether the part carries "已排序".
  void CreatStandardPartNodes(bool sorted);
  // One group row of the new build (regular, respectively changed bodies)
  // with its body rows; the new group row, or `previous` when none is made.
  host::Node* CreateNewPartNode(int& counter, const Group& group, host::Node* previous);
  host::Node* CreateNewAddPartNode(int& counter, const Group& group, host::Node* previous);
  // The same for the build of a sorted part, keeping the stored numbers.
  host::Node* CreateOldPartNode(const Group& group, host::Node* previous,
                                std::string& last_sequence);
  host::Node* CreateOldAddPartNode(int& counter, const Group& group, host::Node* previous);
  // Appends rows made from display records (sets no check state).
  void CreatePartNode(const std::vector<NodeParam>& rows);

  // Whether two records fall into one group: name, type, brand, heat
  // treatment, remark, supplier and lead time equal.
  static bool IsSamePart(const StandardPartParam& a, const StandardPartParam& b);
  // Whether group `a` comes before group `b` in the name order.
  static bool IsBeforeByName(const Group& a, const Group& b);
  // The name order (configuration key "名称顺序"), shared by every dialog.
  static std::vector<std::string>& NameOrder();

 private:
  // Commands.
  void RefreshTree();
  void ToggleHideAll();
  void FilterDisplay(int member);
  void SelectPickedBodies();
  void SaveAttributes();
  void ExportWorkbook();

  // Start-up pieces.
  void LoadConfiguration();
  void LoadHeader();

  // Helpers.
  std::string ConfigRoot();
  host::Tree& TreeBlock();
  host::Node* NewRow(const std::string& sequence, host::Node* parent, host::Node* after);
  void FillRow(host::Node* row, const StandardPartParam& p);
  StandardPartParam ReadPart(host::Tag body);
  static host::Tag RowBody(host::Node* row);
  void SetBodyShown(host::Tag body, bool shown);
  void SetGroupShown(host::Node* group, bool shown);
  std::vector<host::Node*> TopRows();
  static std::vector<host::Node*> ChildRows(host::Node* row);
  // The header: the six (title, text) pairs, validated.
  std::vector<std::pair<std::string, std::string>> ValidatedHeader();
  void ShowError(const char* title, const std::exception& e);

  host::Host& host_;

  std::vector<StandardPartParam> parts_;
  std::vector<NodeParam> set_aside_;  // rows set aside by the display filter
  std::vector<std::string> brands_, heat_treatments_, suppliers_, lead_times_;
  int changed_color_ = 0;
  std::string exported_file_;
  bool initialized_session_ = false;

  host::Group* group_ = nullptr;
  host::StringBlock* string0_ = nullptr;  // "客户名称"
  host::LabelBlock* label0_ = nullptr;
  host::StringBlock* string01_ = nullptr;  // "模具编号"
  host::LabelBlock* label01_ = nullptr;
  host::Enumeration* enum0_ = nullptr;     // "模具吨位"
  host::StringBlock* string02_ = nullptr;  // "产品编号"
  host::LabelBlock* label02_ = nullptr;
  host::StringBlock* string03_ = nullptr;  // "订单编号"
  host::LabelBlock* label03_ = nullptr;
  host::Enumeration* enum01_ = nullptr;  // "设计担当"
  host::Group* group1_ = nullptr;
  host::Tree* tree_control0_ = nullptr;
  host::ScrolledWindow* scrolledWindow_ = nullptr;
  host::Group* group2_ = nullptr;
  host::Group* group3_ = nullptr;
  host::Enumeration* enum02_ = nullptr;  // display filter
  host::BodyCollector* bodySelect0_ = nullptr;
  host::Button* button02_ = nullptr;  // refresh
  host::Button* button03_ = nullptr;  // hide all / show all
  host::Button* button01_ = nullptr;  // export
  host::Button* button0_ = nullptr;   // save
};
