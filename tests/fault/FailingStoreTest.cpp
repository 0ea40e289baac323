#include <gtest/gtest.h>

#include <set>

#include "Phone.h"

namespace zul::test {
namespace {

/// A store that fails in everything while it is told to.
class FailingStore final : public platform::DocumentStore {
 public:
  explicit FailingStore(std::shared_ptr<DocumentStore> real) : real_(std::move(real)) {}

  Loaded load(Table table, std::string_view key) override {
    return failing ? Loaded{Status::failed, {}} : real_->load(table, key);
  }
  Loaded loadAll(Table table) override { return failing ? Loaded{Status::failed, {}} : real_->loadAll(table); }
  Status commit(std::span<const Write> writes) override {
    latest = writes.size();
    return failing ? Status::failed : real_->commit(writes);
  }

  bool failing = true;
  std::size_t latest = 0;  // writes of the latest commit

 private:
  std::shared_ptr<DocumentStore> real_;
};

class FailingStoreTest : public testing::Test {
 protected:
  void launchWithoutStore() {
    auto platform = phone.sim.platform();
    store = std::make_shared<FailingStore>(platform.store);
    platform.store = store;
    phone.runtime = nullptr;
    phone.runtime = std::make_unique<Runtime>(platform);
    phone.initialize();
    phone.sim.dispatcher->advance(6);
  }
  void event(const std::string& name) {
    phone.tracker().setTempPairingData(Dictionary::fromJson("{\"event\":\"" + name + "\"}"));
    phone.tracker().sendTransactionByPage();
    phone.sim.dispatcher->advance(1);
  }

  Phone phone;
  std::shared_ptr<FailingStore> store;
};

// For a while, as long as there are too many open files or the like, the store answers nothing. What it holds is
// still there afterwards, and so must be what was reported meanwhile.
TEST_F(FailingStoreTest, CostsNothingOfWhatIsStored) {
  phone.launch();
  phone.refuseUploads({R"({"code":"ERR9"})"});
  event("a");
  const auto uuid = phone.document("Identify").at("uuid");
  const auto installTime = phone.document("Install").at("installTime");

  launchWithoutStore();
  event("b");
  store->failing = false;
  event("c");
  EXPECT_EQ(phone.document("Identify").at("uuid"), uuid);
  EXPECT_EQ(phone.document("Install").at("installTime"), installTime);

  phone.sim.http->clearRequests();
  phone.acceptUploads();
  phone.launch();
  event("d");
  std::set<std::string> arrived;
  for (const auto& list : phone.uploads()) {
    for (const auto& payload : list) arrived.insert(json::string(session(payload), "event").value_or(""));
  }
  EXPECT_EQ(json::string(phone.document("Json"), "QueueJsonList"), "");
  for (const auto* name : {"a", "b", "c", "d"}) EXPECT_TRUE(arrived.count(name)) << name;
}

// A process can live long without a store. Payloads that the collector has leave nothing behind.
TEST_F(FailingStoreTest, WhatWasDeliveredMeanwhileIsForgotten) {
  launchWithoutStore();
  for (int n = 0; n < 100; ++n) event("a");
  EXPECT_LT(store->latest, 30U);
  phone.refuseUploads({R"({"code":"ERR9"})"});
  event("b");
  event("c");
  store->failing = false;
  event("d");
  EXPECT_EQ(phone.journaled(), 0U);
  phone.sim.http->clearRequests();
  phone.acceptUploads();
  phone.launch();
  event("e");
  EXPECT_EQ(phone.uploads().back().size(), 4U);
}

}  // namespace
}  // namespace zul::test
