#pragma once

#include <map>
#include <string>
#include <utility>

#include "zul/platform/Keychain.h"

namespace zul::platform {

/// The keychain in memory. It outlives the application and its data.
class SimulatedKeychain final : public Keychain {
 public:
  Found SecItemCopyMatching(const Dictionary& query) override;
  Status SecItemAdd(const Dictionary& attributes) override;
  Status SecItemUpdate(const Dictionary& query, const Dictionary& attributes) override;
  Status SecItemDelete(const Dictionary& query) override;
  std::string lastError() const override { return locked_ ? "the keychain is locked" : ""; }

  /// From now on every call fails, or works again.
  void setLocked(bool locked) { locked_ = locked; }

  /// The items by identifier, those without an access group.
  std::map<std::string, Dictionary> items() const;
  /// Writes an item's account, as an earlier installation would have.
  void put(const std::string& identifier, const std::string& account);
  void clear() { items_.clear(); }

  int writes() const { return writes_; }

 private:
  using Key = std::pair<std::string, std::string>;  // identifier, access group
  std::map<Key, Dictionary>::iterator find(const Dictionary& query);

  std::map<Key, Dictionary> items_;
  bool locked_ = false;
  int writes_ = 0;
};

}  // namespace zul::platform
