#include "KeychainWrapper.h"

namespace zul {

using platform::Keychain;

namespace {

using Status = Keychain::Status;

void set(Keychain::Dictionary& dictionary, std::string_view key, std::string_view value) {
  dictionary.insert_or_assign(std::string(key), std::string(value));
}

void remove(Keychain::Dictionary& dictionary, std::string_view key) {
  if (const auto found = dictionary.find(key); found != dictionary.end()) dictionary.erase(found);
}

}  // namespace

KeychainWrapper::KeychainWrapper(Keychain& keychain, std::string_view identifier, const Text& accessGroup)
    : keychain_(keychain) {
  set(genericPasswordQuery_, Keychain::kSecClass, Keychain::kSecClassGenericPassword);
  set(genericPasswordQuery_, Keychain::kSecAttrGeneric, identifier);
  if (accessGroup) set(genericPasswordQuery_, Keychain::kSecAttrAccessGroup, *accessGroup);
  set(genericPasswordQuery_, Keychain::kSecMatchLimit, Keychain::kSecMatchLimitOne);
  set(genericPasswordQuery_, Keychain::kSecReturnAttributes, "1");

  const auto found = keychain_.SecItemCopyMatching(genericPasswordQuery_);
  if (found.status == Status::ok) {
    exists_ = true;
    keychainItemData_ = secItemFormatToDictionary(found.item);
    return;
  }
  readable_ = found.status == Status::notFound;
  blank();
  set(keychainItemData_, Keychain::kSecAttrGeneric, identifier);
  if (accessGroup) set(keychainItemData_, Keychain::kSecAttrAccessGroup, *accessGroup);
}

bool KeychainWrapper::setObject(const Text& object, std::string_view key) {
  if (!object || objectForKey(key) == object) return true;
  set(keychainItemData_, key, *object);
  return readable_ && writeToKeychain();
}

KeychainWrapper::Text KeychainWrapper::objectForKey(std::string_view key) const {
  const auto found = keychainItemData_.find(key);
  return found == keychainItemData_.end() ? std::nullopt : Text(found->second);
}

void KeychainWrapper::resetKeychainItem() {
  if (readable_) keychain_.SecItemDelete(dictionaryToSecItemFormat(keychainItemData_));
  exists_ = false;
  blank();
}

void KeychainWrapper::blank() {
  for (const auto key :
       {Keychain::kSecAttrAccount, Keychain::kSecAttrLabel, Keychain::kSecAttrDescription, Keychain::kSecValueData}) {
    set(keychainItemData_, key, "");
  }
}

// The value's text and its bytes in UTF-8 are the same here.
KeychainWrapper::Dictionary KeychainWrapper::dictionaryToSecItemFormat(const Dictionary& dictionary) {
  auto formatted = dictionary;
  set(formatted, Keychain::kSecClass, Keychain::kSecClassGenericPassword);
  return formatted;
}

KeychainWrapper::Dictionary KeychainWrapper::secItemFormatToDictionary(const Dictionary& attributes) {
  auto dictionary = attributes;
  set(dictionary, Keychain::kSecReturnData, "1");
  set(dictionary, Keychain::kSecClass, Keychain::kSecClassGenericPassword);
  const auto found = keychain_.SecItemCopyMatching(dictionary);
  if (found.status != Status::ok) return dictionary;
  remove(dictionary, Keychain::kSecReturnData);
  const auto data = found.item.find(Keychain::kSecValueData);
  set(dictionary, Keychain::kSecValueData, data == found.item.end() ? "" : data->second);
  return dictionary;
}

bool KeychainWrapper::writeToKeychain() {
  const auto found = keychain_.SecItemCopyMatching(genericPasswordQuery_);
  if (found.status == Status::failed) return false;
  auto attributes = dictionaryToSecItemFormat(keychainItemData_);
  auto status = Status::duplicate;
  if (found.status == Status::notFound) status = keychain_.SecItemAdd(attributes);
  if (status == Status::duplicate) {  // found, or added by another process just now
    auto search = found.item;
    set(search, Keychain::kSecClass, Keychain::kSecClassGenericPassword);
    set(search, Keychain::kSecAttrGeneric, genericPasswordQuery_.find(Keychain::kSecAttrGeneric)->second);
    remove(attributes, Keychain::kSecClass);
    status = keychain_.SecItemUpdate(search, attributes);
  }
  exists_ = exists_ || status == Status::ok;
  return status == Status::ok;
}

}  // namespace zul
