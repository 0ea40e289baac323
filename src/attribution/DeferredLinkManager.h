#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Log.h"
#include "Mutex.h"

namespace zul {

/// Keeps the deferred deep link and the host's callback, and calls the latter once in a process. Any thread
/// may call it; the callback runs on the thread of the upload's completion, or where `deliver` calls it, without a
/// lock.
class DeferredLinkManager {
 public:
  using Callback = std::function<void()>;
  using Deliver = std::function<void(Callback)>;

  explicit DeferredLinkManager(Log log, Deliver deliver = nullptr)
      : log_(std::move(log)), deliver_(std::move(deliver)) {}

  void setDeferredLinkCallback(std::function<void()> callback);
  void callDeferredLinkCallback();

  void setDeferredUrl(std::string url);
  std::optional<std::string> getDeferredUrl() const;

 private:
  const Log log_;
  const Deliver deliver_;
  mutable Mutex mutex_;
  std::shared_ptr<const std::function<void()>> deferredLinkCallback_ ZUL_GUARDED_BY(mutex_);
  bool didCallbackExecute_ ZUL_GUARDED_BY(mutex_) = false;
  std::optional<std::string> deferredUrl_ ZUL_GUARDED_BY(mutex_);
};

}  // namespace zul
