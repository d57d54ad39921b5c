#include "dialogs/dialog_support.h"

namespace dialogs {

void ShowCallbackError(host::Host& host, const std::exception& e) {
  host.messages().ShowMessage(kBlockStylerTitle, host::kErrorMessage, e.what());
}

bool IsBody(host::Host& host, host::Tag object) {
  if (object == host::kNullTag || !host.objects().Exists(object)) return false;
  const host::TypeAndSubtype t = host.objects().AskTypeAndSubtype(object);
  return t.type == host::kSolidType && t.subtype == host::kSolidBodySubtype;
}

bool HasYes(host::Host& host, host::Tag object, const std::string& title) {
  host::Attributes& attributes = host.attributes();
  return attributes.Has(object, title, host::kStringAttribute) &&
         attributes.GetString(object, title) == "Y";
}

}  // namespace dialogs
