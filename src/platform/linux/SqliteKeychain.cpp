#include "SqliteKeychain.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <string_view>

#include "SqliteConnection.h"
#include "SqliteFiles.h"

namespace zul::platform {

namespace {

// A host's thread waits.
constexpr int kBusyMilliseconds = 100;

constexpr std::int64_t kSchemaVersion = 1;

constexpr const char* kSchema =
    "CREATE TABLE item(number INTEGER PRIMARY KEY, identifier TEXT NOT NULL, access_group TEXT NOT NULL,"
    " account TEXT, label TEXT, description TEXT, data BLOB, UNIQUE(identifier, access_group));"
    "PRAGMA user_version=1";

// The attributes in the order of the columns, which is that of the parameters, too.
constexpr std::array kColumns = {Keychain::kSecAttrGeneric, Keychain::kSecAttrAccessGroup, Keychain::kSecAttrAccount,
                                 Keychain::kSecAttrLabel,   Keychain::kSecAttrDescription, Keychain::kSecValueData};
constexpr int kQuery = static_cast<int>(kColumns.size());  // the parameters of the query come after these

#define ZUL_MATCHING                                                  \
  "(SELECT number FROM item WHERE (?7 IS NULL OR identifier=?7) AND " \
  "(?8 IS NULL OR access_group=?8) ORDER BY number LIMIT 1)"

constexpr const char* kFind =
    "SELECT identifier, nullif(access_group, ''), account, label, description, data FROM item WHERE "
    "number=" ZUL_MATCHING;
constexpr const char* kAdd =
    "INSERT INTO item(identifier, access_group, account, label, description, data)"
    " VALUES(ifnull(?1, ''), ifnull(?2, ''), ?3, ?4, ?5, ?6)";
constexpr const char* kUpdate =
    "UPDATE item SET identifier=ifnull(?1, identifier), access_group=ifnull(?2, access_group),"
    " account=ifnull(?3, account), label=ifnull(?4, label), description=ifnull(?5, description), data=ifnull(?6, data)"
    " WHERE number=" ZUL_MATCHING;
constexpr const char* kDelete = "DELETE FROM item WHERE number=" ZUL_MATCHING;

#undef ZUL_MATCHING

void bindAttributes(SqliteQuery& statement, const Keychain::Dictionary& attributes) {
  for (std::size_t i = 0; i < kColumns.size(); ++i) {
    const auto attribute = attributes.find(kColumns[i]);
    if (attribute != attributes.end()) statement.bind(static_cast<int>(i) + 1, attribute->second);
  }
}

void bindQuery(SqliteQuery& statement, const Keychain::Dictionary& query) {
  for (int i = 0; i < 2; ++i) {
    const auto condition = query.find(kColumns[static_cast<std::size_t>(i)]);
    if (condition != query.end()) statement.bind(kQuery + 1 + i, condition->second);
  }
}

bool wants(const Keychain::Dictionary& query, std::string_view what) {
  const auto flag = query.find(what);
  return flag != query.end() && flag->second == "1";
}

Keychain::Status changed(const SqliteConnection& connection) {
  return sqlite3_changes(connection.handle()) > 0 ? Keychain::Status::ok : Keychain::Status::notFound;
}

/// True when the file has items, or could; false for a new one.
bool hasTable(SqliteConnection& connection) {
  const std::int64_t version = schemaVersion(connection);
  if (version > kSchemaVersion) throw SqliteError(SQLITE_ERROR, "written by a later version of the library");
  return version == kSchemaVersion;
}

/// While it lives, no other process judges the file.
class Judgement {
 public:
  explicit Judgement(const std::string& path) : file_(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
    struct stat own {};
    struct stat named {};
    isOurs_ = file_ >= 0 && ::flock(file_, LOCK_EX | LOCK_NB) == 0 && ::fstat(file_, &own) == 0 &&
              ::stat(path.c_str(), &named) == 0 && own.st_ino == named.st_ino && own.st_dev == named.st_dev;
  }
  ~Judgement() {
    if (file_ >= 0) ::close(file_);
  }
  Judgement(const Judgement&) = delete;
  Judgement& operator=(const Judgement&) = delete;

