#include "SqliteStore.h"

#include <sqlite3.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <filesystem>
#include <utility>

#include "SqliteConnection.h"
#include "SqliteFiles.h"

namespace zul::platform {

namespace {

constexpr const char* kFileName = "ZULLocalDB.sqlite";

// Pages in the log, two megabytes, before it is worth a few syncs to empty it. What is in the log is read again
// at the next start.
constexpr int kLogPages = 512;

// Commits that come while the first pass waits for the disk leave the next one little to copy, so it has
// a good chance to end before the following commit.
constexpr int kMaintenancePasses = 3;

// Somebody looking with the shell must not freeze the host.
constexpr int kBusyMilliseconds = 100;

// In PRAGMA user_version; a later one migrates from here.
constexpr std::int64_t kSchemaVersion = 1;

// Documents can be megabytes, and a table WITHOUT ROWID would move all but their first kilobyte to
// overflow pages.
constexpr const char* kSchema =
    "BEGIN IMMEDIATE;"
    "CREATE TABLE IF NOT EXISTS documents(id TEXT PRIMARY KEY NOT NULL, body TEXT NOT NULL);"
    "CREATE TABLE IF NOT EXISTS journal(id INTEGER PRIMARY KEY, payload TEXT NOT NULL);"
    "CREATE TABLE IF NOT EXISTS set_aside(id TEXT PRIMARY KEY NOT NULL, body TEXT NOT NULL);"
    "PRAGMA user_version=1;"
    "COMMIT";

// The smallest write there is: it repeats what the first page says already.
constexpr const char* kAppendFrame = "PRAGMA user_version=1";

struct TableStatements {
  const char* load;
  const char* loadAll;
  const char* put;
  const char* remove;
};

// In the order of DocumentStore::Table. A put keeps the row of an existing key in place, where
// INSERT OR REPLACE would move it and rewrite the index.
constexpr std::array<TableStatements, 3> kStatements = {{
    {"SELECT id, body FROM documents WHERE id=?1", "SELECT id, body FROM documents ORDER BY id",
     "INSERT INTO documents(id, body) VALUES(?1, ?2) ON CONFLICT(id) DO UPDATE SET body=excluded.body",
     "DELETE FROM documents WHERE id=?1"},
    {"SELECT id, payload FROM journal WHERE id=?1", "SELECT id, payload FROM journal ORDER BY id",
     "INSERT INTO journal(id, payload) VALUES(?1, ?2) ON CONFLICT(id) DO UPDATE SET payload=excluded.payload",
     "DELETE FROM journal WHERE id=?1"},
    {"SELECT id, body FROM set_aside WHERE id=?1", "SELECT id, body FROM set_aside ORDER BY id",
     "INSERT INTO set_aside(id, body) VALUES(?1, ?2) ON CONFLICT(id) DO UPDATE SET body=excluded.body",
     "DELETE FROM set_aside WHERE id=?1"},
}};

const TableStatements& statementsOf(DocumentStore::Table table) {
  return kStatements[static_cast<std::size_t>(table)];
}

// False for a key that the table cannot hold: a journal key in another form ("007") would come back as a
// different text.
bool bindKey(SqliteQuery& query, DocumentStore::Table table, std::string_view key) {
  if (table != DocumentStore::Table::journal) {
    query.bind(1, key);
    return true;
  }
  std::int64_t number = 0;
  std::from_chars(key.data(), key.data() + key.size(), number);
  query.bind(1, number);
  return std::to_string(number) == key;
}

void apply(SqliteConnection& connection, const DocumentStore::Write& write) {
  const TableStatements& statements = statementsOf(write.table);
  SqliteQuery query(connection, write.text ? statements.put : statements.remove);
  if (!bindKey(query, write.table, write.key)) {
    throw SqliteError(SQLITE_MISMATCH, "journal key is not a decimal 64-bit integer");
  }
  if (write.text) {
    query.bind(2, *write.text);
  }
  query.step();
}

std::int64_t schemaVersion(SqliteConnection& connection) {
  SqliteQuery query(connection, "PRAGMA user_version");
  return query.step() ? query.number(0) : 0;
}

// Costs nothing where the database has a log already, which it remembers.
bool turnLogOn(SqliteConnection& connection) {
  SqliteQuery query(connection, "PRAGMA journal_mode=WAL");
  return query.step() && query.text(0) == "wal";
}

int noteLogPages(void* logPages, sqlite3*, const char*, int pages) {
  static_cast<std::atomic<int>*>(logPages)->store(pages);
  return SQLITE_OK;
}

}  // namespace

SqliteStore::SqliteStore(std::string folder)
    : path_((std::filesystem::path(std::move(folder)) / kFileName).string()), maintainAbove_(kLogPages) {}

SqliteStore::~SqliteStore() = default;

DocumentStore::Loaded SqliteStore::load(Table table, std::string_view key) {
  Loaded loaded;
  loaded.status = run("load", [&](SqliteConnection& connection) {
    SqliteQuery query(connection, statementsOf(table).load);
    if (bindKey(query, table, key) && query.step()) {
      loaded.rows.push_back({query.text(0), query.text(1)});
    }
  });
  return loaded;
}

DocumentStore::Loaded SqliteStore::loadAll(Table table) {
  Loaded loaded;
  loaded.status = run("loadAll", [&](SqliteConnection& connection) {
    SqliteQuery query(connection, statementsOf(table).loadAll);
    while (query.step()) {
      loaded.rows.push_back({query.text(0), query.text(1)});
    }
  });
  if (loaded.status != Status::ok) {
    loaded.rows.clear();
  }
  return loaded;
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
  const std::lock_guard lock(mutex_);
  return lastError_;
}

template <typename Work>
DocumentStore::Status SqliteStore::run(const char* operation, Work work) {
  const std::lock_guard lock(mutex_);
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
  if (::access(path_.c_str(), F_OK) != 0) {
    createDatabaseFile(path_);
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
    connection->execute(kSchema);
    maintainAbove_ = 0;  // the first commit asks for the sync of what was created
  }
  // Takes the place of SQLite's own hook, which checkpoints on the committing thread.
  sqlite3_wal_hook(connection->handle(), noteLogPages, &logPages_);

  connection_ = std::move(connection);
  ++generation_;
}

DocumentStore::Status SqliteStore::failed(const char* operation, const SqliteError& error) {
  describe(operation, error);
  switch (error.code()) {
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      return setAside();
    case SQLITE_READONLY:
      // SQLite opens a file that it may not write for reading alone; a new connection may find it
      // writable again.
      connection_.reset();
      return Status::failed;
    default:
      return Status::failed;
  }
}

DocumentStore::Status SqliteStore::setAside() {
  connection_.reset();
  try {
    const std::filesystem::path target = renameCorruptDatabase(path_);
    ++generation_;
    logPages_ = 0;
    lastError_ += "; set aside as " + target.filename().string();
  } catch (const SqliteError& error) {
    lastError_ += std::string("; ") + error.what();
    return Status::failed;
  }
  try {
    open();
  } catch (const SqliteError& error) {
    // The file is out of the way all the same, and the next call tries again.
    lastError_ += std::string("; ") + error.what();
  }
  return Status::corrupt;
}

void SqliteStore::describe(const char* operation, const SqliteError& error) {
  lastError_ = std::string(operation) + ": " + kFileName + ": " + error.what();
}

bool SqliteStore::needsMaintenance() const {
  return logPages_ > maintainAbove_;
}

void SqliteStore::maintain() {
  const std::unique_lock running(maintaining_, std::try_to_lock);
  if (!running) {
    return;
  }
  bool emptied = false;
  try {
    emptied = emptyLog();
  } catch (const SqliteError& error) {
    const std::lock_guard lock(mutex_);
    describe("maintain", error);
  }
  // A log that could not be emptied is left alone until there is as much to do again.
  maintainAbove_ = kLogPages + (emptied ? 0 : logPages_.load());
}

bool SqliteStore::emptyLog() {
  std::uint64_t generation = 0;
  {
    const std::lock_guard lock(mutex_);
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
      const std::lock_guard lock(mutex_);
      if (generation_ != generation) {
        return false;
      }
      reader.execute("BEGIN; SELECT 1 FROM documents LIMIT 1");
      logPages = logPages_;
    }
    const bool copied = checkpointer.checkpoint(SQLITE_CHECKPOINT_PASSIVE);
    const std::lock_guard lock(mutex_);
    reader.execute("COMMIT");
    // The log itself tells, since not every commit changes something and makes it longer.
    if (generation_ == generation && logPages_ == logPages) {
      truncated = copied && truncateLog(checkpointer);
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
