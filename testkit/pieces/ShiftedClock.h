#pragma once

#include <atomic>
#include <memory>
#include <utility>

#include "zul/platform/Clock.h"

namespace zul::test {

/// The real clock, set forward.
class ShiftedClock final : public platform::Clock {
 public:
  explicit ShiftedClock(std::shared_ptr<Clock> real) : real_(std::move(real)) {}
  void add(double seconds) { shift_ = shift_ + seconds; }

  double now() const override { return real_->now() + shift_; }
  platform::CivilTime civil(double seconds) const override { return real_->civil(seconds); }
  double seconds(const platform::CivilTime& civil) const override { return real_->seconds(civil); }
  int secondsFromGmt() const override { return real_->secondsFromGmt(); }

 private:
  std::shared_ptr<Clock> real_;
  std::atomic<double> shift_{0};
};

}  // namespace zul::test
