#pragma once

#include <atomic>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "zul/platform/DocumentStore.h"

namespace zul::test {

/// The real store, with its commits counted.
class CountingStore final : public platform::DocumentStore {
 public:
  explicit CountingStore(std::shared_ptr<platform::DocumentStore> real) : real_(std::move(real)) {}
  Loaded load(Table table, std::string_view key) override { return real_->load(table, key); }
  Loaded loadAfter(Table table, const std::optional<std::string>& after, std::size_t most) override {
    return real_->loadAfter(table, after, most);
  }
  Loaded loadLast(Table table) override { return real_->loadLast(table); }
  Status commit(std::span<const Write> writes) override {
    ++commits_;
    return real_->commit(writes);
  }
  bool needsMaintenance() const override { return real_->needsMaintenance(); }
  void maintain() override { real_->maintain(); }
  std::string lastError() const override { return real_->lastError(); }
  platform::RowBuffer* buffer() noexcept override { return real_->buffer(); }

  int commits() const { return commits_; }

 private:
  std::shared_ptr<platform::DocumentStore> real_;
  std::atomic<int> commits_{0};
};

}  // namespace zul::test
