#include "zul/Dictionary.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/value.hpp>

#include "Json.h"
#include "Leaked.h"

namespace zul {

struct Dictionary::Object {
  boost::json::object members;
};

const boost::json::object& DictionaryAccess::object(const Dictionary& dictionary) noexcept {
  static const Leaked<boost::json::object> kEmpty;
  return dictionary.object_ ? dictionary.object_->members : kEmpty.value();
}

Dictionary DictionaryAccess::wrap(boost::json::object object) {
  Dictionary dictionary;
  dictionary.object() = Dictionary::Object{std::move(object)};
  return dictionary;
}

Dictionary::Dictionary() noexcept = default;
Dictionary::Dictionary(const Dictionary& other)
    : object_(other.object_ ? std::make_unique<Object>(*other.object_) : nullptr) {}
Dictionary::Dictionary(Dictionary&& other) noexcept = default;
Dictionary& Dictionary::operator=(const Dictionary& other) {
  if (this != &other) object_ = other.object_ ? std::make_unique<Object>(*other.object_) : nullptr;
  return *this;
}
Dictionary& Dictionary::operator=(Dictionary&& other) noexcept = default;
Dictionary::~Dictionary() = default;

Dictionary::Object& Dictionary::object() {
  if (!object_) object_ = std::make_unique<Object>();
  return *object_;
}

std::optional<Dictionary> Dictionary::fromJson(std::string_view json) {
  auto object = json::parseObject(json);
  if (!object) return std::nullopt;
  return DictionaryAccess::wrap(std::move(*object));
}

std::string Dictionary::json() const {
  return json::text(DictionaryAccess::object(*this));
}

bool Dictionary::empty() const noexcept {
  return size() == 0;
}
std::size_t Dictionary::size() const noexcept {
  return DictionaryAccess::object(*this).size();
}
bool Dictionary::contains(std::string_view key) const noexcept {
  return json::find(DictionaryAccess::object(*this), key) != nullptr;
}

std::vector<std::string> Dictionary::keys() const {
  std::vector<std::string> keys;
  for (const auto& member : DictionaryAccess::object(*this)) keys.emplace_back(member.key());
  return keys;
}

std::optional<std::string> Dictionary::string(std::string_view key) const {
  return json::string(DictionaryAccess::object(*this), key);
}
std::int64_t Dictionary::integer(std::string_view key) const noexcept {
  return json::integer(DictionaryAccess::object(*this), key);
}
double Dictionary::number(std::string_view key) const noexcept {
  return json::number(DictionaryAccess::object(*this), key).value_or(0);
}
bool Dictionary::boolean(std::string_view key) const noexcept {
  return json::boolean(DictionaryAccess::object(*this), key);
}

Dictionary Dictionary::dictionary(std::string_view key) const {
  const auto* value = json::find(DictionaryAccess::object(*this), key);
  return value && value->is_object() ? DictionaryAccess::wrap(value->get_object()) : Dictionary();
}

std::vector<Dictionary> Dictionary::dictionaries(std::string_view key) const {
  std::vector<Dictionary> result;
  const auto* value = json::find(DictionaryAccess::object(*this), key);
  if (!value || !value->is_array()) return result;
  for (const auto& element : value->get_array()) {
    if (element.is_object()) result.push_back(DictionaryAccess::wrap(element.get_object()));
  }
  return result;
}

void Dictionary::set(std::string_view key, std::string_view value) {
  object().members[key] = value;
}
void Dictionary::set(std::string_view key, std::int64_t value) {
  object().members[key] = value;
}
void Dictionary::set(std::string_view key, double value) {
  object().members[key] = value;
}
void Dictionary::set(std::string_view key, bool value) {
  object().members[key] = value;
}
void Dictionary::set(std::string_view key, const Dictionary& value) {
  object().members[key] = DictionaryAccess::object(value);
}
void Dictionary::set(std::string_view key, const std::vector<Dictionary>& value) {
  boost::json::array array;
  for (const auto& element : value) array.push_back(DictionaryAccess::object(element));
  object().members[key] = std::move(array);
}
void Dictionary::remove(std::string_view key) {
  if (object_) object_->members.erase(key);
}

bool Dictionary::equal(const Dictionary& a, const Dictionary& b) noexcept {
  return json::equal(DictionaryAccess::object(a), DictionaryAccess::object(b));
}

}  // namespace zul
