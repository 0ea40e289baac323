#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>
#include <random>
#include <sstream>
#include <thread>

#include "Child.h"
#include "HostPlatform.h"
#include "Ledger.h"
#include "Patience.h"
#include "RunningCollector.h"
#include "SqliteStore.h"
#include "TemporaryFolder.h"

namespace zul::test {
namespace {

using collector::Endpoint;
using namespace std::chrono_literals;

constexpr int kRounds = kSanitized ? 30 : 100;
constexpr int kSlower = kSanitized ? 4 : 1;
constexpr int kMostEvents = 60;     // a process
constexpr double kLater = 400'000;  // seconds between two processes: more than one of them moves its clock

class KillTest : public testing::Test {
 protected:
  std::vector<std::string> report(int round) const {
    return {"report",
            std::to_string(round * 1000),
            std::to_string(kMostEvents),
            "--collector",
            collector.baseUrl(),
            "--lookup",
            collector.host(),
            "--data",
            data.path("store"),
            "--bundle",
            data.path(),
            "--later",
            std::to_string(round * kLater),
            "--pace",
            "0.001"};
  }

  // Answers of which none is an acceptance, or of which about every third is one.
  std::string answers(bool accepting) {
    std::ostringstream text;
    text << R"({"upload":[)";
    for (int n = 0; n < 200; ++n) {
      static constexpr const char* kKinds[] = {R"("body":{"code":"ERR9","msg":"too busy"})",
                                               R"("status":503,"body":{"raw":"<html>"})", R"("close":true)",
                                               R"("body":{"code":"RES001"})", R"("body":{"code":"RES001"})"};
      text << (n == 0 ? "{" : ",{") << kKinds[random() % (accepting ? 5 : 3)];
      if (random() % 2 == 0) text << R"(,"delay":)" << random() % 150;
      text << "}";
    }
    text << "]}";
    return text.str();
  }

  // Everything that arrived since the last call.
  void harvest(const std::string& process, bool mayBeAccepted) {
    for (const auto& request : collector.requests()) {
      if (!seen.insert(request->sequence).second) continue;
      if (!request->good()) {
        EXPECT_NE(request->problem.find("ends early"), std::string::npos) << request->problem;  // cut off by the kill
      } else if (request->endpoint == Endpoint::upload) {
        ledger.addUpload(*request, process, mayBeAccepted);
      }
    }
  }

  std::mt19937 random{20240131};
  TemporaryFolder data;
  RunningCollector collector;
  Ledger ledger;
  std::set<std::uint64_t> seen;
};

TEST_F(KillTest, LosesNothingAcceptedAndLeavesAWholeState) {
  StoredSession before;
  int silent = 0;
  for (int round = 0; round < kRounds && !HasFailure(); ++round) {
    SCOPED_TRACE(round);
    const std::string token = "tk-" + std::to_string(round);
    const bool accepting = round % 3 != 1;
    writeInfoPlist(data.path(), token);
    collector.setAnswers(answers(accepting));
    const auto life = std::chrono::microseconds(random() % (round % 5 == 0 ? 40'000 : 350'000) * kSlower);
    Child host(ZUL_FAULT_HOST, report(round), data.path("errors"));
    if (round % 10 == 7) {  // the collector is away for a while
      std::this_thread::sleep_for(life / 3);
      collector.stop();
      std::this_thread::sleep_for(life / 3);
      collector.start();
      std::this_thread::sleep_for(life / 3);
    } else {
      std::this_thread::sleep_for(life);
    }
    host.kill();
    ASSERT_TRUE(host.readUpTo({}, 10s));
    ledger.addReported(host.output());
    if (host.output().empty()) ++silent;
    harvest(token, accepting);

    if (const auto session = readSession(data.path("store"))) {
      EXPECT_GE(session->visits, before.visits);
      EXPECT_EQ(session->visits == before.visits, session->sid == before.sid);
      EXPECT_TRUE(before.uuid.empty() || session->uuid == before.uuid);
      before = *session;
    } else {
      EXPECT_EQ(before.visits, 0) << "the state is gone";
    }
  }

  // One last process that is left in peace.
  writeInfoPlist(data.path(), "tk-last");
  collector.setAnswers("{}");
  Child host(ZUL_FAULT_HOST, report(kRounds), data.path("errors"));
  const std::string last = std::to_string(kRounds * 1000 + kMostEvents - 1) + "\n";
  ASSERT_TRUE(host.readUpTo(last, 60s));
  ledger.addReported(host.output());
  EXPECT_TRUE(eventually([&] {
    harvest("tk-last", true);
    return ledger.missing().empty();
  })) << testing::PrintToString(ledger.missing());
  host.closeInput();
  ASSERT_TRUE(host.ended(10s));
  EXPECT_EQ(host.status(), 0);
  EXPECT_EQ(ledger.uuid(), before.uuid);
  EXPECT_EQ(contents(data.path("errors")), "");
  std::cout << kRounds << " kills, " << silent << " of them before the first event; " << ledger.statistics() << "\n";
}

TEST_F(KillTest, LeavesAStoreThatOpensWhileItIsBeingMade) {
  writeInfoPlist(data.path(), "tk");
  int made = 0;
  for (int round = 0; round < kRounds / 3; ++round) {
    Child host(ZUL_FAULT_HOST, report(0), data.path("errors"));
    // The moment when the folder appears is the one that matters, and what follows it.
    eventually([&] { return std::filesystem::exists(data.path("store")); });
    std::this_thread::sleep_for(std::chrono::microseconds(random() % (60'000 * kSlower)));
    host.kill();
    readSession(data.path("store"));
    platform::SqliteStore store(data.path("store"));
    const auto loaded = store.loadAll(platform::DocumentStore::Table::documents);
    EXPECT_EQ(loaded.status, platform::DocumentStore::Status::ok) << store.lastError();
    if (!loaded.rows.empty()) ++made;
    std::filesystem::remove_all(data.path("store"));
  }
  EXPECT_EQ(contents(data.path("errors")), "");
  std::cout << kRounds / 3 << " kills, " << made << " of them with documents\n";
}

}  // namespace
}  // namespace zul::test
