#include "Document.h"

#include "Json.h"
#include "Leaked.h"

namespace zul {

const boost::json::object& Document::members() const noexcept {
  static const Leaked<boost::json::object> kEmpty;
  return members_ ? *members_ : kEmpty.value();
}

std::optional<std::string> Document::stringForKey(std::string_view key) const {
  return json::string(members(), key);
}
std::int64_t Document::integerForKey(std::string_view key) const noexcept {
  return json::integer(members(), key);
}
double Document::doubleForKey(std::string_view key) const noexcept {
  return numberForKey(key).value_or(0);
}
bool Document::booleanForKey(std::string_view key) const noexcept {
  return json::boolean(members(), key);
}
std::optional<double> Document::numberForKey(std::string_view key) const noexcept {
  return json::number(members(), key);
}

const boost::json::value& Document::valueForKey(std::string_view key) const noexcept {
  static const Leaked<boost::json::value> kNull;
  const auto* value = json::find(members(), key);
  return value ? *value : kNull.value();
}

std::optional<std::string> MutableDocument::stringForKey(std::string_view key) const {
  return json::string(members_, key);
}
std::int64_t MutableDocument::integerForKey(std::string_view key) const noexcept {
  return json::integer(members_, key);
}
std::optional<double> MutableDocument::numberForKey(std::string_view key) const noexcept {
  return json::number(members_, key);
}

void MutableDocument::setString(const std::optional<std::string>& value, std::string_view key) {
  if (value) {
    members_[key] = *value;
  } else {
    members_.erase(key);
  }
}

void MutableDocument::setNumber(std::optional<double> value, std::string_view key) {
  if (value) {
    members_[key] = *value;
  } else {
    members_.erase(key);
  }
}

void MutableDocument::setValue(boost::json::value value, std::string_view key) {
  if (value.is_null()) {
    members_.erase(key);
  } else {
    members_[key] = std::move(value);
  }
}

}  // namespace zul
