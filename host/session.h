// Session and parts.
#pragma once

#include <string>

#include "host/types.h"

namespace host {

class Session {
 public:
  virtual ~Session() = default;

  // UF_initialize: 0 on success. Nested initialisation is allowed.
  virtual int Initialize() = 0;
  // UF_is_initialized: non-zero when initialised.
  virtual int IsInitialized() = 0;
  // UF_terminate: 0 on success; undoes one level of initialisation.
  virtual int Terminate() = 0;
  // UF_get_fail_message: the host's text for a result code.
  virtual std::string FailMessage(int code) = 0;

  // NXOpen::PartCollection::Work / Display.
  virtual Tag WorkPart() = 0;
  virtual Tag DisplayPart() = 0;
  // NXOpen::BasePart::Leaf: file name without folder and extension.
  virtual std::string PartLeaf(Tag part) = 0;
  // UF_MODL_update: brings the model up to date after attribute changes.
  virtual int UpdateModel() = 0;
};

}  // namespace host
