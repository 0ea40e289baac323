#include "Runtime.h"

#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "Tracker.h"
#include "zul/platform/Bundle.h"
#include "zul/platform/Dispatcher.h"
#include "zul/platform/HttpClient.h"

namespace zul {

namespace {

// The process's Runtime and what it is to be made from. Trivially destructible, as the host may still call
// while its own objects are being destroyed.
struct Process {
  Mutex mutex;
  Platform* platform ZUL_GUARDED_BY(mutex) = nullptr;
  std::atomic<Runtime*> runtime{nullptr};
};

static_assert(std::is_trivially_destructible_v<Process>);

Process& theProcess() noexcept {
  static Process process;
  return process;
}

Platform complete(Platform platform) {
  Platform::forEachPiece([&](std::string_view name, auto piece) {
    if (!(platform.*piece)) throw std::invalid_argument("the platform has no " + std::string(name));
  });
  return platform;
}

// Threads must not be at work in libraries that tear themselves down at exit.
void stopAtExit() {
  if (auto* const runtime = Runtime::processIfMade()) runtime->stop();
}

}  // namespace

Runtime::Runtime(Platform platform)
    : platform_(complete(std::move(platform))),
      log_(platform_.clock, platform_.log, platform_.logLevel),
      tasks_(platform_.dispatcher, log_),
      networkClock_(std::make_shared<NHNetworkClock>(platform_, tasks_, log_)),
      util_(platform_.clock, *networkClock_),
      reachability_(platform_.reachability, platform_.deployment),
      db_(platform_.store, tasks_, log_),
      identifiers_({&db_, platform_.device, platform_.keychain, platform_.bundle, platform_.http}, platform_.deployment,
                   log_, background()),
      record_(db_, identifiers_, {&db_, platform_.device, platform_.clock, platform_.bundle, &reachability_},
              platform_.deployment, log_),
      deferredLinks_(log_, deferredDelivery()),
      attribution_(db_, deferredLinks_, log_),
      webView_(tasks_, log_) {}

std::optional<Identifiers::Background> Runtime::background() {
  if (!platform_.waitInBackground) return std::nullopt;
  return Identifiers::Background{tasks_, [this] { record_.show<&SessionJson::appId>(); }};
}

DeferredLinkManager::Deliver Runtime::deferredDelivery() {
  if (!platform_.deferredCallbackOnMain) return nullptr;
  return [this](std::function<void()> callback) {
    tasks_.async(
        Tasks::Queue::main,
        [this, callback = std::move(callback)] {
          if (!stopping_) callback();
        },
        ZUL_HERE);
  };
}

Runtime::~Runtime() {
  stop();
}

void Runtime::stop() noexcept {
  if (stopping_.exchange(true)) return;  // first: requests that end because of it are no news for the host
  if (auto* const tracker = trackerIfMade()) tracker->announceLoss();
  platform_.http->stop();
  platform_.dispatcher->stop();
}

Runtime* Runtime::processIfMade() noexcept {
  return theProcess().runtime;
}

Runtime& Runtime::process() {
  auto& process = theProcess();
  if (auto* const runtime = process.runtime.load()) return *runtime;
  const MutexLock lock(process.mutex);
  if (auto* const runtime = process.runtime.load()) return *runtime;
  process.runtime = new Runtime(process.platform ? *process.platform : linuxPlatform(""));
  std::atexit(stopAtExit);
  return *process.runtime;
}

bool Runtime::setProcessPlatform(Platform platform) {
  std::optional<Platform> standard;
  Platform::forEachPiece([&](std::string_view, auto piece) {
    if (platform.*piece) return;
    if (!standard) standard = linuxPlatform("");
    platform.*piece = std::move((*standard).*piece);
  });

  auto& process = theProcess();
  const MutexLock lock(process.mutex);
  if (process.runtime.load()) return false;
  if (!process.platform) process.platform = new Platform;
  *process.platform = std::move(platform);
  return true;
}

Tracker& Runtime::tracker() {
  bool made = false;
  std::call_once(trackerOnce_, [&] {
    // Two files at once, where there are two processors: this thread reads the store.
    log_.guard(
        [&] {
          tasks_.async(
              Tasks::Queue::global, [this] { platform_.bundle->infoDictionary(); }, ZUL_HERE);
        },
        ZUL_HERE);
    db_.isReadable();
    tracker_ = std::make_unique<Tracker>(TrackerServices{tasks_, platform_, db_, identifiers_, record_, util_,
                                                         reachability_, *networkClock_, attribution_, deferredLinks_,
                                                         webView_, debugMode_, stopping_, log_});
    madeTracker_ = tracker_.get();
    made = true;
  });
  // Outside, since it calls host code, which may call back.
  if (made) {
    log_.guard([this] { tracker_->announce(); }, ZUL_HERE);
    log_.guard([this] { identifiers_.lookUpEarly(); }, ZUL_HERE);
  }
  return *madeTracker_;
}

NHNetworkClock& NHNetworkClock::sharedNetworkClock() {
  return Runtime::process().networkClock();
}

Tracker& Tracker::sharedInstance() {
  return Runtime::process().tracker();
}

Tracker* Tracker::getSharedInstance() noexcept {
  auto* const runtime = Runtime::processIfMade();
  return runtime ? runtime->trackerIfMade() : nullptr;
}

}  // namespace zul
