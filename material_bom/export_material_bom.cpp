#include "material_bom/export_material_bom.h"

ExportMaterialBom::ExportMaterialBom(host::Host& host) : host_(host) {
  dialog_name_ = "ExportMaterialBom.dlx";
  dialog_ = host_.dialogs().CreateDialog(dialog_name_);
  work_part_ = host_.session().WorkPart();
}

ExportMaterialBom::~ExportMaterialBom() = default;

void ExportMaterialBom::SetSmartCalc(bool reset, bool same_body, bool third, int mode) {
  reset_ = reset;
  same_body_ = same_body;
  third_ = third;
  mode_ = mode;
}

int ExportMaterialBom::Show() { return dialog_->Show(); }
