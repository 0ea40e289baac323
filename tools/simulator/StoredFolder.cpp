#include "StoredFolder.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <system_error>

#include "Arguments.h"
#include "Json.h"
#include "RowRing.h"
#include "SqliteConnection.h"
#include "SqliteFiles.h"
#include "SqliteStore.h"
#include "TemporaryFolder.h"

namespace zul::simulator {

namespace {

namespace fs = std::filesystem;
using platform::Keychain;
using platform::RowRing;
using platform::SqliteConnection;
using platform::SqliteError;
using platform::SqliteQuery;
using platform::SqliteStore;
using platform::StoredRow;
using Table = StoredFolder::Table;

constexpr const char* kLog = "-wal";
constexpr std::size_t kMostBytes = std::size_t{256} << 20;  // of what is read; a file may pretend to have more

/// A table, and how the first layout called it.
struct Source {
  Table table;
  std::string_view name;
  const char* forward;
  const char* backward;
};
#define ZUL_READ(table, body) \
  "SELECT id, " body " FROM " table " ORDER BY rowid", "SELECT id, " body " FROM " table " ORDER BY rowid DESC"
constexpr std::array<Source, 5> kSources = {{
    {Table::documents, "document", ZUL_READ("document", "body")},
    {Table::documents, "documents", ZUL_READ("documents", "body")},
    {Table::queue, "queue", ZUL_READ("queue", "payload")},
    {Table::queue, "journal", ZUL_READ("journal", "payload")},
    {Table::setAside, "set_aside", ZUL_READ("set_aside", "body")},
}};
#undef ZUL_READ

// Copies the file, if there is one. Throws CommandError.
bool copyFile(const fs::path& from, const fs::path& to) {
  std::error_code error;
  const auto kind = fs::status(from, error).type();
  if (kind == fs::file_type::not_found) return false;
  if (kind != fs::file_type::regular) throw CommandError(fmt::format("{} is no file", from.string()));
  fs::copy_file(from, to, error);
  if (error) throw CommandError(fmt::format("cannot read {}: {}", from.string(), error.message()));
  return true;
}

/// What a database says of itself in its first bytes.
class Header {
 public:
  explicit Header(const fs::path& database) {
    std::ifstream file(database, std::ios::binary);
    isThere_ = static_cast<bool>(file.read(bytes_.data(), bytes_.size()));
  }
  /// Its latest changes are in a log beside it.
  bool keepsLog() const { return isThere_ && number(19, 1) == 2; }
  std::uintmax_t size() const { return isThere_ ? number(16, 2) * number(28, 4) : 0; }

 private:
  std::uintmax_t number(std::size_t at, std::size_t bytes) const {
    std::uintmax_t number = 0;
    for (; bytes > 0; --bytes, ++at) number = number << 8U | static_cast<unsigned char>(bytes_[at]);
    return number;
  }
  std::array<char, 100> bytes_{};
  bool isThere_ = false;
};

// SQLite reads nothing of a file that ends too early, where the rest of it may be sound.
void complete(const fs::path& database, StoredFolder& stored) {
  const auto size = fs::file_size(database);
  const auto whole = Header(database).size();
  if (size >= whole || whole > kMostBytes) return;
  fs::resize_file(database, whole);
  stored.remarks.push_back(fmt::format("the database is cut short: it has {} of {} bytes", size, whole));
}

/// The rows of one table, as far as they can be read: from the first on, and, past damage, from the last back.
class Rows {
 public:
  void read(SqliteConnection& connection, const char* sql) {
    SqliteQuery query(connection, sql);
    while (query.step()) {
      auto key = query.text(0);
      if (!known_.insert(key).second) return;
      auto text = query.text(1);
      bytes_ += key.size() + text.size();
      if (bytes_ > kMostBytes) throw SqliteError(SQLITE_TOOBIG, fmt::format("it has more than {} bytes", kMostBytes));
      rows_.push_back({std::move(key), std::move(text)});
    }
  }
  std::vector<StoredRow> take() && { return std::move(rows_); }

