#include "Catalogue.h"

#include <algorithm>
#include <boost/json/array.hpp>

#include "AESCrypt.h"
#include "Contract.h"
#include "Endpoints.h"
#include "Fields.h"
#include "Json.h"

namespace zul::simulator {

namespace {

using boost::json::object;
using boost::json::value;

std::string_view kindOf(const Field& field) {
  if (field.sent == Sent::inSession || textOf(field).example.starts_with('{')) return "object";
  if (field.sent == Sent::asReal) return "real";
  struct Name {
    std::string_view operator()(const std::optional<std::string>&) const { return "string"; }
    std::string_view operator()(const std::string&) const { return "string"; }
    std::string_view operator()(std::int64_t) const { return "integer"; }
    std::string_view operator()(bool) const { return "boolean"; }
    std::string_view operator()(double) const { return "real"; }
    std::string_view operator()(const std::optional<double>&) const { return "real"; }
    std::string_view operator()(const value&) const { return "string or number"; }
  };
  return std::visit(
      []<typename Place>(const Place& place) {
        if constexpr (requires { place.get(SessionJson()); }) {
          return Name()(place.get(SessionJson()));
        } else {
          return Name()(place.get(PayloadExtras()));
        }
      },
      field.member);
}

std::string_view whenSent(Sent sent) {
  switch (sent) {
    case Sent::never:
      return "never";
    case Sent::always:
    case Sent::asReal:
    case Sent::inSession:
      return "always";
    case Sent::whenSet:
      return "once it is set";
    case Sent::whenNotEmpty:
      return "unless empty";
    case Sent::whenNonZero:
      return "unless 0";
    case Sent::withText:
      return "with the slot's id";
  }
  return "";
}

std::string_view sourceOf(const Field& field) {
  switch (field.from) {
    case From::store:
      return "the document";
    case From::identity:
      return field.document.empty() ? "the device and the keychain" : "the identifiers, kept in the document";
    case From::device:
      return "the device";
    case From::computed:
      return "the library";
    case From::event:
      return "an event of this process";
  }
  return "";
}

bool isListed(const Field& field, std::int64_t useMode) {
  const auto listed = payloadFields(useMode);
  return std::any_of(listed.begin(), listed.end(), [&](auto index) { return &fields()[index] == &field; });
}

std::string_view payloadsWith(const Field& field) {
  const bool full = isListed(field, 1);
  const bool reduced = isListed(field, 3);
  return full && reduced ? "both" : full ? "full" : reduced ? "reduced" : "none";
}

}  // namespace

const Field* payloadField(std::string_view key) {
  const auto found = std::find_if(fields().begin(), fields().end(), [&](const Field& field) {
    return field.payloadKey() == key && payloadsWith(field) != "none";
  });
  return found == fields().end() ? nullptr : &*found;
}

const Field* findField(std::string_view key) {
  if (const auto* const field = payloadField(key)) return field;
  for (const auto name : {&Field::name, &Field::key}) {
    const auto found =
        std::find_if(fields().begin(), fields().end(), [&](const Field& field) { return field.*name == key; });
    if (!key.empty() && found != fields().end()) return &*found;
  }
  return nullptr;
}

object describe(const Field& field) {
  const auto text = textOf(field);
  object view{{"section", sectionOf(field)},     {"meaning", text.meaning},      {"kind", kindOf(field)},
              {"payloads", payloadsWith(field)}, {"sent", whenSent(field.sent)}, {"source", sourceOf(field)}};
  if (!field.document.empty()) {
    view["document"] = field.document;
    view["documentKey"] = field.readKey;
  }
  if (!text.changes.empty()) view["changes"] = text.changes;
  if (!text.example.empty()) view["example"] = json::parse(text.example).value_or(nullptr);
  return view;
}

object payloadCatalogue() {
  object catalogue;
  for (const auto& field : fields()) {
    if (payloadsWith(field) != "none") catalogue[field.payloadKey()] = describe(field);
  }
  return catalogue;
}

object endpointCatalogue() {
  object catalogue;
  for (std::size_t n = 0; n < collector::kEndpointNames.size(); ++n) {
    const auto endpoint = collector::contract(static_cast<collector::Endpoint>(n));
    object view{{"method", endpoint.method}, {"path", endpoint.path}};
    if (!endpoint.authWord.empty()) {
      view["word"] = endpoint.authWord;
      view["authType"] = AESCrypt::AES256EncryptWithKey(endpoint.authWord, wire::kAuthKey).value_or("");
      view["authToken"] = endpoint.carriesToken;
    }
    catalogue[collector::kEndpointNames[n]] = std::move(view);
  }
  return catalogue;
}

}  // namespace zul::simulator
