// Undo marks.
#pragma once

#include <string>

namespace host {

enum class MarkVisibility { Invisible = 0, Visible = 1 };

class Undo {
 public:
  virtual ~Undo() = default;

  // NXOpen::Session::SetUndoMark: a mark id.
  virtual int SetUndoMark(MarkVisibility visibility, const std::string& name) = 0;
  // NXOpen::Session::UndoToMark: the work part as it was when the mark was set.
  virtual void UndoToMark(int mark) = 0;
  // NXOpen::Session::DeleteUndoMark.
  virtual void DeleteUndoMark(int mark) = 0;
};

}  // namespace host
