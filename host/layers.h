// Layers: the host keeps one setting per layer in two codings.
#pragma once

#include <vector>

#include "host/types.h"

namespace host {

inline constexpr int kFirstLayer = 1;
inline constexpr int kLastLayer = 256;

// UF_LAYER_ask_status / UF_LAYER_set_status coding.
enum LayerStatus : int {
  kStatusWork = 1,
  kStatusSelectable = 2,
  kStatusVisibleOnly = 3,
  kStatusHidden = 4,
};

// NXOpen::Layer::State coding, in the order of the host's C++ enumeration.
enum class LayerState : int { WorkLayer = 0, Selectable = 1, Visible = 2, Hidden = 3 };

class Layers {
 public:
  virtual ~Layers() = default;

  // NXOpen::Layer::LayerManager::WorkLayer / SetWorkLayer. The old work layer
  // becomes selectable.
  virtual int WorkLayer() = 0;
  virtual void SetWorkLayer(int layer) = 0;
  // LayerManager::GetState / SetState. Setting WorkLayer makes it the work layer;
  // the work layer itself cannot be set to another state (HostError).
  virtual LayerState GetState(int layer) = 0;
  virtual void SetState(int layer, LayerState state) = 0;
  // UF_LAYER_ask_status / UF_LAYER_set_status; 0 on success.
  virtual int AskStatus(int layer) = 0;
  virtual int SetStatus(int layer, int status) = 0;
  // UF_LAYER_set_all_but_work: every layer but the work layer gets the status.
  virtual int SetAllButWork(int status) = 0;
  // LayerManager::GetAllObjectsOnLayer: bodies, coordinate systems and other
  // displayable objects of the work part on the layer, in creation order.
  virtual std::vector<Tag> ObjectsOnLayer(int layer) = 0;
};

}  // namespace host
