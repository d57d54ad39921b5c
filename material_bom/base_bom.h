// The common base of the two BOM dialogs.
#pragma once

#include <memory>
#include <string>

#include "host/dialogs.h"
#include "host/types.h"

class BaseBom {
 public:
  virtual ~BaseBom() = default;

 protected:
  BaseBom() = default;
  BaseBom(const BaseBom&) = delete;
  BaseBom& operator=(const BaseBom&) = delete;

  std::string dialog_name_;                    // the layout file
  std::unique_ptr<host::BlockDialog> dialog_;  // created from it
  host::Tag work_part_ = host::kNullTag;
};
