// The material BOM dialog: the BOM header, the material tree (one row per body
// or group of identical bodies, numbered per layer), the layer tree and the
// commands. The class is split over several sources:
//   export_material_bom.cpp  construction, callbacks, start-up, dispatch
//   layer_tree.cpp           the working layer list and the layer tree
//   material_nodes.cpp       building and numbering the material tree
//   tree_editing.cpp         cell editing, context menu, row parameters
//   attribute_saving.cpp     header and body attributes
//   view_commands.cpp        the display and layer buttons
//   workbook_export.cpp      the workbook export and the save command
//   commands_numbering.cpp   reorder, balloon numbers, new bodies, decimals
//   commands_bodies.cpp      round parts, same code, reset, datum and frame
//                            dialogs, the output folder
//   commands_allowance.cpp   allowance, coordinate-system reset, orientation
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "blank/body_info.h"
#include "blank/material_param.h"
#include "blank/material_param_calculator.h"
#include "config/material_bom_config.h"
#include "host/host.h"
#include "material_bom/base_bom.h"
#include "material_bom/bom_header.h"
#include "material_bom/node_param.h"

class ExportMaterialBom : public BaseBom {
 public:
  using NodeParam = material_bom::NodeParam;
  using BomHeader = material_bom::BomHeader;
  using MaterialParam = blank::MaterialParam;

  // The dialog's window title, by which its buttons are pressed.
  static constexpr const char* kDialogTitle = "材料BOM";
  // The foreground colour of a row whose size was typed in by hand.
  static constexpr int kEditMarkColor = 103;
  // The foreground colour of a row whose stored size differs from its record's.
  static constexpr int kSpecChangedColor = 186;
  // The layer holding the blank coordinate systems.
  static constexpr int kCsysLayer = 256;

  // Where a press of the allowance button came from.
  enum class PressSource { kNone, kDoubleClick, kMenu };

  // Creates the dialog from "ExportMaterialBom.dlx" and registers its
  // handlers; throws when the host cannot create it.
  explicit ExportMaterialBom(host::Host& host);
  ~ExportMaterialBom() override;

  // The choices of the options dialog: reset flag, same-body search, a third
  // flag and the calculation mode. Only stored here.
  void SetSmartCalc(bool reset, bool same_body, bool third, int mode);
  // Shows the dialog modally; the host's result code.
  int Show();

  bool reset_flag() const { return options_.reset; }
  bool same_body_flag() const { return options_.same_body; }
  bool third_flag() const { return options_.third; }
  int calculation_mode() const { return options_.mode; }

  // --- Dialog callbacks --------------------------------------------------------
  void initialize_cb();
  void dialogShown_cb();
  int update_cb(host::UIBlock* block);
  int close_cb();
  int filter_cb(host::UIBlock* block, host::Tag object);
  host::PropertyList& GetBlockProperties(const std::string& block_id);

  // --- Layer list and layer tree (layer_tree.cpp) -------------------------------
  void InitilTreeValuedLayers(const std::vector<int>& layers);
  void SetLayerTreeState();
  // The layer after / before `layer` in the working list, wrapping; -1 when
  // `layer` is not listed.
  int GetTreeNextLayer(int layer) const;
  int GetTreePreLayer(int layer) const;
  const std::vector<int>& working_layers() const { return layers_; }
  void OnLayerTreeDefaultAction(host::Tree* tree, host::Node* node, int column);
  void OnLayerTreeStateChangeCallback(host::Tree* tree, host::Node* node, int state);

  // --- Configuration and body parameters ----------------------------------------
  std::string GetConfigFolderPath();
  MaterialParam GetBodyMaterialParam(host::Tag body);
  std::vector<MaterialParam> GetBodiesMaterialParam(const std::vector<host::Tag>& bodies);
  static MaterialParam* GetBodyMtlParam(host::Tag body, std::vector<MaterialParam>& records);
  void CalcBodyMinOrient(host::Tag body);
  std::vector<host::Tag> GetLayerCsys(int layer);
  std::optional<std::string> ResetBodyOffset(host::Tag body);
  bool IsNoBuyBody(host::Tag body);
  // The calculator; throws before the dialog has loaded its configuration.
  blank::MaterialParamCalculator& calculator();
  // The records of the listed bodies.
  std::vector<MaterialParam>& records() { return records_; }
  // Deletes the material-BOM attributes of the bodies (the body's own marks,
  // standard part, round part and frame faces, stay) and their blank systems.
  void DeleteMaterialAttributes(const std::vector<host::Tag>& bodies);

