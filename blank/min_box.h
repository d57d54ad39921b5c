// Minimum-volume bounding boxes of point sets.
//
// The box is searched on the convex hull of the points. Every candidate
// direction (given by the caller: plane normals, cylinder and cone axes,
// straight-edge directions; added here: the world axes, the hull's facet
// normals and, for hulls with few edge directions, the normals of pairs of
// edges) is taken as one axis of the box and the best box around it is solved
// exactly: the points are projected on the plane normal to the direction and
// the minimum-area rectangle of the projected hull is found with rotating
// calipers. A deterministic guard search then visits directions on a grid of
// the given angular step, laid out in the frame of the best candidate box so
// that it turns with the body, and refines the best few of them with a
// shrinking pattern search. The guard's box replaces the candidate box only
// when it is smaller by more than a relative 1e-9, so bodies whose best box
// has an axis among the candidates keep exactly that box.
//
// Everything here is pure arithmetic: no host calls, no randomness, and the
// same input always gives the same result.
#pragma once

#include <array>
#include <vector>

#include "host/types.h"

namespace blank {

// A box along the rows of `axes` (a right-handed orthonormal frame): the
// points' coordinates along row i lie in [low[i], high[i]].
struct OrientedBox {
  host::Matrix3x3 axes;
  std::array<double, 3> low{};
  std::array<double, 3> high{};

  double Extent(int i) const { return high[i] - low[i]; }
  double Volume() const { return Extent(0) * Extent(1) * Extent(2); }
};

struct MinBoxOptions {
  // Angular resolution of the guard search, radians. 0 or less: no guard.
  double step = 0.05;
  // The refinement stops when its step falls below this angle (radians).
  double refine_to = 1e-6;
  // How many of the best guard directions are refined.
  int refine_starts = 4;
};

// The convex hull of a point set.
struct Hull {
  // 3 for a proper solid hull; 2 (planar), 1 (collinear) or 0 (one point, or
  // none) for degenerate input, in which case `facets` is empty.
  int dimension = 0;
  std::vector<host::Point3d> vertices;
  // Triangles as indices into `vertices`, counterclockwise seen from outside.
  std::vector<std::array<int, 3>> facets;
};

// Quickhull. Points closer than a relative 1e-10 of the set's size to a
// facet's plane count as inside.
Hull ConvexHull(const std::vector<host::Point3d>& points);

// A minimum-area rectangle of planar points: unit direction (ux, uy) of its
// first side; the points' coordinates along u = (ux, uy) and v = (-uy, ux)
// lie in [u_low, u_high] and [v_low, v_high].
struct Rectangle2d {
  double ux = 1.0, uy = 0.0;
  double u_low = 0.0, u_high = 0.0, v_low = 0.0, v_high = 0.0;
  double Area() const { return (u_high - u_low) * (v_high - v_low); }
};
struct Point2d {
  double x = 0.0, y = 0.0;
};
// The convex hull of planar points, counterclockwise, without collinear points.
std::vector<Point2d> ConvexHull2d(std::vector<Point2d> points);
// Rotating calipers on the hull of `points`. Among equal areas the first
// hull edge (counterclockwise from the lowest, then leftmost point) wins.
Rectangle2d MinAreaRectangle(const std::vector<Point2d>& points);

// The box of `points` along the rows of `axes` (taken as they are).
OrientedBox BoxAlong(const std::vector<host::Point3d>& points, const host::Matrix3x3& axes);

// The smallest box of `points` that has `direction` as its third axis.
OrientedBox BestBoxAround(const std::vector<host::Point3d>& points,
                          const host::Vector3d& direction);

// The minimum-volume box of `points`. `directions` are extra candidate axes
// (need not be unit; zero vectors are ignored). An empty point set gives the
// identity frame with zero extents.
OrientedBox MinimumVolumeBox(const std::vector<host::Point3d>& points,
                             const std::vector<host::Vector3d>& directions,
                             const MinBoxOptions& options = {});

}  // namespace blank
