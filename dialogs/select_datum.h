// Marks on bodies which point of the blank is its datum: one of nine points
// (corners, edge midpoints, centre) of the top or bottom face of the body's
// box in its own material coordinate system, stored as "标注基准" = "%d-%d"
// (face, point). While the dialog is open a sphere of colour 186 previews the
// point on every selected body.
//
// Points, with x and y in the body's system (the face gives z):
//   0 min x, max y   1 mid x, max y   2 max x, max y
//   3 min x, mid y   4 centre         5 max x, mid y
//   6 min x, min y   7 mid x, min y   8 max x, min y
#pragma once

#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "host/host.h"

class SelectDatum {
 public:
  // Creates the dialog from "SelectDatum.dlx" and registers the apply, OK,
  // update, initialise and dialog-shown handlers; throws when the host cannot
  // create it.
  explicit SelectDatum(host::Host& host);
  ~SelectDatum();
  // The handlers are bound to this object.
  SelectDatum(const SelectDatum&) = delete;
  SelectDatum& operator=(const SelectDatum&) = delete;

  // Shows the dialog modally; the host's result code.
  int Show();

  // Handlers. Apply and OK do the same work: 0 on success, 1 after a failure.
  void initialize_cb();
  void dialogShown_cb();
  int apply_cb();
  int ok_cb();
  int update_cb(host::UIBlock* block);

  // Rebuilds the preview: one sphere at the chosen point of every selected body.
  void UpdateShow();

  // The bodies marked by every apply so far, in order (a body applied twice
  // is listed twice).
  const std::vector<host::Tag>& GetSelectedBodies() const { return bodies_; }
  // The preview sphere features now in the part.
  const std::vector<host::Tag>& GetPreviewSpheres() const { return spheres_; }

  // The coordinate systems of the part whose name is exactly `name`, in the
  // part's order.
  std::vector<host::Tag> GetCsysByName(const std::string& name, host::Tag part);
  // The fields of `text` between the separators, in order: n separators give
  // n + 1 fields (an empty text gives one empty field).
  static std::vector<std::string> SplitStr(const std::string& text, const std::string& separator);

 private:
  void DeleteSpheres();
  void ReadDatumOfBody(host::Tag body);

  host::Host& host_;
  std::string dialog_name_;
  std::unique_ptr<host::BlockDialog> dialog_;

  host::Group* group0_ = nullptr;
  host::BodyCollector* bodySelect0_ = nullptr;
  host::Separator* separator0_ = nullptr;
  host::Enumeration* enum0_ = nullptr;   // part of the layout; read by nothing
  host::Enumeration* enum01_ = nullptr;  // face: 0 top, 1 bottom
  host::Enumeration* enum02_ = nullptr;  // point: 0 to 8

  std::vector<host::Tag> spheres_;  // preview sphere features
  std::vector<host::Tag> bodies_;   // bodies marked by apply
};
