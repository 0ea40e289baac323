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
  /// `documents` holds one row a document; `queue` the payloads that the collector does not have yet, their keys
  /// being decimal 64-bit integers in the order of which the rows stand; `setAside` what could not be read, kept for
  /// whoever wants to look.
  enum class Table { documents, queue, setAside };

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
  [[nodiscard]] virtual Loaded load(Table table, std::string_view key) = 0;

  /// At most `most` rows in the order of their keys, those behind `after` or, without it, from the first.
  virtual Loaded loadAfter(Table table, const std::optional<std::string>& after, std::size_t most) = 0;

  /// The row with the last key, or no row.
  virtual Loaded loadLast(Table table) = 0;

  /// All rows of a table.
  [[nodiscard]] Loaded loadAll(Table table) { return loadAfter(table, std::nullopt, static_cast<std::size_t>(-1)); }

  /// All of `writes` or none of them.
  [[nodiscard]] virtual Status commit(std::span<const Write> writes) = 0;

  /// True when housekeeping has piled up; the caller then calls `maintain` from a background thread.
  virtual bool needsMaintenance() const { return false; }
  virtual void maintain() {}

  /// What went wrong last, for the log; empty when nothing did.
  virtual std::string lastError() const { return {}; }
};

}  // namespace zul::platform
