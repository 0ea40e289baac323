#include "NHNetworkClock.h"

#include <algorithm>
#include <exception>
#include <optional>
#include <utility>

#include "ClockCombination.h"
#include "Utf8.h"
#include "zul/platform/Bundle.h"
#include "zul/platform/Clock.h"
#include "zul/platform/HostResolver.h"
#include "zul/platform/NotificationCenter.h"
#include "zul/platform/UserDefaults.h"

namespace zul {

namespace {

constexpr const char* kHostsResource = "ntp.hosts";

std::vector<std::string> splitLines(std::string_view text) {
  std::vector<std::string> lines;
  while (!text.empty()) {
    const auto end = std::min(text.find_first_of("\n\r\v\f"), text.size());
    lines.emplace_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

}  // namespace

NHNetworkClock::NHNetworkClock(const Platform& platform, Tasks tasks, Log log)
    : platform_(platform),
      tasks_(std::move(tasks)),
      log_(std::move(log)),
      queue_(tasks_.serial()),
      lifeCycle_(platform_.lifeCycle->observe([this](auto event) { applicationDid(event); })) {}

NHNetworkClock::~NHNetworkClock() = default;

// ---- starting and ending

void NHNetworkClock::synchronize() {
  reset();
  std::uint64_t round = 0;
  {
    const MutexLock lock(mutex_);
    heedsTimeChanges_ = true;
    round = ++round_;
  }
  setUp(round);
}

void NHNetworkClock::setUp(std::uint64_t round) {
  queue_.async([weak = weak_from_this(), round] { createAssociations(weak, round); }, ZUL_HERE);
}

void NHNetworkClock::reset() {
  endAssociations(true);
}

void NHNetworkClock::finishAssociations() {
  endAssociations(false);
}

void NHNetworkClock::endAssociations(bool forget) {
  Associations ended;
  {
    const MutexLock lock(mutex_);
    heedsTimeChanges_ = false;
    ended = timeAssociations_;
    if (forget) {
      ++round_;
      timeAssociations_.clear();
      synchronized_ = false;
    }
  }
  for (const auto& association : ended) {
    association->setDelegate(nullptr);
    association->finish();
  }
}

void NHNetworkClock::createAssociations() {
  std::uint64_t round = 0;
  {
    const MutexLock lock(mutex_);
    round = round_;
  }
  createAssociations(weak_from_this(), round);
}

void NHNetworkClock::createAssociations(const std::weak_ptr<NHNetworkClock>& weak, std::uint64_t round) {
  std::vector<std::string> names;
  std::shared_ptr<platform::HostResolver> resolver;
  if (const auto self = weak.lock()) {
    names = self->serverNames();
    resolver = self->platform_.resolver;
  }
  Servers servers;
  for (const auto& name : names) {
    if (const auto self = weak.lock(); !self || !self->isCurrent(round) || self->waitsForForeground()) return;
    platform::HostResolver::Found found;
    try {
      found = resolver->resolve(name);
    } catch (const std::exception& error) {
      found.error = error.what();
    } catch (...) {
      found.error = "unknown";
    }
    if (found.addresses.empty()) servers.problems += (servers.problems.empty() ? "" : ", ") + name + ": " + found.error;
    for (auto& address : found.addresses) {
      auto& known = servers.addresses;
      if (std::find(known.begin(), known.end(), address) == known.end()) known.push_back(std::move(address));
    }
  }
  if (const auto self = weak.lock()) self->begin(round, servers);
}

/// Those of the application's own list, or the deployment's where it has none.
std::vector<std::string> NHNetworkClock::serverNames() const {
  const auto resource = platform_.bundle->resource(kHostsResource);
  auto names = resource && isUtf8(*resource) ? splitLines(*resource) : platform_.deployment.ntpHosts;
  std::erase_if(names, [](const std::string& line) { return line.empty() || line[0] == ' ' || line[0] == '#'; });
  return names;
}

void NHNetworkClock::begin(std::uint64_t round, const Servers& servers) {
  Associations begun;
  for (const auto& address : servers.addresses) {
    log_.guard([&] { begun.push_back(begin(address)); }, ZUL_HERE);
  }
  bool current = false;
  {
    const MutexLock lock(mutex_);
    current = round == round_;
    if (current) timeAssociations_.insert(timeAssociations_.end(), begun.begin(), begun.end());
  }
  if (!current) {
    for (const auto& association : begun) association->finish();
    return;
  }
  // An event that came before they were in the list has not reached them.
  for (const auto& association : begun) association->followApplication();
  if (begun.empty() && !servers.problems.empty() && !toldUnknownServers_.exchange(true)) {
    log_.error("No time server has an address: " + servers.problems, ZUL_HERE);
  }
  log_.info("QuorLog NTP Time sync finished successfully.", ZUL_HERE);
}

std::shared_ptr<NHNetAssociation> NHNetworkClock::begin(const std::string& address) {
  const auto association = std::make_shared<NHNetAssociation>(
      address,
      NetAssociationServices{tasks_, platform_.clock, platform_.udp, platform_.deployment.ntpPort, inBackground_});
  association->setDelegate([weak = weak_from_this()](NHNetAssociation& told) {
    if (const auto self = weak.lock()) self->netAssociationDidFinishGetTime(told);
  });
  association->enable();
  return association;
}

bool NHNetworkClock::isCurrent(std::uint64_t round) const {
  const MutexLock lock(mutex_);
  return round == round_;
}

// Nothing is asked from the background; the set-up begins again when the application comes back.
bool NHNetworkClock::waitsForForeground() {
  const MutexLock lock(mutex_);
  if (*inBackground_) setUpWaits_ = true;
  return setUpWaits_;
}

// ---- answers

void NHNetworkClock::netAssociationDidFinishGetTime(NHNetAssociation& association) {
  const auto fields = association.fields();
  if (!fields.active || !fields.trusty) return;
  {
    const MutexLock lock(mutex_);
    if (!isKnown(association)) return;
  }
  log_.guard([&] { platform_.userDefaults->setNumber(kTimeOffsetKey, fields.offset); }, ZUL_HERE);
  if (synchronized_) return;
  log_.guard(
      [&] { platform_.notifications->post(platform::NotificationCenter::kNHNetworkTimeSyncCompleteNotification); },
      ZUL_HERE);
  const MutexLock lock(mutex_);
  if (isKnown(association)) synchronized_ = true;  // unless the clock was reset meanwhile
}

bool NHNetworkClock::isKnown(const NHNetAssociation& association) const {
  return std::any_of(timeAssociations_.begin(), timeAssociations_.end(),
                     [&](const auto& known) { return known.get() == &association; });
}

// ---- reading

double NHNetworkClock::networkOffset() {
  const auto associations = timeAssociations();
  std::vector<ClockCombination::Server> servers;
  servers.reserve(associations.size());
  for (const auto& association : associations) {
    const auto fields = association->fields();
    servers.push_back({fields.active, fields.trusty, fields.offset, fields.dispersion});
  }
  const auto combination = combine(servers);
  if (!combination.givenUp.empty()) {
    Associations givenUp;
    for (const auto index : combination.givenUp) givenUp.push_back(associations[index]);
    giveUp(givenUp);
  }
  if (combination.offset) return *combination.offset;
  return shouldUseSavedSynchronizedTime_ ? platform_.userDefaults->number(kTimeOffsetKey).value_or(0) : 0;
}

// Others may have given some up meanwhile.
void NHNetworkClock::giveUp(const Associations& associations) {
  for (const auto& association : associations) {
    {
      const MutexLock lock(mutex_);
      if (timeAssociations_.size() < ClockCombination::kTooMany || std::erase(timeAssociations_, association) == 0) {
        continue;
      }
    }
    association->finish();
  }
}

double NHNetworkClock::networkTime() {
  const double offset = networkOffset();
  return platform_.clock->now() - offset;
}

NHNetworkClock::Associations NHNetworkClock::timeAssociations() const {
  const MutexLock lock(mutex_);
  return timeAssociations_;
}

// ---- the application

void NHNetworkClock::applicationDid(platform::LifeCycle::Event event) {
  using Event = platform::LifeCycle::Event;
  if (event != Event::significantTimeChange) *inBackground_ = event == Event::background;
  bool heeds = false;
  std::optional<std::uint64_t> waiting;
  {
    const MutexLock lock(mutex_);
    heeds = heedsTimeChanges_;
    if (event == Event::foreground && std::exchange(setUpWaits_, false)) waiting = round_;
  }
  if (waiting) setUp(*waiting);
  for (const auto& association : timeAssociations()) {
    if (event == Event::significantTimeChange) {
      association->significantTimeChange();
    } else {
      log_.guard([&] { association->followApplication(); }, ZUL_HERE);
    }
  }
  if (event == Event::significantTimeChange && heeds && isAutoSynchronizedWhenUserChangeLocalTime_) synchronize();
}

}  // namespace zul
