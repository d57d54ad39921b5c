#include "blank/overlap.h"

#include <algorithm>
#include <array>
#include <unordered_set>

namespace blank {
namespace {

// Boxes that overlap by no more than this (mm) along some axis hold bodies
// that at most touch: a plate resting on a plate never reaches the exact test.
constexpr double kThin = 1e-6;

struct Item {
  host::Tag tag;
  std::array<double, 3> lo, hi;
  bool hit = false;
};

}  // namespace

std::vector<host::Tag> CNobokudBase::AskOverlappingBodyOfBodys(
    host::Host& host, const std::vector<host::Tag>& bodies) {
  auto& b = host.bodies();
  // The exact boxes along the absolute axes; bodies without geometry drop out.
  std::vector<Item> items;
  std::unordered_set<host::Tag> seen;
  for (host::Tag t : bodies) {
    if (t == host::kNullTag || !seen.insert(t).second || !host.objects().Exists(t)) continue;
    try {
      const host::ExactBox e = b.AskBoundingBoxExact(t, host::kNullTag);
      Item it{t, {e.corner.X, e.corner.Y, e.corner.Z}, {}};
      for (int k = 0; k < 3; ++k) it.hi[k] = it.lo[k] + e.distances[k];
      items.push_back(it);
    } catch (const host::HostError&) {
    }
  }
  if (items.size() < 2) return {};

  // Sort and sweep along the axis on which the bodies spread most.
  int axis = 0;
  double best_spread = -1.0;
  for (int k = 0; k < 3; ++k) {
    double lo = 1e300, hi = -1e300;
    for (const Item& it : items) lo = std::min(lo, it.lo[k]), hi = std::max(hi, it.hi[k]);
    if (hi - lo > best_spread) best_spread = hi - lo, axis = k;
  }
  std::vector<std::size_t> order(items.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::stable_sort(order.begin(), order.end(), [&](std::size_t x, std::size_t y) {
    return items[x].lo[axis] < items[y].lo[axis];
  });
  std::vector<std::size_t> active;
  for (std::size_t i : order) {
    Item& a = items[i];
    // Bodies that end before this one starts (or just where it starts) leave.
    std::erase_if(active, [&](std::size_t j) { return items[j].hi[axis] <= a.lo[axis] + kThin; });
    for (std::size_t j : active) {
      Item& c = items[j];
      if (a.hit && c.hit) continue;  // both are known already
      bool apart = false;
      for (int k = 0; k < 3 && !apart; ++k)
        apart = std::min(a.hi[k], c.hi[k]) - std::max(a.lo[k], c.lo[k]) <= kThin;
      if (apart) continue;
      try {
        if (b.CheckInterference(c.tag, a.tag) == host::Interference::kInterferes)
          a.hit = c.hit = true;
      } catch (const host::HostError&) {
        // A pair the host cannot check is not reported.
      }
    }
    active.push_back(i);
  }
  std::vector<host::Tag> out;
  for (const Item& it : items)
    if (it.hit) out.push_back(it.tag);
  return out;
}

}  // namespace blank
