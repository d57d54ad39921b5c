// The working layer list and the layer tree.
#include <algorithm>
#include <cstdlib>
#include <exception>

#include "material_bom/export_material_bom.h"

namespace {

constexpr const char* kWorkLayerMark = "(工作图层)";

int RowLayer(host::Node* row) { return std::atoi(row->GetColumnDisplayText(1).c_str()); }

}  // namespace

void ExportMaterialBom::InitilTreeValuedLayers(const std::vector<int>& layers) {
  layers_.clear();
  for (int layer : layers) {
    if (layer == 0 || layer < host::kFirstLayer || layer > host::kLastLayer) continue;
    for (host::Tag o : host_.layers().ObjectsOnLayer(layer)) {
      const host::TypeAndSubtype t = host_.objects().AskTypeAndSubtype(o);
      if (t.type == host::kSolidType && t.subtype == host::kSolidBodySubtype) {
        layers_.push_back(layer);
        break;
      }
    }
  }
}

void ExportMaterialBom::SetLayerTreeState() {
  const auto& m = settings().material;
  for (host::Node* row = layer_tree_->RootNode(); row != nullptr; row = row->NextSiblingNode()) {
    const int layer = RowLayer(row);
    const int status = host_.layers().AskStatus(layer);
    row->SetState(status == host::kStatusHidden ? host::kNodeUnchecked : host::kNodeChecked);
    const auto it = std::find(m.layer_numbers.begin(), m.layer_numbers.end(), layer);
    const std::size_t i = static_cast<std::size_t>(it - m.layer_numbers.begin());
    const std::string name = i < m.layer_names.size() ? m.layer_names[i] : "";
    row->SetDisplayText(status == host::kStatusWork ? name + kWorkLayerMark : name);
  }
}

int ExportMaterialBom::GetTreeNextLayer(int layer) const {
  const auto it = std::find(layers_.begin(), layers_.end(), layer);
  if (it == layers_.end()) return -1;
  return std::next(it) == layers_.end() ? layers_.front() : *std::next(it);
}

int ExportMaterialBom::GetTreePreLayer(int layer) const {
  const auto it = std::find(layers_.begin(), layers_.end(), layer);
  if (it == layers_.end()) return -1;
  return it == layers_.begin() ? layers_.back() : *std::prev(it);
}

void ExportMaterialBom::OnLayerTreeStateChangeCallback(host::Tree*, host::Node* node, int state) {
  try {
    const int layer = RowLayer(node);
    if (layer == host_.layers().WorkLayer()) return;
    const int checked = state == host::kNodeUnchecked ? host::kNodeChecked : host::kNodeUnchecked;
    node->SetState(checked);
    // A checked layer becomes selectable with its objects blanked until the
    // rebuild shows the bodies the display admits; an unchecked one is hidden.
    const bool shown = checked == host::kNodeChecked;
    host_.layers().SetStatus(layer, shown ? host::kStatusSelectable : host::kStatusHidden);
    for (host::Tag o : host_.layers().ObjectsOnLayer(layer)) host_.objects().SetBlanked(o, shown);
    CreatMaterialNodes(1, 0);
  } catch (const std::exception& e) {
    ShowError(e.what());
  }
}

void ExportMaterialBom::OnLayerTreeDefaultAction(host::Tree*, host::Node* node, int) {
  try {
    const int layer = RowLayer(node);
    for (host::Tag o : host_.layers().ObjectsOnLayer(layer)) host_.objects().SetBlanked(o, false);
    host_.layers().SetStatus(layer, host::kStatusWork);
    SetLayerTreeState();
    CreatMaterialNodes(1, 0);
  } catch (const std::exception& e) {
    ShowError(e.what());
  }
}
