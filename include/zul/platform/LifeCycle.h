#pragma once

#include <functional>
#include <memory>

#include "zul/Export.h"

namespace zul::platform {

/// The application's comings and goings, as far as they concern the library. Any thread may call it.
class ZUL_EXPORT LifeCycle {
 public:
  enum class Event {
    background,             ///< the application has gone to the background
    foreground,             ///< it is about to come back
    significantTimeChange,  ///< the device's clock or time zone was changed, or a new day has begun
  };
  using Observer = std::function<void(Event)>;

  virtual ~LifeCycle();

  /// Calls `observer` at each event until what this returns is destroyed. A call under way then is not waited for.
  [[nodiscard]] virtual std::shared_ptr<void> observe(Observer observer) = 0;
};

/// A life cycle that the host tells of: on Linux nobody else knows it.
class ZUL_EXPORT HostLifeCycle final : public LifeCycle {
 public:
  HostLifeCycle();
  ~HostLifeCycle() override;

  /// Tells the library. It does its work elsewhere: this returns at once.
  void notify(Event event);

  [[nodiscard]] std::shared_ptr<void> observe(Observer observer) override;

 private:
  struct Observers;
  std::unique_ptr<Observers> observers_;
};

}  // namespace zul::platform
