#include "FleetDevice.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <limits>
#include <string>

#include "Json.h"
#include "Runtime.h"
#include "Tracker.h"
#include "Views.h"

namespace zul::simulator {

namespace {

using platform::Reachability;

struct Place {
  const char* zone;
  const char* language;
  const char* country;
  const char* carrier;
};
constexpr std::array kPlaces = {
    Place{"Asia/Seoul", "ko-KR", "KR", "SKT"},           Place{"America/New_York", "en-US", "US", "Verizon"},
    Place{"Europe/Berlin", "de-DE", "DE", "Telekom"},    Place{"Asia/Tokyo", "ja-JP", "JP", "docomo"},
    Place{"America/Sao_Paulo", "pt-BR", "BR", "Vivo"},   Place{"Asia/Kolkata", "hi-IN", "IN", "Jio"},
    Place{"Australia/Sydney", "en-AU", "AU", "Telstra"}, Place{"Pacific/Honolulu", "en-US", "US", "AT&T"},
};

struct Model {
  const char* name;
  double width, height, scale;
};
constexpr std::array kModels = {Model{"iPhone14,2", 390, 844, 3}, Model{"iPhone12,8", 375, 667, 2},
                                Model{"iPhone15,3", 430, 932, 3}, Model{"iPad13,1", 820, 1180, 2}};
constexpr std::array kSystems = {"15.8", "16.7.2", "17.2", "17.4.1"};

constexpr double kMinute = 60;
constexpr double kDay = 86400;
constexpr double kWakes = 7;    // o'clock
constexpr double kSleeps = 23;  // o'clock

/// A thousand devices' log lines are nobody's reading.
class NoLog final : public platform::LogSink {
 public:
  void write(std::string_view) noexcept override {}
};

}  // namespace

FleetDevice::FleetDevice(std::uint32_t number, const Phone& model, FleetCounts& counts)
    : counts_(counts), random_(number + 1), usesPerDay_(0), eventsPerMinute_(0) {
  random_.discard(10);  // neighbouring seeds begin alike
  usesPerDay_ = uniform(0.3, 8);
  eventsPerMinute_ = uniform(0, 1.5);
  equip(model);
  planNextUse();
}

void FleetDevice::equip(const Phone& model) {
  const auto pick = [&](const auto& list) { return list[random_() % list.size()]; };
  const auto place = pick(kPlaces);
  const auto hardware = pick(kModels);
  auto& sim = phone_.sim;
  sim.bundle->info = model.sim.bundle->info;
  sim.bundle->resources = model.sim.bundle->resources;
  sim.clock->set(model.sim.clock->now());
  sim.clock->setZone(place.zone);
  sim.http->answerLike(*model.sim.http);
  phone_.setTimeServers(model.timeServers());
  phone_.deployment = model.deployment;
  phone_.log = std::make_shared<NoLog>();

  auto& values = sim.device->values;
  values.systemVersion = pick(kSystems);
  values.model = hardware.name;
  values.screenWidth = hardware.width;
  values.screenHeight = hardware.height;
  values.screenScale = hardware.scale;
  values.preferredLanguages = {place.language};
  values.countryCode = place.country;
  if (chance(0.9)) values.carrier = platform::Carrier{place.country, place.carrier};
  const auto identifier = [&] {
    return fmt::format("{:08X}-0000-4000-8000-{:012X}", static_cast<std::uint32_t>(random_()), random_());
  };
  values.vendorIdentifier = identifier();
  values.trackingEnabled = chance(0.4);
  if (values.trackingEnabled) values.identifier = identifier();
}

double FleetDevice::uniform(double low, double high) {
  return std::uniform_real_distribution<double>(low, high)(random_);
}

double FleetDevice::due() const {
  return std::min(nextAt_, phone_.sim.dispatcher->nextDue().value_or(std::numeric_limits<double>::infinity()));
}

void FleetDevice::step(double until) {
  auto& dispatcher = *phone_.sim.dispatcher;
  dispatcher.advance(until - dispatcher.now());
  if (nextAt_ <= dispatcher.now()) act();
  collectRequests();
}

void FleetDevice::act() {
  switch (next_) {
    case Next::launch:
      launch();
      break;
    case Next::event:
      ++counts_.events;
      phone_.process().tracker().sendTransaction();
      planInUse();
      break;
    case Next::leave:  // the process stays for a while, and is then ended without notice
      next_ = Next::end;
      nextAt_ += uniform(0, 20 * kMinute);
      break;
    case Next::end:
      phone_.endProcess();
      planNextUse();
      break;
  }
}

void FleetDevice::launch() {
  offline_ = chance(0.05);
  const auto flags = chance(0.6) ? Reachability::kReachable : Reachability::kReachable | Reachability::kIsWwan;
  phone_.sim.reachability->value = offline_ ? 0 : flags;
  phone_.sim.http->setOnline(!offline_);
  phone_.sim.network->setOnline(!offline_);
  ++counts_.launches;
  phone_.launch(std::nullopt, chance(0.03) ? ApplicationState::background : ApplicationState::active);
  leavesAt_ = nextAt_ + uniform(10, 15 * kMinute);
  planInUse();
}

void FleetDevice::planInUse() {
  const double gap =
      eventsPerMinute_ > 0 ? std::exponential_distribution<double>(eventsPerMinute_ / kMinute)(random_) : kDay;
  next_ = nextAt_ + gap < leavesAt_ ? Next::event : Next::leave;
  nextAt_ = std::min(nextAt_ + gap, leavesAt_);
}

// Some time after the average gap, and not at night.
void FleetDevice::planNextUse() {
  next_ = Next::launch;
  nextAt_ += std::exponential_distribution<double>(usesPerDay_ / kDay)(random_);
  auto& clock = *phone_.sim.clock;
  const auto local = clock.civil(clock.now() + nextAt_ - phone_.sim.dispatcher->now());
  const double hour = local.hour + local.minute / 60.0;
  if (hour >= kWakes && hour < kSleeps) return;
  const double sleeps = hour < kWakes ? kWakes - hour : kWakes + 24 - hour;
  nextAt_ += sleeps * 3600 + uniform(0, 3600);
}

void FleetDevice::collectRequests() {
  auto& http = *phone_.sim.http;
  for (const auto& request : http.requests()) {
    if (offline_) break;
    ++counts_.requests;
    counts_.bytes += static_cast<std::int64_t>(request.body.value_or("").size());
    if (requestView(request, phone_.deployment).contains("problem")) ++counts_.problems;
  }
  http.clearRequests();
}

std::int64_t FleetDevice::sessions() {
  const auto documents = phone_.documents();
  const auto* const behavior = documents.if_contains("Behavior");
  return behavior && behavior->is_object() ? json::integer(behavior->get_object(), "lifeCriteriaVisit") : 0;
}

}  // namespace zul::simulator
