// The material BOM's export command ("button01") and its save command.
#include "material_bom/export_material_bom.h"

void ExportMaterialBom::ExportWorkbook() {}

void ExportMaterialBom::SaveCommand() {}
