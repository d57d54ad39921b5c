// The body service: a body's box and extents in the work coordinate system,
// point mapping, its minimum-volume orientation, identical bodies, attribute
// reads and its layer, all through host operations.
//
// Identical bodies. Two bodies are the same part when one is the other moved
// and turned, by any rotation. A mirror image is not the same part: a left
// hand and a right hand version are bought separately, unless the part is
// symmetric and its mirror image is the part turned.
//
// The decision comes in two stages. First the measures that do not depend on
// placement: volume and principal moments of inertia (within a relative
// 1e-5), the numbers of faces and edges and the numbers of vertices
// and circles. Then the bodies that pass are confirmed exactly: one body is
// turned onto the other about their centroids (by their principal axes, or,
// where moments coincide, by a unique axis and the vertices or circles
// farthest from it), the rotation is fitted to the matched vertices and
// circle centres, and every vertex and circle (centre, radius, axis) must then
// lie within 0.01 mm of one of the other body. Rotations only are tried (the
// determinant is checked), which is what tells a mirror image apart. 0.01 mm
// is far above numerical noise and well under the 0.1 mm the BOM prints.
//
// Each BodyInfo measures its body once and keeps the result; bodies found the
// same are remembered as one class, so a body compared with many copies of
// one part is confirmed against the class once.
#pragma once

#include <array>
#include <memory>
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
  // The same search, with the box of the sampled body in that orientation
  // (of a round body: of its edges).
  OrientedBox MinVolumeBox(double step);

  // The bodies among `others` identical to this one (see above), in the order
  // of `others`; this body itself is never listed. A body that cannot be
  // measured (no volume, deleted) is the same as no other body.
  std::vector<host::Tag> GetSameBodys(const std::vector<host::Tag>& others);
  std::vector<host::Tag> GetSameBodys(std::vector<BodyInfo>& others);
  bool IsSameBody(BodyInfo& other);

  // A rigid motion: a point p of this body lies at rotation * p + translation
  // on the other (the rows of `rotation` give the image's X, Y and Z).
  struct Motion {
    host::Matrix3x3 rotation;
    host::Vector3d translation;
  };
  // The motion that takes this body onto `other` when the two are the same
  // part, decided as above. A pure translation when one does it (a body that
  // only slid, or did not move at all, is not turned), else the first
  // rotation found. Nothing for different parts, mirror images, or a body
  // that cannot be measured. The two bodies may belong to different hosts.
  std::optional<Motion> MotionOnto(BodyInfo& other);
  // What the search compares first, for callers that sort many bodies into
  // groups before they compare them: bodies whose counts differ, or whose
  // volumes differ by more than a relative 1e-5, are never the same part.
  struct Signature {
    bool valid = false;  // false: the body cannot be measured
    double volume = 0.0;
    int faces = 0, edges = 0, vertices = 0, circles = 0;
    host::Point3d centroid;
  };
  Signature GetSignature();

  // The string attribute `title` of `body`, or else of the first of its faces
  // that carries it. False when neither does.
  bool GetBodyFacetAttr(host::Tag body, const std::string& title, std::string& value);

  int GetBodyLayer();

 private:
  struct Measures;
  struct SameClass;
  const Measures& GetMeasures();
  SameClass* Class();
  void Measure();

  host::Host* host_;
  host::Tag body_;
  std::optional<host::ExactBox> box_;
  std::shared_ptr<const Measures> measures_;
  std::shared_ptr<SameClass> class_;
};

// The minimum-volume box of a body from its geometry, `faces` as
// geometry.Faces() gives them: the search of BodyInfo::MinVolumeBox. It asks
// nothing of the host beyond `geometry`, so it runs wherever that may be used.
OrientedBox MinVolumeBoxOf(host::BodyGeometry& geometry,
                           const std::vector<host::BodyGeometry::Face>& faces, double step);

}  // namespace blank
