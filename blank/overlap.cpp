#include "blank/overlap.h"

#include <algorithm>
#include <array>
#include <set>

namespace blank {

std::vector<host::Tag> CNobokudBase::AskOverlappingBodyOfBodys(
    host::Host& host, const std::vector<host::Tag>& bodies) {
  auto& b = host.bodies();
  struct Item {
    host::Tag tag;
    std::array<double, 6> box;
  };
  std::vector<Item> items;
  std::set<host::Tag> seen;
  for (host::Tag t : bodies) {
    if (t == host::kNullTag || !host.objects().Exists(t) || !seen.insert(t).second) continue;
    try {
      const host::ExactBox e = b.AskBoundingBoxExact(t, host::kNullTag);
      const host::Point3d c = e.corner;
      items.push_back(
          {t, {c.X, c.Y, c.Z, c.X + e.distances[0], c.Y + e.distances[1], c.Z + e.distances[2]}});
    } catch (const host::HostError&) {
    }
  }
  std::set<host::Tag> hit;
  for (std::size_t i = 0; i < items.size(); ++i)
    for (std::size_t j = i + 1; j < items.size(); ++j) {
      const auto& p = items[i].box;
      const auto& q = items[j].box;
      if (p[0] > q[3] || q[0] > p[3] || p[1] > q[4] || q[1] > p[4] || p[2] > q[5] || q[2] > p[5])
        continue;
      if (b.CheckInterference(items[i].tag, items[j].tag) == host::Interference::kInterferes) {
        hit.insert(items[i].tag);
        hit.insert(items[j].tag);
      }
    }
  std::vector<host::Tag> out;
  for (const Item& it : items)
    if (hit.count(it.tag)) out.push_back(it.tag);
  return out;
}

}  // namespace blank
