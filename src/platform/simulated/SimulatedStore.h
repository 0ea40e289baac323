#pragma once

#include <array>
#include <cstdint>
#include <map>

#include "zul/platform/DocumentStore.h"

namespace zul::platform {

/// The store in memory. It outlives the library that writes to it, as a file does: a new library on the
/// same object is a restart.
class SimulatedStore final : public DocumentStore {
 public:
  Loaded load(Table table, std::string_view key) override;
  Loaded loadAfter(Table table, const std::optional<std::string>& after, std::size_t most) override;
  Loaded loadLast(Table table) override;
  Status commit(std::span<const Write> writes) override;
  std::string lastError() const override { return failing_ ? "disk full" : ""; }

  /// Writes a row, as another program would.
  void put(Table table, const std::string& key, const std::string& text) { rows(table)[key] = text; }

  /// From now on commits fail, or work again.
  void setFailing(bool failing) { failing_ = failing; }
  /// From now on nothing can be read, or again.
  void setUnreadable(bool unreadable) { unreadable_ = unreadable; }

  /// The next access finds the file damaged: all rows are gone.
  void damage() { damaged_ = true; }

  std::uint64_t commits() const { return commits_; }
  /// How much the latest commit, done or not, was to write.
  std::size_t latestWrites() const { return latestWrites_; }
  std::uint64_t loads() const { return loads_; }

 private:
  // The queue's keys are numbers and ordered as such.
  struct Order {
    bool numeric = false;
    bool operator()(const std::string& a, const std::string& b) const;
  };
  using Rows = std::map<std::string, std::string, Order>;

  bool foundDamaged();
  Rows& rows(Table table) { return tables_[static_cast<std::size_t>(table)]; }

  std::array<Rows, 3> tables_ = {Rows(), Rows(Order{true}), Rows()};  // by Table
  bool failing_ = false;
  bool unreadable_ = false;
  bool damaged_ = false;
  std::uint64_t commits_ = 0;
  std::size_t latestWrites_ = 0;
  std::uint64_t loads_ = 0;
};

}  // namespace zul::platform
