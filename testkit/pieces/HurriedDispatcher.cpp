#include "HurriedDispatcher.h"

#include <utility>

namespace zul::test {

HurriedDispatcher::HurriedDispatcher(std::shared_ptr<Dispatcher> real, Pace pace)
    : real_(std::move(real)), pace_(std::move(pace)) {}

HurriedDispatcher::HurriedDispatcher(std::shared_ptr<Dispatcher> real, double factor)
    : HurriedDispatcher(std::move(real), [factor](double seconds) { return seconds * factor; }) {}

void HurriedDispatcher::async(Queue queue, platform::Task task) {
  real_->async(queue, std::move(task));
}

void HurriedDispatcher::after(double seconds, Queue queue, platform::Task task) {
  real_->after(pace_(seconds), queue, std::move(task));
}

std::unique_ptr<platform::Timer> HurriedDispatcher::repeat(double seconds, platform::Task task) {
  return real_->repeat(seconds, std::move(task));
}

}  // namespace zul::test
