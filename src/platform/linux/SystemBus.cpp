#include "SystemBus.h"

#include <systemd/sd-bus.h>

#include <cerrno>
#include <string_view>

namespace zul::platform {

namespace {
constexpr std::size_t kMostText = 256;
}

void FreeBusMessage::operator()(sd_bus_message* message) const {
  sd_bus_message_unref(message);
}

bool readProperties(sd_bus_message* message, BusProperties& properties) {
  if (sd_bus_message_enter_container(message, 'a', "{sv}") <= 0) return false;
  while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
    const char* name = nullptr;
    const char* kind = nullptr;
    if (sd_bus_message_read(message, "s", &name) < 0) return false;
    if (sd_bus_message_peek_type(message, nullptr, &kind) < 0 || kind == nullptr) return false;
    if (std::string_view(kind) == "s" || std::string_view(kind) == "o") {
      const char* text = nullptr;
      if (sd_bus_message_read(message, "v", kind, &text) < 0) return false;
      if (std::string_view(text).size() <= kMostText) properties[name] = text;
    } else if (sd_bus_message_skip(message, "v") < 0) {
      return false;
    }
    if (sd_bus_message_exit_container(message) < 0) return false;
  }
  return sd_bus_message_exit_container(message) >= 0;
}

BusConversation::~BusConversation() {
  sd_bus_close_unref(bus_);  // not flush_close: that would wait for a bus that does not read
}

BusMessage BusConversation::call(const char* service, const char* path, const char* interface, const char* method,
                                 const char* argument) {
  if (!connect()) return nullptr;
  sd_bus_message* plain = nullptr;
  if (sd_bus_message_new_method_call(bus_, &plain, service, path, interface, method) < 0) return nullptr;
  const BusMessage question(plain);
  sd_bus_message_set_auto_start(plain, 0);
  if (argument != nullptr && sd_bus_message_append(plain, "s", argument) < 0) return nullptr;
  // Zero would stand for the default of 25 seconds.
  const std::uint64_t left = microsecondsLeft();
  sd_bus_message* answer = nullptr;
  if (left == 0 || sd_bus_call(bus_, plain, left, nullptr, &answer) < 0) return nullptr;
  return BusMessage(answer);
}

/// A call would greet the bus by itself, and wait for it without end.
bool BusConversation::connect() {
  if (bus_ == nullptr && sd_bus_open_system(&bus_) < 0) return false;
  while (sd_bus_is_ready(bus_) == 0) {
    if (isLate()) return false;
    int result = sd_bus_process(bus_, nullptr);
    if (result == 0) result = sd_bus_wait(bus_, microsecondsLeft());
    if (result < 0 && result != -EINTR) return false;
  }
  return sd_bus_is_ready(bus_) > 0;
}

std::uint64_t BusConversation::microsecondsLeft() const {
  const auto left = std::chrono::duration_cast<std::chrono::microseconds>(deadline_ - Clock::now()).count();
  return left > 0 ? static_cast<std::uint64_t>(left) : 0;
}

}  // namespace zul::platform