  /// False also when the name has become that of another file.
  bool isOurs() const { return isOurs_; }

 private:
  const int file_;
  bool isOurs_ = false;
};

}  // namespace

Keychain::Found SqliteKeychain::SecItemCopyMatching(const Dictionary& query) {
  Found found;
  found.status = run("SecItemCopyMatching", [&](SqliteConnection& connection) {
    if (!hasTable(connection)) return Status::notFound;
    SqliteQuery statement(connection, kFind);
    bindQuery(statement, query);
    if (!statement.step()) return Status::notFound;
    for (std::size_t i = 0; i < kColumns.size(); ++i) {
      const int column = static_cast<int>(i);
      const bool wanted = wants(query, kColumns[i] == kSecValueData ? kSecReturnData : kSecReturnAttributes);
      if (wanted && !statement.isNull(column)) found.item.emplace(kColumns[i], statement.text(column));
    }
    return Status::ok;
  });
  if (found.status != Status::ok) found.item.clear();
  return found;
}

Keychain::Status SqliteKeychain::SecItemAdd(const Dictionary& attributes) {
  return write("SecItemAdd", [&](SqliteConnection& connection) {
    SqliteQuery statement(connection, kAdd);
    bindAttributes(statement, attributes);
    statement.step();
    return Status::ok;
  });
}

Keychain::Status SqliteKeychain::SecItemUpdate(const Dictionary& query, const Dictionary& attributes) {
  return write("SecItemUpdate", [&](SqliteConnection& connection) {
    SqliteQuery statement(connection, kUpdate);
    bindAttributes(statement, attributes);
    bindQuery(statement, query);
    statement.step();
    return changed(connection);
  });
}

Keychain::Status SqliteKeychain::SecItemDelete(const Dictionary& query) {
  return write("SecItemDelete", [&](SqliteConnection& connection) {
    SqliteQuery statement(connection, kDelete);
    bindQuery(statement, query);
    statement.step();
    return changed(connection);
  });
}

std::string SqliteKeychain::lastError() const {
  const MutexLock lock(mutex_);
  return lastError_;
}

template <typename Work>
Keychain::Status SqliteKeychain::run(const char* operation, Work work) {
  const MutexLock lock(calls_);
  try {
    if (::access(path_.c_str(), F_OK) != 0) {
      createFolderOf(path_);
      createDatabaseFile(path_);
    }
    SqliteConnection connection(path_);
    sqlite3_busy_timeout(connection.handle(), kBusyMilliseconds);
    // Or the journal of a transaction that has ended could come back with the power.
    connection.execute("PRAGMA synchronous=EXTRA");
    return work(connection);
  } catch (const std::exception& error) {
    const auto* const fromSqlite = dynamic_cast<const SqliteError*>(&error);
    if (fromSqlite != nullptr && fromSqlite->code() == SQLITE_CONSTRAINT) return Status::duplicate;
    failed(operation, error);
  }
  return Status::failed;
}

template <typename Work>
Keychain::Status SqliteKeychain::write(const char* operation, Work work) {
  return run(operation, [&](SqliteConnection& connection) {
    SqliteTransaction transaction(connection);
    if (!hasTable(connection)) connection.execute(kSchema);
    const Status status = work(connection);
    transaction.commit();
    return status;
  });
}

void SqliteKeychain::failed(const char* operation, const std::exception& error) {
  const auto* const fromSqlite = dynamic_cast<const SqliteError*>(&error);
  std::string why = std::string(operation) + ": " + path_ + ": " + error.what();
  if (fromSqlite != nullptr && fromSqlite->tellsOfDamage()) why += "; " + judge();
  const MutexLock lock(mutex_);
  lastError_ = std::move(why);
}

/// Looks at the file again, since a single read that the system fails looks like damage, too. Says what came of it.
std::string SqliteKeychain::judge() {
  try {
    const Judgement judgement(path_);
    if (!judgement.isOurs()) return "another process looks after it";
    if (!isDamaged(path_)) return "sound at a second look";
    return "set aside as " + std::filesystem::path(renameCorruptDatabase(path_)).filename().string();
  } catch (const std::exception& error) {
    return error.what();
  }
}

}  // namespace zul::platform
