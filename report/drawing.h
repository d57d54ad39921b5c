// Drawings of one body in its blank: its blank coordinate system found on the
// host, its facets in that system, and flat-shaded views of them (painter's
// order) with the blank box, its axes and its extents, as SVG. Everything
// goes through host operations (named systems, attributes, exact boxes,
// facets), so the drawings come out the same on any host.
#pragma once

#include <array>
#include <map>
#include <string>
#include <vector>

#include "host/host.h"

namespace report {

// A body's blank as the report draws it.
struct BlankFrame {
  enum class Source { kNamedSystem, kOrientation, kWorld };
  Source source = Source::kWorld;
  host::Point3d origin;  // of the system, absolute
  host::Matrix3x3 axes;  // orthonormal; rows X, Y, Z
  // The body's exact box in blank coordinates.
  host::Point3d low, high;
  // Why a weaker source than the named system was taken when the body says
  // otherwise (an unreadable "材料方位"), GBK; empty when all is well.
  std::string note;

  double Extent(int axis) const;  // 0: X, 1: Y, 2: Z
};

// Finds blank systems: the part's system named with the body's "实体标识",
// else the matrix of its "材料方位", else the world axes. The part's
// systems are listed once, when the finder is made.
class BlankFrames {
 public:
  explicit BlankFrames(host::Host& host);
  // Throws host::HostError when the body cannot be measured.
  BlankFrame Find(host::Tag body);

 private:
  host::Host& host_;
  std::map<std::string, host::Tag> named_;  // the first system of each name
};

// Triangles in blank coordinates, outward facing.
struct Mesh {
  std::vector<host::Point3d> vertices;
  std::vector<std::array<int, 3>> triangles;
};

// The body's facets in its blank system; the chord tolerance is `chord_share`
// of the blank's diagonal.
Mesh BlankMesh(host::Host& host, host::Tag body, const BlankFrame& frame, double chord_share,
               double angle);

enum class View { kIsometric, kFront, kTop, kLeft };

// One view as SVG elements for a viewBox "0 0 width height". Faces carry the
// classes "s0" to "s15" (dark to light), the box "box" (hidden edges also
// "hid"), the axes and extents "ax" with "x", "y" or "z"; the page styles them.
struct ViewDrawing {
  int width = 0, height = 0;
  std::string content;
};

// Number of shade classes.
inline constexpr int kShades = 16;

// The isometric view is scaled to itself; the three orthographic views share
// one scale (so that they line up) and show the two extents in their plane.
ViewDrawing DrawView(const Mesh& mesh, const BlankFrame& frame, View view);

}  // namespace report
