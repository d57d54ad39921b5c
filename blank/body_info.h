// The body service: a body's box and extents in the work coordinate system,
// point mapping, its minimum-volume orientation, identical bodies, attribute
// reads and its layer, all through host operations.
//
// Identical bodies. Two bodies are taken as the same part when their volumes,
// surface areas and principal moments of inertia agree within a relative
// 1e-5 and the extents of their minimum-volume boxes (sorted) agree within
// 0.01 mm plus a relative 1e-5. These measures do not depend on where or how
// a body is placed, and 0.01 mm is well under the 0.1 mm the BOM prints.
// A mirror image has the same measures, so left and right hand versions of a
// part count as identical.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "blank/min_box.h"
#include "host/host.h"

namespace blank {

class BodyInfo {
 public:
  BodyInfo(host::Host& host, host::Tag body);

  host::Tag body() const { return body_; }

  // The corners of the body's exact box along the work coordinate system's
  // axes, in absolute coordinates. The box is measured at the first query in
  // the work coordinate system of that moment and kept; Refresh forgets it.
  host::Point3d GetMinCorner();
  host::Point3d GetMaxCorner();
  // The box's extents along the work coordinate system's X, Y and Z.
  double GetBodyLength();
  double GetBodyWide();
  double GetBodyHeight();
  void Refresh();

  // Absolute coordinates to work coordinates and back.
  host::Point3d MapPointToWCS(const host::Point3d& absolute);
  host::Point3d MapPointToABS(const host::Point3d& work);

  // The orientation (rows X, Y, Z) of the body's smallest box; `step` is the
  // angular resolution (radians) of the guard search. False, and the identity,
  // for a body without geometry.
  bool GetBodyMinVolumeOrient(host::Matrix3x3& matrix, double step);
  // The same search, with the box of the sampled body in that orientation.
  OrientedBox MinVolumeBox(double step);

  // The bodies among `others` identical to this one (see above); this body
  // itself is never listed.
  std::vector<host::Tag> GetSameBodys(const std::vector<host::Tag>& others);
  std::vector<host::Tag> GetSameBodys(std::vector<BodyInfo>& others);
  bool IsSameBody(BodyInfo& other);

  // The string attribute `title` of `body`, or else of the first of its faces
  // that carries it. False when neither does.
  bool GetBodyFacetAttr(host::Tag body, const std::string& title, std::string& value);

  int GetBodyLayer();

 private:
  struct Signature {
    double volume = 0.0, area = 0.0;
    std::array<double, 3> moments{};
    std::array<double, 3> extents{};  // ascending
  };
  void Measure();
  const Signature& GetSignature();

  host::Host* host_;
  host::Tag body_;
  std::optional<host::ExactBox> box_;
  std::optional<Signature> signature_;
};

}  // namespace blank
