// The material BOM dialog.
#pragma once

#include "host/host.h"
#include "material_bom/base_bom.h"

class ExportMaterialBom : public BaseBom {
 public:
  // Creates the dialog from "ExportMaterialBom.dlx"; throws when the host
  // cannot create it.
  explicit ExportMaterialBom(host::Host& host);
  ~ExportMaterialBom() override;

  // The choices of the options dialog: reset flag, same-body search, a third
  // flag and the calculation mode. Only stored here.
  void SetSmartCalc(bool reset, bool same_body, bool third, int mode);
  // Shows the dialog modally; the host's result code.
  int Show();

  // The options as SetSmartCalc stored them.
  bool reset_flag() const { return reset_; }
  bool same_body_flag() const { return same_body_; }
  bool third_flag() const { return third_; }
  int calculation_mode() const { return mode_; }

 private:
  host::Host& host_;
  bool reset_ = false;
  bool same_body_ = false;
  bool third_ = false;
  int mode_ = 0;
};
