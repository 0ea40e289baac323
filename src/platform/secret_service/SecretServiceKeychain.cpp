#include <array>
#include <atomic>
#include <charconv>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Mutex.h"
#include "SecretCall.h"
#include "zul/SecretService.h"
#include "zul/platform/Keychain.h"

namespace zul::platform {

namespace {

constexpr std::chrono::milliseconds kPatience{1000};
constexpr std::chrono::seconds kRest{30};

// What the service can search for; it may keep this in the clear.
const SecretSchema kSchema = {"zul.keychain",
                              SECRET_SCHEMA_NONE,
                              {{"application", SECRET_SCHEMA_ATTRIBUTE_STRING},
                               {"identifier", SECRET_SCHEMA_ATTRIBUTE_STRING},
                               {"group", SECRET_SCHEMA_ATTRIBUTE_STRING},
                               {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING}},
                              0,
                              nullptr,
                              nullptr,
                              nullptr,
                              nullptr,
                              nullptr,
                              nullptr,
                              nullptr};

// All else is the secret: a line with name and size, then the bytes, then an end of line.
constexpr std::array kSecret = {Keychain::kSecAttrAccount, Keychain::kSecAttrLabel, Keychain::kSecAttrDescription,
                                Keychain::kSecValueData};

struct UnrefTable {
  void operator()(GHashTable* table) const { g_hash_table_unref(table); }
};
using Table = std::unique_ptr<GHashTable, UnrefTable>;

struct UnrefValue {
  void operator()(SecretValue* value) const { secret_value_unref(value); }
};
using Value = std::unique_ptr<SecretValue, UnrefValue>;

std::optional<std::string> value(const Keychain::Dictionary& dictionary, std::string_view key) {
  const auto found = dictionary.find(key);
  return found == dictionary.end() ? std::nullopt : std::optional(found->second);
}

std::string encode(const Keychain::Dictionary& attributes) {
  std::string text;
  for (const auto name : kSecret) {
    const auto bytes = value(attributes, name);
    if (bytes) text.append(name).append(" ").append(std::to_string(bytes->size())).append("\n").append(*bytes) += "\n";
  }
  return text;
}

/// Throws SecretFailure where the text is none of ours.
Keychain::Dictionary decode(std::string_view text) {
  Keychain::Dictionary attributes;
  while (!text.empty()) {
    const auto space = text.find(' ');
    const auto line = text.find('\n');
    std::size_t size = 0;
    const bool isHead = space != text.npos && line != text.npos && space < line &&
                        std::from_chars(text.data() + space + 1, text.data() + line, size).ptr == text.data() + line;
    if (!isHead || text.size() - line - 1 < size || text.substr(line + 1 + size, 1) != "\n") {
      throw SecretFailure("the item's secret is not this library's");
    }
    attributes.emplace(text.substr(0, space), text.substr(line + 1, size));
    text.remove_prefix(line + 1 + size + 1);
  }
  return attributes;
}

class SecretServiceKeychain final : public Keychain {
 public:
  explicit SecretServiceKeychain(std::string applicationId) : applicationId_(std::move(applicationId)) {}

  Found SecItemCopyMatching(const Dictionary& query) override {
    Found found;
    found.status = run("SecItemCopyMatching", [&](SecretCall& call, SecretService* service) {
      const auto item = find(call, service, query);
      if (!item) return Status::notFound;
      for (const auto& [attribute, text] : attributesOf(item.get())) {
        const auto wanted = attribute == kSecValueData ? kSecReturnData : kSecReturnAttributes;
        if (value(query, wanted) == "1") found.item.emplace(attribute, text);
      }
      return Status::ok;
    });
    if (found.status != Status::ok) found.item.clear();
    return found;
  }

  Status SecItemAdd(const Dictionary& attributes) override {
    return run("SecItemAdd", [&](SecretCall& call, SecretService* service) {
      if (find(call, service, keyOf(attributes))) return Status::duplicate;
      store(call, service, attributes);
      return Status::ok;
    });
  }

  Status SecItemUpdate(const Dictionary& query, const Dictionary& attributes) override {
    return run("SecItemUpdate", [&](SecretCall& call, SecretService* service) {
      const auto item = find(call, service, query);
      if (!item) return Status::notFound;
      Dictionary whole = attributesOf(item.get());
      const Dictionary key = keyOf(whole);
      for (const auto& [attribute, text] : attributes) whole.insert_or_assign(attribute, text);
      const bool isMoved = keyOf(whole) != key;
      if (isMoved && find(call, service, keyOf(whole))) return Status::duplicate;
      store(call, service, whole);
      if (isMoved) remove(call, item.get());
      return Status::ok;
    });
  }

  Status SecItemDelete(const Dictionary& query) override {
    return run("SecItemDelete", [&](SecretCall& call, SecretService* service) {
      const auto item = find(call, service, query);
      if (!item) return Status::notFound;
      remove(call, item.get());
      return Status::ok;
    });
  }

  std::string lastError() const override {
    const MutexLock lock(mutex_);
    return lastError_;
  }

 private:
  using Clock = SecretCall::Clock;

  template <typename Work>
  Status run(const char* operation, Work work) {
    try {
      if (Clock::now() < quietUntil_.load()) throw SecretFailure("the service did not answer lately");
      SecretCall call(kPatience);
      try {
        return work(call, call.open());
      } catch (...) {
        if (call.isLate()) quietUntil_ = Clock::now() + kRest;
        throw;
      }
    } catch (const std::exception& error) {
      const MutexLock lock(mutex_);
      lastError_ = std::string(operation) + ": Secret Service: " + error.what();
      return Status::failed;
    }
  }

