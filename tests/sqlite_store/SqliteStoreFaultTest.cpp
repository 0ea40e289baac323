#include <signal.h>
#include <sys/resource.h>

#include <fstream>
#include <functional>

#include "Child.h"
#include "Damage.h"
#include "StoreFolder.h"

namespace zul::platform {
namespace {

using test::contents;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class SqliteStoreFaultTest : public SqliteStoreFolder {
 protected:
  /// Some hundred pages in the database, and a commit in the log.
  void fill() {
    SqliteStore store(folder);
    Writes writes;
    for (int i = 0; i < 400; ++i) {
      writes.push_back({Table::documents, std::to_string(i), std::string(1500, 'd')});
    }
    ASSERT_EQ(store.commit(writes), Status::ok) << store.lastError();
    store.maintain();
    ASSERT_EQ(store.commit(Writes{{Table::queue, "1", "in the log"}}), Status::ok);
  }

  std::vector<std::string> setAsideDatabases() const {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      const std::string name = entry.path();
      if (name.find(".corrupt-") != std::string::npos && !name.ends_with("-wal") && !name.ends_with("-shm")) {
        found.push_back(name);
      }
    }
    return found;
  }
};

TEST_F(SqliteStoreFaultTest, ADamagedDatabaseIsSetAsideWholeAndNeverOverwritten) {
  const std::vector<std::function<void()>> damages = {
      [&] { overwrite(database, 20 * 4096, 60 * 4096); },
      [&] { std::filesystem::resize_file(database, 10 * 4096 + 100); },
      [&] { std::ofstream(database, std::ios::trunc) << "not a database"; },
      [&] {
        overwrite(database, 0, 100);
        // The log may hold a better first page.
        std::filesystem::resize_file(database + "-wal", 0);
      },
  };
  std::vector<std::string> known;
  for (std::size_t i = 0; i < damages.size(); ++i) {
    SCOPED_TRACE(i);
    fill();
    damages[i]();
    const std::string damaged = contents(database);
    const std::string log = contents(database + "-wal");

    SqliteStore store(folder);
    const DocumentStore::Loaded loaded = store.loadAll(Table::documents);
    ASSERT_EQ(loaded.status, Status::corrupt);
    EXPECT_THAT(loaded.rows, IsEmpty());
    EXPECT_THAT(store.lastError(), HasSubstr("set aside as ZULLocalDB.sqlite.corrupt-"));
    const std::vector<std::string> found = setAsideDatabases();
    ASSERT_THAT(found, SizeIs(i + 1));
    EXPECT_EQ(std::count_if(
                  found.begin(), found.end(),
                  [&](const std::string& name) { return contents(name) == damaged && contents(name + "-wal") == log; }),
              1);

    EXPECT_THAT(store.loadAll(Table::queue).rows, IsEmpty());
    EXPECT_EQ(store.commit(Writes{{Table::documents, "new", "1"}}), Status::ok);
    EXPECT_THAT(SqliteStore(folder).loadAll(Table::documents).rows, ElementsAre(StoredRow{"new", "1"}));
  }
}

TEST_F(SqliteStoreFaultTest, AReadThatTheSystemFailsIsNoDamage) {
  fill();
  for (int after = 0;; after += after < 12 ? 1 : 40) {
    for (const int count : {1, 1'000'000}) {
      SCOPED_TRACE(testing::Message() << count << " reads fail after " << after);
      SqliteStore store(folder);
      {
        const FailingReads failing(after, count);
        const DocumentStore::Loaded loaded = store.loadAll(Table::documents);
        if (!failing.hasFailed()) {
          ASSERT_GT(after, 100);
          return;
        }
        EXPECT_NE(loaded.status, Status::corrupt) << store.lastError();
      }
      EXPECT_THAT(store.loadAll(Table::documents).rows, SizeIs(400));
      EXPECT_THAT(store.loadAll(Table::queue).rows, SizeIs(1));
    }
    ASSERT_THAT(setAsideDatabases(), IsEmpty());
  }
}

// Two processes in one folder would write over each other's rows.
TEST_F(SqliteStoreFaultTest, OneProcessAtATimeHasTheFolder) {
  test::Child first([this] {
    SqliteStore store(folder);
    const bool stored = store.commit(Writes{{Table::documents, "a", "1"}}) == Status::ok;
    char byte = 0;
    while (write(STDOUT_FILENO, "x", 1) == 1 && read(STDIN_FILENO, &byte, 1) > 0) {
    }
    return stored ? 0 : 1;
  });
  ASSERT_TRUE(first.readUpTo("x", std::chrono::seconds(30)));
  SqliteStore store(folder);
  EXPECT_EQ(store.loadAll(Table::documents).status, Status::failed);
  EXPECT_THAT(store.lastError(),
              testing::MatchesRegex(".*is in use by process [0-9]+, and one process at a time may use it"));
  EXPECT_EQ(store.commit(Writes{{Table::documents, "a", "2"}}), Status::failed);
  EXPECT_EQ(SqliteShell(database).run("SELECT body FROM document"), "1") << "anybody may look";
  first.closeInput();
  EXPECT_EQ(first.exitStatus(), 0);
  EXPECT_THAT(store.loadAll(Table::documents).rows, ElementsAre(StoredRow{"a", "1"}));

  // Where no lock can be had for another reason than a system without any, nobody goes on without one.
  const auto elsewhere = folder / "elsewhere";
  std::filesystem::create_directories(elsewhere / "ZULLocalDB.lock");
  SqliteStore unlocked(elsewhere);
  EXPECT_EQ(unlocked.commit(Writes{{Table::documents, "a", "1"}}), Status::failed);
  EXPECT_THAT(unlocked.lastError(), HasSubstr("ZULLocalDB.lock (Is a directory)"));

  // A child that is forked and lives on does not keep the folder.
  test::Child forked([] { return read(STDIN_FILENO, nullptr, 0) == 0 ? 0 : 1; });
  EXPECT_EQ(store.commit(Writes{{Table::documents, "a", "2"}}), Status::ok);
  EXPECT_EQ(forked.exitStatus(), 0);
}

TEST_F(SqliteStoreFaultTest, NeitherAnEmptyFileNorOneOfALaterVersionIsDamaged) {
  std::ofstream(database).flush();
  fill();
  SqliteShell(database).run("PRAGMA user_version=3");
  SqliteStore store(folder);
  EXPECT_EQ(store.commit(Writes{{Table::documents, "a", "1"}}), Status::failed);
  EXPECT_THAT(store.lastError(), HasSubstr("later version"));
  SqliteShell(database).run("PRAGMA user_version=2");
  EXPECT_THAT(store.loadAll(Table::documents).rows, SizeIs(400));
  EXPECT_THAT(setAsideDatabases(), IsEmpty());
}

TEST_F(SqliteStoreFaultTest, TheLogOfAnEmptyDatabaseIsReadOrSetAside) {
  ASSERT_EQ(SqliteStore(folder).commit(Writes{{Table::queue, "1", "all in the log"}}), Status::ok);
  std::filesystem::resize_file(database, 0);
  EXPECT_THAT(SqliteStore(folder).loadAll(Table::queue).rows, ElementsAre(StoredRow{"1", "all in the log"}));
  std::filesystem::remove(database);
  EXPECT_THAT(SqliteStore(folder).loadAll(Table::queue).rows, ElementsAre(StoredRow{"1", "all in the log"}));
  EXPECT_THAT(setAsideDatabases(), IsEmpty());

  fill();
  const std::string log = contents(database + "-wal");
  ASSERT_GT(log.size(), 4096u);
  std::filesystem::resize_file(database, 0);
  SqliteStore store(folder);
  EXPECT_EQ(store.loadAll(Table::queue).status, Status::corrupt);
  ASSERT_THAT(setAsideDatabases(), SizeIs(1));
  EXPECT_EQ(contents(setAsideDatabases().front() + "-wal"), log);
  EXPECT_EQ(store.commit(Writes{{Table::documents, "new", "1"}}), Status::ok) << store.lastError();
}

TEST_F(SqliteStoreFaultTest, GoesOnWhenTheFolderBecomesUsable) {
  std::ofstream(folder / "file").flush();
  SqliteStore store(folder / "file" / "inner");
  EXPECT_EQ(store.load(Table::documents, "a").status, Status::ok) << "nothing can be stored there";
  EXPECT_EQ(store.commit(Writes{{Table::documents, "a", "1"}}), Status::failed);
  EXPECT_EQ(store.lastError(), "commit: ZULLocalDB.sqlite: unable to create the folder (Not a directory)");
  std::filesystem::remove(folder / "file");
  EXPECT_EQ(store.commit(Writes{{Table::documents, "a", "1"}}), Status::ok);

  EXPECT_EQ(SqliteStore("/proc/inner").commit(Writes{{Table::documents, "a", "1"}}), Status::failed);
}

// A limit on the size of files stands for the full disk. It holds for the whole process, hence the child.
TEST_F(SqliteStoreFaultTest, GoesOnWhenTheDiskIsNoLongerFull) {
  test::Child child([this] {
    ::signal(SIGXFSZ, SIG_IGN);
    const auto limitTo = [](rlim_t bytes) {
      const rlimit limits{bytes, RLIM_INFINITY};
      ::setrlimit(RLIMIT_FSIZE, &limits);
    };
    SqliteStore store(folder);
    const Writes large = {{Table::documents, "a", "3"}, {Table::documents, "b", std::string(1'000'000, 'x')}};
    bool right = store.commit(Writes{{Table::documents, "a", "1"}}) == Status::ok;
    limitTo(200'000);
    right = right && store.commit(large) == Status::failed;
    right = right && store.loadAll(Table::documents).rows == std::vector<StoredRow>{{"a", "1"}};
    right = right && store.commit(Writes{{Table::documents, "a", "2"}}) == Status::ok;
    limitTo(RLIM_INFINITY);
    right = right && store.commit(large) == Status::ok;
    return right ? 0 : 1;
  });
  EXPECT_EQ(child.exitStatus(), 0);
  EXPECT_THAT(SqliteStore(folder).loadAll(Table::documents).rows, SizeIs(2));
}

}  // namespace
}  // namespace zul::platform
