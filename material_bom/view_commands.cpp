// The commands that change what the material tree shows: picked bodies, the
// bought and made parts, and the layer buttons.
#include <algorithm>
#include <set>

#include "material_bom/export_material_bom.h"

// "bodySelect0": the rows of the picked bodies become the selected rows.
void ExportMaterialBom::SelectPickedRows() {
  const std::vector<host::Tag> picked = body_select_->GetSelectedObjects();
  const std::set<host::Tag> bodies(picked.begin(), picked.end());
  std::vector<host::Node*> rows, others;
  for (host::Node* row = material_tree_->RootNode(); row != nullptr; row = row->NextNode()) {
    const bool hit = bodies.count(material_bom::RowBody(row)) > 0;
    (hit ? rows : others).push_back(row);
  }
  if (!others.empty()) material_tree_->SelectNodes(others, false, false);
  if (!rows.empty()) material_tree_->SelectNodes(rows, true, false);
  // A group row whose body was picked opens, so that its pieces show.
  for (host::Node* row : rows) {
    if (host::Node* parent = row->ParentNode()) parent->Expand(host::ExpandOption::Expand);
  }
}

// "button03": the parts that are not bought.
void ExportMaterialBom::ShowMadeParts() {
  SvaeAttrNoTitle();
  CreatMaterialNodes(1, 1);
}

// "button02": the bought parts.
void ExportMaterialBom::ShowBoughtParts() {
  SvaeAttrNoTitle();
  CreatMaterialNodes(1, 2);
}

// "button05": all parts.
void ExportMaterialBom::ShowAllParts() {
  SvaeAttrNoTitle();
  CreatMaterialNodes(1, 0);
}

// "button07": the next layer of the working list, after the last the first.
void ExportMaterialBom::NextLayer() {
  SaveAttributes();
  GoToLayer(GetTreeNextLayer(host_.layers().WorkLayer()));
}

// "button08": the layer before, before the first the last.
void ExportMaterialBom::PreviousLayer() {
  SaveAttributes();
  GoToLayer(GetTreePreLayer(host_.layers().WorkLayer()));
}

// The layer becomes the work layer and every other layer is hidden.
void ExportMaterialBom::GoToLayer(int layer) {
  if (layer != -1) {
    host_.layers().SetStatus(layer, host::kStatusWork);
    host_.layers().SetAllButWork(host::kStatusHidden);
  }
  SetLayerTreeState();
  CreatMaterialNodes(1, 0);
}

// "button09": every layer of the working list is shown.
void ExportMaterialBom::ShowAllLayers() {
  SaveAttributes();
  for (int layer : layers_) {
    if (host_.layers().AskStatus(layer) != host::kStatusWork)
      host_.layers().SetStatus(layer, host::kStatusSelectable);
  }
  SetLayerTreeState();
  CreatMaterialNodes(1, 0);
}
