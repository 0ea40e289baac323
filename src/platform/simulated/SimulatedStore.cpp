#include "SimulatedStore.h"

#include <cstdlib>

namespace zul::platform {

bool SimulatedStore::Order::operator()(const std::string& a, const std::string& b) const {
  if (!numeric) return a < b;
  const auto x = std::strtoll(a.c_str(), nullptr, 10);
  const auto y = std::strtoll(b.c_str(), nullptr, 10);
  return x < y;
}

bool SimulatedStore::foundDamaged() {
  if (!damaged_) return false;
  damaged_ = false;
  for (auto& table : tables_) table.clear();
  return true;
}

DocumentStore::Loaded SimulatedStore::load(Table table, std::string_view key) {
  if (foundDamaged()) return {Status::corrupt, {}};
  if (unreadable_) return {Status::failed, {}};
  ++loads_;
  const auto row = rows(table).find(std::string(key));
  if (row == rows(table).end()) return {};
  return {Status::ok, {{row->first, row->second}}};
}

DocumentStore::Loaded SimulatedStore::loadAfter(Table table, const std::optional<std::string>& after,
                                                std::size_t most) {
  if (foundDamaged()) return {Status::corrupt, {}};
  if (unreadable_) return {Status::failed, {}};
  Loaded loaded;
  auto row = after ? rows(table).upper_bound(*after) : rows(table).begin();
  for (; row != rows(table).end() && loaded.rows.size() < most; ++row) loaded.rows.push_back({row->first, row->second});
  return loaded;
}

DocumentStore::Loaded SimulatedStore::loadLast(Table table) {
  if (foundDamaged()) return {Status::corrupt, {}};
  if (unreadable_) return {Status::failed, {}};
  if (rows(table).empty()) return {};
  const auto& [key, text] = *rows(table).rbegin();
  return {Status::ok, {{key, text}}};
}

DocumentStore::Status SimulatedStore::commit(std::span<const Write> writes) {
  if (foundDamaged()) return Status::corrupt;
  latestWrites_ = writes.size();
  if (failing_) return Status::failed;
  ++commits_;
  for (const auto& write : writes) {
    auto& table = rows(write.table);
    if (write.text) {
      table[write.key] = *write.text;
    } else if (write.through.empty()) {
      table.erase(write.key);
    } else {
      table.erase(table.lower_bound(write.key), table.upper_bound(write.through));
    }
  }
  return Status::ok;
}

}  // namespace zul::platform
