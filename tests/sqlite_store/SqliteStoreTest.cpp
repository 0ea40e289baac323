#include <sys/stat.h>

#include "StoreFolder.h"

namespace zul::platform {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

using SqliteStoreTest = SqliteStoreFolder;

TEST_F(SqliteStoreTest, KeepsAnyKeyAndTextOverReopening) {
  const std::vector<StoredRow> rows = {{"", ""},
                                       {"a\0b"s, "c\0d\0"s},
                                       {"it's \"quoted\"", "\xff\xfe not UTF-8"},
                                       {"large", std::string(5'000'000, 'x') + '\0' + std::string(9, 'y')}};
  Writes writes;
  for (const StoredRow& row : rows) {
    writes.push_back({Table::documents, row.key, row.text});
    writes.push_back({Table::setAside, row.key, row.text});
  }
  ASSERT_EQ(SqliteStore(folder).commit(writes), Status::ok);

  SqliteStore store(folder);
  EXPECT_EQ(store.loadAll(Table::documents).rows, rows);
  for (const StoredRow& row : rows) {
    EXPECT_THAT(store.load(Table::setAside, row.key).rows, ElementsAre(row));
  }
  EXPECT_THAT(store.load(Table::documents, std::string_view()).rows, ElementsAre(rows[0]));
  EXPECT_THAT(store.load(Table::documents, "a").rows, IsEmpty());

  writes = {{Table::documents, "large", "small"}, {Table::documents, "", std::nullopt}};
  ASSERT_EQ(store.commit(writes), Status::ok);
  EXPECT_THAT(store.loadAll(Table::documents).rows, ElementsAre(rows[1], rows[2], StoredRow{"large", "small"}));
  EXPECT_EQ(store.loadAll(Table::setAside).rows, rows);
  EXPECT_EQ(store.lastError(), "");
}

TEST_F(SqliteStoreTest, OrdersTheJournalByNumberAndRefusesOtherKeysWithTheirWholeCommit) {
  SqliteStore store(folder);
  Writes writes;
  for (const char* key : {"10", "9", "9223372036854775807", "-1", "-9223372036854775808"}) {
    writes.push_back({Table::queue, key, "p"});
  }
  ASSERT_EQ(store.commit(writes), Status::ok);
  for (const std::string& key : {""s, "x"s, "007"s, "+9"s, " 9"s, "9 "s, "-0"s, "9223372036854775808"s, "9\0"s}) {
    writes = {{Table::documents, "a", "1"}, {Table::queue, "9", std::nullopt}, {Table::queue, key, "p"}};
    EXPECT_EQ(store.commit(writes), Status::failed) << key;
    EXPECT_THAT(store.load(Table::queue, key).rows, IsEmpty()) << key;
  }
  EXPECT_THAT(store.loadAll(Table::documents).rows, IsEmpty());
  EXPECT_THAT(store.loadAll(Table::queue).rows,
              ElementsAre(StoredRow{"-9223372036854775808", "p"}, StoredRow{"-1", "p"}, StoredRow{"9", "p"},
                          StoredRow{"10", "p"}, StoredRow{"9223372036854775807", "p"}));
}

TEST_F(SqliteStoreTest, MakesItsFilesForTheirOwnerAloneAndNotBeforeTheFirstCall) {
  const std::filesystem::path inner = folder / "a" / "b";
  SqliteStore store(inner / "");
  EXPECT_FALSE(store.needsMaintenance());
  store.maintain();
  EXPECT_TRUE(std::filesystem::is_empty(folder));

  EXPECT_EQ(store.load(Table::documents, "a").status, Status::ok) << store.lastError();
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    struct stat status {};
    ASSERT_EQ(::stat(entry.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, entry.is_directory() ? 0700u : 0600u) << entry.path();
  }
}

TEST_F(SqliteStoreTest, SharesTheFileWithTheShell) {
  SqliteStore store(folder);
  ASSERT_EQ(store.commit(Writes{{Table::documents, "a", "1"}}), Status::ok);
  SqliteShell shell(database);
  EXPECT_EQ(shell.run("BEGIN; SELECT body FROM documents WHERE id='a'"), "1");
  EXPECT_EQ(store.commit(Writes{{Table::documents, "a", "2"}}), Status::ok) << "while the shell reads";
  EXPECT_EQ(shell.run("COMMIT; SELECT body FROM documents WHERE id='a'"), "2");

  shell.run("BEGIN IMMEDIATE; UPDATE document SET body=3");
  EXPECT_THAT(store.load(Table::documents, "a").rows, ElementsAre(StoredRow{"a", "2"}));
  EXPECT_EQ(store.commit(Writes{{Table::documents, "a", "4"}}), Status::failed) << "while the shell writes";
  EXPECT_EQ(store.lastError(), "commit: ZULLocalDB.sqlite: database is locked");
  shell.run("COMMIT");
  EXPECT_THAT(store.load(Table::documents, "a").rows, ElementsAre(StoredRow{"a", "3"}));
  EXPECT_EQ(store.commit(Writes{{Table::documents, "a", "4"}}), Status::ok);
}

// What the shell shows as documents has the queue in it, and a file of the first version becomes one of this.
TEST_F(SqliteStoreTest, ShowsTheQueueAsADocumentAlsoInAFileOfTheFirstVersion) {
  SqliteShell(database).run(
      "CREATE TABLE documents(id TEXT PRIMARY KEY NOT NULL, body TEXT NOT NULL);"
      "CREATE TABLE journal(id INTEGER PRIMARY KEY, payload TEXT NOT NULL);"
      "CREATE TABLE set_aside(id TEXT PRIMARY KEY NOT NULL, body TEXT NOT NULL);"
      "INSERT INTO documents VALUES('a', '1'), ('Json', '{\"QueueJsonList\":\"[]\"}');"
      "INSERT INTO journal VALUES(10, '{\"n\":1.10}'), (9, '{\"t\":\"\\\"\"}');"
      "PRAGMA user_version=1");
  SqliteStore store(folder);
  EXPECT_THAT(store.loadAll(Table::queue).rows,
              ElementsAre(StoredRow{"9", R"({"t":"\""})"}, StoredRow{"10", R"({"n":1.10})"}));
  SqliteShell shell(database);
  const std::string queue = "SELECT json_extract(body, '$.QueueJsonList') FROM documents WHERE id='Json'";
  EXPECT_EQ(shell.run(queue), "[]") << "as long as the older queue is there";
  ASSERT_EQ(store.commit(Writes{{Table::documents, "Json", std::nullopt}}), Status::ok);
  EXPECT_EQ(shell.run(queue), R"([{"t":"\""},{"n":1.10}])");
  EXPECT_EQ(shell.run("SELECT body FROM documents WHERE id='a'"), "1");
  ASSERT_EQ(store.commit(Writes{{Table::queue, "9", std::nullopt}, {Table::queue, "10", std::nullopt}}), Status::ok);
  EXPECT_EQ(shell.run(queue), "");
}

}  // namespace
}  // namespace zul::platform
