#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>

#include "AttributionResult.h"
#include "DeferredLinkManager.h"
#include "Identifiers.h"
#include "LocalDB.h"
#include "Log.h"
#include "NHNetworkClock.h"
#include "SessionRecord.h"
#include "Tasks.h"
#include "ZULReachability.h"
#include "ZULUtil.h"
#include "zul/CustomWKWebViewConfiguration.h"
#include "zul/Platform.h"

namespace zul {

class Tracker;

/// Builds the library's objects from a Platform and owns them. The process has one, made on first use and
/// never destroyed, so that nothing breaks while the host exits; tests and tools make as many as they like.
/// Any thread may call it.
class Runtime {
 public:
  /// Throws std::invalid_argument when a piece is missing.
  explicit Runtime(Platform platform);
  /// Stops the platform's threads first: nothing of this Runtime runs any more when its parts go.
  ~Runtime();
  Runtime(const Runtime&) = delete;
  Runtime& operator=(const Runtime&) = delete;

  /// The process's Runtime.
  static Runtime& process();
  /// The same without making it: null before the first use.
  static Runtime* processIfMade() noexcept;
  /// The platform that the process's Runtime is to be made from, missing pieces being the Linux ones. False
  /// once it has been made.
  static bool setProcessPlatform(Platform platform);

  /// The process exits, or this Runtime does: nothing new begins, and the host is called no more.
  void stop() noexcept;
  bool isStopping() const noexcept { return stopping_; }

  /// Made on first use.
  Tracker& tracker();
  /// Null before the first use.
  Tracker* trackerIfMade() const noexcept { return madeTracker_; }

  const Platform& platform() const { return platform_; }
  const Log& log() const { return log_; }
  const Tasks& tasks() const { return tasks_; }
  LocalDB& db() { return db_; }
  Identifiers& identifiers() { return identifiers_; }
  SessionRecord& record() { return record_; }
  NHNetworkClock& networkClock() { return *networkClock_; }
  DeferredLinkManager& deferredLinks() { return deferredLinks_; }
  CustomWKWebViewConfiguration& webView() { return webView_; }
  std::atomic<int>& debugMode() { return debugMode_; }

 private:
  std::optional<Identifiers::Background> background();
  DeferredLinkManager::Deliver deferredDelivery();

  const Platform platform_;
  const Log log_;
  const Tasks tasks_;
  const std::shared_ptr<NHNetworkClock> networkClock_;  // a look-up may outlast the Runtime
  const ZULUtil util_;
  const ZULReachability reachability_;
  LocalDB db_;
  Identifiers identifiers_;
  SessionRecord record_;
  DeferredLinkManager deferredLinks_;
  AttributionResult attribution_;
  CustomWKWebViewConfiguration webView_;
  std::atomic<int> debugMode_{0};
  std::atomic<bool> stopping_{false};

  std::once_flag trackerOnce_;
  std::unique_ptr<Tracker> tracker_;
  std::atomic<Tracker*> madeTracker_{nullptr};
};

}  // namespace zul
