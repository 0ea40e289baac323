#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "Environment.h"
#include "Fields.h"
#include "Log.h"
#include "Mutex.h"
#include "SessionJson.h"

namespace zul {

class Identifiers;
class LocalDB;
struct Identity;
struct Deployment;

/// A field's value.
using FieldValue =
    std::variant<std::optional<std::string>, std::int64_t, bool, double, std::optional<double>, boost::json::value>;

/// Owns the process's current SessionJson: makes it from the stored documents, the identifiers and the device when it
/// is first asked for, hands it out as an immutable value, and lets single fields be changed.
///
/// Any thread may call it. Its lock covers the exchange of one pointer. Making the record may wait for the
/// app-store look-up, at most 60 seconds, on the calling thread and without a lock.
class SessionRecord {
 public:
  using Current = std::shared_ptr<const SessionJson>;
  using Edit = std::function<void(SessionJson&)>;

  SessionRecord(LocalDB& db, Identifiers& identifiers, Environment::Sources sources, const Deployment& deployment,
                Log log);

  /// The record; made when there is none.
  Current sharedInstance();
  /// The record, or null.
  Current getSharedInstance() const;
  /// Drops the record: the next `sharedInstance` makes a new one from the store.
  void clearInstance();

  /// Changes the record, making it first when there is none.
  void edit(const Edit& edit);
  /// Changes the record. False, and without effect, when there is none.
  bool editExisting(const Edit& edit);

  /// Stores a member's value under the document and key of its field, creating the document when none is stored, and
  /// has the current record, if there is one, show what is stored: set<&SessionJson::inamId>(id).
  template <auto... path, typename Value>
  void set(Value value) {
    if constexpr (std::is_convertible_v<Value, std::string>) {
      store(fieldOf(at<path...>()), std::optional<std::string>(std::move(value)));
    } else {
      store(fieldOf(at<path...>()), FieldValue(std::move(value)));
    }
  }
  /// Has the current record show the stored value of a member, once the transaction that changes it is committed.
  template <auto... path>
  void show() {
    show(fieldOf(at<path...>()));
  }

  /// The same for all that a record is made of out of a document, named by a literal.
  void showDocument(std::string_view document);

  /// Looks at the device anew and has the current record, if there is one, show what it saw.
  void refreshEnvironment();

  /// A fresh look at the device.
  Environment environment() const { return Environment(sources_); }

 private:
  Current initUniqueInstance();
  void make(SessionJson& record, const Identity& identity);
  void noteChanges(const Identity& identity);
  void showChanges() ZUL_REQUIRES(mutex_);
  void store(const Field& field, const FieldValue& value);
  void show(const Field& field);
  void show(std::string_view document, const std::function<bool(const Field&)>& shows);

  LocalDB& db_;
  Identifiers& identifiers_;
  const Environment::Sources sources_;
  const std::string collectorBaseUrl_;
  const Log log_;
  std::atomic<bool> toldDisplayMap_{false};

  mutable Mutex mutex_;
  Current current_ ZUL_GUARDED_BY(mutex_);
  // Counts what makes a record that is being made out of date.
  std::uint64_t generation_ ZUL_GUARDED_BY(mutex_) = 0;
  // Of the advertising identifier, for the next record: whoever compared it has replaced what the next one compares
  // with.
  bool aidChange_ ZUL_GUARDED_BY(mutex_) = false;
  bool uptAfv_ ZUL_GUARDED_BY(mutex_) = false;
};

}  // namespace zul
