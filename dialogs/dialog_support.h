// Helpers shared by the auxiliary dialogs.
#pragma once

#include <exception>
#include <string>

#include "host/host.h"

namespace dialogs {

// The title of the message box in which a dialog callback reports a failure.
inline constexpr const char* kBlockStylerTitle = "Block Styler";

// Shows the failure's text in an error box titled "Block Styler".
void ShowCallbackError(host::Host& host, const std::exception& e);

// The block, or an error naming the layout file and the block when the
// dialog's initialisation did not find it.
template <class T>
T& Required(T* block, const char* layout, const char* id) {
  if (block == nullptr) {
    throw std::runtime_error(std::string(layout) + ": block " + id + " was not found");
  }
  return *block;
}

// Whether the object exists and is a body (not a face, an edge or a
// coordinate system).
bool IsBody(host::Host& host, host::Tag object);

// Whether the object has the string attribute `title` with the value "Y".
bool HasYes(host::Host& host, host::Tag object, const std::string& title);

}  // namespace dialogs
