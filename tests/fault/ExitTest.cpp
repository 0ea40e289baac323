#include <gtest/gtest.h>

#include <iostream>
#include <mutex>
#include <random>
#include <thread>

#include "Child.h"
#include "DeadPort.h"
#include "HostPlatform.h"
#include "Patience.h"
#include "RunningCollector.h"
#include "TemporaryFolder.h"
#include "TestCertificate.h"

namespace zul::test {
namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = kSanitized ? 8000ms : 1500ms;

struct Case {
  const char* name;
  std::string collector;
  std::string lookup;
  std::string token;  // empty: the library asks for one
  std::string how = "return";
};

class ExitTest : public testing::Test {
 protected:
  ExitTest() {
    for (auto* server : {&slow, &secure}) {
      server->setAnswers(R"({"upload":[{"delay":60000}],"errorlog":[{"delay":60000}],"token":[{"delay":60000}]})");
    }
  }
  // One run of the host, which exits some time after its start. How long the exit took.
  std::chrono::milliseconds run(const Case& c, std::chrono::microseconds after) {
    const TemporaryFolder folder;
    writeInfoPlist(folder.path(), c.token);
    Child host(ZUL_FAULT_HOST,
               {"exit", std::to_string(after.count()), "--collector", c.collector, "--lookup", c.lookup, "--ca",
                certificate.certFile, "--data", folder.path("store"), "--bundle", folder.path(), "--pace", "0.001",
                "--how", c.how, "--silent", silent.host()},
               folder.path("errors"));
    EXPECT_TRUE(host.readUpTo("x", 30s)) << c.name;
    const auto begun = Child::Clock::now();
    EXPECT_TRUE(host.ended(kPatience)) << c.name << ": does not exit, after " << after.count() << " us";
    const auto taken = std::chrono::duration_cast<std::chrono::milliseconds>(Child::Clock::now() - begun);
    EXPECT_EQ(host.status(), 0) << c.name << " after " << after.count() << " us";
    EXPECT_EQ(contents(folder.path("errors")), "") << c.name;
    return taken;
  }

  TestCertificate certificate;
  RunningCollector quick, slow, secure{certificate};
  const DeadPort refusing{false}, silent{true};
};

TEST_F(ExitTest, IsQuickAndCleanWhateverIsUnderWay) {
  const auto lookup = quick.host();
  const std::vector<Case> cases = {
      {"uploads answered", quick.baseUrl(), lookup, "tk"},
      {"uploads answered", quick.baseUrl(), lookup, "tk", "thread"},
      {"uploads open", slow.baseUrl(), lookup, "tk"},
      {"uploads open", slow.baseUrl(), lookup, "tk", "exit"},
      {"uploads open over HTTPS", secure.secureUrl(), lookup, "tk"},
      {"uploads open over HTTPS", secure.secureUrl(), lookup, "tk", "thread"},
      {"token awaited", slow.baseUrl(), lookup, ""},
      {"token awaited over HTTPS", secure.secureUrl(), lookup, "", "exit"},
      {"token awaited over HTTPS, OpenSSL in use", secure.secureUrl(), lookup, "", "cipher"},
      {"look-up open", quick.baseUrl(), silent.host(), "tk"},
      {"look-up open", quick.baseUrl(), silent.host(), "tk", "thread"},
      {"refused", "http://" + refusing.host(), refusing.host(), "tk", "exit"},
      {"refused, token awaited", "http://" + refusing.host(), lookup, ""},
      {"never accepted", "http://" + silent.host(), lookup, "tk"},
      {"never accepted over HTTPS", "https://" + silent.host(), lookup, "tk", "exit"},
      {"first used at the end", slow.baseUrl(), lookup, "tk", "late"},
  };
  constexpr std::size_t kRunsACase = kSanitized ? 2 : 4;
  std::mutex mutex;
  std::size_t next = 0;
  std::chrono::milliseconds slowest{0};
  std::mt19937 random(20240131);
  const auto work = [&] {
    while (true) {
      std::unique_lock lock(mutex);
      if (next == cases.size() * kRunsACase) return;
      const auto at = next++;
      const auto after = std::chrono::microseconds(random() % 50'000);
      lock.unlock();
      const auto taken = run(cases[at % cases.size()], after);
      lock.lock();
      slowest = std::max(slowest, taken);
    }
  };
  std::thread other(work);
  work();
  other.join();
  std::cout << next << " exits, the slowest took " << slowest.count() << " ms\n";
}

}  // namespace
}  // namespace zul::test
