#include "QueueText.h"

#include <boost/json/array.hpp>
#include <boost/json/monotonic_resource.hpp>
#include <boost/json/object.hpp>
#include <boost/json/value.hpp>

#include "Json.h"

namespace zul {

std::string queueText(std::span<const LocalDB::Payload> payloads) {
  std::string text;
  if (payloads.empty()) return text;
  std::size_t size = 2;
  for (const auto& payload : payloads) size += payload->size() + 1;
  text.reserve(size);
  for (const auto& payload : payloads) {
    text += text.empty() ? '[' : ',';
    text += *payload;
  }
  text += ']';
  return text;
}

std::optional<ParsedQueue> parseQueue(std::string_view text) {
  ParsedQueue parsed;
  if (text.empty()) return parsed;
  // Whatever could be accepted as a payload is readable within the list, a few levels further in. The tree is large
  // and short-lived, so its memory is taken and given back in large pieces.
  boost::json::monotonic_resource memory(text.size());
  const auto list = json::parse(text, json::kMaxPayloadDepth, &memory);
  if (!list || !list->is_array()) return std::nullopt;
  const auto texts = json::elements(text);
  for (std::size_t n = 0; n < texts.size(); ++n) {
    const auto* object = list->get_array()[n].if_object();
    std::string compact;
    json::appendCompact(compact, texts[n]);
    if (object && !object->empty()) {
      parsed.payloads.push_back(std::make_shared<const std::string>(std::move(compact)));
    } else {
      if (!parsed.removed.empty()) parsed.removed += ',';
      parsed.removed += compact;
    }
  }
  return parsed;
}

}  // namespace zul