  static Dictionary keyOf(const Dictionary& attributes) {
    return {{std::string(kSecAttrGeneric), value(attributes, kSecAttrGeneric).value_or("")},
            {std::string(kSecAttrAccessGroup), value(attributes, kSecAttrAccessGroup).value_or("")}};
  }

  /// What the service is to look for. A text of the bus must be UTF-8 without a NUL.
  Table searchFor(const Dictionary& query) const {
    Table table(g_hash_table_new_full(g_str_hash, g_str_equal, nullptr, g_free));
    const auto put = [&](const char* name, const std::optional<std::string>& text) {
      if (!text) return;
      if (g_utf8_validate_len(text->data(), text->size(), nullptr) == FALSE) throw SecretFailure("no text: " + *text);
      g_hash_table_insert(table.get(), const_cast<char*>(name), g_strndup(text->data(), text->size()));
    };
    put("application", applicationId_);
    put("identifier", value(query, kSecAttrGeneric));
    put("group", value(query, kSecAttrAccessGroup));
    return table;
  }

  /// The first item that matches, with its secret; none where it is certain that there is none.
  Ref<SecretItem> find(SecretCall& call, SecretService* service, const Dictionary& query) const {
    const Table table = searchFor(query);
    const auto searched = call.await([&](GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data) {
      constexpr auto kFlags = static_cast<SecretSearchFlags>(SECRET_SEARCH_ALL | SECRET_SEARCH_LOAD_SECRETS);
      secret_service_search(service, &kSchema, table.get(), kFlags, cancellable, callback, data);
    });
    GError* error = nullptr;
    GList* const items = secret_service_search_finish(service, searched.get(), &error);
    Ref<SecretItem> first;
    if (items != nullptr) first.reset(SECRET_ITEM(g_object_ref(items->data)));
    g_list_free_full(items, g_object_unref);
    SecretCall::check(error);
    if (first && secret_item_get_locked(first.get()) != FALSE) throw SecretFailure("the item is locked");
    // A service need not know what is in a collection that is locked.
    if (!first) defaultCollection(call, service);
    return first;
  }

  /// Null where there is none; throws when it is locked.
  static Ref<SecretCollection> defaultCollection(SecretCall& call, SecretService* service) {
    const auto looked = call.await([&](GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data) {
      secret_collection_for_alias(service, SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, cancellable, callback,
                                  data);
    });
    GError* error = nullptr;
    Ref<SecretCollection> collection(secret_collection_for_alias_finish(looked.get(), &error));
    SecretCall::check(error);
    if (collection && secret_collection_get_locked(collection.get()) != FALSE) {
      throw SecretFailure("the default collection is locked");
    }
    return collection;
  }

  Dictionary attributesOf(SecretItem* item) const {
    const Value secret(secret_item_get_secret(item));
    if (!secret) throw SecretFailure("the item's secret cannot be read");
    gsize size = 0;
    const gchar* const bytes = secret_value_get(secret.get(), &size);
    Dictionary attributes = decode({bytes, size});
    const Table table(secret_item_get_attributes(item));
    const auto put = [&](std::string_view name, const char* searched) {
      const auto* const text = static_cast<const char*>(g_hash_table_lookup(table.get(), searched));
      if (text != nullptr && (*text != '\0' || name == kSecAttrGeneric)) attributes.emplace(name, text);
    };
    put(kSecAttrGeneric, "identifier");
    put(kSecAttrAccessGroup, "group");
    return attributes;
  }

  /// In place of the item with the same identifier and group, if there is one.
  void store(SecretCall& call, SecretService* service, const Dictionary& attributes) const {
    const auto collection = defaultCollection(call, service);
    if (!collection) throw SecretFailure("there is no default collection");
    const Dictionary key = keyOf(attributes);
    const Table table = searchFor(key);
    const std::string secret = encode(attributes);
    const std::string label = applicationId_ + " " + *value(key, kSecAttrGeneric);
    const Value bytes(secret_value_new(secret.data(), static_cast<gssize>(secret.size()), "application/octet-stream"));
    const auto created = call.await([&](GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data) {
      secret_item_create(collection.get(), &kSchema, table.get(), label.c_str(), bytes.get(),
                         SECRET_ITEM_CREATE_REPLACE, cancellable, callback, data);
    });
    GError* error = nullptr;
    const Ref<SecretItem> item(secret_item_create_finish(created.get(), &error));
    SecretCall::check(error);
  }

  static void remove(SecretCall& call, SecretItem* item) {
    const auto removed = call.await([&](GCancellable* cancellable, GAsyncReadyCallback callback, gpointer data) {
      secret_item_delete(item, cancellable, callback, data);
    });
    GError* error = nullptr;
    secret_item_delete_finish(item, removed.get(), &error);
    SecretCall::check(error);
  }

  const std::string applicationId_;
  std::atomic<Clock::time_point> quietUntil_{Clock::time_point::min()};
  mutable Mutex mutex_;
  std::string lastError_ ZUL_GUARDED_BY(mutex_);
};

}  // namespace

}  // namespace zul::platform

namespace zul {

std::shared_ptr<platform::Keychain> secretServiceKeychain(const std::string& applicationId) {
  return std::make_shared<platform::SecretServiceKeychain>(applicationId);
}

}  // namespace zul
