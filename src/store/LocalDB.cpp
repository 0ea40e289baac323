#include "LocalDB.h"

#include <utility>

#include "Json.h"
#include "Keys.h"

namespace zul {

LocalDB::LocalDB(std::shared_ptr<platform::DocumentStore> store, Tasks tasks, Log log)
    : store_(std::move(store)), tasks_(std::move(tasks)), log_(std::move(log)) {}

// ---- reading

LocalDB::Members LocalDB::cached(std::string_view id, bool& known) const {
  const MutexLock lock(reading_);
  const auto found = documents_.find(id);
  known = found != documents_.end();
  return known ? found->second : nullptr;
}

Document LocalDB::documentWithID(std::string_view id) {
  if (inTransaction()) {
    assertInTransaction();
    const auto& edited = pending_.documents;
    const auto found = edited.find(id);
    if (found != edited.end()) return Document(std::make_shared<const boost::json::object>(found->second));
  }
  if (id == keys::queue::kDocument) return Document(queueDocument());
  bool readable = false;
  return Document(members(id, readable));
}

LocalDB::Members LocalDB::members(std::string_view id, bool& readable) {
  if (auto members = cached(id, readable); readable) return members;

  if (unreadable_) return nullptr;
  auto loaded = store_->load(Store::Table::documents, id);
  readable = loaded.status != Store::Status::failed;
  if (!readable) {  // not remembered: a later read tries again
    unreadable_ = true;
    transaction([this] {
      assertInTransaction();
      fallBehind("read");
    });
    return nullptr;
  }
  if (loaded.status == Store::Status::corrupt) {
    transaction([this] {
      assertInTransaction();
      rewriteEverything();
    });
  }
  Members members;
  if (!loaded.rows.empty()) {
    auto object = json::parseObject(loaded.rows.front().text);
    if (object) {
      members = std::make_shared<const boost::json::object>(std::move(*object));
    } else {
      transaction([&] {
        assertInTransaction();
        pending_.rows.push_back(asideRow(id, std::move(loaded.rows.front().text)));
      });
      afterCommit([this, name = std::string(id)] {
        log_.error("Document \"" + name + "\" could not be read and was set aside.", ZUL_HERE);
      });
    }
  }
  const MutexLock lock(reading_);
  return documents_.try_emplace(std::string(id), std::move(members)).first->second;  // a writer may have been first
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
  auto& edited = pending_.documents;
  const auto found = edited.find(id);
  if (found != edited.end()) return &found->second;
  bool readable = true;
  const auto stored = id == keys::queue::kDocument ? queueDocument() : members(id, readable);
  if (!stored && !create) return nullptr;
  if (!readable) detached_.emplace(id);
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
