// Matching the bodies of a die's new model with those of its previous
// revision.
//
// Every solid body of the new model gets one status:
// - unchanged: the same part (one is the other moved and turned, as the
//   identical-body search of blank::BodyInfo decides) in the same place: not
//   turned, centroids within 0.01 mm, every vertex and circle within 0.01 mm;
// - moved: the same part elsewhere, or turned in place;
// - changed: no identical body left, but a body of the previous model on the
//   same layer whose box (along the absolute axes) overlaps the new body's
//   box by at least 80% of the smaller of the two box volumes: a plate that
//   got a hole, a longer punch, an insert cut back, a plate made wider. Only
//   boxes with volume take part (every solid has one);
// - new: no body of the previous model left for it.
// A body of the previous model that no new body took is removed.
//
// Matching is one-to-one, in the order above: unchanged pairs first, then
// moved, then changed, each time the nearest pair (by centroid distance)
// first. A mirror image is another part: rigid motions only. Two identical
// bodies in the same place in the new model are both listed; one is matched,
// the other takes what is left (usually: new).
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/host.h"

namespace revision {

enum class Status { kUnchanged, kMoved, kChanged, kNew, kRemoved };
inline constexpr Status kStatuses[] = {Status::kUnchanged, Status::kMoved, Status::kChanged,
                                       Status::kNew, Status::kRemoved};
// "unchanged", "moved", "changed", "new", "removed".
const char* StatusName(Status status);

struct MatchOptions {
  double place_tolerance = 0.01;  // mm: "the same place"
  double overlap = 0.8;           // changed: box overlap / smaller box volume
};

struct BodyMatch {
  Status status = Status::kNew;
  host::Tag previous = host::kNullTag;  // the body of the previous model (none for new)
  host::Tag current = host::kNullTag;   // the body of the new model (none for removed)
  // Moved: the turn that takes the previous body onto the current one (a
  // point p goes to rotation * p + translation). The identity otherwise.
  host::Matrix3x3 rotation;
  host::Vector3d translation;
  // New: the body of the new model that took the previous body this one is
  // identical to in the same place (two bodies where one was), or none.
  host::Tag twin = host::kNullTag;
};

struct MatchResult {
  // The bodies of the new model in the part's order, then the removed bodies
  // of the previous model in its order.
  std::vector<BodyMatch> bodies;
  int Count(Status status) const;
  // The entry of a body of the new model, or null.
  const BodyMatch* OfCurrent(host::Tag body) const;
};

// The solid bodies of the work part, in the part's order.
std::vector<host::Tag> SolidBodies(host::Host& host);

// Matches the solid bodies of `current`'s work part with those of
// `previous`'s. Neither model is changed. The work coordinate systems must be
// the absolute one (as after opening a part).
MatchResult MatchBodies(host::Host& previous, host::Host& current,
                        const MatchOptions& options = {});

}  // namespace revision