  // --- Material tree (material_nodes.cpp) ------------------------------------
  // keep_codes 0 renumbers from scratch. display_filter: 0 all bodies, 1 the
  // bodies not bought, 2 the bought ones, anything else none.
  void CreatMaterialNodes(int keep_codes, int display_filter);
  host::Node* CreateMateriNode(int row, const MaterialParam& record, host::Node* previous,
                               host::Node* parent);
  host::Node* GetMtlParentNode(const std::string& code);
  host::Node* CreateParamNode(const NodeParam& param, host::Node* previous, host::Node* parent);
  std::vector<host::Tag> RemoveStrPrts(const std::vector<host::Tag>& bodies);

  // --- Tree editing (tree_editing.cpp) -----------------------------------------
  void OnSelectCallback(host::Tree* tree, host::Node* node, int column, bool selected);
  void OnStateChangeCallback(host::Tree* tree, host::Node* node, int state);
  host::BeginLabelEditState OnBeginLabelEditCallback(host::Tree* tree, host::Node* node,
                                                     int column);
  host::EndLabelEditState OnEndLabelEditCallback(host::Tree* tree, host::Node* node, int column,
                                                 const std::string& text);
  host::EditControlOption OnEditOptionSelectedCallback(host::Tree* tree, host::Node* node,
                                                       int column, int index,
                                                       const std::string& text,
                                                       host::ControlType control);
  host::ControlType AskEditControlCallback(host::Tree* tree, host::Node* node, int column);
  void OnMenuCallback(host::Tree* tree, host::Node* node, int column);
  void OnMenuSelectionCallback(host::Tree* tree, host::Node* node, int item);
  void OnDefaultAction(host::Tree* tree, host::Node* node, int column);
  NodeParam GetNodeParam(host::Node* node);
  std::vector<NodeParam> GetNodeParams();
  // Presses the allowance button ("button0") by its label for the row, as the
  // double-click and the menu item do; whether a button was pressed.
  bool PressAllowanceButton(host::Node* node, PressSource source);
  host::Node* pressed_row() const { return pressed_row_; }
  PressSource press_source() const { return press_source_; }

  // --- Attributes (attribute_saving.cpp) ----------------------------------------
  // Fills the header's string blocks from the work part's attributes.
  void LoadHeader();
  // The header as the string blocks show it now.
  BomHeader ReadHeader();
  void SaveAttributes();
  void SvaeAttrNoTitle();
  void WriteBodyAttribute(host::Tag body, const std::string& category, const std::string& title,
                          const std::string& value);

  // --- Commands ----------------------------------------------------------------
  void ExportWorkbook();  // "button01" (workbook_export.cpp)
  void SaveCommand();     // SaveAttributes, then "保存BOM属性成功！"

  // Lets the designer give the row's body a coordinate system with the host's
  // system dialog and measures its blank in it (spec, orientation, named
  // system, allowance). Sets the undo mark "Reset" first; a system that
  // cannot be made is reported and undone to the mark, a cancelled dialog is
  // undone silently. Whether the body was measured in a new system.
  bool ResetBodyCsys(host::Node* row);
  // "自动摆正": the bodies the designer selects get their minimum-volume
  // orientation and their allowance applied; the selected bodies (none when
  // the selection was cancelled).
  std::vector<host::Tag> ExcuteAutoOrient();

  // What the export and the commands use.
  host::Host& host() { return host_; }
  const config::MaterialBomSettings& settings() const;
  host::Tree* material_tree() { return material_tree_; }
  host::Tree* layer_tree() { return layer_tree_; }
  std::string OutputFolder();

 private:
  // Start-up steps (export_material_bom.cpp).
  void LoadConfiguration();
  void SetUpMaterialColumns();
  void SetUpLayerColumns();
  void ShowOutputFolder();
  std::vector<int> ShowTemplateLayersOnly(bool& outside_template);
  void AddLayerRows();
  void ChooseWorkLayer(const std::vector<int>& visible_listed);
  void ClearNeverSavedPart();
  void ShowError(const std::string& text);
  void Trace(const std::string&) {}  // step names: markers only
  void ClearBodySelection();

