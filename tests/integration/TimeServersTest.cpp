#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <iostream>
#include <memory>
#include <thread>
#include <vector>

#include "Chrony.h"
#include "HostPlatform.h"
#include "KeptLog.h"
#include "LoopbackTimeServer.h"
#include "NHNetworkClock.h"
#include "Patience.h"
#include "Runtime.h"
#include "TemporaryFolder.h"
#include "zul/platform/NotificationCenter.h"
#include "zul/platform/UserDefaults.h"

namespace zul::test {
namespace {

constexpr std::uint16_t kNtpPort = 123;

/// The port of time servers where it may be had, else another.
std::uint16_t port() {
  try {
    return LoopbackTimeServer("127.0.0.9", kNtpPort, 0).port();
  } catch (const boost::system::system_error& error) {
    std::cout << "not on port 123: " << error.what() << '\n';
  }
  return LoopbackTimeServer("127.0.0.9", 0, 0).port();
}

/// The real parts, and time servers on loopback alone.
class TimeServersTest : public testing::Test {
 protected:
  void ask(std::vector<std::string> hosts, std::uint16_t port) {
    HostPlatform host(
        {.data = folder.path("data"), .bundle = folder.path(), .collector = "http://127.0.0.1:1", .log = log});
    host.platform.deployment.ntpHosts = std::move(hosts);
    host.platform.deployment.ntpPort = port;
    runtime = std::make_unique<Runtime>(std::move(host.platform));
  }
  NHNetworkClock& clock() { return runtime->networkClock(); }

  TemporaryFolder folder;
  std::shared_ptr<KeptLog> log = std::make_shared<KeptLog>();
  std::unique_ptr<Runtime> runtime;
};

TEST_F(TimeServersTest, AnOffsetIsTakenFromChrony) {
  if (Chrony::program().empty()) GTEST_SKIP() << "there is no chronyd; ./dev test unpacks one";
  const auto ntp = port();
  Chrony chrony("127.0.0.2", ntp, 120);
  ASSERT_TRUE(chrony.isSet()) << chrony.output();
  ask({"127.0.0.2"}, ntp);
  std::atomic<int> announced{0};
  const auto& platform = runtime->platform();
  const auto observation = platform.notifications->observe(
      platform::NotificationCenter::kNHNetworkTimeSyncCompleteNotification, [&] { ++announced; });
  clock().synchronize();
  ASSERT_TRUE(eventually([&] { return clock().isSynchronized(); })) << chrony.output() << log->text();
  EXPECT_EQ(announced, 1);
  const auto association = clock().timeAssociations().at(0);
  const auto fields = association->fields();
  EXPECT_EQ(fields.stratum, 1);
  EXPECT_NEAR(clock().networkOffset(), -120, fields.roundtrip / 2 + 0.001) << association->prettyPrintTimers();
  EXPECT_EQ(platform.userDefaults->number(NHNetworkClock::kTimeOffsetKey), clock().networkOffset());
  std::cout << association->description() << association->prettyPrintTimers();
}

TEST_F(TimeServersTest, SeveralServersAtOnceAndSomeOfThemOdd) {
  LoopbackTimeServer first("127.0.0.2", 0, 120);
  const auto ntp = first.port();
  LoopbackTimeServer second("127.0.0.3", ntp, 120);
  LoopbackTimeServer kissOfDeath("127.0.0.4", ntp, 500, {.stratum = 0});
  LoopbackTimeServer primary("127.0.0.5", ntp, 120, {.stratum = 1});
  LoopbackTimeServer flooding("127.0.0.7", ntp, 120, {.length = 400, .answers = 100});
  ask({"127.0.0.2", "127.0.0.3", "127.0.0.4", "127.0.0.5", "127.0.0.6", "127.0.0.7", "# 127.0.0.8"}, ntp);
  clock().synchronize();
  ASSERT_TRUE(eventually([&] {
    std::size_t active = 0;
    for (const auto& association : clock().timeAssociations()) active += association->fields().active ? 1 : 0;
    return active == 4;
  })) << log->text();
  ASSERT_TRUE(eventually([&] { return clock().isSynchronized(); }));
  EXPECT_EQ(clock().timeAssociations().size(), 6U);
  EXPECT_NEAR(clock().networkOffset(), -120, 0.1);
}

// Threads that start and reset the clock at once while answers come in; and it ends amid all that.
TEST_F(TimeServersTest, SeveralThreadsLeaveOneSet) {
  LoopbackTimeServer server("127.0.0.2", 0, 120);
  ask({"127.0.0.2", "localhost"}, server.port());
  std::vector<std::thread> threads;
  for (int n = 0; n < 4; ++n) {
    threads.emplace_back([&, n] {
      for (int round = 0; round < 20; ++round) {
        clock().synchronize();
        (void)clock().networkTime();
        if (n == 0) clock().reset();
        for (const auto& association : clock().timeAssociations()) (void)association->description();
      }
      clock().synchronize();
    });
  }
  for (auto& thread : threads) thread.join();
  ASSERT_TRUE(eventually([&] { return !clock().timeAssociations().empty(); })) << log->text();
  ASSERT_TRUE(eventually([&] { return clock().isSynchronized(); }));
  std::size_t ours = 0;
  for (const auto& association : clock().timeAssociations()) ours += association->server() == "127.0.0.2" ? 1 : 0;
  EXPECT_EQ(ours, 1U);
  EXPECT_NEAR(clock().networkOffset(), -120, 0.01);
  clock().synchronize();
}

}  // namespace
}  // namespace zul::test
