// One action of the page on the innermost shown dialog, applied through the
// engine's driver: the very operations the tests script.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "host/memory/dialogs/dialogs.h"

namespace studio {

// A fault of the action itself (a missing field, a row that is not there, a
// text GBK cannot hold). Nothing has changed when it is thrown. UTF-8.
class ActionError : public std::runtime_error {
 public:
  explicit ActionError(const std::string& what) : std::runtime_error(what) {}
};

// Whether `name` is an action on a dialog.
bool IsDialogAction(const std::string& name);

// Applies the action to the dialog. Returns the action's own result
// ("editor", "menu", "accepted", ...), an empty object when it has none.
// Throws ActionError, and the engine's ScriptError for what the designer
// cannot do (a hidden block, a menu item not offered).
nlohmann::json ApplyDialogAction(memory::DialogDriver& dialog, const nlohmann::json& action);

// The row at `path` ("0", "0.2") of a tree; ActionError when there is none.
host::Node* RowAt(memory::DialogDriver& dialog, const std::string& tree_id,
                  const std::string& path);

// UTF-8 text from the page as GBK; ActionError for what GBK cannot hold.
std::string Gbk(const std::string& utf8);

}  // namespace studio