  // Display commands (view_commands.cpp).
  void SelectPickedRows();
  void ShowMadeParts();
  void ShowBoughtParts();
  void ShowAllParts();
  void NextLayer();
  void PreviousLayer();
  void ShowAllLayers();
  void GoToLayer(int layer);

  // Tree building steps (material_nodes.cpp).
  void OptimizeWorkLayerBodies();
  bool ReplaceThroughNeutralFile(const std::vector<host::Tag>& bodies);
  std::string TemporaryFolder();
  void ApplyDisplayFilter(int display_filter);
  std::vector<host::Tag> DisplayedBodies();
  std::vector<host::Tag> RemoveOverlaps(std::vector<host::Tag> bodies);
  std::vector<host::Tag> KeepDrawnBodies(const std::vector<host::Tag>& bodies);
  void NumberLayer(int layer, const std::vector<host::Tag>& bodies, int& row);
  void WriteCodedRows(std::vector<MaterialParam>& coded, int& running, int& row);
  void WriteUncodedRows(int layer, std::vector<MaterialParam>& records,
                        std::vector<blank::BodyInfo>& numbered, int& running, int& row);
  void FinishGroups();
  void ClearMaterialTree();
  void RefreshBodyRows(host::Tag body, const MaterialParam& record);

  // Editing helpers (tree_editing.cpp).
  std::vector<host::Node*> GroupRows(host::Node* node);
  std::vector<host::Node*> MenuRows(host::Tree* tree, host::Node* node);
  std::vector<std::string> EditOptions(int column) const;
  void SetRowValue(host::Node* row, int column, const std::string& value);
  void CancelSameBodies(const std::vector<host::Node*>& rows);
  std::string ProcessFor(host::Node* row, int color_index);

  // Numbering commands (commands_numbering.cpp).
  // A top-level row with its children, as read back before the tree is
  // rebuilt from them.
  struct SavedRow {
    NodeParam param;
    int color = 0;  // foreground colour
    int state = 0;  // check state
  };
  struct RowGroup {
    SavedRow top;
    std::string group_weight, group_net_weight;  // columns 6 and 15
    std::vector<SavedRow> children;
  };
  std::vector<RowGroup> TakeRowGroups();
  host::Node* RecreateGroup(const RowGroup& group, host::Node* previous);
  void SetGroupCode(host::Node* top, const std::string& code);
  void Reorder();
  void BalloonNumbering();
  void ShowNewBodies();
  void RewriteSpecs();

  // Body commands (commands_bodies.cpp).
  // The solid bodies the designer selects with the host's selection dialog;
  // nothing when it was cancelled.
  std::optional<std::vector<host::Tag>> SelectBodies(const std::string& prompt,
                                                     const std::string& title);
  void SetRoundParts();
  void SetSameCode();
  void ResetBodies();
  void OpenDatumDialog();
  void OpenFrameDialog();
  void RememberOutputFolder();

  // Allowance and orientation (commands_allowance.cpp).
  void SetAllowance();
  void AutoOrient();
  void MeasureInNewCsys(host::Tag body, const host::Matrix3x3& matrix);

  // Saving helpers (attribute_saving.cpp).
  void WriteRowAttributes(host::Node* row, bool drawn);
  void WriteAllRows(std::vector<std::pair<int, int>>* layer_counts);

  host::Host& host_;
  blank::BomOptions options_;
  std::unique_ptr<config::MaterialBomSettings> settings_;
  std::unique_ptr<blank::MaterialParamCalculator> calculator_;
  std::vector<MaterialParam> records_;
  std::vector<int> layers_;  // the working layer list
  int shown_work_layer_ = 0;

  // Blocks.
  std::vector<host::StringBlock*> header_blocks_;
  host::Tree* material_tree_ = nullptr;
  host::Tree* layer_tree_ = nullptr;
  host::BodyCollector* body_select_ = nullptr;
  host::FolderSelection* folder_ = nullptr;
  host::IntegerBlock* integer_ = nullptr;
  host::Button* allowance_button_ = nullptr;

  host::Node* pressed_row_ = nullptr;
  PressSource press_source_ = PressSource::kNone;
};
