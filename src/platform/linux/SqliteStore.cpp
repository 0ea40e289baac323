#include "SqliteStore.h"

#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <filesystem>
#include <limits>
#include <utility>

#include "SqliteConnection.h"
#include "SqliteFiles.h"

namespace zul::platform {

namespace {

constexpr const char* kLockName = "ZULLocalDB.lock";

// Pages in the log, two megabytes, before it is worth a few syncs to empty it. What is in the log is read again
// at the next start.
constexpr int kLogPages = 512;

// Above this a commit may wait for the log to be emptied.
constexpr int kMostLogPages = 4 * kLogPages;

// Commits that come while the first pass waits for the disk leave the next one little to copy, so it has
// a good chance to end before the following commit.
constexpr int kMaintenancePasses = 3;

// Somebody looking with the shell must not freeze the host.
constexpr int kBusyMilliseconds = 100;

// Documents can be megabytes, and a table WITHOUT ROWID would move all but their first kilobyte to
// overflow pages.
constexpr const char* kTables =
    "CREATE TABLE document(id TEXT PRIMARY KEY NOT NULL, body TEXT NOT NULL);"
    "CREATE TABLE queue(id INTEGER PRIMARY KEY, payload TEXT NOT NULL);"
    "CREATE TABLE set_aside(id TEXT PRIMARY KEY NOT NULL, body TEXT NOT NULL);";

// The first version kept the queue in a document, and called the rows beside it a journal.
constexpr const char* kTablesOfVersion1 =
    "ALTER TABLE documents RENAME TO document;"
    "ALTER TABLE journal RENAME TO queue;";

// For people with a shell. A stored "Json" is an older library's, whose payloads come before the rows.
constexpr const char* kView =
    "CREATE VIEW documents AS SELECT id, body FROM document "
    "UNION ALL SELECT 'Json', json_object('QueueJsonList', "
    "(SELECT ifnull('[' || group_concat(payload) || ']', '') FROM (SELECT payload FROM queue ORDER BY id))) "
    "WHERE EXISTS(SELECT 1 FROM document) AND NOT EXISTS(SELECT 1 FROM document WHERE id='Json');"
    "PRAGMA user_version=2;";

// The smallest write there is: it repeats what the first page says already.
constexpr const char* kAppendFrame = "PRAGMA user_version=2";

struct TableStatements {
  const char* load;
  const char* loadFirst;
  const char* loadAfter;
  const char* loadLast;
  const char* put;
  const char* remove;
  const char* removeRange;
};

// A put keeps the row of an existing key in place, where INSERT OR REPLACE would move it and rewrite the index.
#define ZUL_STATEMENTS(table, body)                                                                                 \
  {                                                                                                                 \
    "SELECT id, " body " FROM " table " WHERE id=?1", "SELECT id, " body " FROM " table " ORDER BY id LIMIT ?1",    \
        "SELECT id, " body " FROM " table " WHERE id>?2 ORDER BY id LIMIT ?1",                                      \
        "SELECT id, " body " FROM " table " ORDER BY id DESC LIMIT 1",                                              \
        "INSERT INTO " table "(id, " body ") VALUES(?1, ?2) ON CONFLICT(id) DO UPDATE SET " body "=excluded." body, \
        "DELETE FROM " table " WHERE id=?1", "DELETE FROM " table " WHERE id BETWEEN ?1 AND ?2"                     \
  }

// In the order of DocumentStore::Table.
constexpr std::array<TableStatements, 3> kStatements = {
    {ZUL_STATEMENTS("document", "body"), ZUL_STATEMENTS("queue", "payload"), ZUL_STATEMENTS("set_aside", "body")}};

#undef ZUL_STATEMENTS

const TableStatements& statementsOf(DocumentStore::Table table) {
  return kStatements[static_cast<std::size_t>(table)];
}

// False for a key that the table cannot hold: a queue key in another form ("007") would come back as a
// different text.
bool bindKey(SqliteQuery& query, int parameter, DocumentStore::Table table, std::string_view key) {
  if (table != DocumentStore::Table::queue) {
    query.bind(parameter, key);
    return true;
  }
  std::int64_t number = 0;
  std::from_chars(key.data(), key.data() + key.size(), number);
  query.bind(parameter, number);
  return std::to_string(number) == key;
}

void apply(SqliteConnection& connection, const DocumentStore::Write& write) {
  const TableStatements& statements = statementsOf(write.table);
  const bool isRange = !write.text && !write.through.empty();
  SqliteQuery query(connection, write.text ? statements.put : isRange ? statements.removeRange : statements.remove);
  const bool bound =
      bindKey(query, 1, write.table, write.key) && (!isRange || bindKey(query, 2, write.table, write.through));
  if (!bound) throw SqliteError(SQLITE_MISMATCH, "queue key is not a decimal 64-bit integer");
  if (write.text) query.bind(2, *write.text);
  query.step();
}

void read(SqliteQuery& query, std::vector<StoredRow>& rows) {
  while (query.step()) rows.push_back({query.text(0), query.text(1)});
}

// Costs nothing where the database has a log already, which it remembers.
bool turnLogOn(SqliteConnection& connection) {
  SqliteQuery query(connection, "PRAGMA journal_mode=WAL");
  return query.step() && query.text(0) == "wal";
}

}  // namespace

SqliteStore::SqliteStore(std::string folder, Clock::duration mostAge)
    : path_((std::filesystem::path(std::move(folder)) / kFileName).string()),
      lock_((std::filesystem::path(path_).parent_path() / kLockName).string()),
      ring_((std::filesystem::path(path_).parent_path() / RowRing::kFileName).string()),
      mostAge_(mostAge),
      maintainAbove_(kLogPages) {}

SqliteStore::~SqliteStore() = default;

template <typename Read>
DocumentStore::Loaded SqliteStore::load(const char* operation, Read read) {
  Loaded loaded;
  loaded.status = run(operation, [&](SqliteConnection& connection) { read(connection, loaded.rows); });
  if (loaded.status == Status::ok) return loaded;
  loaded.rows.clear();
  if (loaded.status == Status::failed) {
    // Where no database can be made there is none, and that is an answer.
    const MutexLock lock(mutex_);
    if (!lock_.takenByOther() && holdsNothing(path_)) loaded.status = Status::ok;
  }
  return loaded;
}

DocumentStore::Loaded SqliteStore::load(Table table, std::string_view key) {
  return load("load", [&](SqliteConnection& connection, std::vector<StoredRow>& rows) {
    SqliteQuery query(connection, statementsOf(table).load);
    if (bindKey(query, 1, table, key)) read(query, rows);
  });
}

DocumentStore::Loaded SqliteStore::loadAfter(Table table, const std::optional<std::string>& after, std::size_t most) {
  return load("loadAfter", [&](SqliteConnection& connection, std::vector<StoredRow>& rows) {
    SqliteQuery query(connection, after ? statementsOf(table).loadAfter : statementsOf(table).loadFirst);
    constexpr auto kMost = static_cast<std::size_t>(std::numeric_limits<std::int64_t>::max());
    query.bind(1, static_cast<std::int64_t>(std::min(most, kMost)));
    if (!after || bindKey(query, 2, table, *after)) read(query, rows);
  });
}

DocumentStore::Loaded SqliteStore::loadLast(Table table) {
  return load("loadLast", [&](SqliteConnection& connection, std::vector<StoredRow>& rows) {
    SqliteQuery query(connection, statementsOf(table).loadLast);
    read(query, rows);
  });
}

DocumentStore::Status SqliteStore::commit(std::span<const Write> writes) {
  return run("commit", [&](SqliteConnection& connection) {
    if (writes.size() == 1) return apply(connection, writes.front());  // a statement alone is a transaction
    SqliteTransaction transaction(connection);
    for (const Write& write : writes) {
      apply(connection, write);
    }
    transaction.commit();
  });
}

std::string SqliteStore::lastError() const {
  const MutexLock lock(mutex_);
  return lastError_;
}

RowBuffer* SqliteStore::buffer() noexcept {
  const MutexLock lock(mutex_);
  return lock_.taken() ? &ring_ : nullptr;
}

template <typename Work>
DocumentStore::Status SqliteStore::run(const char* operation, Work work) {
  const MutexLock lock(mutex_);
  try {
    if (!connection_) {
      open();
    }
    work(*connection_);
    return Status::ok;
  } catch (const SqliteError& error) {
    return failed(operation, error);
  }
}

void SqliteStore::open() {
  if (::access(path_.c_str(), F_OK) != 0) createFolderOf(path_);
  lock_.take();
  if (::access(path_.c_str(), F_OK) != 0) createDatabaseFile(path_);
  // What a power cut leaves of a database that was never synced. The log then has all of it, or is damaged.
  if (keepLogOfEmptyDatabase(path_) && isDamaged(path_)) {
    throw SqliteError(SQLITE_CORRUPT, "the database is empty, and its log does not have it whole");
  }
  auto connection = std::make_unique<SqliteConnection>(path_);
  sqlite3_busy_timeout(connection->handle(), kBusyMilliseconds);

  connection->execute("PRAGMA synchronous=OFF");
  const std::int64_t version = schemaVersion(*connection);
  if (version > kSchemaVersion) {
    throw SqliteError(SQLITE_ERROR, "written by a later version of the library");
  }
  if (!turnLogOn(*connection)) {
    throw SqliteError(SQLITE_ERROR, "no write-ahead log is possible here");
  }
  if (version < kSchemaVersion) {
    SqliteTransaction transaction(*connection);
    const auto found = schemaVersion(*connection);  // another process may have been first
    if (found == 0) connection->execute(kTables);
    if (found == 1) connection->execute(kTablesOfVersion1);
    if (found < kSchemaVersion) connection->execute(kView);
    transaction.commit();
    maintainAbove_ = 0;  // the first commit asks for the sync of what was created
  }
  // Takes the place of SQLite's own hook, which checkpoints on the committing thread.
  sqlite3_wal_hook(connection->handle(), &noteLogPages, this);

  connection_ = std::move(connection);
  ++generation_;
}

int SqliteStore::noteLogPages(void* self, sqlite3*, const char*, int pages) {
  auto& store = *static_cast<SqliteStore*>(self);
  if (store.logPages_ == 0) store.waitingSince_ = Clock::now();
  store.logPages_ = pages;
  return SQLITE_OK;
}

DocumentStore::Status SqliteStore::failed(const char* operation, const SqliteError& error) {
  describe(operation, error);
  if (error.tellsOfDamage()) return judge();
  // SQLite opens a file that it may not write for reading alone; a new connection may find it writable again.
  if (error.code() == SQLITE_READONLY) connection_.reset();
  return Status::failed;
}

/// A single read that the system fails looks like damage, too, and would cost a sound database.
DocumentStore::Status SqliteStore::judge() {
  connection_.reset();
  try {
    if (isDamaged(path_)) return setAside();
    lastError_ += "; sound at a second look";
  } catch (const SqliteError& error) {
    lastError_ += std::string("; ") + error.what();
  }
  return Status::failed;
}

DocumentStore::Status SqliteStore::setAside() {
  std::string aside;
  try {
    aside = renameCorruptDatabase(path_);
    ++generation_;
    logPages_ = 0;
  } catch (const SqliteError& error) {
    lastError_ += std::string("; ") + error.what();
    return Status::failed;
  }
  try {
    lastError_ += "; set aside as " + std::filesystem::path(aside).filename().string();
    open();
  } catch (const SqliteError& error) {
    // The file is out of the way all the same, and the next call tries again.
    lastError_ += std::string("; ") + error.what();
  } catch (const std::bad_alloc&) {  // the same
  }
  return Status::corrupt;
}

void SqliteStore::describe(const char* operation, const SqliteError& error) {
  lastError_ = std::string(operation) + ": " + kFileName + ": " + error.what();
}

bool SqliteStore::needsMaintenance() const {
  return logPages_ > maintainAbove_ || (logPages_ > 0 && Clock::now() - waitingSince_.load() > mostAge_);
}

void SqliteStore::maintain() {
  if (!maintaining_.tryLock()) {
    return;
  }
  const MutexLock running(maintaining_, std::adopt_lock);
  bool emptied = false;
  try {
    emptied = emptyLog();
  } catch (const SqliteError& error) {
    const MutexLock lock(mutex_);
    describe("maintain", error);
  }
  // A log that could not be emptied is left alone until there is as much to do again.
  maintainAbove_ = kLogPages + (emptied ? 0 : logPages_.load());
  if (!emptied) waitingSince_ = Clock::now();
}

bool SqliteStore::emptyLog() {
  std::uint64_t generation = 0;
  {
    const MutexLock lock(mutex_);
    if (!connection_) {
      return false;
    }
    generation = generation_;
  }
  SqliteConnection reader(path_);
  SqliteConnection checkpointer(path_);
  checkpointer.execute("PRAGMA synchronous=NORMAL");

  bool truncated = false;
  for (int pass = 0; pass < kMaintenancePasses; ++pass) {
    int logPages = 0;
    {
      const MutexLock lock(mutex_);
      if (generation_ != generation) {
        return false;
      }
      reader.execute("BEGIN; SELECT 1 FROM document LIMIT 1");
      logPages = logPages_;
    }
    const bool copied = checkpointer.checkpoint(SQLITE_CHECKPOINT_PASSIVE);
    const MutexLock lock(mutex_);
    reader.execute("COMMIT");
    // The log itself tells, since not every commit changes something and makes it longer.
    if (generation_ != generation) continue;
    const bool unchanged = copied && logPages_ == logPages;
    const bool tooLong = pass + 1 == kMaintenancePasses && logPages_ > kMostLogPages;
    if (unchanged || tooLong) {
      truncated = truncateLog(checkpointer);
      break;
    }
  }
  if (truncated) {
    syncLog(path_);
  }
  return truncated;
}

bool SqliteStore::truncateLog(SqliteConnection& checkpointer) {
  if (checkpointer.checkpoint(SQLITE_CHECKPOINT_TRUNCATE)) {
    logPages_ = 0;
    return true;
  }
  // Another process is reading the log. Were it gone by the next commit, that would restart the log, so
  // a frame that is not copied yet goes to its end.
  checkpointer.execute(kAppendFrame);
  return false;
}

}  // namespace zul::platform
