#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Log.h"
#include "Mutex.h"
#include "NHNetAssociation.h"
#include "Tasks.h"
#include "zul/Platform.h"
#include "zul/platform/LifeCycle.h"

namespace zul {

/// The network's time: the device clock corrected by the offset that the trustworthy ones of the time servers agree on.
/// Any thread may call it.
///
/// Its lock covers a few accesses. The names of the servers are looked up one after the other on a serial queue of its
/// own, so that a look-up that takes minutes holds up nothing else and may outlast the clock. What it is told by the
/// application's life cycle it passes on to the associations. To be made by std::make_shared.
class NHNetworkClock : public std::enable_shared_from_this<NHNetworkClock> {
 public:
  using Associations = std::vector<std::shared_ptr<NHNetAssociation>>;

  /// The last trustworthy offset (seconds, device minus server), in the user defaults.
  static constexpr const char* kTimeOffsetKey = "kTimeOffsetKey";

  NHNetworkClock(const Platform& platform, Tasks tasks, Log log);
  ~NHNetworkClock();

  /// The process's.
  static NHNetworkClock& sharedNetworkClock();

  /// Starts over, and again at each significant time change: not synchronized until a trustworthy server has answered.
  void synchronize();
  /// Ends all that synchronize() began.
  void reset();
  /// Looks the servers up on the calling thread, which may take minutes, and starts an association with each. To no
  /// effect when the clock is reset meanwhile.
  void createAssociations();
  /// Ends the associations, which stay in the list, and heeds significant time changes no more.
  void finishAssociations();

  /// A trustworthy server has answered since the last reset.
  bool isSynchronized() const { return synchronized_; }
  /// Seconds, device minus network. Without a trustworthy server the saved offset, or 0. While there are more than
  /// eight associations, those that answer and are not trusted are given up here.
  double networkOffset();
  /// Seconds since 1970.
  double networkTime();

  Associations timeAssociations() const;

  /// Whether networkOffset() falls back on the saved offset; true at first.
  void setShouldUseSavedSynchronizedTime(bool use) { shouldUseSavedSynchronizedTime_ = use; }
  bool shouldUseSavedSynchronizedTime() const { return shouldUseSavedSynchronizedTime_; }
  /// Whether a significant time change starts the clock over; true at first.
  void setIsAutoSynchronizedWhenUserChangeLocalTime(bool is) { isAutoSynchronizedWhenUserChangeLocalTime_ = is; }
  bool isAutoSynchronizedWhenUserChangeLocalTime() const { return isAutoSynchronizedWhenUserChangeLocalTime_; }

 private:
  // What the names of the servers led to.
  struct Servers {
    std::vector<std::string> addresses;  // each once, though several names may have it
    std::string problems;
  };

  void endAssociations(bool forget);
  void setUp(std::uint64_t round);
  bool waitsForForeground();
  static void createAssociations(const std::weak_ptr<NHNetworkClock>& weak, std::uint64_t round);
  std::vector<std::string> serverNames() const;
  void begin(std::uint64_t round, const Servers& servers);
  std::shared_ptr<NHNetAssociation> begin(const std::string& address);
  bool isCurrent(std::uint64_t round) const;
  void netAssociationDidFinishGetTime(NHNetAssociation& association);
  bool isKnown(const NHNetAssociation& association) const ZUL_REQUIRES(mutex_);
  void giveUp(const Associations& associations);
  void applicationDid(platform::LifeCycle::Event event);

  const Platform platform_;
  const Tasks tasks_;
  const Log log_;
  const SerialTasks queue_;  // for look-ups
  const std::shared_ptr<std::atomic<bool>> inBackground_ = std::make_shared<std::atomic<bool>>(false);
  std::atomic<bool> synchronized_{false};
  std::atomic<bool> shouldUseSavedSynchronizedTime_{true};
  std::atomic<bool> isAutoSynchronizedWhenUserChangeLocalTime_{true};
  std::atomic<bool> toldUnknownServers_{false};

  mutable Mutex mutex_;
  Associations timeAssociations_ ZUL_GUARDED_BY(mutex_);
  std::uint64_t round_ ZUL_GUARDED_BY(mutex_) = 0;  // each reset begins another
  bool setUpWaits_ ZUL_GUARDED_BY(mutex_) = false;
  bool heedsTimeChanges_ ZUL_GUARDED_BY(mutex_) = false;  // from the first start on, until the associations are ended

  std::shared_ptr<void> lifeCycle_;  // observed as long as this lives; last, so that it ends first
};

}  // namespace zul
