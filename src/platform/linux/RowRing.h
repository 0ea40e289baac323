#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "Mutex.h"
#include "zul/platform/DocumentStore.h"

namespace zul::platform {

/// Rows on their way into the queue's table, in a file of a fixed size that is mapped into memory: what has been copied
/// into the mapping survives the process, and copying does not wait for the disk.
///
/// The file is a page with the places of the first and the next entry, and a ring of entries. A place counts the bytes
/// since the file was made; an entry never wraps, and a ring that is empty begins at its first page again, so that few
/// pages are in use as a rule. Each has its length and a checksum, and counts only once the page
/// names a place behind it, so that a death in the middle of an append leaves nothing. Room is given back in the order
/// of the entries; one that is dropped before its turn is marked, and not found again. A file of another format, or of
/// another machine's byte order, is damage.
///
/// The kernel does the copying, as for another process's memory: where the file has lost its ground, as when the disk
/// fails, that is an error rather than a signal that would end the host. The file's blocks are reserved beforehand.
/// Where the system allows none of this, there is no ring, and rows are committed.
class RowRing final : public RowBuffer {
 public:
  static constexpr const char* kFileName = "ZULLocalDB.ring";
  static constexpr std::size_t kPage = 4096;
  static constexpr std::size_t kSize = 1024 * 1024;  ///< the file: a burst of some 300 events

  explicit RowRing(std::string path) : path_(std::move(path)) {}
  ~RowRing() override;
  RowRing(const RowRing&) = delete;
  RowRing& operator=(const RowRing&) = delete;

  LeftOver leftOver() override;
  void prepare() override;
  std::optional<std::uint64_t> append(std::int64_t id, std::string_view text) noexcept override;
  void drop(std::uint64_t place) noexcept override;
  bool crowded() const noexcept override;
  std::uint64_t end() const noexcept override { return next_; }
  void release(std::uint64_t place) noexcept override;

 private:
  static constexpr std::size_t kRing = kSize - kPage;

  void readEntries(const std::string& content, LeftOver& found) ZUL_REQUIRES(mutex_);
  bool writePlaces() noexcept ZUL_REQUIRES(mutex_);

  const std::string path_;
  Mutex mutex_;
  char* mapping_ ZUL_GUARDED_BY(mutex_) = nullptr;
  // Changed under the mutex.
  std::atomic<std::uint64_t> first_{kRing};
  std::atomic<std::uint64_t> next_{kRing};
};

}  // namespace zul::platform
