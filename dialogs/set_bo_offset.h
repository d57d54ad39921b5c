// The blank offset dialog: the five machining allowances of a blank and the
// frame faces of its body that are kept (top, left, bottom).
#pragma once

#include <exception>
#include <memory>
#include <string>

#include "host/host.h"

class SetBoOffset {
 public:
  // Creates the dialog from "SetBoOffset.dlx" and registers the initialise,
  // dialog-shown, update and OK handlers; throws when the host cannot create it.
  explicit SetBoOffset(host::Host& host);
  ~SetBoOffset();
  // The handlers are bound to this object.
  SetBoOffset(const SetBoOffset&) = delete;
  SetBoOffset& operator=(const SetBoOffset&) = delete;

  // Shows the dialog modally; the host's result code.
  int Show();

  // The five allowances shown when the dialog opens: 1 and 2 widen the
  // blank's second extent, 3 and 4 its first, 5 its third (thickness).
  void SetBomOffset(double a1, double a2, double a3, double a4, double a5);
  // The five allowances as confirmed (as set, when the dialog was not confirmed).
  void GetBomOffset(double* a1, double* a2, double* a3, double* a4, double* a5) const;
  // The body whose frame attributes are shown and written (null: none).
  void SetTargetBody(host::Tag body) { body_ = body; }
  // Whether the dialog was closed with OK.
  bool IsOk() const { return ok_; }
  // Ticks the toggle exactly when the body has the string attribute `title`
  // with the value "Y".
  void SetSelectItem(host::Tag body, const std::string& title, host::Toggle* toggle);

  // Handlers.
  void initialize_cb();
  void dialogShown_cb();
  int update_cb(host::UIBlock* block);
  int ok_cb();

 private:
  host::Host& host_;
  std::string dialog_name_;
  std::unique_ptr<host::BlockDialog> dialog_;

  host::Group* group0_ = nullptr;
  host::Toggle* toggle0_ = nullptr;  // one value for the four sides
  host::DoubleBlock* double0_ = nullptr;
  host::DoubleBlock* double01_ = nullptr;
  host::DoubleBlock* double02_ = nullptr;
  host::DoubleBlock* double03_ = nullptr;
  host::DoubleBlock* double04_ = nullptr;
  host::DoubleBlock* double05_ = nullptr;  // thickness; never taken from "double0"
  host::Group* group_ = nullptr;
  host::Toggle* toggle03_ = nullptr;  // "TOP_FRAME"
  host::Toggle* toggle01_ = nullptr;  // "LEFT_FRAME"
  host::Toggle* toggle02_ = nullptr;  // "BOTTOM_FRAME"

  double offset_[5] = {0.0, 0.0, 0.0, 0.0, 0.0};
  host::Tag body_ = host::kNullTag;
  bool ok_ = false;
};
