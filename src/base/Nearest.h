#pragma once

#include <optional>
#include <span>
#include <string_view>

namespace zul {

/// The word of `known` that somebody may have meant who wrote `unknown`, whatever the case of its letters. None where
/// nothing is near.
std::optional<std::string_view> nearest(std::string_view unknown, std::span<const std::string_view> known);

}  // namespace zul
