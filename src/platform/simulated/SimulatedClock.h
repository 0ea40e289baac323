#pragma once

#include <memory>
#include <string>

#include "zul/platform/Clock.h"

namespace zul::platform {

class SimulatedDispatcher;

/// The wall clock of virtual time, in a time zone that can be chosen; GMT at first.
class SimulatedClock final : public Clock {
 public:
  explicit SimulatedClock(std::shared_ptr<SimulatedDispatcher> dispatcher);
  ~SimulatedClock() override;

  double now() const override;
  CivilTime civil(double seconds) const override;
  double seconds(const CivilTime& civil) const override;
  int secondsFromGmt() const override;

  /// Sets the wall clock without letting time pass.
  void set(double seconds);

  /// Takes the zone: a name of the time zone database ("Europe/Berlin") or an offset from GMT ("+09:00"). False, and
  /// without effect, when it is neither.
  bool setZone(const std::string& zone);
  std::string zone() const;

 private:
  struct Zone;

  std::shared_ptr<SimulatedDispatcher> dispatcher_;
  double offset_ = 0;
  std::unique_ptr<Zone> zone_;
};

}  // namespace zul::platform
