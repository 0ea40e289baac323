#include <gmock/gmock.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Child.h"
#include "Damage.h"
#include "SqliteKeychain.h"
#include "SqliteShell.h"
#include "SyncCounter.h"
#include "TemporaryFolder.h"

namespace zul::platform {
namespace {

using Dictionary = Keychain::Dictionary;
using Status = Keychain::Status;
using test::Child;
using test::contents;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

Dictionary attributes(const std::vector<std::pair<std::string_view, std::string>>& values) {
  return {values.begin(), values.end()};
}

Dictionary uuid(const std::string& account) {
  return attributes({{Keychain::kSecAttrGeneric, "UUID"}, {Keychain::kSecAttrAccount, account}});
}

const Dictionary kUuid = attributes({{Keychain::kSecAttrGeneric, "UUID"}, {Keychain::kSecReturnAttributes, "1"}});

class SqliteKeychainTest : public testing::Test {
 private:
  const test::TemporaryFolder temporary_;

 protected:
  /// The stored account of the item "UUID", as a new process finds it.
  std::string account() const {
    const auto found = SqliteKeychain(file).SecItemCopyMatching(kUuid);
    if (found.status == Status::failed) return "failed";
    const auto text = found.item.find(Keychain::kSecAttrAccount);
    return text == found.item.end() ? "none" : text->second;
  }

  std::vector<std::string> filesSetAside() const {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      if (entry.path().string().find(".corrupt-") != std::string::npos) found.push_back(entry.path());
    }
    return found;
  }

