// Display and view.
#pragma once

#include <vector>

#include "host/types.h"

namespace host {

class Display {
 public:
  virtual ~Display() = default;

  // DisplayManager::NewDisplayModification with SetApplyToAllFaces,
  // SetApplyToOwningParts, SetNewTranslucency, Apply (0 opaque .. 100).
  virtual void SetTranslucency(const std::vector<Tag>& objects, int translucency) = 0;
  virtual int Translucency(Tag object) = 0;
  // The same with SetNewColor.
  virtual void SetDisplayColor(const std::vector<Tag>& objects, int color) = 0;
  // Preferences::SessionVisualizationVisual::SetTranslucency.
  virtual void SetSessionTranslucency(bool on) = 0;
  // ViewCollection::WorkView -> View::FitToObjects.
  virtual void FitView(const std::vector<Tag>& objects) = 0;
};

}  // namespace host
