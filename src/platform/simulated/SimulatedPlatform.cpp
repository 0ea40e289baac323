#include "SimulatedPlatform.h"

#include <algorithm>

namespace zul::platform {

std::optional<std::string> SimulatedBundle::resource(const std::string& name) {
  const auto found = resources.find(name);
  if (found == resources.end()) return std::nullopt;
  return found->second;
}

Dictionary SimulatedBundle::propertyList(const std::string& name, std::string* error) {
  ++listsRead;
  if (error != nullptr) error->clear();
  const auto found = propertyLists.find(name);
  return found == propertyLists.end() ? Dictionary() : found->second;
}

std::optional<double> SimulatedUserDefaults::number(const std::string& key) {
  const auto found = numbers_.find(key);
  if (found == numbers_.end()) return std::nullopt;
  return found->second;
}

std::size_t MemoryLog::count(std::string_view text) const {
  return static_cast<std::size_t>(std::count_if(
      lines.begin(), lines.end(), [&](const std::string& line) { return line.find(text) != std::string::npos; }));
}

SimulatedPlatform::SimulatedPlatform()
    : dispatcher(std::make_shared<SimulatedDispatcher>()),
      clock(std::make_shared<SimulatedClock>(dispatcher)),
      store(std::make_shared<SimulatedStore>()),
      http(std::make_shared<SimulatedHttp>(dispatcher)),
      bundle(std::make_shared<SimulatedBundle>()),
      device(std::make_shared<SimulatedDevice>()),
      reachability(std::make_shared<SimulatedReachability>()),
      userDefaults(std::make_shared<SimulatedUserDefaults>()),
      keychain(std::make_shared<SimulatedKeychain>()),
      log(std::make_shared<MemoryLog>()),
      lifeCycle(std::make_shared<HostLifeCycle>()),
      notifications(std::make_shared<LocalNotificationCenter>()),
      network(std::make_shared<SimulatedNetwork>(dispatcher)),
      webViews(std::make_shared<SimulatedWebViews>(dispatcher, http)),
      adServices(std::make_shared<SimulatedAdServices>()),
      skAdNetwork(std::make_shared<SimulatedSKAdNetwork>()) {}

Platform SimulatedPlatform::platform() const {
  Platform platform = {.clock = clock,
                       .dispatcher = dispatcher,
                       .store = store,
                       .http = http,
                       .bundle = bundle,
                       .reachability = reachability,
                       .device = device,
                       .userDefaults = userDefaults,
                       .keychain = keychain,
                       .log = log,
                       .lifeCycle = lifeCycle,
                       .notifications = notifications,
                       .resolver = network,
                       .udp = network,
                       .webViews = webViews,
                       .adServices = adServices,
                       .skAdNetwork = skAdNetwork,
                       .deployment = {}};
  platform.deployment.collectorBaseUrl = "https://collector.test";
  platform.deployment.trackingHost = "https://tracking.test";
  platform.deployment.searchAdsBaseUrl = "https://search-ads.test";
  platform.deployment.appStoreLookupHost = "lookup.test";
  platform.deployment.ntpHosts.clear();
  return platform;
}

}  // namespace zul::platform
