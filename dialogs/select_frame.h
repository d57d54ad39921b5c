// Marks chosen bodies with the frame faces that apply to them: "TOP_FRAME",
// "LEFT_FRAME" and "BOTTOM_FRAME" with the value "Y". Marks are only ever
// added: an unticked frame writes nothing and an earlier mark stays.
#pragma once

#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "host/host.h"

class SelectFrame {
 public:
  // Creates the dialog from "SelectFrame.dlx" and registers the apply, OK,
  // update, initialise and dialog-shown handlers; throws when the host cannot
  // create it.
  explicit SelectFrame(host::Host& host);
  ~SelectFrame();
  // The handlers are bound to this object.
  SelectFrame(const SelectFrame&) = delete;
  SelectFrame& operator=(const SelectFrame&) = delete;

  // Shows the dialog modally; the host's result code.
  int Show();

  // Handlers. Apply and OK do the same work: 0 on success, 1 after a failure.
  void initialize_cb();
  void dialogShown_cb();
  int apply_cb();
  int ok_cb();
  int update_cb(host::UIBlock* block);

  // Ticks the toggle when the body has the string attribute `title` with the
  // value "Y" exactly, and unticks it in every other case.
  void SetSelectItem(host::Tag body, const std::string& title, host::Toggle* toggle);

  // The bodies marked by every apply so far, in order.
  const std::vector<host::Tag>& GetSelectedBodies() const { return bodies_; }

 private:
  host::Host& host_;
  std::string dialog_name_;
  std::unique_ptr<host::BlockDialog> dialog_;

  host::Group* group0_ = nullptr;
  host::BodyCollector* bodySelect0_ = nullptr;
  host::Group* group_ = nullptr;
  host::Toggle* toggle0_ = nullptr;   // "TOP_FRAME"
  host::Toggle* toggle01_ = nullptr;  // "LEFT_FRAME"
  host::Toggle* toggle02_ = nullptr;  // "BOTTOM_FRAME"

  std::vector<host::Tag> bodies_;
};
