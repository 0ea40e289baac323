#pragma once

#include <functional>
#include <memory>

#include "zul/platform/Dispatcher.h"

namespace zul::test {

/// The real dispatcher in a hurry: what is to wait waits for as long as the pace makes of it, so that the start-up's
/// five seconds pass in no time. Timers keep their period.
class HurriedDispatcher final : public platform::Dispatcher {
 public:
  using Pace = std::function<double(double seconds)>;

  HurriedDispatcher(std::shared_ptr<Dispatcher> real, Pace pace);
  /// Every wait is `factor` times as long.
  HurriedDispatcher(std::shared_ptr<Dispatcher> real, double factor);

  void async(Queue queue, platform::Task task) override;
  void after(double seconds, Queue queue, platform::Task task) override;
  std::unique_ptr<platform::Timer> repeat(double seconds, platform::Task task) override;
  std::shared_ptr<platform::SerialQueue> serialQueue() override { return real_->serialQueue(); }
  void sleep(double seconds) override { real_->sleep(pace_(seconds)); }
  void stop() noexcept override { real_->stop(); }

 private:
  std::shared_ptr<Dispatcher> real_;
  Pace pace_;
};

}  // namespace zul::test
