// The smallest host that does everything: it starts the library, reports events, and waits for them to be
// on their way.
//
//   example-host --collector URL [--ca FILE] [--data FOLDER] [--bundle FOLDER] [--events N] [--later SECONDS]
//                [--wait SECONDS] [--ntp HOST --ntp-port PORT] [--advertising UUID] [--link URL] [--referrer TEXT]
//                [--system VERSION]
//
// --later moves this host's clock, which shows how a piece of the platform is replaced; --advertising is the device's
// advertising identifier; --link is what the application was opened by, --referrer an install referrer, --system
// another version of the system, which then has an ad network, too. With "--events -" the host does what standard input
// tells it, a line each: "event", "later SECONDS", "link URL", "attribution", "allow UUID" or "deny" for what the user
// answers when asked for consent, "status NUMBER" for what the settings say of it, "started" or "quit".

#include <zul/Platform.h>
#include <zul/Referrer.h>
#include <zul/ZULSession.h>
#include <zul/ZULSessionVersion.h>
#include <zul/platform/Clock.h>
#include <zul/platform/Device.h>
#include <zul/platform/NotificationCenter.h>
#include <zul/platform/SKAdNetwork.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

namespace {

/// The real clock, some time later.
class LaterClock final : public zul::platform::Clock {
 public:
  LaterClock(std::shared_ptr<Clock> real, double seconds) : real_(std::move(real)), later_(seconds) {}
  void add(double seconds) { later_ = later_ + seconds; }
  double now() const override { return real_->now() + later_; }
  zul::platform::CivilTime civil(double seconds) const override { return real_->civil(seconds); }
  double seconds(const zul::platform::CivilTime& civil) const override { return real_->seconds(civil); }
  int secondsFromGmt() const override { return real_->secondsFromGmt(); }

 private:
  std::shared_ptr<Clock> real_;
  std::atomic<double> later_;
};

/// The real device, with another version of its system.
class OtherSystem final : public zul::platform::Device {
 public:
  OtherSystem(std::shared_ptr<Device> real, std::string version) : real_(std::move(real)), version_(version) {}
  zul::platform::SystemValues system() override {
    auto values = real_->system();
    values.systemVersion = version_;
    return values;
  }
  zul::platform::PlaceValues place() override { return real_->place(); }
  zul::platform::AdvertisingValues advertising() override { return real_->advertising(); }

 private:
  std::shared_ptr<Device> real_;
  std::string version_;
};

/// An ad network that is told of conversions.
class PrintedAdNetwork final : public zul::platform::SKAdNetwork {
 public:
  bool isAvailable() const override { return true; }
  void registerAppForAdNetworkAttribution() override {
    std::clog << "the ad network hears of the install" << std::endl;
  }
  void updateConversionValue(std::int64_t value) override { tell(value, ""); }
  void updatePostbackConversionValue(std::int64_t value, zul::platform::CoarseConversionValue coarse,
                                     bool lockWindow) override {
    static constexpr const char* kCoarse[] = {", low", ", medium", ", high"};
    tell(value, kCoarse[static_cast<int>(coarse)] + std::string(lockWindow ? ", for good" : ""));
  }

