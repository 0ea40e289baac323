#pragma once

#include <cstdint>
#include <random>

#include "Phone.h"

namespace zul::simulator {

/// What a fleet's devices have done.
struct FleetCounts {
  std::int64_t launches = 0;
  std::int64_t events = 0;
  std::int64_t requests = 0;  // that left the device
  std::int64_t problems = 0;
  std::int64_t bytes = 0;
};

/// One device of a fleet and whoever carries it: a few uses a day, at waking hours, each with a few events.
class FleetDevice {
 public:
  FleetDevice(std::uint32_t number, const Phone& model, FleetCounts& counts);

  /// The virtual second at which something happens next.
  double due() const;
  /// Lets time pass until then, and lets it happen.
  void step(double until);

  /// How many sessions the library has begun.
  std::int64_t sessions();

 private:
  enum class Next { launch, event, leave, end };

  void equip(const Phone& model);
  void act();
  void launch();
  void planNextUse();
  void planInUse();
  void collectRequests();
  double uniform(double low, double high);
  bool chance(double share) { return uniform(0, 1) < share; }

  FleetCounts& counts_;
  std::minstd_rand random_;
  Phone phone_;
  double usesPerDay_;
  double eventsPerMinute_;
  Next next_ = Next::launch;
  double nextAt_ = 0;
  double leavesAt_ = 0;
  bool offline_ = false;
};

}  // namespace zul::simulator
