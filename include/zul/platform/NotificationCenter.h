#pragma once

#include <functional>
#include <memory>
#include <string>

#include "zul/Export.h"

namespace zul::platform {

/// What the library announces to whoever in the process wants to know. Any thread may call it.
class ZUL_EXPORT NotificationCenter {
 public:
  using Observer = std::function<void()>;

  /// The network clock has got its first trustworthy answer since it was started. Posted on the main queue.
  static constexpr const char* kNHNetworkTimeSyncCompleteNotification = "kNHNetworkTimeSyncCompleteNotification";

  virtual ~NotificationCenter();

  virtual void post(const std::string& name) = 0;

  /// Calls `observer` at each notification of that name until what this returns is destroyed. A call under way then is
  /// not waited for.
  [[nodiscard]] virtual std::shared_ptr<void> observe(const std::string& name, Observer observer) = 0;
};

/// Calls the observers on the thread that posts.
class ZUL_EXPORT LocalNotificationCenter final : public NotificationCenter {
 public:
  LocalNotificationCenter();
  ~LocalNotificationCenter() override;

  void post(const std::string& name) override;
  [[nodiscard]] std::shared_ptr<void> observe(const std::string& name, Observer observer) override;

 private:
  struct Observers;
  std::unique_ptr<Observers> observers_;
};

}  // namespace zul::platform