  const std::filesystem::path folder = temporary_.path("a folder");
  const std::string file = (folder / "made" / ".." / "app-keychain.sqlite").lexically_normal();
};

TEST_F(SqliteKeychainTest, KeepsItemsByIdentifierAndAccessGroup) {
  SqliteKeychain keychain(file);
  EXPECT_FALSE(std::filesystem::exists(folder)) << "nothing before the first call";
  EXPECT_EQ(keychain.SecItemCopyMatching(kUuid).status, Status::notFound);
  EXPECT_EQ(keychain.SecItemUpdate(kUuid, uuid("A")), Status::notFound);
  EXPECT_EQ(keychain.SecItemDelete(kUuid), Status::notFound);

  const std::string bytes("\0\xFF'", 3);
  Dictionary whole = uuid("A");
  whole.emplace(Keychain::kSecClass, Keychain::kSecClassGenericPassword);
  whole.emplace(Keychain::kSecAttrLabel, "");
  whole.emplace(Keychain::kSecValueData, bytes);
  EXPECT_EQ(keychain.SecItemAdd(whole), Status::ok);
  EXPECT_EQ(keychain.SecItemAdd(uuid("B")), Status::duplicate);
  Dictionary shared = uuid("S");
  shared.emplace(Keychain::kSecAttrAccessGroup, "group");
  EXPECT_EQ(keychain.SecItemAdd(shared), Status::ok);
  EXPECT_EQ(account(), "A");

  Dictionary query = kUuid;
  Dictionary expected = uuid("A");
  expected.emplace(Keychain::kSecAttrLabel, "");  // what is empty is there; what was never given is not
  EXPECT_EQ(keychain.SecItemCopyMatching(query).item, expected);
  query.emplace(Keychain::kSecReturnData, "1");
  expected.emplace(Keychain::kSecValueData, bytes);
  EXPECT_EQ(keychain.SecItemCopyMatching(query).item, expected);
  query.emplace(Keychain::kSecAttrAccessGroup, "group");
  EXPECT_EQ(keychain.SecItemCopyMatching(query).item, shared);

  // What a search gave finds the item again, and an update leaves alone what it does not name.
  EXPECT_EQ(keychain.SecItemUpdate(expected, attributes({{Keychain::kSecAttrAccount, "C"}})), Status::ok);
  expected[std::string(Keychain::kSecAttrAccount)] = "C";
  query.erase(query.find(Keychain::kSecAttrAccessGroup));
  EXPECT_EQ(SqliteKeychain(file).SecItemCopyMatching(query).item, expected);
  EXPECT_EQ(keychain.SecItemDelete(expected), Status::ok);
  EXPECT_EQ(account(), "S");
  EXPECT_EQ(keychain.lastError(), "");

  struct stat info {};
  ASSERT_EQ(stat(file.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
  ASSERT_EQ(stat(folder.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0700u);
}

TEST_F(SqliteKeychainTest, WaitsForTheDiskWhereItWritesAlone) {
  SqliteKeychain keychain(file);
  ASSERT_EQ(keychain.SecItemAdd(uuid("A")), Status::ok);
  int before = test::syncsOfThisThread();
  EXPECT_EQ(account(), "A");
  EXPECT_EQ(test::syncsOfThisThread(), before);
  ASSERT_EQ(keychain.SecItemUpdate(kUuid, uuid("B")), Status::ok);
  // The journal twice, its folder, the file, and the folder from which the journal has gone: it could come back.
  EXPECT_GE(test::syncsOfThisThread() - before, 5);
}

// Whoever reads sees both attributes of one write, whoever dies leaves them so, and nobody finds the item missing.
TEST_F(SqliteKeychainTest, ProcessesReadAndWriteAtOnceAndDieAtAnyTime) {
  const auto pair = [](const std::string& text) {
    return attributes({{Keychain::kSecAttrAccount, text}, {Keychain::kSecAttrLabel, text}});
  };
  Dictionary first = pair("first");
  first.emplace(Keychain::kSecAttrGeneric, "UUID");
  ASSERT_EQ(SqliteKeychain(file).SecItemAdd(first), Status::ok);
  for (int round = 0; round < 4; ++round) {
    std::vector<std::unique_ptr<Child>> writers;
    for (int i = 0; i < 3; ++i) {
      writers.push_back(std::make_unique<Child>([&] {
        SqliteKeychain keychain(file);
        for (int n = 0;; ++n) {
          const auto status = keychain.SecItemUpdate(kUuid, pair(std::to_string(getpid() * 1000 + n)));
          if (status != Status::ok && status != Status::failed) return 1;
          if (n == 0 && write(STDOUT_FILENO, "x", 1) != 1) return 2;
        }
      }));
    }
    for (const auto& writer : writers) ASSERT_TRUE(writer->readUpTo("x", std::chrono::seconds(30)));
    SqliteKeychain keychain(file);
    for (int look = 0; look < 10; ++look) {
      const auto found = keychain.SecItemCopyMatching(kUuid);
      if (found.status == Status::failed) continue;  // a writer took its time
      ASSERT_EQ(found.status, Status::ok);
      EXPECT_EQ(found.item.find(Keychain::kSecAttrAccount)->second, found.item.find(Keychain::kSecAttrLabel)->second);
    }
    for (const auto& writer : writers) writer->kill();
    const auto found = keychain.SecItemCopyMatching(kUuid);
    ASSERT_EQ(found.status, Status::ok) << keychain.lastError();
    EXPECT_EQ(found.item.find(Keychain::kSecAttrAccount)->second, found.item.find(Keychain::kSecAttrLabel)->second);
  }
  EXPECT_THAT(filesSetAside(), IsEmpty());
}

TEST_F(SqliteKeychainTest, ThreadsTakeTurns) {
  SqliteKeychain keychain(file);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 10; ++i) {
        const auto name = std::to_string(t * 100 + i);
        EXPECT_EQ(keychain.SecItemAdd(attributes({{Keychain::kSecAttrGeneric, name}})), Status::ok);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(test::SqliteShell(file).run("SELECT count(*) FROM item"), "40");
}

TEST_F(SqliteKeychainTest, FailsWhileSomebodyElseHasTheFileAndGoesOn) {
  SqliteKeychain keychain(file);
  ASSERT_EQ(keychain.SecItemAdd(uuid("A")), Status::ok);
  test::SqliteShell shell(file);
  shell.run("BEGIN EXCLUSIVE");
  EXPECT_EQ(keychain.SecItemCopyMatching(kUuid).status, Status::failed);
  EXPECT_EQ(keychain.SecItemAdd(uuid("B")), Status::failed);
  EXPECT_EQ(keychain.SecItemDelete(kUuid), Status::failed);
  EXPECT_THAT(keychain.lastError(), HasSubstr("SecItemDelete: " + file + ": database is locked"));
  shell.run("COMMIT");
  EXPECT_EQ(account(), "A");

  shell.run("PRAGMA user_version=2");
  EXPECT_EQ(keychain.SecItemUpdate(kUuid, uuid("B")), Status::failed);
  EXPECT_THAT(keychain.lastError(), HasSubstr("later version"));
  shell.run("PRAGMA user_version=1");
  EXPECT_EQ(account(), "A");
}

TEST_F(SqliteKeychainTest, ADamagedFileIsSetAsideAndNeverOverwritten) {
  const std::function<void()> damages[] = {
      [&] { overwrite(file, 4096, 4096); },
      [&] { overwrite(file, 0, 100); },
      [&] { std::filesystem::resize_file(file, 5000); },
      [&] { std::ofstream(file, std::ios::trunc) << "not a database, but it could have been one"; },
  };
  std::size_t known = 0;
  for (const auto& damage : damages) {
    SCOPED_TRACE(known);
    ASSERT_EQ(SqliteKeychain(file).SecItemAdd(uuid("A")), Status::ok);
    damage();
    const std::string damaged = contents(file);
    SqliteKeychain keychain(file);
    EXPECT_EQ(keychain.SecItemCopyMatching(kUuid).status, Status::failed);
    EXPECT_THAT(keychain.lastError(), HasSubstr("; set aside as app-keychain.sqlite.corrupt-"));
    const auto found = filesSetAside();
    ASSERT_THAT(found, SizeIs(++known));
    EXPECT_EQ(std::count_if(found.begin(), found.end(), [&](const auto& name) { return contents(name) == damaged; }),
              1);
    EXPECT_EQ(account(), "none");
  }
}

TEST_F(SqliteKeychainTest, AReadThatTheSystemFailsIsNoDamage) {
  ASSERT_EQ(SqliteKeychain(file).SecItemAdd(uuid("A")), Status::ok);
  for (int after = 0;; ++after) {
    for (const int count : {1, 1'000'000}) {
      SCOPED_TRACE(testing::Message() << count << " reads fail after " << after);
      SqliteKeychain keychain(file);
      {
        const FailingReads failing(after, count);
        const auto found = keychain.SecItemCopyMatching(kUuid);
        if (!failing.hasFailed()) {
          EXPECT_GT(after, 1);
          return;
        }
        EXPECT_NE(found.status, Status::notFound);
      }
      ASSERT_EQ(account(), "A");
      ASSERT_THAT(filesSetAside(), IsEmpty());
    }
  }
}

TEST_F(SqliteKeychainTest, GoesOnWhenTheFolderBecomesUsable) {
  std::ofstream(folder).flush();
  SqliteKeychain keychain(file);
  EXPECT_EQ(keychain.SecItemCopyMatching(kUuid).status, Status::failed);
  EXPECT_EQ(keychain.SecItemAdd(uuid("A")), Status::failed);
  EXPECT_THAT(keychain.lastError(), HasSubstr("(Not a directory)"));
  std::filesystem::remove(folder);
  EXPECT_EQ(keychain.SecItemAdd(uuid("A")), Status::ok);
  std::filesystem::remove_all(folder);
  EXPECT_EQ(keychain.SecItemAdd(uuid("B")), Status::ok);
  EXPECT_EQ(SqliteKeychain("/proc/inner/file").SecItemAdd(uuid("A")), Status::failed);
}

// A limit on the size of files stands for the full disk. It holds for the whole process, hence the child.
TEST_F(SqliteKeychainTest, AFullDiskLosesNothing) {
  Child child([this] {
    ::signal(SIGXFSZ, SIG_IGN);
    const auto limitTo = [](rlim_t bytes) {
      const rlimit limits{bytes, RLIM_INFINITY};
      ::setrlimit(RLIMIT_FSIZE, &limits);
    };
    SqliteKeychain keychain(file);
    bool right = keychain.SecItemAdd(uuid("A")) == Status::ok;
    for (const rlim_t bytes : {0, 100, 5000}) {
      limitTo(bytes);
      right = right && keychain.SecItemUpdate(kUuid, uuid(std::string(50'000, 'x'))) == Status::failed;
      right = right && account() == "A";
    }
    limitTo(RLIM_INFINITY);
    return right && keychain.SecItemUpdate(kUuid, uuid("B")) == Status::ok ? 0 : 1;
  });
  EXPECT_EQ(child.exitStatus(), 0);
  EXPECT_EQ(account(), "B");
}

}  // namespace
}  // namespace zul::platform
