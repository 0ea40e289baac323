#pragma once

#include <cstddef>
#include <new>

namespace zul {

/// A value that is never destroyed, for the host may exit while it is read. Takes no memory of its own, so that making
/// it cannot fail where T's constructor cannot.
template <typename T>
class Leaked {
 public:
  Leaked() noexcept(noexcept(T())) { new (room_) T(); }
  const T& value() const noexcept { return *std::launder(reinterpret_cast<const T*>(room_)); }

 private:
  alignas(T) std::byte room_[sizeof(T)];
};

}  // namespace zul
