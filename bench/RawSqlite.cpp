#include "RawSqlite.h"

#include <sqlite3.h>

#include <stdexcept>

namespace zul::bench {

namespace {

constexpr const char* kTables =
    "BEGIN IMMEDIATE;"
    "CREATE TABLE IF NOT EXISTS document(id TEXT PRIMARY KEY NOT NULL, body TEXT NOT NULL);"
    "CREATE TABLE IF NOT EXISTS queue(id INTEGER PRIMARY KEY, payload TEXT NOT NULL);"
    "CREATE TABLE IF NOT EXISTS set_aside(id TEXT PRIMARY KEY NOT NULL, body TEXT NOT NULL);"
    "PRAGMA user_version=2;"
    "COMMIT";

void bind(sqlite3_stmt* statement, int parameter, const std::string& text) {
  sqlite3_bind_text64(statement, parameter, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
}

}  // namespace

RawSqlite::RawSqlite(const std::string& path) {
  if (sqlite3_open_v2(path.c_str(), &db_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr) !=
      SQLITE_OK) {
    throw std::runtime_error("cannot open " + path);
  }
  execute("PRAGMA journal_mode=WAL");
  execute("PRAGMA synchronous=NORMAL");
  auto* const version = prepare("PRAGMA user_version");
  const bool isNew = sqlite3_step(version) == SQLITE_ROW && sqlite3_column_int(version, 0) == 0;
  sqlite3_finalize(version);
  if (isNew) execute(kTables);
}

RawSqlite::~RawSqlite() {
  for (auto* const statement : {begin_, put_, end_, get_}) sqlite3_finalize(statement);
  sqlite3_close(db_);
}

void RawSqlite::commit(const Rows& documents) {
  if (begin_ == nullptr) {
    begin_ = prepare("BEGIN IMMEDIATE");
    put_ = prepare("INSERT INTO document(id, body) VALUES(?1, ?2) ON CONFLICT(id) DO UPDATE SET body=excluded.body");
    end_ = prepare("COMMIT");
  }
  run(begin_);
  for (const auto& [id, body] : documents) {
    bind(put_, 1, id);
    bind(put_, 2, body);
    run(put_);
  }
  run(end_);
}

void RawSqlite::queue(const std::vector<std::string>& payloads) {
  auto* const put = prepare("INSERT INTO queue(payload) VALUES(?1)");
  execute("BEGIN IMMEDIATE");
  for (const auto& payload : payloads) {
    bind(put, 1, payload);
    run(put);
  }
  execute("COMMIT");
  sqlite3_finalize(put);
}

std::size_t RawSqlite::read(const std::vector<std::string>& documents) {
  if (get_ == nullptr) get_ = prepare("SELECT body FROM document WHERE id=?1");
  std::size_t size = 0;
  for (const auto& id : documents) {
    bind(get_, 1, id);
    if (sqlite3_step(get_) == SQLITE_ROW) {
      const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(get_, 0));
      size += std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(get_, 0))).size();
    }
    sqlite3_reset(get_);
  }
  return size;
}

void RawSqlite::execute(const char* sql) {
  if (sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) throw std::runtime_error(sqlite3_errmsg(db_));
}

sqlite3_stmt* RawSqlite::prepare(const char* sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(db_, sql, -1, &statement, nullptr) != SQLITE_OK) {
    throw std::runtime_error(sqlite3_errmsg(db_));
  }
  return statement;
}

void RawSqlite::run(sqlite3_stmt* statement) {
  const int code = sqlite3_step(statement);
  sqlite3_reset(statement);
  if (code != SQLITE_DONE) throw std::runtime_error(sqlite3_errmsg(db_));
}

}  // namespace zul::bench
