// zul-ntp: why a clock does not synchronise. Asks time servers with the library's own classes.

#include <fmt/format.h>
#include <signal.h>

#include <cstdio>
#include <exception>
#include <memory>
#include <stdexcept>
#include <vector>

#include "CommandLine.h"
#include "LoopbackTimeServer.h"
#include "NHNetworkClock.h"
#include "SimulatedPlatform.h"
#include "zul/platform/Dispatcher.h"
#include "zul/platform/NotificationCenter.h"

namespace {

using namespace zul;

/// The signals that end the program, as something to wait for.
class Ending {
 public:
  Ending() {
    sigemptyset(&signals_);
    sigaddset(&signals_, SIGINT);
    sigaddset(&signals_, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
  }
  /// False when it has not come within `seconds`.
  bool comes(double seconds) const {
    const auto whole = static_cast<std::time_t>(seconds);
    const timespec patience{whole, static_cast<long>((seconds - static_cast<double>(whole)) * 1e9)};
    return sigtimedwait(&signals_, nullptr, &patience) > 0;
  }
  void wait() const {
    int signal = 0;
    sigwait(&signals_, &signal);
  }

 private:
  sigset_t signals_{};
};

void serve(const ntptool::CommandLine& line, const Ending& ending) {
  std::vector<std::unique_ptr<test::LoopbackTimeServer>> servers;
  auto port = line.port;
  for (const auto& address : line.hosts) {
    try {
      servers.push_back(std::make_unique<test::LoopbackTimeServer>(address, port, *line.serve));
    } catch (const boost::system::system_error& error) {
      throw std::runtime_error(fmt::format("cannot serve at {} port {}: {}", address, port, error.code().message()));
    }
    port = servers.back()->port();
    fmt::print("serving at {} port {}\n", address, port);
  }
  std::fflush(stdout);
  ending.wait();
}

void ask(const ntptool::CommandLine& line, const Ending& ending) {
  auto platform = linuxPlatform("zul-ntp");
  // Nothing of an application's counts here, and nothing is left behind.
  platform.bundle = std::make_shared<platform::SimulatedBundle>();
  platform.userDefaults = std::make_shared<platform::SimulatedUserDefaults>();
  platform.deployment.ntpHosts = line.hosts;
  platform.deployment.ntpPort = line.port;
  const Log log(platform.clock, platform.log);
  const auto announced =
      platform.notifications->observe(platform::NotificationCenter::kNHNetworkTimeSyncCompleteNotification, [] {
        fmt::print("{}\n", platform::NotificationCenter::kNHNetworkTimeSyncCompleteNotification);
        std::fflush(stdout);
      });
  const auto clock = std::make_shared<NHNetworkClock>(platform, Tasks(platform.dispatcher, log), log);
  clock->synchronize();
  while (!ending.comes(line.every)) {
    for (const auto& association : clock->timeAssociations()) fmt::print("{}\n", association->description());
    fmt::print("network offset {:.6f} s{}\n", clock->networkOffset(),
               clock->isSynchronized() ? "" : ", not synchronized");
    std::fflush(stdout);
  }
  clock->reset();
  platform.dispatcher->stop();
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const auto line = ntptool::readCommandLine(argc, argv);
    if (line.exitStatus) return *line.exitStatus;
    const Ending ending;
    if (line.serve) {
      serve(line, ending);
    } else {
      ask(line, ending);
    }
    return std::fflush(stdout) == 0 && std::ferror(stdout) == 0 ? 0 : 1;
  } catch (const std::exception& error) {
    fmt::print(stderr, "zul-ntp: {}\n", error.what());
    return 1;
  }
}
