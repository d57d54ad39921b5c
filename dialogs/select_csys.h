// A coordinate system from two vectors picked on a body: the X direction with
// its point (the origin) and the Y direction. Every new pair of picks
// replaces the system made from the previous pair.
#pragma once

#include <exception>
#include <memory>
#include <string>

#include "host/host.h"

class SelectCsys {
 public:
  // Creates the dialog from "SelectCsys.dlx" and registers the initialise,
  // dialog-shown, update and OK handlers; throws when the host cannot create it.
  explicit SelectCsys(host::Host& host);
  ~SelectCsys();
  // The handlers are bound to this object.
  SelectCsys(const SelectCsys&) = delete;
  SelectCsys& operator=(const SelectCsys&) = delete;

  // Shows the dialog modally; the host's result code.
  int Show();

  // Builds the coordinate system from the current picks when both vector
  // blocks have picked geometry: deletes the system of the previous commit and
  // creates the new one in the work part; keeps the body the vectors were
  // picked on. Throws when the two directions do not define a system.
  void Commit();

  // The system made by the last commit (null: none) and the body the vectors
  // were picked on (null: none found).
  host::Tag GetCsys() const { return csys_; }
  host::Tag GetBody() const { return body_; }

  // Handlers.
  void initialize_cb();
  void dialogShown_cb();
  int update_cb(host::UIBlock* block);
  int ok_cb();

 private:
  // The body owning a picked face, edge or body; null for other objects.
  host::Tag OwningBody(host::Tag object);
  void DeleteCsys();

  host::Host& host_;
  std::string dialog_name_;
  std::unique_ptr<host::BlockDialog> dialog_;

  host::Group* group_ = nullptr;
  host::SpecifyVector* vector0_ = nullptr;  // X direction and the origin
  host::Group* group1_ = nullptr;
  host::SpecifyVector* vector01_ = nullptr;  // Y direction

  host::Tag csys_ = host::kNullTag;
  host::Tag matrix_ = host::kNullTag;  // the matrix object the system was made on
  host::Tag body_ = host::kNullTag;
};
