// Object selection and the small host input dialogs.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/csys.h"
#include "host/types.h"

namespace host {

// NXOpen::Selection::Response.
enum class SelectionResponse : int { Cancel = 1, Back = 2, Ok = 3, ObjectSelected = 4 };
// NXOpen::Selection::SelectionScope.
enum class SelectionScope : int { WorkPart = 0, AnyInAssembly = 1, WorkPartAndOccurrence = 2 };
// NXOpen::Selection::MaskTriple.
struct SelectionMask {
  int type = 0;
  int subtype = 0;
  int solid_body_subtype = 0;
};

struct SelectionResult {
  SelectionResponse response = SelectionResponse::Cancel;
  std::vector<Tag> objects;
};

class Selection {
 public:
  virtual ~Selection() = default;

  // UI::SelectionManager -> Selection::SelectObjects(prompt, title, scope,
  // include features false, keep highlighted false, masks).
  virtual SelectionResult SelectObjects(const std::string& prompt, const std::string& title,
                                        SelectionScope scope,
                                        const std::vector<SelectionMask>& masks) = 0;
  // uc1600 (text input): the text entered, nothing when cancelled.
  virtual std::optional<std::string> AskString(const std::string& prompt,
                                               const std::string& initial) = 0;
  // UF_UI_specify_csys: the system specified, nothing when cancelled.
  virtual std::optional<CsysInfo> SpecifyCsys(const std::string& title) = 0;
};

}  // namespace host
