#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

#include "SessionJson.h"

namespace zul {

/// What stands in a payload beside the record.
struct PayloadExtras {
  boost::json::value sarInfo = boost::json::object();  ///< search-ads attribution result
  std::optional<std::string> AAATk;                    ///< search-ads token
  std::int64_t AAATktime = 0;                          ///< ms since 1970
  std::optional<std::string> clientUserAgent;          ///< of the host's browser

  bool operator==(const PayloadExtras&) const = default;
};

/// Where a field of the record is kept in memory. Made by `at`.
template <typename T>
struct InRecord {
  const T& (*get)(const SessionJson&);
  T& (*edit)(SessionJson&);
  bool operator==(const InRecord&) const = default;
};
template <typename T>
struct InExtras {
  const T& (*get)(const PayloadExtras&);
  bool operator==(const InExtras&) const = default;
};
using Member =
    std::variant<InRecord<std::optional<std::string>>, InRecord<std::int64_t>, InRecord<bool>, InRecord<double>,
                 InRecord<std::optional<double>>, InRecord<boost::json::value>, InRecord<std::string>,
                 InExtras<std::optional<std::string>>, InExtras<std::int64_t>, InExtras<boost::json::value>>;

/// Where a field's value comes from when the record is made.
enum class From {
  store,     ///< its document and key
  identity,  ///< the identifiers, which were refreshed before; document and key tell where they are kept
  device,    ///< the environment
  computed,  ///< a constant, or what follows from other values
  event,     ///< nowhere: it is empty until something happens
};

/// When a payload that lists the field carries it.
enum class Sent {
  never,
  always,
  whenSet,
  whenNotEmpty,  ///< set, and not ""
  whenNonZero,
  withText,   ///< as the text listed before it is: a campaign slot's time and period go with its id
  asReal,     ///< always, an integer written as a real number
  inSession,  ///< always, within an object: {"SESSION": value}
};

/// What an absent or a stored 0 value reads as.
using WhenAbsent = std::variant<std::monostate, std::string_view, std::int64_t>;

/// A field of the record or the payload.
struct Field {
  std::string_view name;
  std::string_view sentAs;  ///< its payload key where that is spelled in another way
  Member member;
  From from;
  Sent sent;
  std::string_view document;  ///< where it is kept; empty: nowhere
  std::string_view key;
  std::string_view readKey;  ///< of a record that is made; `key` but for the oddities of the table
  WhenAbsent whenAbsent;

  constexpr std::string_view payloadKey() const { return sentAs.empty() ? name : sentAs; }
};

/// What people are told of a field.
struct FieldText {
  std::string_view meaning;
  std::string_view changes;  ///< what gives it another value; empty: nothing is told of it
  std::string_view example;  ///< of its value, as JSON; empty: it is never sent
};

/// All of them, in the order in which the record shows them. The one place that knows a field.
std::span<const Field> fields();

/// Of a field of the table, for documents and tools. The library itself never asks, so that what it would be told is
/// not part of it.
FieldText textOf(const Field& field);
/// The title of the fields that it stands with.
std::string_view sectionOf(const Field& field);

/// The fields of a payload, as indices into `fields`, in the order in which it carries them: all for a `useMode` of 1
/// or 2, a few for 3, none for any other.
std::span<const std::uint8_t> payloadFields(std::int64_t useMode);

namespace detail {

template <auto first, auto... rest, typename Object>
constexpr auto& reach(Object& object) {
  auto& next = [&]() -> auto& {
    if constexpr (std::is_member_pointer_v<decltype(first)>) {
      return object.*first;
    } else {
      return object[first];
    }
  }
  ();
  if constexpr (sizeof...(rest) == 0) {
    return next;
  } else {
    return reach<rest...>(next);
  }
}

template <typename Object, typename T>
Object objectOf(T Object::*);

template <auto first, auto... rest>
consteval Member memberAt() {
  using Object = decltype(objectOf(first));
  using T = std::remove_reference_t<decltype(reach<first, rest...>(std::declval<Object&>()))>;
  if constexpr (std::is_same_v<Object, PayloadExtras>) {
    return InExtras<T>{[](const PayloadExtras& extras) -> const T& { return reach<first, rest...>(extras); }};
  } else {
    return InRecord<T>{[](const SessionJson& record) -> const T& { return reach<first, rest...>(record); },
                       [](SessionJson& record) -> T& { return reach<first, rest...>(record); }};
  }
}

}  // namespace detail

/// A member of the record or the extras, with indices where it is an array: at<&SessionJson::ut, 0>().
template <auto... path>
consteval Member at() {
  return detail::memberAt<path...>();
}

/// The field of a member. It has one: every member that is stored or sent is in the table.
const Field& fieldOf(const Member& member);

}  // namespace zul
