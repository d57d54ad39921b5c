#include "blank/overlap.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <unordered_map>
#include <unordered_set>

namespace blank {
namespace {

// Boxes that overlap by no more than this (mm) along some axis hold bodies
// that at most touch: a plate resting on a plate never reaches the exact test.
constexpr double kThin = 1e-6;

struct Item {
  host::Tag tag;
  std::uint64_t identity;  // of its geometry; 0 when the host cannot tell
  std::array<double, 3> lo, hi;
  bool hit = false;
};

// What earlier passes learnt, by the identity of the bodies' geometry: a
// body whose shape has not changed keeps its box, and a pair of them keeps
// its answer. Identities are never reused, so nothing here can go stale; it
// is only let go when it grows large.
struct Memory {
  static constexpr std::size_t kMostEntries = std::size_t{1} << 20;
  struct Box {
    std::array<double, 3> lo, hi;
  };
  struct PairHash {
    std::size_t operator()(const std::pair<std::uint64_t, std::uint64_t>& p) const {
      return std::hash<std::uint64_t>()(p.first * 0x9E3779B97F4A7C15ull ^ p.second);
    }
  };
  std::unordered_map<std::uint64_t, Box> boxes;
  std::unordered_map<std::pair<std::uint64_t, std::uint64_t>, bool, PairHash> pairs;

  static std::pair<std::uint64_t, std::uint64_t> Key(std::uint64_t a, std::uint64_t b) {
    return a < b ? std::pair{a, b} : std::pair{b, a};
  }
  void Trim() {
    if (boxes.size() > kMostEntries) boxes.clear();
    if (pairs.size() > kMostEntries) pairs.clear();
  }
};

Memory& Remembered() {
  static Memory memory;
  return memory;
}

}  // namespace

std::vector<host::Tag> CNobokudBase::AskOverlappingBodyOfBodys(
    host::Host& host, const std::vector<host::Tag>& bodies) {
  auto& b = host.bodies();
  Memory& memory = Remembered();
  memory.Trim();
  // The exact boxes along the absolute axes; bodies without geometry drop out.
  std::vector<Item> items;
  std::unordered_set<host::Tag> seen;
  for (host::Tag t : bodies) {
    if (t == host::kNullTag || !seen.insert(t).second || !host.objects().Exists(t)) continue;
    try {
      Item it{t, b.GeometryIdentity(t), {}, {}};
      const auto known = it.identity != 0 ? memory.boxes.find(it.identity) : memory.boxes.end();
      if (known != memory.boxes.end()) {
        it.lo = known->second.lo, it.hi = known->second.hi;
      } else {
        const host::ExactBox e = b.AskBoundingBoxExact(t, host::kNullTag);
        it.lo = {e.corner.X, e.corner.Y, e.corner.Z};
        for (int k = 0; k < 3; ++k) it.hi[k] = it.lo[k] + e.distances[k];
        if (it.identity != 0) memory.boxes[it.identity] = {it.lo, it.hi};
      }
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
      const bool remember = a.identity != 0 && c.identity != 0;
      const auto key = Memory::Key(c.identity, a.identity);
      if (remember) {
        const auto known = memory.pairs.find(key);
        if (known != memory.pairs.end()) {
          if (known->second) a.hit = c.hit = true;
          continue;
        }
      }
      try {
        const bool share = b.ShareVolume(c.tag, a.tag);
        if (share) a.hit = c.hit = true;
        if (remember) memory.pairs.emplace(key, share);
      } catch (const host::HostError&) {
        // A pair the host cannot check is not reported (nor remembered).
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
