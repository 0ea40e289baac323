// The smallest host that does everything: it starts the library, reports events, and waits for them to be
// on their way.
//
//   example-host --collector URL [--ca FILE] [--data FOLDER] [--bundle FOLDER] [--events N] [--later SECONDS]
//                [--wait SECONDS] [--ntp HOST --ntp-port PORT] [--advertising UUID]
//
// --later moves this host's clock, which shows how a piece of the platform is replaced; --advertising is the device's
// advertising identifier. With "--events -" the host does what standard input tells it, a line each: "event",
// "later SECONDS", "allow UUID" or "deny" for what the user answers when asked for consent, "status NUMBER" for what
// the settings say of it, "started" or "quit".

#include <zul/Platform.h>
#include <zul/ZULSession.h>
#include <zul/ZULSessionVersion.h>
#include <zul/platform/Clock.h>
#include <zul/platform/NotificationCenter.h>

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
    if (option == "--later") later = std::atof(value.c_str());
    if (option == "--wait") wait = std::atof(value.c_str());
    if (option == "--ntp") timeServers.ntpHosts.push_back(value);
    if (option == "--ntp-port") timeServers.ntpPort = static_cast<std::uint16_t>(std::atoi(value.c_str()));
  }
  if (collector.empty()) {
    std::cerr << "usage: example-host --collector URL [--ca FILE] [--data FOLDER] [--bundle FOLDER] [--events N] "
                 "[--later SECONDS] [--wait SECONDS] [--ntp HOST --ntp-port PORT] [--advertising UUID]\n";
    return 1;
  }

  auto platform = zul::linuxPlatform(options);
  platform.deployment.collectorBaseUrl = collector;
  platform.deployment.appStoreLookupHost = collector.substr(collector.find("//") + 2);
  platform.deployment.ntpHosts = timeServers.ntpHosts;
  platform.deployment.ntpPort = timeServers.ntpPort;
  platform.deployment.caFile = ca;
  const auto clock = std::make_shared<LaterClock>(platform.clock, later);
  platform.clock = clock;
  constexpr auto kSynchronized = zul::platform::NotificationCenter::kNHNetworkTimeSyncCompleteNotification;
  const auto observation = platform.notifications->observe(
      kSynchronized, [] { std::clog << "the host hears " << kSynchronized << std::endl; });
  zul::ZULSession::setPlatform(std::move(platform));

  zul::ZULSession::initialization(std::nullopt, zul::Application{});
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
