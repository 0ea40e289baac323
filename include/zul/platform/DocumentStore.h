#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zul::platform {

/// One row of the store: a key and the text kept under it.
struct StoredRow {
  std::string key;
  std::string text;
};

/// A durable map from key to text in a few tables, written in atomic commits. The calling layer
/// serializes its writes; reads may come from any thread at any time.
///
/// A commit that returned `ok` survives the death of the process at any instant.
class DocumentStore {
 public:
  /// `documents` holds one row a document; `journal` the payloads on their way to the collector;
  /// `setAside` what could not be read, kept for whoever wants to look.
  enum class Table { documents, journal, setAside };

  /// `corrupt` means that the file was damaged and has been set aside under a new name, and that the
  /// store in use now is a new, empty one.
  enum class Status { ok, failed, corrupt };

  struct Write {
    Table table;
    std::string key;
    std::optional<std::string> text;  ///< none removes the row
  };

  struct Loaded {
    Status status = Status::ok;
    std::vector<StoredRow> rows;
  };

  virtual ~DocumentStore() = default;

  /// The row of `key`, or no row.
  virtual Loaded load(Table table, std::string_view key) = 0;

  /// All rows of a table, ordered by key.
  virtual Loaded loadAll(Table table) = 0;

  /// All of `writes` or none of them.
  virtual Status commit(std::span<const Write> writes) = 0;

  /// True when housekeeping has piled up; the caller then calls `maintain` from a background thread.
  virtual bool needsMaintenance() const { return false; }
  virtual void maintain() {}

  /// What went wrong last, for the log; empty when nothing did.
  virtual std::string lastError() const { return {}; }
};

}  // namespace zul::platform
