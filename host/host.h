// The host: every operation the logic calls, one family per header. The logic
// holds a Host& and calls nothing else of the CAD system.
#pragma once

#include "host/attributes.h"
#include "host/bodies.h"
#include "host/csys.h"
#include "host/dialogs.h"
#include "host/display.h"
#include "host/environment.h"
#include "host/layers.h"
#include "host/math.h"
#include "host/messages.h"
#include "host/objects.h"
#include "host/platform.h"
#include "host/selection.h"
#include "host/session.h"
#include "host/types.h"
#include "host/undo.h"

namespace host {

class Host {
 public:
  virtual ~Host() = default;

  virtual Session& session() = 0;
  virtual Bodies& bodies() = 0;
  virtual Attributes& attributes() = 0;
  virtual Layers& layers() = 0;
  virtual CoordinateSystems& csys() = 0;
  virtual Objects& objects() = 0;
  virtual Display& display() = 0;
  virtual Selection& selection() = 0;
  virtual Messages& messages() = 0;
  virtual Dialogs& dialogs() = 0;
  virtual Environment& environment() = 0;
  virtual Undo& undo() = 0;
  virtual Platform& platform() = 0;
};

}  // namespace host
