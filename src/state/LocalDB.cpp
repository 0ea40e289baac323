#include "LocalDB.h"

#include <algorithm>
#include <cstdlib>
#include <random>
#include <utility>

#include "Json.h"
#include "zul/platform/Dispatcher.h"

namespace zul {

namespace {

constexpr std::int64_t kMostJournalId = std::int64_t{1} << 62;  // a damaged id must not be counted on from

// Another text of the same name gets another place; the same one takes its own again.
platform::DocumentStore::Write asideRow(std::string_view name, std::string text) {
  const auto place = std::string(name) + "@" + std::to_string(std::hash<std::string>()(text));
  return {platform::DocumentStore::Table::setAside, place, std::move(text)};
}

}  // namespace

LocalDB::LocalDB(std::shared_ptr<platform::DocumentStore> store, std::shared_ptr<platform::Dispatcher> dispatcher,
                 Log log)
    : store_(std::move(store)), dispatcher_(std::move(dispatcher)), log_(std::move(log)) {}

// ---- reading

LocalDB::Members LocalDB::cached(std::string_view id, bool& known) const {
  const std::lock_guard lock(reading_);
  const auto found = documents_.find(id);
  known = found != documents_.end();
  return known ? found->second : nullptr;
}

Document LocalDB::documentWithID(std::string_view id) {
  if (inTransaction()) {
    const auto found = pending_.documents.find(id);
    if (found != pending_.documents.end()) {
      return Document(std::make_shared<const boost::json::object>(found->second));
    }
  }
  bool readable = false;
  return Document(members(id, readable));
}

std::optional<Document> LocalDB::readDocument(std::string_view id) {
  bool readable = false;
  auto members = this->members(id, readable);
  return readable ? std::optional(Document(std::move(members))) : std::nullopt;
}

LocalDB::Members LocalDB::members(std::string_view id, bool& readable) {
  if (auto members = cached(id, readable); readable) return members;

  auto loaded = store_->load(Store::Table::documents, id);
  readable = loaded.status != Store::Status::failed;
  if (!readable) return nullptr;  // not remembered: the next read tries again
  if (loaded.status == Store::Status::corrupt) transaction([&] { rewriteEverything(); });
  Members members;
  if (!loaded.rows.empty()) {
    auto object = json::parseObject(loaded.rows.front().text);
    if (object) {
      members = std::make_shared<const boost::json::object>(std::move(*object));
    } else {
      setAside(id, std::move(loaded.rows.front().text));
      afterCommit([this, name = std::string(id)] {
        log_.error("Document \"" + name + "\" could not be read and was set aside.");
      });
    }
  }
  const std::lock_guard lock(reading_);
  return documents_.try_emplace(std::string(id), std::move(members)).first->second;  // a writer may have been first
}

// ---- writing

void LocalDB::update(std::string_view id, const Edit& edit) {
  transaction([&] {
    MutableDocument document(*pendingDocument(id, true));
    edit(document);
  });
}

void LocalDB::updateExisting(std::string_view id, const Edit& edit) {
  transaction([&] {
    if (auto* members = pendingDocument(id, false)) {
      MutableDocument document(*members);
      edit(document);
    }
  });
}

void LocalDB::replace(std::string_view id, const Edit& fill) {
  transaction([&] {
    auto& members = *pendingDocument(id, true);
    members.clear();
    MutableDocument document(members);
    fill(document);
  });
}

void LocalDB::put(std::string_view id, Members members, std::string text) {
  transaction([&] {
    pending_.rows.push_back({Store::Table::documents, std::string(id), std::move(text)});
    pending_.whole.emplace_back(id, std::move(members));
  });
}

boost::json::object* LocalDB::pendingDocument(std::string_view id, bool create) {
  const auto found = pending_.documents.find(id);
  if (found != pending_.documents.end()) return &found->second;
  bool readable = false;
  const auto stored = members(id, readable);
  if (!stored && !create) return nullptr;
  if (!readable) detached_.emplace(id);
  return &pending_.documents.emplace(id, stored ? *stored : boost::json::object()).first->second;
}

void LocalDB::transaction(const std::function<void()>& work) {
  if (inTransaction()) {
    work();
    return;
  }
  std::vector<std::function<void()>> afterwards;
  {
    const std::lock_guard lock(writing_);
    struct Owner {
      LocalDB& db;
      explicit Owner(LocalDB& d) : db(d) { db.owner_ = std::this_thread::get_id(); }
      ~Owner() {
        db.owner_ = std::thread::id();
        db.pending_ = {};
      }
    } owner(*this);
    work();
    commit();
    afterwards = std::move(pending_.afterwards);
  }
  for (const auto& task : afterwards) task();
}

void LocalDB::afterCommit(std::function<void()> task) {
  if (inTransaction()) {
    pending_.afterwards.push_back(std::move(task));
  } else {
    task();
  }
}

void LocalDB::commit() {
  std::vector<Store::Write> writes = std::move(pending_.rows);
  std::vector<std::pair<std::string, Members>> changed = std::move(pending_.whole);
  for (auto& [id, object] : pending_.documents) {
    bool known = false;
    const auto before = cached(id, known);
    if (before && *before == object) continue;  // nothing new to keep
    writes.push_back({Store::Table::documents, id, json::text(object)});
    changed.emplace_back(id, std::make_shared<const boost::json::object>(std::move(object)));
  }
  for (const auto& [id, text] : pending_.journal) {
    writes.push_back({Store::Table::journal, std::to_string(id), text ? std::optional(*text) : std::nullopt});
    if (text) {
      journal_[id] = text;
    } else {
      journal_.erase(id);
    }
  }
  if (writes.empty()) return;
  {
    // Readers see the new state whether or not the disk takes it: in this process it is what holds.
    const std::lock_guard lock(reading_);
    for (auto& [id, members] : changed) documents_[id] = std::move(members);
  }
  write(std::move(writes));
}

void LocalDB::write(std::vector<Store::Write> writes) {
  if (retrying_) {  // the store fails: the host's thread does not try it again and again
    keepUnsaved(std::move(writes));
    return;
  }
  if (!detached_.empty()) joinDetached(writes);
  switch (store_->commit(writes)) {
    case Store::Status::ok:
      break;
    case Store::Status::corrupt:
      rewriteEverything();
      break;
    case Store::Status::failed:
      keepUnsaved(std::move(writes));
      reportFailure();
      retryLater();
      break;
  }
  if (store_->needsMaintenance() && !maintaining_.exchange(true)) {
    dispatcher_->async(platform::Dispatcher::Queue::global, [this] {
      log_.guard([this] { store_->maintain(); });
      maintaining_ = false;
    });
  }
}

void LocalDB::keepUnsaved(std::vector<Store::Write> writes) {
  for (auto& row : writes) {
    const auto place = unsaved_.try_emplace({row.table, std::move(row.key)}).first;
    // A journal row is put once: one that is not on disk yet needs no removal.
    if (row.table == Store::Table::journal && !row.text && place->second) {
      unsaved_.erase(place);
    } else {
      place->second = std::move(row.text);
    }
  }
}

void LocalDB::retryLater() {
  constexpr double kRetryAfter = 1;  // seconds
  retrying_ = true;
  dispatcher_->after(kRetryAfter, platform::Dispatcher::Queue::global, [this] { log_.guard([this] { retry(); }); });
}

void LocalDB::retry() {
  transaction([this] {
    std::vector<Store::Write> writes;
    for (const auto& [key, text] : unsaved_) writes.push_back({key.first, key.second, text});
    if (!detached_.empty()) joinDetached(writes);
    switch (store_->commit(writes)) {
      case Store::Status::ok:
        unsaved_.clear();
        failureReported_ = false;
        retrying_ = false;
        break;
      case Store::Status::corrupt:
        retrying_ = false;
        rewriteEverything();
        break;
      case Store::Status::failed:
        retryLater();
        break;
    }
  });
}

// A document whose stored form could not be read was begun afresh in memory. Writing that over the stored
// one would erase it, so the two are joined as soon as the stored one can be read, and until then nothing
// is written.
void LocalDB::joinDetached(std::vector<Store::Write>& writes) {
  std::erase_if(writes,
                [&](const auto& row) { return row.table == Store::Table::documents && detached_.count(row.key) != 0; });
  for (auto id = detached_.begin(); id != detached_.end();) {
    auto loaded = store_->load(Store::Table::documents, *id);
    if (loaded.status == Store::Status::failed) {
      ++id;
      continue;
    }
    if (loaded.status == Store::Status::corrupt) {
      detached_.clear();
      rewriteEverything();
      return;
    }
    bool known = false;
    auto joined = loaded.rows.empty() ? std::nullopt : json::parseObject(loaded.rows.front().text);
    if (!joined) {
      joined.emplace();
      if (!loaded.rows.empty()) writes.push_back(asideRow(*id, std::move(loaded.rows.front().text)));
    }
    if (const auto mine = cached(*id, known)) {
      // Who this installation is, and since when, was decided before.
      const bool storedWins = *id == "Identify" || *id == "Install";
      for (const auto& member : *mine) {
        if (!storedWins || !joined->contains(member.key())) (*joined)[member.key()] = member.value();
      }
      writes.push_back({Store::Table::documents, *id, json::text(*joined)});
      const std::lock_guard lock(reading_);
      documents_[*id] = std::make_shared<const boost::json::object>(std::move(*joined));
    }
    id = detached_.erase(id);
  }
}

// The damaged file has been set aside and a new one is in its place: what is known goes into it.
void LocalDB::rewriteEverything() {
  std::vector<Store::Write> writes;
  {
    const std::lock_guard lock(reading_);
    for (const auto& [id, members] : documents_) {
      if (members) writes.push_back({Store::Table::documents, id, json::text(*members)});
    }
  }
  for (const auto& [id, text] : journal_) writes.push_back({Store::Table::journal, std::to_string(id), *text});
  pending_.afterwards.emplace_back([this] { log_.error("The local database was damaged and has been set aside."); });
  unsaved_.clear();
  if (store_->commit(writes) == Store::Status::ok) return;
  keepUnsaved(std::move(writes));
  reportFailure();
  retryLater();
}

void LocalDB::reportFailure() {
  if (failureReported_) return;
  failureReported_ = true;
  pending_.afterwards.emplace_back([this, reason = store_->lastError()] {
    log_.error("The local database cannot be written (" + reason + "); the state is kept in memory.");
  });
}

// ---- the journal

void LocalDB::loadJournal() {
  if (journalLoaded_) return;
  const auto loaded = store_->loadAll(Store::Table::journal);
  if (loaded.status == Store::Status::failed) {
    // Ids that cannot meet those of the rows that could not be read.
    if (lastJournalId_ == 0) lastJournalId_ = (std::int64_t{1} << 52) + std::random_device()();
    return;
  }
  if (loaded.status == Store::Status::corrupt) rewriteEverything();
  journalLoaded_ = true;
  for (const auto& row : loaded.rows) {
    const auto id = std::strtoll(row.key.c_str(), nullptr, 10);
    const auto text = std::make_shared<const std::string>(row.text);
    if (journal_.emplace(id, text).second) leftOver_.emplace(id, text);
    if (id < kMostJournalId) lastJournalId_ = std::max<std::int64_t>(lastJournalId_, id);
  }
}

std::int64_t LocalDB::journal(JournalText text) {
  std::int64_t id = 0;
  transaction([&] {
    loadJournal();
    id = ++lastJournalId_;
    pending_.journal.emplace_back(id, std::move(text));
  });
  return id;
}

void LocalDB::forget(std::span<const std::int64_t> ids) {
  transaction([&] {
    for (const auto id : ids) pending_.journal.emplace_back(id, nullptr);
  });
}

std::optional<std::map<std::int64_t, LocalDB::JournalText>> LocalDB::takeLeftOver() {
  std::optional<std::map<std::int64_t, JournalText>> leftOver;
  transaction([&] {
    loadJournal();
    if (journalLoaded_) leftOver = std::exchange(leftOver_, {});
  });
  return leftOver;
}

void LocalDB::setAside(std::string_view name, std::string text) {
  transaction([&] { pending_.rows.push_back(asideRow(name, std::move(text))); });
}

}  // namespace zul
