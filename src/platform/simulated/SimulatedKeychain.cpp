#include "SimulatedKeychain.h"

#include <algorithm>

namespace zul::platform {

namespace {

std::string value(const Keychain::Dictionary& dictionary, std::string_view key) {
  const auto found = dictionary.find(key);
  return found == dictionary.end() ? "" : found->second;
}

bool matches(const Keychain::Dictionary& query, std::string_view attribute, const std::string& own) {
  const auto wanted = query.find(attribute);
  return wanted == query.end() || wanted->second == own;
}

}  // namespace

std::map<SimulatedKeychain::Key, Keychain::Dictionary>::iterator SimulatedKeychain::find(const Dictionary& query) {
  return std::find_if(items_.begin(), items_.end(), [&](const auto& item) {
    return matches(query, kSecAttrGeneric, item.first.first) && matches(query, kSecAttrAccessGroup, item.first.second);
  });
}

Keychain::Found SimulatedKeychain::SecItemCopyMatching(const Dictionary& query) {
  if (fails()) return {Status::failed, {}};
  const auto item = find(query);
  if (item == items_.end()) return {Status::notFound, {}};
  Found found{Status::ok, {}};
  for (const auto& [attribute, text] : item->second) {
    const auto wanted = attribute == kSecValueData ? kSecReturnData : kSecReturnAttributes;
    if (value(query, wanted) == "1") found.item[attribute] = text;
  }
  return found;
}

Keychain::Status SimulatedKeychain::SecItemAdd(const Dictionary& attributes) {
  if (fails()) return Status::failed;
  const Key key{value(attributes, kSecAttrGeneric), value(attributes, kSecAttrAccessGroup)};
  if (!items_.emplace(key, attributes).second) return Status::duplicate;
  ++writes_;
  return Status::ok;
}

Keychain::Status SimulatedKeychain::SecItemUpdate(const Dictionary& query, const Dictionary& attributes) {
  if (fails()) return Status::failed;
  const auto item = find(query);
  if (item == items_.end()) return Status::notFound;
  for (const auto& [attribute, text] : attributes) item->second[attribute] = text;
  ++writes_;
  return Status::ok;
}

Keychain::Status SimulatedKeychain::SecItemDelete(const Dictionary& query) {
  if (fails()) return Status::failed;
  const auto item = find(query);
  if (item == items_.end()) return Status::notFound;
  items_.erase(item);
  ++writes_;
  return Status::ok;
}

std::map<std::string, Keychain::Dictionary> SimulatedKeychain::items() const {
  std::map<std::string, Dictionary> found;
  for (const auto& [key, attributes] : items_) {
    if (key.second.empty()) found[key.first] = attributes;
  }
  return found;
}

void SimulatedKeychain::put(const std::string& identifier, Dictionary attributes) {
  attributes.insert_or_assign(std::string(kSecAttrGeneric), identifier);
  items_.insert_or_assign({identifier, ""}, std::move(attributes));
}

}  // namespace zul::platform