 private:
  static void tell(std::int64_t value, const std::string& rest) {
    std::clog << "the ad network hears conversion value " << value << rest << std::endl;
  }
};

void sleepSeconds(double seconds) {
  std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

/// The start-up takes the token within 5 seconds; this gives it a little more.
void waitForStart() {
  for (int tenths = 0; tenths < 80 && !zul::ZULSession::getZULSessionInitYN(); ++tenths) sleepSeconds(0.1);
}

void obeyInput(LaterClock& clock) {
  std::string line;
  while (std::getline(std::cin, line) && line != "quit") {
    if (line == "event") zul::ZULSession::sendTransaction();
    if (line.starts_with("later ")) clock.add(std::atof(line.c_str() + 6));
    if (line.starts_with("link ")) zul::ZULSession::setDeepLink(line.substr(5));
    if (line == "attribution") {
      zul::ZULSession::getAttributedInfo(
          [](const zul::Dictionary& info) { std::clog << "the host hears attribution " << info.json() << std::endl; });
    }
    if (line.starts_with("allow ")) zul::ZULSession::setIDFA(line.substr(6));
    if (line == "deny") zul::ZULSession::denyATT();
    if (line.starts_with("status ")) zul::ZULSession::setATTAuthorizationStatus(std::atoi(line.c_str() + 7));
    if (line == "started") waitForStart();
    std::cout << "done: " << line << std::endl;
  }
}

}  // namespace

int main(int argc, char** argv) {
  zul::LinuxOptions options;
  options.applicationId = "com.example.host";
  std::string collector;
  std::string ca;
  std::string events;
  zul::ZULSession::LaunchOptions launch;
  zul::Referrer referrer;
  std::string system;
  double later = 0;
  double wait = 1;
  if (argc == 2 && std::string_view(argv[1]) == "--version") {
    std::cout << "example-host " ZUL_VERSION_STRING "\n";
    return 0;
  }
  zul::Deployment timeServers;
  timeServers.ntpHosts.clear();  // nothing outside this machine is asked
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string option = argv[i];
    const std::string value = argv[i + 1];
    if (option == "--collector") collector = value;
    if (option == "--ca") ca = value;
    if (option == "--data") options.dataFolder = value;
    if (option == "--bundle") options.bundleFolder = value;
    if (option == "--events") events = value;
    if (option == "--advertising") {
      options.advertising = [value] { return zul::platform::AdvertisingValues{value, true}; };
    }
    if (option == "--link") launch.emplace().set("UIApplicationLaunchOptionsURLKey", value);
    if (option == "--referrer") referrer.referrer = value;
    if (option == "--system") system = value;
    if (option == "--later") later = std::atof(value.c_str());
    if (option == "--wait") wait = std::atof(value.c_str());
    if (option == "--ntp") timeServers.ntpHosts.push_back(value);
    if (option == "--ntp-port") timeServers.ntpPort = static_cast<std::uint16_t>(std::atoi(value.c_str()));
  }
  if (collector.empty()) {
    std::cerr << "usage: example-host --collector URL [--ca FILE] [--data FOLDER] [--bundle FOLDER] [--events N] "
                 "[--later SECONDS] [--wait SECONDS] [--ntp HOST --ntp-port PORT] [--advertising UUID] [--link URL] "
                 "[--referrer TEXT] [--system VERSION]\n";
    return 1;
  }

  auto platform = zul::linuxPlatform(options);
  platform.deployment.collectorBaseUrl = collector;
  platform.deployment.trackingHost = collector;
  platform.deployment.appStoreLookupHost = collector.substr(collector.find("//") + 2);
  platform.deployment.ntpHosts = timeServers.ntpHosts;
  platform.deployment.ntpPort = timeServers.ntpPort;
  platform.deployment.caFile = ca;
  const auto clock = std::make_shared<LaterClock>(platform.clock, later);
  platform.clock = clock;
  if (!system.empty()) {
    platform.device = std::make_shared<OtherSystem>(platform.device, system);
    platform.skAdNetwork = std::make_shared<PrintedAdNetwork>();
  }
  constexpr auto kSynchronized = zul::platform::NotificationCenter::kNHNetworkTimeSyncCompleteNotification;
  const auto observation = platform.notifications->observe(
      kSynchronized, [] { std::clog << "the host hears " << kSynchronized << std::endl; });
  zul::ZULSession::setPlatform(std::move(platform));

  zul::ZULSession::initializationForDeferredCallback(launch, zul::Application{}, [] {
    const auto link = zul::ZULSession::getDeferredUrl();
    if (link) std::clog << "the host hears deferred link " << *link << std::endl;
  });
  if (referrer.referrer) zul::ZULSession::setInstallReferrer(referrer);
  waitForStart();
  sleepSeconds(wait);
  std::cout << "initialized: " << (zul::ZULSession::getZULSessionInitYN() ? "yes" : "no") << std::endl;
  if (events == "-") obeyInput(*clock);
  for (int n = std::atoi(events.c_str()); n > 0; --n) {
    zul::ZULSession::sendTransaction();
    sleepSeconds(wait);
  }
  return 0;
}
