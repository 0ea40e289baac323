#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "zul/platform/Keychain.h"

namespace zul {

/// One generic-password item of the keychain, as it was when this was made and with what was set since. One thread at
/// a time.
class KeychainWrapper {
 public:
  using Dictionary = platform::Keychain::Dictionary;
  using Text = std::optional<std::string>;

  /// Looks the item up. One that does not exist is blank.
  KeychainWrapper(platform::Keychain& keychain, std::string_view identifier, const Text& accessGroup = std::nullopt);

  /// False when the keychain could not tell whether there is such an item. Nothing is written then: it might be in the
  /// place of what is stored.
  bool isReadable() const { return readable_; }
  /// The item is in the keychain.
  bool exists() const { return exists_; }

  /// Stores `object` under an attribute. Nothing happens without one, or when it is there already. False when the
  /// keychain did not take it.
  bool setObject(const Text& object, std::string_view key);
  /// What an attribute holds.
  Text objectForKey(std::string_view key) const;
  /// Deletes the item and blanks what is known of it.
  void resetKeychainItem();

 private:
  static Dictionary dictionaryToSecItemFormat(const Dictionary& dictionary);
  Dictionary secItemFormatToDictionary(const Dictionary& attributes);
  void blank();
  bool writeToKeychain();

  platform::Keychain& keychain_;
  Dictionary genericPasswordQuery_;
  Dictionary keychainItemData_;
  bool readable_ = true;
  bool exists_ = false;
};

}  // namespace zul
