#include "LocalDB.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "Json.h"
#include "Keys.h"

namespace zul {

namespace {

constexpr std::int64_t kHighestId = std::int64_t{1} << 62;  // a damaged id must not be counted on from

}  // namespace

LocalDB::LocalDB(std::shared_ptr<platform::DocumentStore> store, Tasks tasks, Log log)
    : store_(std::move(store)), tasks_(std::move(tasks)), log_(std::move(log)) {}

// ---- reading

bool LocalDB::isReadable() {
  if (!loaded_ && !unreadable_) {
    transaction([this] {
      assertInTransaction();
      load();
    });
  }
  return loaded_;
}

void LocalDB::whenReadable(std::function<void()> task) {
  bool waits = false;
  if (!isReadable()) {
    transaction([&] {
      assertInTransaction();
      waits = !loaded_;
      if (waits) waiting_.push_back(task);
    });
  }
  if (!waits) task();
}

LocalDB::Members LocalDB::cached(std::string_view id) const {
  const MutexLock lock(reading_);
  const auto found = documents_.find(id);
  return found != documents_.end() ? found->second : nullptr;
}

Document LocalDB::documentWithID(std::string_view id) {
  if (inTransaction()) {
    assertInTransaction();
    const auto& edited = pending_.documents;
    const auto found = edited.find(id);
    if (found != edited.end()) return Document(std::make_shared<const boost::json::object>(found->second));
  }
  if (id == keys::queue::kDocument) return Document(queueDocument());
  return Document(isReadable() ? cached(id) : nullptr);
}

// All or nothing, so that what is told of one document is never decided without another.
bool LocalDB::load() {
  if (loaded_) return true;
  auto stored = store_->loadAll(Store::Table::documents);
  bool damaged = stored.status == Store::Status::corrupt;
  const auto last = stored.status == Store::Status::failed ? std::nullopt : readLastId(damaged);
  if (!last) return putOffLoading();
  std::list<Writes> aside(1);
  if (!takeLeftOver(*last, aside.front())) return putOffLoading();
  decltype(documents_) documents;
  for (auto& row : stored.rows) {
    if (row.key == keys::queue::kDocument) continue;  // an older library's, for `loadQueue`
    if (auto object = json::parseObject(row.text, json::kMaxPayloadDepth)) {
      documents.emplace(row.key, std::make_shared<const boost::json::object>(std::move(*object)));
      continue;
    }
    pending_.afterwards.emplace_back([this, name = row.key] {
      log_.error("Document \"" + name + "\" could not be read and was set aside.", ZUL_HERE);
    });
    aside.front().push_back({Store::Table::documents, row.key, std::nullopt});
    aside.front().push_back(asideRow(row.key, std::move(row.text)));
  }
  {
    const MutexLock lock(reading_);
    documents_ = std::move(documents);
  }
  lastLeftId_ = *last;
  if (!waiting_.empty()) retryLater();  // which runs them, whoever has read
  loaded_ = true;
  toldFailure_ = false;
  if (damaged) rewriteEverything();
  if (!aside.front().empty()) settle(toStore(aside.front()), aside);
  return true;
}

bool LocalDB::putOffLoading() {
  retryLater();
  unreadable_ = true;
  tellOnce("The local database cannot be read", "nothing is decided or sent until it can be, and events wait");
  return false;
}

// The ids of this process's rows follow those that are stored. None when they cannot be read.
std::optional<std::int64_t> LocalDB::readLastId(bool& damaged) {
  while (true) {
    auto loaded = store_->loadLast(Store::Table::queue);
    if (loaded.status == Store::Status::failed) return std::nullopt;
    if (loaded.status == Store::Status::corrupt) damaged = true;
    if (loaded.rows.empty()) return 0;
    auto& row = loaded.rows.front();
    const auto last = rowId(row.key);
    if (last <= kHighestId) return std::max<std::int64_t>(last, 0);
    const Writes writes = {{Store::Table::queue, row.key, std::nullopt}, asideRow("queue." + row.key, row.text)};
    const auto status = toStore(writes);
    if (status == Store::Status::failed) return std::nullopt;
    if (status == Store::Status::corrupt) damaged = true;
  }
}

void LocalDB::requireReadable() {
  if (!isReadable()) throw std::runtime_error("the local database cannot be read yet");
}

// ---- writing

// An edit of the queue's document is one of all its rows.
void LocalDB::prepareEdit(std::string_view id) {
  if (id == keys::queue::kDocument && !inTransaction()) loadQueue();
}

void LocalDB::update(std::string_view id, const Edit& edit) {
  prepareEdit(id);
  transaction([&] {
    MutableDocument document(*pendingDocument(id, true));
    edit(document);
  });
}

void LocalDB::updateExisting(std::string_view id, const Edit& edit) {
  prepareEdit(id);
  transaction([&] {
    if (auto* members = pendingDocument(id, false)) {
      MutableDocument document(*members);
      edit(document);
    }
  });
}

void LocalDB::replace(std::string_view id, const Edit& fill) {
  prepareEdit(id);
  transaction([&] {
    auto& members = *pendingDocument(id, true);
    members.clear();
    MutableDocument document(members);
    fill(document);
  });
}

boost::json::object* LocalDB::pendingDocument(std::string_view id, bool create) {
  assertInTransaction();
  requireReadable();
  auto& edited = pending_.documents;
  const auto found = edited.find(id);
  if (found != edited.end()) return &found->second;
  const auto stored = id == keys::queue::kDocument ? queueDocument() : cached(id);
  if (!stored && !create) return nullptr;
  return &edited.emplace(id, stored ? *stored : boost::json::object()).first->second;
}

void LocalDB::transaction(const std::function<void()>& work) {
  if (inTransaction()) {
    work();
    return;
  }
  std::vector<std::function<void()>> afterwards;
  {
    const MutexLock lock(writing_);
    struct Ownership {
      LocalDB& db;
      explicit Ownership(LocalDB& d) : db(d) { db.owner_ = std::this_thread::get_id(); }
      ~Ownership() {
        db.owner_ = std::thread::id();
        db.assertInTransaction();
        db.pending_ = {};
      }
    } ownership(*this);
    work();
    commit();
    afterwards = std::move(pending_.afterwards);
  }
  for (const auto& task : afterwards) log_.guard(task, ZUL_HERE);
}

void LocalDB::afterCommit(std::function<void()> task) {
  if (inTransaction()) {
    assertInTransaction();
    pending_.afterwards.push_back(std::move(task));
  } else {
    task();
  }
}

// Another text of the same name gets another place; the same one takes its own again.
platform::DocumentStore::Write LocalDB::asideRow(std::string_view name, std::string text) {
  const auto place = std::string(name) + "@" + std::to_string(std::hash<std::string>()(text));
  return {Store::Table::setAside, place, std::move(text)};
}

}  // namespace zul