 private:
  std::set<std::string> known_;
  std::size_t bytes_ = 0;
  std::vector<StoredRow> rows_;
};

bool hasTable(SqliteConnection& connection, std::string_view name) {
  // What only looks like a table, a view, could go on for ever.
  SqliteQuery query(connection,
                    "SELECT 1 FROM sqlite_master WHERE type='table' AND sql NOT LIKE '%VIRTUAL%' AND name=?1");
  query.bind(1, name);
  return query.step();
}

void readTable(SqliteConnection& connection, const Source& source, StoredFolder& stored) {
  Rows rows;
  std::string problem;
  for (const auto* sql : {source.forward, source.backward}) {
    try {
      rows.read(connection, sql);
      if (problem.empty()) break;
    } catch (const SqliteError& error) {
      if (problem.empty()) problem = error.what();
      if (error.code() == SQLITE_TOOBIG) break;
    }
  }
  auto& found = stored.rows[source.table];
  found = std::move(rows).take();
  if (!problem.empty()) {
    stored.remarks.push_back(fmt::format("the table \"{}\" can be read in part: {} row{} ({})", source.name,
                                         found.size(), found.size() == 1 ? "" : "s", problem));
  }
}

void remarkOnDamage(const std::string& database, StoredFolder& stored) {
  try {
    if (!platform::isDamaged(database)) return;
    stored.remarks.emplace_back(
        "the database is damaged, or its log belongs to another copy: the library would set it aside and begin a new "
        "installation; here it goes on with what could be read");
  } catch (const SqliteError& error) {
    stored.remarks.push_back(fmt::format("whether the database is damaged cannot be told: {}", error.what()));
  }
}

void readDatabase(const std::string& database, StoredFolder& stored) {
  SqliteConnection connection(database);
  sqlite3_db_config(connection.handle(), SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  stored.layout = platform::schemaVersion(connection);
  if (stored.layout > SqliteStore::kSchemaVersion) {
    stored.remarks.push_back(fmt::format(
        "a later version of the library has written this: its layout is {}, and the latest known here {}. What is told "
        "of it may be incomplete",
        stored.layout, SqliteStore::kSchemaVersion));
  }
  for (const auto& source : kSources) {
    if (!stored.rows.contains(source.table) && hasTable(connection, source.name)) {
      readTable(connection, source, stored);
    }
  }
}

// A log has a header of 32 bytes, with the size of a page at its ninth, and then pages with a head of 24 bytes each.
bool isCutShort(const std::string& log) {
  constexpr std::uintmax_t kHeader = 32;
  constexpr std::uintmax_t kPageHead = 24;
  std::error_code error;
  const auto size = fs::file_size(log, error);
  if (error || size == 0) return false;
  std::array<unsigned char, kHeader> header{};
  std::ifstream file(log, std::ios::binary);
  if (!file.read(reinterpret_cast<char*>(header.data()), header.size())) return true;
  std::uintmax_t page = 0;
  for (int n = 8; n < 12; ++n) page = page * 256 + header[n];
  return (size - kHeader) % (page + kPageHead) != 0;
}

// Events that were accepted last may not have made it into the table yet.
void readRing(const test::TemporaryFolder& copies, StoredFolder& stored) {
  const auto found = RowRing(copies.path(RowRing::kFileName)).leftOver();
  if (found.failed || !found.damaged.empty()) {
    stored.remarks.push_back(
        fmt::format("{} is damaged: events that were reported last are missing", RowRing::kFileName));
  }
  auto& queue = stored.rows[Table::queue];
  for (const auto& row : found.rows) {
    if (std::none_of(queue.begin(), queue.end(), [&](const auto& known) { return known.key == row.key; })) {
      queue.push_back(row);
    }
  }
}

// Of the application's folder; the copy is in `copies`.
void readStore(const fs::path& folder, const test::TemporaryFolder& copies, StoredFolder& stored) {
  const auto original = folder / SqliteStore::kFileName;
  const auto database = copies.path(SqliteStore::kFileName);
  // First, since what an application that still runs moves meanwhile is then found twice rather than not at all.
  copyFile(folder / RowRing::kFileName, copies.path(RowRing::kFileName));
  const bool hasDatabase = copyFile(original, database);
  const bool hasLog = copyFile(original.string() + kLog, database + kLog);
  if (!hasDatabase && !hasLog) throw CommandError(fmt::format("there is no {}", original.string()));
  if (!hasDatabase) {
    stored.remarks.push_back(
        fmt::format("{} is missing: what is told comes from its log alone", SqliteStore::kFileName));
    platform::createDatabaseFile(database);
  } else if (!hasLog && Header(database).keepsLog()) {
    stored.remarks.push_back(
        fmt::format("there is no {}{} beside the database: unless the sqlite3 shell has closed it, the application's "
                    "latest changes are missing",
                    SqliteStore::kFileName, kLog));
  }
  if (hasLog && isCutShort(database + kLog)) {
    stored.remarks.push_back(
        fmt::format("{}{} is cut short: the application's latest changes are missing", SqliteStore::kFileName, kLog));
  }
  if (!hasLog) complete(database, stored);
  platform::keepLogOfEmptyDatabase(database);
  try {
    readDatabase(database, stored);
  } catch (const SqliteError& error) {
    throw CommandError(fmt::format("{} cannot be read: {}", original.string(), error.what()));
  }
  if (!stored.rows.contains(Table::documents)) {
    throw CommandError(fmt::format("{} has no documents{}: {}", original.string(),
                                   hasLog ? "" : ", and there is no log beside it",
                                   platform::holdsNothing(database) ? "it is empty" : "it is another program's"));
  }
  readRing(copies, stored);
  remarkOnDamage(database, stored);
}

void readKeychain(const fs::path& folder, const test::TemporaryFolder& copies, StoredFolder& stored) {
  const auto original = folder.string() + "-keychain.sqlite";
  const auto file = copies.path("keychain.sqlite");
  try {
    copyFile(original + "-journal", file + "-journal");
    if (!copyFile(original, file)) {
      stored.remarks.push_back(fmt::format("there is no {}: the device's own identifiers are made anew", original));
      return;
    }
    SqliteConnection connection(file);
    SqliteQuery items(connection,
                      "SELECT identifier, account, label, description, data FROM item WHERE access_group=''");
    while (items.step()) {
      stored.keychain[items.text(0)] = {{std::string(Keychain::kSecAttrAccount), items.text(1)},
                                        {std::string(Keychain::kSecAttrLabel), items.text(2)},
                                        {std::string(Keychain::kSecAttrDescription), items.text(3)},
                                        {std::string(Keychain::kSecValueData), items.text(4)}};
    }
  } catch (const std::runtime_error& error) {
    stored.remarks.push_back(fmt::format("the keychain {} cannot be read: {}", original, error.what()));
  }
}

void readDefaults(const fs::path& folder, StoredFolder& stored) {
  std::ifstream file(folder / "defaults.json", std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  const auto values = json::parseObject(text).value_or(boost::json::object());
  for (const auto& [key, value] : values) {
    if (value.is_number()) stored.defaults[key] = value.to_number<double>();
  }
}

}  // namespace

StoredFolder readStoredFolder(const std::string& name) {
  std::error_code error;
  auto folder = fs::absolute(name, error).lexically_normal();
  if (!folder.has_filename()) folder = folder.parent_path();
  if (error || !fs::is_directory(folder, error)) throw CommandError(fmt::format("{} is no folder", name));
  const test::TemporaryFolder copies;
  StoredFolder stored;
  readStore(folder, copies, stored);
  readKeychain(folder, copies, stored);
  readDefaults(folder, stored);
  return stored;
}

}  // namespace zul::simulator
