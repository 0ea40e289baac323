#include "DeferredLinkManager.h"

namespace zul {

void DeferredLinkManager::setDeferredLinkCallback(std::function<void()> callback) {
  auto shared = callback ? std::make_shared<const std::function<void()>>(std::move(callback)) : nullptr;
  const MutexLock lock(mutex_);
  deferredLinkCallback_.swap(shared);  // what the host gave before is destroyed after the lock
}

void DeferredLinkManager::callDeferredLinkCallback() {
  std::shared_ptr<const std::function<void()>> callback;
  bool executedBefore = false;
  {
    const MutexLock lock(mutex_);
    callback = deferredLinkCallback_;
    executedBefore = didCallbackExecute_;
    if (callback) didCallbackExecute_ = true;
  }
  if (!callback) {
    log_.debug("callDeferredLinkCallback is nil!.", ZUL_HERE);
  } else if (executedBefore) {
    log_.debug("This event is not install on callDeferredLinkCallback function.", ZUL_HERE);
  } else {
    log_.debug("callDeferredLinkCallback function executed successfully.", ZUL_HERE);
    if (deliver_) {
      deliver_([callback] { (*callback)(); });
    } else {
      (*callback)();
    }
  }
}

void DeferredLinkManager::setDeferredUrl(std::string url) {
  const MutexLock lock(mutex_);
  deferredUrl_ = std::move(url);
}

std::optional<std::string> DeferredLinkManager::getDeferredUrl() const {
  const MutexLock lock(mutex_);
  return deferredUrl_;
}

}  // namespace zul
