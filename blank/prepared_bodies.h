// The geometry of a list of bodies measured ahead, on every core: each body's
// orientation facts and volume are worked out on worker threads from the
// geometry the host hands out, while the caller goes through the bodies in
// order on the host's thread and takes each body's measures when it gets
// there. The host is never called off its thread.
//
// What a worker measures is exactly what the calling thread would measure
// from the same geometry (the same functions on the same input), so the
// results do not depend on the number of threads or on which thread measured
// which body. A body whose measuring fails is left to the caller, who
// measures it through the host and so meets the failure where it belongs.
#pragma once

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "blank/orientation.h"
#include "host/host.h"

namespace blank {

struct BodyMeasures {
  std::optional<OrientationFacts> facts;  // when asked for
  std::optional<double> volume;           // mm3, when asked for
};

class PreparedBodies {
 public:
  struct Need {
    bool facts = false;
    bool volume = false;
  };
  // Takes the geometry of every body with a need (on this thread) and starts
  // `threads` - 1 workers; `threads` 0 means one per core. Without workers
  // (one thread, or a host that hands out no geometry) each body is measured
  // when it is asked for.
  PreparedBodies(host::Host& host, const std::vector<host::Tag>& bodies,
                 const std::vector<Need>& needs, int threads);
  ~PreparedBodies();
  PreparedBodies(const PreparedBodies&) = delete;
  PreparedBodies& operator=(const PreparedBodies&) = delete;

  // The measures of the i-th body, measured now if no worker has begun them;
  // null when the body had no need, no geometry, or its measuring failed.
  const BodyMeasures* Get(std::size_t i);

  // Threads used for `threads` as given to the constructor.
  static int ThreadCount(int threads);

 private:
  enum State : int { kPending, kRunning, kDone, kFailed, kNone };
  struct Slot {
    std::unique_ptr<host::BodyGeometry> geometry;
    Need need;
    BodyMeasures measures;
    std::atomic<int> state{kNone};
  };
  void Measure(Slot& slot);
  void Work();

  std::vector<Slot> slots_;
  std::atomic<std::size_t> next_{0};
  std::atomic<bool> stop_{false};
  std::mutex mutex_;
  std::condition_variable done_;
  std::vector<std::thread> workers_;
};

}  // namespace blank
