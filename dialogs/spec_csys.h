// Picks an existing coordinate system of the part; the caller reads back its
// origin and its X and Y directions.
#pragma once

#include <exception>
#include <memory>
#include <string>

#include "host/host.h"

class SpecCsys {
 public:
  // Creates the dialog from "SpecCsys.dlx" and registers the initialise,
  // dialog-shown, update and OK handlers; throws when the host cannot create it.
  explicit SpecCsys(host::Host& host);
  ~SpecCsys();
  // The handlers are bound to this object.
  SpecCsys(const SpecCsys&) = delete;
  SpecCsys& operator=(const SpecCsys&) = delete;

  // Shows the dialog modally; the host's result code.
  int Show();

  // Copies the stored origin and directions to the outputs (in every case)
  // and returns whether a coordinate system was picked and confirmed; the
  // outputs mean something only then.
  bool GetSelectedCsys(host::Point3d& origin, host::Vector3d& x_direction,
                       host::Vector3d& y_direction) const;
  // The confirmed system (null: none).
  host::Tag GetCsys() const { return csys_; }

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
  host::SpecifyCSYS* coord_system0_ = nullptr;

  host::Tag csys_ = host::kNullTag;
  bool selected_ = false;
  host::Point3d origin_;
  host::Vector3d x_direction_{1.0, 0.0, 0.0};
  host::Vector3d y_direction_{0.0, 1.0, 0.0};
};
