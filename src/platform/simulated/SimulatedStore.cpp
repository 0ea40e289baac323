#include "SimulatedStore.h"

namespace zul::platform {

bool SimulatedStore::foundDamaged() {
  if (!damaged_) return false;
  damaged_ = false;
  tables_ = {};
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

DocumentStore::Loaded SimulatedStore::loadAll(Table table) {
  if (foundDamaged()) return {Status::corrupt, {}};
  if (unreadable_) return {Status::failed, {}};
  Loaded loaded;
  for (const auto& [key, text] : rows(table)) loaded.rows.push_back({key, text});
  return loaded;
}

DocumentStore::Status SimulatedStore::commit(std::span<const Write> writes) {
  if (foundDamaged()) return Status::corrupt;
  latestWrites_ = writes.size();
  if (failing_) return Status::failed;
  ++commits_;
  for (const auto& write : writes) {
    if (write.text) {
      rows(write.table)[write.key] = *write.text;
    } else {
      rows(write.table).erase(write.key);
    }
  }
  return Status::ok;
}

}  // namespace zul::platform
