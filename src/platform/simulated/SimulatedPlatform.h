#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "SimulatedAttribution.h"
#include "SimulatedClock.h"
#include "SimulatedDispatcher.h"
#include "SimulatedHttp.h"
#include "SimulatedKeychain.h"
#include "SimulatedNetwork.h"
#include "SimulatedStore.h"
#include "SimulatedWebViews.h"
#include "zul/Dictionary.h"
#include "zul/Platform.h"
#include "zul/platform/Bundle.h"
#include "zul/platform/Device.h"
#include "zul/platform/LifeCycle.h"
#include "zul/platform/LogSink.h"
#include "zul/platform/NotificationCenter.h"
#include "zul/platform/Reachability.h"
#include "zul/platform/UserDefaults.h"

namespace zul::platform {

class SimulatedBundle final : public Bundle {
 public:
  Dictionary infoDictionary() override { return info; }
  std::string bundleIdentifier() override { return info.string("CFBundleIdentifier").value_or("com.example.app"); }
  std::optional<std::string> resource(const std::string& name) override;
  Dictionary propertyList(const std::string& name, std::string* error) override;
  std::string remark() const override { return hint; }

  Dictionary info;
  std::string hint;  ///< on how the application is identified
  std::map<std::string, std::string> resources;
  std::map<std::string, Dictionary> propertyLists;
  int listsRead = 0;
};

class SimulatedDevice final : public Device {
 public:
  /// The portions together.
  struct Values : SystemValues, PlaceValues, AdvertisingValues {};

  SystemValues system() override {
    if (onSystemRead) onSystemRead();
    return values;
  }
  PlaceValues place() override {
    ++placeReads;
    auto read = values;
    if (const auto meanwhile = onPlaceRead) meanwhile();
    return read;
  }
  AdvertisingValues advertising() override { return values; }

  Values values;
  std::function<void()> onSystemRead;
  std::function<void()> onPlaceRead;
  int placeReads = 0;  ///< how often anything was read that takes consent
};

class SimulatedReachability final : public Reachability {
 public:
  std::optional<std::uint32_t> flags(std::string_view) override { return value; }

  std::optional<std::uint32_t> value = kReachable;
};

class SimulatedUserDefaults final : public UserDefaults {
 public:
  std::optional<double> number(const std::string& key) override;
  void setNumber(const std::string& key, double value) override { numbers_[key] = value; }

 private:
  std::map<std::string, double> numbers_;
};

/// Keeps the log lines instead of printing them.
class MemoryLog final : public LogSink {
 public:
  void write(std::string_view line) noexcept override { lines.emplace_back(line); }

  /// How many lines contain `text`.
  std::size_t count(std::string_view text) const;

  std::vector<std::string> lines;
};

/// A whole device in memory and virtual time: one thing at a time, no I/O. Each piece can be scripted; the pieces
/// outlive the library, so that a second library on them is a restart.
struct SimulatedPlatform {
  SimulatedPlatform();

  std::shared_ptr<SimulatedDispatcher> dispatcher;
  std::shared_ptr<SimulatedClock> clock;
  std::shared_ptr<SimulatedStore> store;
  std::shared_ptr<SimulatedHttp> http;
  std::shared_ptr<SimulatedBundle> bundle;
  std::shared_ptr<SimulatedDevice> device;
  std::shared_ptr<SimulatedReachability> reachability;
  std::shared_ptr<SimulatedUserDefaults> userDefaults;
  std::shared_ptr<SimulatedKeychain> keychain;
  std::shared_ptr<MemoryLog> log;
  std::shared_ptr<HostLifeCycle> lifeCycle;
  std::shared_ptr<LocalNotificationCenter> notifications;
  std::shared_ptr<SimulatedNetwork> network;
  std::shared_ptr<SimulatedWebViews> webViews;
  std::shared_ptr<SimulatedAdServices> adServices;
  std::shared_ptr<SimulatedSKAdNetwork> skAdNetwork;

  /// What a library takes. It asks no time servers unless the deployment is given some.
  Platform platform() const;
};

}  // namespace zul::platform
