#include "SessionPayload.h"

#include <string_view>

#include "Json.h"

namespace zul {

namespace {

using Text = SessionJson::Text;

bool isSent(const Text& value, Sent sent) {
  return value && (sent != Sent::whenNotEmpty || !value->empty());
}
bool isSent(std::int64_t value, Sent sent) {
  return sent != Sent::whenNonZero || value != 0;
}
bool isSent(const boost::json::value& value, Sent) {
  return !value.is_null();
}
template <typename T>
bool isSent(const T&, Sent) {
  return true;
}

void append(std::string& out, const Text& value, Sent) {
  json::appendQuoted(out, *value);
}
void append(std::string& out, const std::string& value, Sent sent) {
  if (sent == Sent::inSession) out += "{\"SESSION\":";
  json::appendQuoted(out, value);
  if (sent == Sent::inSession) out += '}';
}
void append(std::string& out, std::int64_t value, Sent sent) {
  json::append(out, sent == Sent::asReal ? boost::json::value(static_cast<double>(value)) : boost::json::value(value));
}
void append(std::string& out, const std::optional<double>& value, Sent) {
  json::append(out, value ? boost::json::value(*value) : boost::json::value());
}
template <typename T>
void append(std::string& out, const T& value, Sent) {
  json::append(out, boost::json::value(value));
}

}  // namespace

std::string sessionPayload(const SessionJson& record, const PayloadExtras& extras) {
  std::string text;
  bool hasText = false;  // whether the latest text was sent
  const auto add = [&](const Field& field, const auto& value) {
    constexpr bool kIsText = std::is_same_v<decltype(value), const Text&>;
    const bool sent = isSent(value, field.sent) && (field.sent != Sent::withText || hasText);
    if constexpr (kIsText) hasText = sent;
    if (!sent) return;
    if (text.empty()) text.reserve(4096);
    text += text.empty() ? "{\"" : ",\"";
    text += field.payloadKey();  // needs no escaping
    text += "\":";
    append(text, value, field.sent);
  };
  for (const auto index : payloadFields(record.useMode)) {
    const auto& field = fields()[index];
    std::visit(
        [&](const auto& place) {
          if constexpr (requires { place.get(record); }) {
            add(field, place.get(record));
          } else {
            add(field, place.get(extras));
          }
        },
        field.member);
  }
  text += text.empty() ? "{}" : "}";
  return text;
}

}  // namespace zul
