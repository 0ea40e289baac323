#pragma once

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace zul {

/// A stored document as it stood at one moment: immutable, cheap to copy, safe to read from any thread.
/// Every read of an absent document, an absent key or another kind gives the kind's empty value. The
/// store's integer and long long are one kind here, a signed 64-bit integer.
class Document {
 public:
  Document() = default;
  explicit Document(std::shared_ptr<const boost::json::object> members) : members_(std::move(members)) {}

  /// False when no document is stored under the id.
  bool exists() const { return members_ != nullptr; }
  /// Whether this is the very snapshot that `other` is: nothing was written in between.
  bool isSame(const Document& other) const { return members_ == other.members_; }

  std::optional<std::string> stringForKey(std::string_view key) const;
  std::int64_t integerForKey(std::string_view key) const noexcept;
  double doubleForKey(std::string_view key) const noexcept;
  bool booleanForKey(std::string_view key) const noexcept;
  std::optional<double> numberForKey(std::string_view key) const noexcept;
  /// Null when absent.
  const boost::json::value& valueForKey(std::string_view key) const noexcept;

  /// All members; empty when the document does not exist.
  const boost::json::object& members() const noexcept;

 private:
  std::shared_ptr<const boost::json::object> members_;
};

/// The editable copy of a document, alive only during an edit. Setting an absent value removes the key.
class MutableDocument {
 public:
  explicit MutableDocument(boost::json::object& members) : members_(members) {}

  std::optional<std::string> stringForKey(std::string_view key) const;
  std::int64_t integerForKey(std::string_view key) const noexcept;
  std::optional<double> numberForKey(std::string_view key) const noexcept;

  void setString(const std::optional<std::string>& value, std::string_view key);
  void setInteger(std::int64_t value, std::string_view key) { members_[key] = value; }
  void setDouble(double value, std::string_view key) { members_[key] = value; }
  void setBoolean(bool value, std::string_view key) { members_[key] = value; }
  void setNumber(std::optional<double> value, std::string_view key);
  void setValue(boost::json::value value, std::string_view key);

 private:
  boost::json::object& members_;
};

}  // namespace zul
