#include "blank/prepared_bodies.h"

#include <algorithm>
#include <exception>

#include "blank/body_geometry.h"

namespace blank {

int PreparedBodies::ThreadCount(int threads) {
  if (threads > 0) return threads;
  return static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
}

PreparedBodies::PreparedBodies(host::Host& host, const std::vector<host::Tag>& bodies,
                               const std::vector<Need>& needs, int threads)
    : slots_(bodies.size()) {
  std::size_t pending = 0;
  for (std::size_t i = 0; i < bodies.size() && i < needs.size(); ++i) {
    if (!needs[i].facts && !needs[i].volume) continue;
    std::unique_ptr<host::BodyGeometry> g;
    try {
      g = host.bodies().TakeGeometry(bodies[i]);
    } catch (const std::exception&) {
      // A body the host cannot hand out is measured through the host.
    }
    if (!g) continue;
    slots_[i].geometry = std::move(g);
    slots_[i].need = needs[i];
    slots_[i].state = kPending;
    ++pending;
  }
  const int extra = std::min<int>(ThreadCount(threads) - 1, static_cast<int>(pending));
  for (int t = 0; t < extra; ++t) workers_.emplace_back([this] { Work(); });
}

PreparedBodies::~PreparedBodies() {
  stop_ = true;
  for (std::thread& t : workers_) t.join();
}

void PreparedBodies::Measure(Slot& slot) {
  int state = kDone;
  try {
    if (slot.need.facts) slot.measures.facts = Orientation::Measure(*slot.geometry);
    if (slot.need.volume) slot.measures.volume = slot.geometry->Volume();
  } catch (...) {
    state = kFailed;
  }
  slot.geometry.reset();
  {
    std::lock_guard<std::mutex> lock(mutex_);
    slot.state = state;
  }
  done_.notify_all();
}

void PreparedBodies::Work() {
  while (!stop_) {
    const std::size_t i = next_++;
    if (i >= slots_.size()) return;
    int expected = kPending;
    if (slots_[i].state.compare_exchange_strong(expected, kRunning)) Measure(slots_[i]);
  }
}

const BodyMeasures* PreparedBodies::Get(std::size_t i) {
  if (i >= slots_.size()) return nullptr;
  Slot& slot = slots_[i];
  int expected = kPending;
  if (slot.state.compare_exchange_strong(expected, kRunning)) {
    Measure(slot);
  } else if (expected == kRunning) {
    std::unique_lock<std::mutex> lock(mutex_);
    done_.wait(lock, [&] { return slot.state != kRunning; });
  }
  return slot.state == kDone ? &slot.measures : nullptr;
}

}  // namespace blank
