#pragma once

#include <chrono>
#include <thread>

namespace zul::test {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
constexpr bool kSanitized = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool kSanitized = false;
#endif

/// True as soon as `condition` is; false when it is not within `patience`. Looks once a `pause`.
template <typename Condition>
bool eventually(Condition condition, std::chrono::seconds patience = std::chrono::seconds(30),
                std::chrono::microseconds pause = std::chrono::milliseconds(2)) {
  const auto deadline = std::chrono::steady_clock::now() + patience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(pause);
  }
  return true;
}

}  // namespace zul::test
