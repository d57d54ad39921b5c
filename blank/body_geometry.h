// A body's geometry as the blank computation measures it: taken from the
// host to be measured on a worker thread where the host can hand it out,
// else asked of the host on its own thread. Both give the same answers.
#pragma once

#include <memory>

#include "host/host.h"

namespace blank {

// The host's own BodyGeometry when it has one; otherwise one that asks the
// host, to be used on the host's thread only (it makes and deletes temporary
// coordinate systems for its boxes).
std::unique_ptr<host::BodyGeometry> TakeBodyGeometry(host::Host& host, host::Tag body);

// The unrounded volume of an exact box measured in the system (origin,
// matrix), its corners mapped into that system as the host maps points.
double BoxVolumeIn(const host::ExactBox& box, const host::Point3d& origin,
                   const host::Matrix3x3& matrix);

}  // namespace blank
