#include <benchmark/benchmark.h>

#include <memory>

#include "Benches.h"
#include "Json.h"
#include "LocalDB.h"
#include "Measurements.h"
#include "Process.h"
#include "RawSqlite.h"
#include "Seed.h"
#include "SessionPayload.h"
#include "SessionRecord.h"
#include "Tracker.h"
#include "Workbench.h"

namespace zul::bench {

namespace {

constexpr const char* kDocument = "Behavior";
constexpr int kTypeWithoutPayload = 2;

// The document's text with other digits at each call, as long as what the update makes.
class ChangingText {
 public:
  explicit ChangingText(std::string text) : text_(std::move(text)), place_(text_.rfind("5678")) {}
  const std::string& next() {
    text_.replace(place_, 4, std::to_string(1000 + ++count_ % 9000));
    return text_;
  }

 private:
  std::string text_;
  std::size_t place_;
  int count_ = 0;
};

std::string textOf(Workbench& workbench, const std::string& document) {
  return json::text(workbench.runtime().db().documentWithID(document).members());
}

template <typename Work>
void add(const char* name, Work work) {
  benchmark::RegisterBenchmark(name, [work](benchmark::State& state) mutable {
    for (auto _ : state) work();
  })->UseRealTime();
}

}  // namespace

void benchStore(Table& table) {
  const TemporaryFolder folder;
  Workbench workbench(folder.path());
  auto& runtime = workbench.runtime();
  auto& db = runtime.db();
  const auto raw = std::make_shared<RawSqlite>(folder.path("raw.sqlite"));
  db.update(kDocument, [](MutableDocument& document) { document.setDouble(1700000000.5678, "recentSessionTimeSec"); });
  const ChangingText behavior(textOf(workbench, kDocument));

  add("update", [&db, n = 0]() mutable {
    db.update(kDocument, [&](MutableDocument& document) {
      document.setDouble(1700000000.1001 + ++n % 8000 * 0.0001, "recentSessionTimeSec");
    });
  });
  add("update, raw", [raw, text = behavior]() mutable { raw->commit({{kDocument, text.next()}}); });

  add("read", [&db] { benchmark::DoNotOptimize(db.documentWithID(kDocument).integerForKey("userCriteriaVisit")); });
  add("read, raw", [raw] { benchmark::DoNotOptimize(raw->read({kDocument})); });

  auto& record = runtime.record();
  const auto payload = std::make_shared<boost::json::object>(workbench.payload());
  add("record", [&record] {
    record.clearInstance();
    benchmark::DoNotOptimize(record.sharedInstance());
  });
  add("keychain uuid", [&runtime] { benchmark::DoNotOptimize(runtime.identifiers().getKeychainUUID()); });
  add("idfa", [&runtime] { benchmark::DoNotOptimize(runtime.identifiers().getIdfa()); });
  add("environment", [&record] { benchmark::DoNotOptimize(record.environment()); });
  add("payload", [&record] { benchmark::DoNotOptimize(sessionPayload(*record.sharedInstance(), {})); });
  add("text", [payload] { benchmark::DoNotOptimize(json::text(*payload)); });

  add("session", [&tracker = runtime.tracker()] { tracker.occurNewSessionWithType(kTypeWithoutPayload); });
  add("session, raw", [raw, text = behavior, identify = textOf(workbench, "Identify")]() mutable {
    raw->commit({{kDocument, text.next()}, {"Identify", identify}});
  });

  const Measurements measurements;
  const auto row = [&](const char* what, const char* ours, const char* rawWhat, const char* raw, Goal goal) {
    table.add({what, "us", measurements.microseconds(ours), rawWhat, measurements.microseconds(raw), goal});
  };
  row("update of one document", "update", "one SQLite commit of the same bytes", "update, raw", Goal::ratioAtMost(1.5));
  row("snapshot read", "read", "a prepared SELECT", "read, raw", Goal::atMost(0.5));
  row("building the record", "record", "the JSON text of the payload", "text", {});
  row("getKeychainUUID, from the keychain's file", "keychain uuid", "a prepared SELECT", "read, raw", {});
  row("getIdfa, from the keychain's file", "idfa", "a prepared SELECT", "read, raw", {});
  row("building an Environment", "environment", "a prepared SELECT", "read, raw", {});
  row("building the payload and its text", "payload", "the JSON text of the payload", "text", {});
  row("a new session's transition", "session", "one SQLite commit of the same bytes", "session, raw", {});

  const int before = workbench.commits();
  workbench.runtime().tracker().occurNewSessionWithType(kTypeWithoutPayload);
  table.add({.what = "a new session's commits",
             .unit = "",
             .ours = static_cast<double>(workbench.commits() - before),
             .goal = Goal::atMost(1)});
}

}  // namespace zul::bench
