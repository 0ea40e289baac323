#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "LocalDB.h"

namespace zul {

/// The payloads as the one text that "QueueJsonList" holds: a JSON array, or "" without payloads.
std::string queueText(std::span<const LocalDB::Payload> payloads);

/// What such a text holds. The texts of the payloads are its own: they pass through as they stand.
struct ParsedQueue {
  std::vector<LocalDB::Payload> payloads;
  std::string removed;  ///< the elements that are no objects, or have no keys, separated by commas
};

/// None when `text` is not a JSON array. Throws std::bad_alloc, which is no verdict on the text.
std::optional<ParsedQueue> parseQueue(std::string_view text);

}  // namespace zul
