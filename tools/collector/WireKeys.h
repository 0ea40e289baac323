#pragma once

#include <boost/json/value.hpp>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace zul::collector {

enum class Kind { text, yesNo, whole, real, boolean, object, textOrNumber };

/// What the collector expects of a payload's key. Written down here once more, rather than read from the library's own
/// table of fields, so that a mistake in that does not judge itself.
struct WireKey {
  std::string_view key;
  Kind kind;
  enum Presence { sometimes, always } full = sometimes;  ///< in a payload with a useMode of 1 or 2
  /// In one with a useMode of 3; none: it has no place there.
  std::optional<Presence> reduced{};
  bool inFull = true;
};

/// All but the keys of the campaign slots.
std::span<const WireKey> wireKeys();

/// The kind of a key where it belongs into a payload with this useMode (1, 2 or 3); none where it does not.
std::optional<Kind> expectedKind(std::string_view key, std::int64_t useMode);

bool isOf(Kind kind, const boost::json::value& value) noexcept;

/// For people: "a string".
std::string_view name(Kind kind) noexcept;

}  // namespace zul::collector
