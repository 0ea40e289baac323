#include "Interrupt.h"

#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <system_error>

namespace zul::simulator {

namespace {

// What a signal handler may touch.
std::atomic<bool> wasPressed{false};
static_assert(std::atomic<bool>::is_always_lock_free);
int event = -1;

struct sigaction before {};

void press(int) {
  const int error = errno;
  wasPressed = true;
  const std::uint64_t one = 1;
  [[maybe_unused]] const auto written = ::write(event, &one, sizeof one);
  errno = error;
}

}  // namespace

Interrupt::Interrupt() {
  event = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (event < 0) throw std::system_error(errno, std::generic_category(), "no event to be had");
  struct sigaction action {};
  action.sa_handler = press;
  action.sa_flags = SA_RESTART;
  ::sigaction(SIGINT, &action, &before);
}

Interrupt::~Interrupt() {
  ::sigaction(SIGINT, &before, nullptr);
  ::close(event);
}

bool Interrupt::pressed() const {
  return wasPressed;
}

int Interrupt::file() const {
  return event;
}

void Interrupt::clear() {
  std::uint64_t count = 0;
  [[maybe_unused]] const auto size = ::read(event, &count, sizeof count);
  wasPressed = false;
}

}  // namespace zul::simulator
