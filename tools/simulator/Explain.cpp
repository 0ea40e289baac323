// The command explain: what a value of the last payload is, and why.

#include <fmt/format.h>

#include <boost/json/array.hpp>
#include <vector>

#include "Catalogue.h"
#include "Fields.h"
#include "Nearest.h"
#include "Simulator.h"
#include "Views.h"

namespace zul::simulator {

namespace {

using boost::json::object;
using boost::json::value;

// The description with the value that was sent, and the one that is stored now.
object explained(const Field& field, const value* sent, const object& documents) {
  object view;
  if (sent) view["value"] = *sent;
  const auto* const document = field.document.empty() ? nullptr : documents.if_contains(field.document);
  const auto* const stored =
      document && document->is_object() ? document->get_object().if_contains(field.readKey) : nullptr;
  if (stored) view["stored"] = *stored;
  for (auto& member : describe(field)) view[member.key()] = std::move(member.value());
  return view;
}

object hostsOwn(const value& sent) {
  return {{"value", sent}, {"meaning", "the host's own: it was paired with the page's payload"}};
}

std::string unknown(const std::string& key) {
  std::vector<std::string_view> keys;
  for (const auto& field : fields()) keys.push_back(field.payloadKey());
  const auto meant = nearest(key, keys);
  return meant ? fmt::format("there is no key {}; did you mean {}?", key, *meant)
               : fmt::format("there is no key {}; help explain lists them", key);
}

}  // namespace

std::optional<object> Simulator::lastSession() const {
  if (!lastUpload_) return std::nullopt;
  const auto body = requestView(*lastUpload_, phone_.deployment)["body"];
  const auto* const list = body.if_array();
  const auto* const payload = list && !list->empty() ? list->back().if_object() : nullptr;
  const auto* const session = payload ? payload->if_contains("SESSION") : nullptr;
  return session && session->is_object() ? std::optional(session->get_object()) : std::nullopt;
}

void Simulator::explain(Arguments& arguments) {
  const auto session = lastSession();
  const auto documents = phone_.documents();
  const auto explanation = [&](const Field& field) {
    return explained(field, session ? session->if_contains(field.payloadKey()) : nullptr, documents);
  };
  if (!arguments.empty()) {
    const auto key = arguments.word("the key");
    arguments.end();
    const auto* const sent = session ? session->if_contains(key) : nullptr;
    const auto* const field = sent ? payloadField(key) : findField(key);
    if (!field && !sent) throw CommandError(unknown(key));
    object view{{"key", field ? field->payloadKey() : std::string_view(key)}};
    for (auto& member : field ? explanation(*field) : hostsOwn(*sent)) view[member.key()] = std::move(member.value());
    shown_ = std::move(view);
    return;
  }
  if (!session) throw CommandError("no payload has been sent yet; explain KEY tells of a key, help explain of all");
  object view;
  for (const auto& [key, sent] : *session) {
    const auto* const field = payloadField(key);
    view[key] = field ? explanation(*field) : hostsOwn(sent);
  }
  shown_ = std::move(view);
}

}  // namespace zul::simulator
