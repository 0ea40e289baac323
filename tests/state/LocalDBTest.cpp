#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

#include "LocalDB.h"
#include "SimulatedPlatform.h"

namespace zul {
namespace {

using Table = platform::DocumentStore::Table;

class LocalDBTest : public testing::Test {
 protected:
  // A new process on the same store.
  LocalDB open() { return {sim.store, Tasks(sim.dispatcher, log), log}; }
  std::string stored(const std::string& id) {
    const auto rows = sim.store->load(Table::documents, id).rows;
    return rows.empty() ? "" : rows.front().text;
  }
  void put(Table table, const std::string& key, const std::string& text) { sim.store->put(table, key, text); }

  // Read as an upload does, in small pages.
  std::string queued(LocalDB& db) {
    std::string texts;
    for (std::optional<std::int64_t> after = 0; after;) {
      const auto page = db.payloads(*after, db.lastId(), 7);
      EXPECT_FALSE(page.failed);
      for (const auto& queued : page.payloads) texts += *queued.payload;
      after = page.last;
    }
    return texts;
  }

  platform::SimulatedPlatform sim;
  const Log log{sim.clock, sim.log};
};

void accept(LocalDB& db, const std::string& payload) {
  const auto text = std::make_shared<const std::string>(payload);
  db.enqueue(db.reserveIds(1), {&text, 1});
}

TEST_F(LocalDBTest, KindsSurviveARestartAndStayApart) {
  open().update("Behavior", [](MutableDocument& document) {
    document.setInteger(5, "integer");
    document.setDouble(5.0, "double");
    document.setBoolean(true, "boolean");
    document.setString("5", "string");
    document.setString(std::nullopt, "none");
  });
  auto db = open();
  const auto document = db.documentWithID("Behavior");
  EXPECT_TRUE(document.valueForKey("integer").is_int64());
  EXPECT_TRUE(document.valueForKey("double").is_double());
  EXPECT_TRUE(document.valueForKey("boolean").is_bool());
  EXPECT_EQ(document.stringForKey("string"), "5");
  EXPECT_EQ(document.integerForKey("string"), 0);
  EXPECT_TRUE(document.valueForKey("none").is_null());
  EXPECT_FALSE(db.documentWithID("Install").exists());
}

TEST_F(LocalDBTest, UpdateExistingLeavesNoDocumentBehind) {
  auto db = open();
  db.updateExisting("Behavior", [](MutableDocument& document) { document.setInteger(1, "n"); });
  EXPECT_EQ(stored("Behavior"), "");
  db.update("Behavior", [](MutableDocument& document) { document.setInteger(1, "other"); });
  db.updateExisting("Behavior", [](MutableDocument& document) { document.setInteger(2, "n"); });
  EXPECT_EQ(stored("Behavior"), R"({"other":1,"n":2})");
  db.replace("Behavior", [](MutableDocument& document) { document.setInteger(3, "n"); });
  EXPECT_EQ(stored("Behavior"), R"({"n":3})");
}

TEST_F(LocalDBTest, ASnapshotStaysAsItWas) {
  auto db = open();
  db.update("Behavior", [](MutableDocument& document) { document.setInteger(1, "n"); });
  const auto before = db.documentWithID("Behavior");
  db.update("Behavior", [](MutableDocument& document) { document.setInteger(2, "n"); });
  EXPECT_EQ(before.integerForKey("n"), 1);
  const auto loads = sim.store->loads();
  for (int i = 0; i < 10; ++i) db.documentWithID("Behavior");
  EXPECT_EQ(sim.store->loads(), loads);
}

TEST_F(LocalDBTest, ATransactionIsOneCommitThatSeesItself) {
  auto db = open();
  const auto commits = sim.store->commits();
  std::vector<std::string> order;
  db.transaction([&] {
    db.update("A", [](MutableDocument& document) { document.setInteger(1, "n"); });
    db.afterCommit([&] { order.push_back("after:" + stored("B")); });
    const auto seen = db.documentWithID("A").integerForKey("n");
    db.update("B", [&](MutableDocument& document) { document.setInteger(seen + 1, "n"); });
    EXPECT_EQ(stored("A"), "");
    order.emplace_back("work");
  });
  EXPECT_EQ(sim.store->commits(), commits + 1);
  EXPECT_EQ(order, (std::vector<std::string>{"work", R"(after:{"n":2})"}));
}

TEST_F(LocalDBTest, ATransactionThatThrowsChangesNothing) {
  auto db = open();
  db.update("A", [](MutableDocument& document) { document.setInteger(1, "n"); });
  EXPECT_THROW(db.transaction([&] {
    db.update("A", [](MutableDocument& document) { document.setInteger(2, "n"); });
    throw std::runtime_error("no");
  }),
               std::runtime_error);
  EXPECT_EQ(db.documentWithID("A").integerForKey("n"), 1);
  EXPECT_EQ(stored("A"), R"({"n":1})");
  db.update("A", [](MutableDocument& document) { document.setInteger(3, "n"); });
  EXPECT_EQ(stored("A"), R"({"n":3})");
}

TEST_F(LocalDBTest, AWriteThatChangesNothingTouchesNoDisk) {
  auto db = open();
  db.update("A", [](MutableDocument& document) { document.setInteger(1, "n"); });
  const auto commits = sim.store->commits();
  db.update("A", [](MutableDocument& document) { document.setInteger(1, "n"); });
  EXPECT_EQ(sim.store->commits(), commits);
}

TEST_F(LocalDBTest, ConcurrentWritersLoseNothing) {
  auto db = open();
  constexpr int kWrites = 2000;
  const auto write = [&] {
    for (int i = 0; i < kWrites; ++i) {
      db.update("A", [](MutableDocument& document) { document.setInteger(document.integerForKey("n") + 1, "n"); });
    }
  };
  std::thread other(write);
  write();
  other.join();
  EXPECT_EQ(db.documentWithID("A").integerForKey("n"), 2 * kWrites);
}

TEST_F(LocalDBTest, AFullDiskIsToldOnceAndMadeUpForLater) {
  auto db = open();
  sim.store->setFailing(true);
  db.update("A", [](MutableDocument& document) { document.setInteger(1, "n"); });
  accept(db, "{}");
  db.update("A", [](MutableDocument& document) { document.setInteger(2, "n"); });
  EXPECT_EQ(db.documentWithID("A").integerForKey("n"), 2);
  EXPECT_EQ(sim.log->count("disk full"), 1U);
  sim.store->setFailing(false);
  db.update("B", [](MutableDocument& document) { document.setInteger(1, "n"); });
  EXPECT_EQ(stored("A"), "");
  sim.dispatcher->advance(1);
  EXPECT_EQ(stored("A"), R"({"n":2})");
  EXPECT_EQ(stored("B"), R"({"n":1})");
  EXPECT_EQ(sim.store->loadAll(Table::queue).rows.size(), 1U);
}

TEST_F(LocalDBTest, ADamagedStoreIsWrittenAnew) {
  auto db = open();
  db.update("A", [](MutableDocument& document) { document.setInteger(1, "n"); });
  accept(db, "{\"p\":1}");
  sim.store->damage();
  db.update("B", [](MutableDocument& document) { document.setInteger(2, "n"); });
  EXPECT_EQ(stored("A"), R"({"n":1})");
  EXPECT_EQ(stored("B"), R"({"n":2})");
  EXPECT_EQ(sim.store->loadAll(Table::queue).rows.size(), 1U);
  EXPECT_EQ(sim.log->count("set aside"), 1U);
}

TEST_F(LocalDBTest, AnUnreadableDocumentIsSetAsideAndBegunAnew) {
  put(Table::documents, "A", "{\"n\":");
  auto db = open();
  EXPECT_FALSE(db.documentWithID("A").exists());
  db.update("A", [](MutableDocument& document) { document.setInteger(1, "n"); });
  EXPECT_EQ(stored("A"), R"({"n":1})");
  EXPECT_EQ(sim.store->loadAll(Table::setAside).rows.at(0).text, "{\"n\":");
}

// One verdict on all that is stored, or none: until it can be read nothing is made up and nothing is written. Asking
// costs the first caller one wait; then the background has the matter.
TEST_F(LocalDBTest, WhatCannotBeReadIsWaitedFor) {
  put(Table::documents, "A", R"({"n":1})");
  put(Table::queue, "7", R"({"old":1})");
  const auto add = [](LocalDB& db) {
    db.update("A", [](MutableDocument& document) { document.setInteger(document.integerForKey("n") + 1, "n"); });
  };
  sim.store->setUnreadable(true);
  auto db = open();
  std::string order;
  db.whenReadable([&] {
    add(db);
    order += "a";
  });
  sim.store->setUnreadable(false);
  EXPECT_FALSE(db.documentWithID("A").exists()) << "asked again";
  EXPECT_THROW(add(db), std::runtime_error);
  EXPECT_THROW(accept(db, R"({"new":1})"), std::runtime_error);
  EXPECT_FALSE(db.loadQueue());
  db.whenReadable([&] { order += "b"; });
  EXPECT_EQ(stored("A"), R"({"n":1})");
  sim.dispatcher->advance(1);
  db.whenReadable([&] { order += "c"; });
  EXPECT_EQ(order, "abc");
  EXPECT_EQ(stored("A"), R"({"n":2})");
  accept(db, R"({"new":1})");
  EXPECT_TRUE(db.loadQueue());
  EXPECT_EQ(queued(db), R"({"old":1}{"new":1})");
  EXPECT_EQ(sim.log->count("cannot be read"), 1U);
}

TEST_F(LocalDBTest, TheQueueKeepsItsOrderOverARestart) {
  auto first = open();
  std::string all;
  for (int i = 10; i < 310; ++i) {  // several pages
    accept(first, "{\"n\":" + std::to_string(i) + "}");
    all += "{\"n\":" + std::to_string(i) + "}";
  }
  auto second = open();
  accept(second, R"({"late":1})");
  EXPECT_TRUE(second.loadQueue());
  EXPECT_EQ(queued(second), all + R"({"late":1})");
  sim.store->setUnreadable(true);
  EXPECT_TRUE(second.payloads(0, second.lastId(), 7).failed) << "a long queue is not in memory";
  sim.store->setUnreadable(false);
  second.dequeue(IdSet(1, 250));
  EXPECT_TRUE(second.loadQueue());
  sim.store->setUnreadable(true);
  EXPECT_EQ(queued(second), all.substr(all.size() - 50 * 9) + R"({"late":1})") << "a short one is";
  sim.store->setUnreadable(false);
  second.dequeue(IdSet::upTo(second.lastId()));
  second.dequeue(IdSet::upTo(second.lastId()));
  EXPECT_EQ(sim.store->loadAll(Table::queue).rows.size(), 0U);
}

// Of a long queue that is read from the disk: what the collector has must not be found there again.
TEST_F(LocalDBTest, WhatWasDeliveredIsGoneAlsoWhereItsRowsCannotBeRemoved) {
  for (int id = 1; id <= 300; ++id) put(Table::queue, std::to_string(id), "{\"n\":1}");
  auto db = open();
  ASSERT_TRUE(db.loadQueue());
  sim.store->setFailing(true);
  db.dequeue(IdSet(1, 299));
  EXPECT_TRUE(db.loadQueue());
  EXPECT_EQ(queued(db), "{\"n\":1}");
  sim.store->setFailing(false);
  sim.dispatcher->advance(2);
  EXPECT_EQ(sim.store->loadAll(Table::queue).rows.size(), 1U);
  EXPECT_EQ(queued(db), "{\"n\":1}");
}

}  // namespace
}  // namespace zul
