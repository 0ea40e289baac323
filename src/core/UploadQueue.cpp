#include "UploadQueue.h"

#include <algorithm>
#include <boost/json/monotonic_resource.hpp>
#include <optional>
#include <utility>

#include "Json.h"
#include "LocalDB.h"
#include "NetworkManager.h"
#include "zul/platform/Dispatcher.h"

namespace zul {

namespace {

constexpr std::string_view kDocument = "Json";
constexpr std::string_view kKey = "QueueJsonList";
constexpr std::string_view kNoKeys = "{}";

constexpr int kMostOpen = 4;

// A queue up to this size is stored at every failed send. The commit of a larger one would hold up the host's thread
// for longer, so that it is made the more rarely the larger it is: the journal holds what the document lacks until
// then.
constexpr std::size_t kSaveAtOnce = 64 * 1024;

// In seconds.
double saveAfter(std::size_t size) {
  constexpr double kBytesASecond = 64 * 1024;
  return std::clamp(static_cast<double>(size) / kBytesASecond, 2.0, 60.0);
}

}  // namespace

UploadQueue::UploadQueue(LocalDB& db, NetworkManager& network, std::shared_ptr<platform::Dispatcher> dispatcher,
                         Log log, Owner owner)
    : db_(db),
      network_(network),
      dispatcher_(std::move(dispatcher)),
      serial_(dispatcher_->serialQueue()),
      log_(std::move(log)),
      owner_(std::move(owner)) {}

void UploadQueue::start() {
  serial_->async([this] { log_.guard([this] { load(); }); });
}

// ---- sending

void UploadQueue::send(std::vector<std::string> payloads) {
  Entries own;
  std::string removed;
  for (auto& payload : payloads) {
    if (payload == kNoKeys) {
      removed += removed.empty() ? kNoKeys : ",{}";
    } else {
      own.push_back(std::make_shared<Entry>());
      own.back()->compact = std::make_shared<const std::string>(std::move(payload));
    }
  }
  if (!own.empty()) {
    db_.transaction([&] {
      for (auto& entry : own) entry->journalId = db_.journal(entry->compact);
    });
  }
  {
    const std::lock_guard lock(mutex_);
    for (auto& entry : own) entry->order = ++lastOrder_;
    if (open_ + static_cast<int>(waiting_.size()) <= kMostOpen || waiting_.empty()) {
      waiting_.push_back(std::move(own));
    } else {
      auto& last = waiting_.back();
      last.insert(last.end(), own.begin(), own.end());
    }
  }
  if (!removed.empty()) log_.info("REMOVE Object: [" + removed + "]");
  serial_->async([this] { log_.guard([this] { pump(); }); });
}

void UploadQueue::pump() {
  load();
  while (true) {
    Entries own;
    {
      const std::lock_guard lock(mutex_);
      if (waiting_.empty() || open_ >= kMostOpen) return;
      own = std::move(waiting_.front());
      waiting_.pop_front();
      ++open_;
    }
    try {
      open(own);
    } catch (...) {
      close();
      throw;
    }
  }
}

void UploadQueue::open(const Entries& own) {
  for (const auto& entry : own) indent(*entry);
  Entries list;
  {
    const std::lock_guard lock(mutex_);
    if (unreadable_) {
      // Without a queue to join, the payload waits in its place for the next send.
      unreadable_ = false;
      enqueue(own);
    } else {
      list = queue_;
      list.insert(list.end(), own.begin(), own.end());
    }
  }
  if (list.empty()) {
    log_.info("No finalJsonList data for send: []");
    close();
    return;
  }
  std::string text = "[";
  std::size_t size = 4;
  for (const auto& entry : list) size += entry->indented.size() + 4;
  text.reserve(size);
  for (const auto& entry : list) {
    text += entry == list.front() ? "\n  " : ",\n  ";
    text += entry->indented;
  }
  text += "\n]";
  log_.info("REQ [SDK -> COLLECTOR] " + text);
  network_.sendDocument(text, [this, list = std::move(list)](bool success, const auto& response) {
    log_.guard([&] { complete(list, success, response); });
    log_.debug("[Data Sending Status] : Completed. ");
    close();
    log_.guard([&] { owner_.completed(); });
  });
}

void UploadQueue::close() {
  {
    const std::lock_guard lock(mutex_);
    --open_;
    if (waiting_.empty()) return;
  }
  serial_->async([this] { log_.guard([this] { pump(); }); });
}

// ---- the answer

void UploadQueue::complete(const Entries& list, bool success, const platform::HttpResponse& response) {
  if (!success) {
    log_.guard([&] { owner_.kept("network error"); });
    keep(list);
    return;
  }
  const auto answer = NetworkManager::getResponseDictionary(response.body);
  log_.info("RES [SDK <- COLLECTOR_Tracker]: " + (answer ? json::text(*answer) : "(null)"));
  if (answer && json::string(*answer, "code") == "RES001") {
    accept(list, *answer);
    return;
  }
  log_.guard([&] { owner_.kept(answer ? json::string(*answer, "msg") : std::nullopt); });
  keep(list);
}

void UploadQueue::accept(const Entries& list, const boost::json::object& answer) {
  log_.guard([&] { owner_.accepted(answer, list.front()->indented); });
  std::vector<std::int64_t> journaled;
  bool loaded = false;
  {
    const std::lock_guard lock(mutex_);
    loaded = loaded_;
    for (const auto& entry : list) {
      entry->delivered = true;
      if (entry->journalId != 0) journaled.push_back(entry->journalId);
    }
    std::erase_if(queue_, [](const auto& entry) { return entry->delivered; });
  }
  auto queue = loaded ? std::optional(image()) : std::nullopt;
  db_.transaction([&] {
    if (queue) save(std::move(*queue));
    db_.forget(journaled);
    owner_.keepAccepted();
  });
}

void UploadQueue::keep(const Entries& list) {
  std::size_t size = 0;
  {
    const std::lock_guard lock(mutex_);
    enqueue(list);
    for (const auto& entry : queue_) size += entry->indented.size();
    if (!loaded_ || (size > kSaveAtOnce && std::exchange(saveScheduled_, true))) return;
  }
  if (size <= kSaveAtOnce) {
    save(image());
  } else {
    dispatcher_->after(saveAfter(size), platform::Dispatcher::Queue::global, [this] {
      {
        const std::lock_guard lock(mutex_);
        saveScheduled_ = false;
      }
      log_.guard([this] { save(image()); });
    });
  }
}

void UploadQueue::enqueue(const Entries& entries) {
  for (const auto& entry : entries) {
    if (!entry->delivered && !std::exchange(entry->queued, true)) queue_.push_back(entry);
  }
  std::stable_sort(queue_.begin(), queue_.end(), [](const auto& a, const auto& b) { return a->order < b->order; });
}

void UploadQueue::indent(Entry& entry) {
  if (!entry.indented.empty()) return;
  entry.indented.reserve(entry.compact->size() * 3 / 2);
  json::appendPretty(entry.indented, *entry.compact, 1);
  entry.compact = nullptr;
}

UploadQueue::Image UploadQueue::image() {
  Image image;
  Entries entries;
  {
    const std::lock_guard lock(mutex_);
    image.version = ++images_;
    entries = queue_;
    for (const auto& entry : entries) {
      if (entry->journalId != 0) image.journaled.push_back(std::exchange(entry->journalId, 0));
    }
  }
  std::string list;
  for (const auto& entry : entries) {
    list += list.empty() ? '[' : ',';
    json::appendCompact(list, entry->indented);
  }
  if (!list.empty()) list += ']';
  boost::json::object document;
  document.emplace(kKey, list);
  image.text = json::text(document);
  image.document = std::make_shared<const boost::json::object>(std::move(document));
  return image;
}

// The document takes the queue and the journal lets go of it, in one commit. Of two images the later one stays,
// in whatever order they come.
void UploadQueue::save(Image image) {
  db_.transaction([&] {
    if (image.version > saved_) {
      saved_ = image.version;
      db_.put(kDocument, std::move(image.document), std::move(image.text));
    }
    db_.forget(image.journaled);
  });
}

// ---- what earlier processes left

void UploadQueue::load() {
  {
    const std::lock_guard lock(mutex_);
    if (loaded_) return;
  }
  // What cannot be read now is tried again at the next send; until then nothing is stored over it.
  const auto document = db_.readDocument(kDocument);
  const auto leftOver = document ? db_.takeLeftOver() : std::nullopt;
  if (!leftOver) return;
  Entries stored = parsed(document->stringForKey(kKey).value_or(""));
  for (const auto& [id, payload] : *leftOver) {
    if (const auto object = json::parseObject(*payload); !object || object->empty()) {
      log_.error("A journaled payload could not be read and was set aside.");
      db_.setAside("journal." + std::to_string(id), *payload);
      db_.forget({&id, 1});
      continue;
    }
    auto entry = std::make_shared<Entry>();
    entry->journalId = id;
    entry->compact = payload;
    indent(*entry);
    stored.push_back(std::move(entry));
  }
  {
    const std::lock_guard lock(mutex_);
    // Sends may have been accepted meanwhile: what was left comes before all of them.
    auto order = -static_cast<std::int64_t>(stored.size());
    for (auto& entry : stored) entry->order = order++;
    enqueue(stored);
    loaded_ = true;
  }
  if (!leftOver->empty() && !unreadable_) save(image());
}

UploadQueue::Entries UploadQueue::parsed(const std::string& text) {
  Entries entries;
  if (text.empty()) return entries;
  // Whatever could be accepted as a payload must be readable within the list, a few levels further in.
  // The tree is large and short-lived, so its memory is taken and given back in large pieces.
  boost::json::monotonic_resource memory(text.size());
  const auto list = json::parse(text, 2 * json::kMaxDepth, &memory);
  if (!list || !list->is_array()) {
    log_.error("The stored queue could not be read and was set aside.");
    db_.setAside("Json.QueueJsonList", text);
    const std::lock_guard lock(mutex_);
    unreadable_ = true;
    return entries;
  }
  std::string removed;
  for (const auto& element : list->get_array()) {
    if (element.is_object() && !element.get_object().empty()) {
      entries.push_back(std::make_shared<Entry>());
      entries.back()->compact = std::make_shared<const std::string>(json::text(element));
      indent(*entries.back());
    } else {
      (removed += removed.empty() ? "" : ",") += json::text(element);
    }
  }
  if (!removed.empty()) log_.info("REMOVE Object: [" + removed + "]");
  return entries;
}

}  // namespace zul
