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

  /// The nth call from now fails, and the others work.
  void failCall(int n) { failingIn_ = n; }

  /// The items by identifier, those without an access group.
  std::map<std::string, Dictionary> items() const;
  /// Replaces an item, as an earlier installation would have left it.
  void put(const std::string& identifier, Dictionary attributes);
  void remove(const std::string& identifier) { items_.erase({identifier, ""}); }
  void clear() { items_.clear(); }

  int writes() const { return writes_; }

 private:
  using Key = std::pair<std::string, std::string>;  // identifier, access group
  std::map<Key, Dictionary>::iterator find(const Dictionary& query);

  std::map<Key, Dictionary> items_;
  bool fails() { return --failingIn_ == 0 || locked_; }

  bool locked_ = false;
  int failingIn_ = 0;
  int writes_ = 0;
};

}  // namespace zul::platform
