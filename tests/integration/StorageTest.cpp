#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "Child.h"
#include "Events.h"
#include "Json.h"
#include "Patience.h"
#include "RealPhone.h"
#include "RunningCollector.h"
#include "SqliteStore.h"
#include "Tracker.h"

namespace zul::test {
namespace {

using Status = platform::DocumentStore::Status;

constexpr const char* kCannotBeUsed = "The local database cannot be ";

/// A limit on the size of files stands for the full disk. It holds for the whole process.
class FullDisk {
 public:
  explicit FullDisk(rlim_t bytes) {
    ::signal(SIGXFSZ, SIG_IGN);
    ::getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{bytes, before_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FullDisk() { ::setrlimit(RLIMIT_FSIZE, &before_); }
  FullDisk(const FullDisk&) = delete;
  FullDisk& operator=(const FullDisk&) = delete;

 private:
  rlimit before_{};
};

class StorageTest : public testing::Test {
 protected:
  // Puts an install of an earlier process on the disk, with an event that the collector did not get.
  void usedPhone() {
    phone.startUp();
    EXPECT_TRUE(upload(collector, ""));
    collector.setAnswers(R"({"upload":[{"body":{"code":"ERR9"}}]})");
    phone.event("a");
    EXPECT_TRUE(phone.keeps("a"));
    collector.setAnswers("{}");
    phone.exit();
    phone.log->clear();
    collector.reset();
  }

  RunningCollector collector;
  RealPhone phone{collector.baseUrl()};
};

TEST_F(StorageTest, ADamagedDatabaseIsSetAside) {
  usedPhone();
  std::filesystem::remove(phone.database() + "-wal");  // could have the whole database in it, and so mend it
  std::ofstream(phone.database(), std::ios::trunc) << std::string(20'000, 'x');
  phone.startUp();
  phone.event("b");
  EXPECT_TRUE(upload(collector, "b"));
  EXPECT_TRUE(phone.keeps(""));
  EXPECT_EQ(phone.log->count("was damaged and has been set aside"), 1U);
  EXPECT_NE(phone.document("Identify").at("uuid").as_string(), "");
  EXPECT_EQ(phone.query("PRAGMA integrity_check"), "ok");
}

// Neither has become a row when the process dies, which is as if its folder were copied; one of them the collector has.
TEST_F(StorageTest, WhatWasDeliveredBeforeAnOlderUploadEndedDoesNotComeBack) {
  phone.startUp();
  EXPECT_TRUE(upload(collector, ""));
  EXPECT_TRUE(eventually([&] { return phone.keeps(""); }));
  collector.setAnswers(R"({"upload":[{"delay":60000},{}]})");
  phone.event("a");
  EXPECT_TRUE(upload(collector, "a"));
  phone.event("b");
  EXPECT_TRUE(upload(collector, "b"));
  EXPECT_TRUE(eventually([&] { return phone.log->count("[Data Sending Status]") == 2; }));
  const auto left = phone.folder.path("left");
  std::filesystem::copy(phone.store, left);
  phone.exit();
  phone.store = left;
  collector.setAnswers(R"({"upload":[{"body":{"code":"ERR9"}}]})");
  phone.startUp();
  EXPECT_TRUE(eventually([&] { return phone.queued() == "a"; })) << phone.queued();
}

TEST_F(StorageTest, WithoutAFolderTheLibraryLivesInMemory) {
  std::ofstream(phone.folder.path("file")) << "x";
  phone.store = phone.folder.path("file") + "/store";
  phone.startUp();
  EXPECT_TRUE(upload(collector, ""));
  phone.event("a");
  const auto arrived = upload(collector, "a");
  ASSERT_TRUE(arrived);
  EXPECT_EQ(json::integer(arrived->body().at(0).at("SESSION").as_object(), "ltvt"), 1);
  phone.event("b");
  const auto next = upload(collector, "b");
  ASSERT_TRUE(next);
  EXPECT_EQ(next->body().at(0).at("SESSION").at("uuid"), arrived->body().at(0).at("SESSION").at("uuid"));
  EXPECT_EQ(phone.log->count(kCannotBeUsed), 1U);
}

TEST_F(StorageTest, AFullDiskIsWaitedFor) {
  {
    const FullDisk full(0);
    phone.startUp();
    EXPECT_TRUE(upload(collector, ""));
    phone.event("a");
    EXPECT_TRUE(upload(collector, "a"));
    collector.setAnswers(R"({"upload":[{"body":{"code":"ERR9"}}]})");
    phone.event("b");
    EXPECT_TRUE(upload(collector, "b"));
    EXPECT_EQ(phone.log->count(kCannotBeUsed), 1U);
    EXPECT_EQ(phone.document("Identify").size(), 0U);
  }
  phone.event("c");
  EXPECT_TRUE(phone.keeps("bc"));
  EXPECT_EQ(json::integer(phone.document("Behavior"), "lifeCriteriaVisit"), 1);
  const auto uuid = phone.document("Identify").at("uuid");
  collector.setAnswers("{}");
  phone.startUp();
  phone.event("d");
  const auto arrived = upload(collector, "bcd");
  ASSERT_TRUE(arrived);
  EXPECT_EQ(arrived->body().at(2).at("SESSION").at("uuid"), uuid);
}

// The disk is full when a process starts: SQLite then cannot even read.
TEST_F(StorageTest, AStartThatCannotReadWaits) {
  usedPhone();
  const auto uuid = phone.document("Identify").at("uuid");
  const auto installTime = phone.document("Install").at("installTime");
  {
    const FullDisk full(0);
    phone.boot();
    phone.initialize();
    phone.event("b");
    EXPECT_FALSE(collector.waitFor(collector::Endpoint::upload, 1, std::chrono::milliseconds(1500)));
  }
  const auto arrived = upload(collector, "ab");
  ASSERT_TRUE(arrived) << phone.log->text();
  EXPECT_EQ(arrived->body().at(1).at("SESSION").at("uuid"), uuid);
  EXPECT_EQ(phone.document("Identify").at("uuid"), uuid);
  EXPECT_EQ(phone.document("Install").at("installTime"), installTime);
  EXPECT_EQ(json::integer(phone.document("Behavior"), "lifeCriteriaVisit"), 1);
  EXPECT_EQ(phone.log->count(kCannotBeUsed), 1U);
}

TEST_F(StorageTest, ASecondProcessInTheFolderWaitsForTheFirst) {
  usedPhone();
  Child first([this] {
    platform::SqliteStore store(phone.store);
    char byte = 0;
    const bool has = store.loadAll(platform::DocumentStore::Table::documents).status == Status::ok;
    return has && write(STDOUT_FILENO, "x", 1) == 1 && read(STDIN_FILENO, &byte, 1) == 0 ? 0 : 1;
  });
  ASSERT_TRUE(first.readUpTo("x", std::chrono::seconds(30)));
  phone.boot();
  phone.initialize();
  phone.event("b");
  EXPECT_TRUE(phone.tracker().getSessionData().empty());
  phone.exit();
  EXPECT_EQ(phone.log->count("is in use by process"), 1U);
  EXPECT_EQ(phone.log->count("1 events are lost that waited for the start-up: the process ends"), 1U);

  phone.boot();
  phone.initialize();
  phone.event("c");
  first.closeInput();
  EXPECT_EQ(first.exitStatus(), 0);
  EXPECT_TRUE(upload(collector, "ac")) << phone.log->text();
}

}  // namespace
}  // namespace zul::test
