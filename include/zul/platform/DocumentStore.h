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

/// A small, fast place for rows of the queue on their way into its table: what is appended waits for no commit and no
/// disk, and survives the death of the process as a commit does. Any thread may call it.
class RowBuffer {
 public:
  /// What an earlier process appended and did not release.
  struct LeftOver {
    bool failed = false;  ///< it cannot be read just now
    std::vector<StoredRow> rows;
    std::vector<std::string> damaged;  ///< pieces that are no rows
  };

  virtual ~RowBuffer() = default;

  /// To be called before all else.
  [[nodiscard]] virtual LeftOver leftOver() = 0;

  /// Gets ready to take rows. May wait for the disk.
  virtual void prepare() = 0;

  /// Keeps a row, by its id. Its place, which is never 0; none when that cannot be done, and the row has to be
  /// committed.
  [[nodiscard]] virtual std::optional<std::uint64_t> append(std::int64_t id, std::string_view text) noexcept = 0;

  /// The row at `place` is not needed any more, whatever stands before it.
  virtual void drop(std::uint64_t place) noexcept = 0;

  /// Whether so much of the room is taken that what can leave had better do so now.
  [[nodiscard]] virtual bool crowded() const noexcept = 0;

  /// The place behind all that was appended so far.
  [[nodiscard]] virtual std::uint64_t end() const noexcept = 0;

  /// What stands before `place` is not needed any more.
  virtual void release(std::uint64_t place) noexcept = 0;
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
    std::string through{};            ///< a removal in `queue`: the last of a range of keys; empty: `key` alone
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

  /// Null when there is none. Not before the first read; from then on it stays the same.
  virtual RowBuffer* buffer() noexcept { return nullptr; }

  /// True when housekeeping has piled up; the caller then calls `maintain` from a background thread.
  virtual bool needsMaintenance() const { return false; }
  virtual void maintain() {}

  /// What went wrong last, for the log; empty when nothing did.
  virtual std::string lastError() const { return {}; }
};

}  // namespace zul::platform
