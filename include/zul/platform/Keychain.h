#pragma once

#include <map>
#include <string>
#include <string_view>

namespace zul::platform {

/// The system's keychain, as far as the library uses it: generic-password items of this application, which outlive the
/// application's data. Any thread may call it; another process may at any time.
///
/// A dictionary holds attributes under the constants below. In a query those of `kSecAttrGeneric` and
/// `kSecAttrAccessGroup` that are given select the item, and the others are no conditions.
class Keychain {
 public:
  using Dictionary = std::map<std::string, std::string, std::less<>>;

  static constexpr std::string_view kSecClass = "class";
  static constexpr std::string_view kSecClassGenericPassword = "genp";  ///< the only class
  static constexpr std::string_view kSecAttrGeneric = "gena";           ///< the item's identifier
  static constexpr std::string_view kSecAttrAccessGroup = "agrp";
  static constexpr std::string_view kSecAttrAccount = "acct";
  static constexpr std::string_view kSecAttrLabel = "labl";
  static constexpr std::string_view kSecAttrDescription = "desc";
  static constexpr std::string_view kSecValueData = "v_Data";  ///< bytes
  static constexpr std::string_view kSecMatchLimit = "m_Limit";
  static constexpr std::string_view kSecMatchLimitOne = "m_LimitOne";
  static constexpr std::string_view kSecReturnAttributes = "r_Attributes";  ///< "1": an answer has the attributes
  static constexpr std::string_view kSecReturnData = "r_Data";              ///< "1": an answer has kSecValueData

  enum class Status {
    ok,
    notFound,   ///< certain: there is no such item
    duplicate,  ///< there is such an item already
    failed,     ///< locked, missing, full, damaged: nothing is known and nothing was changed
  };

  struct Found {
    Status status = Status::notFound;
    Dictionary item;
  };

  virtual ~Keychain() = default;

  /// The first item that matches, with what the query wants returned.
  [[nodiscard]] virtual Found SecItemCopyMatching(const Dictionary& query) = 0;
  /// A new item. `duplicate` where one of the same identifier and access group exists.
  virtual Status SecItemAdd(const Dictionary& attributes) = 0;
  /// Changes the given attributes of the item that matches.
  virtual Status SecItemUpdate(const Dictionary& query, const Dictionary& attributes) = 0;
  virtual Status SecItemDelete(const Dictionary& query) = 0;

  /// What went wrong last, for the log; empty when nothing did.
  virtual std::string lastError() const { return {}; }
};

}  // namespace zul::platform
