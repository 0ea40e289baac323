#include "Schema.h"

#include <fmt/format.h>

#include <boost/json.hpp>

#include "Json.h"
#include "WireKeys.h"

namespace zul::collector {

namespace {

using boost::json::array;
using boost::json::object;
using boost::json::value;

constexpr int kSlots = 10;

object schemaOf(Kind kind) {
  switch (kind) {
    case Kind::text:
      return {{"type", "string"}};
    case Kind::yesNo:
      return {{"enum", {"Y", "N"}}};
    case Kind::whole:
      return {{"type", "integer"}};
    case Kind::real:
      return {{"type", "number"}};
    case Kind::boolean:
      return {{"type", "boolean"}};
    case Kind::object:
      return {{"type", "object"}};
    case Kind::textOrNumber:
      return {{"type", {"string", "number"}}};
  }
  return {};
}

object session(bool reduced) {
  object properties;
  array required;
  for (const auto& known : wireKeys()) {
    if (reduced ? !known.reduced : !known.inFull) continue;
    properties[known.key] = schemaOf(known.kind);
    if ((reduced ? *known.reduced : known.full) == WireKey::always) required.emplace_back(known.key);
  }
  properties["sdk_version"] = object{
      {"type", "object"}, {"properties", object{{"SESSION", schemaOf(Kind::text)}}}, {"required", array{"SESSION"}}};
  properties["useMode"] = object{{"enum", reduced ? array{3} : array{1, 2}}};
  if (reduced) return {{"required", std::move(required)}, {"properties", std::move(properties)}};
  object together;
  for (int slot = 1; slot <= kSlots; ++slot) {
    const auto id = fmt::format("inrc{}", slot);
    const auto time = fmt::format("inrcTime{}", slot);
    const auto days = fmt::format("inrcDt{}", slot);
    properties[id] = schemaOf(Kind::text);
    properties[time] = properties[days] = schemaOf(Kind::whole);
    together[id] = array{value(time), value(days)};
  }
  return {{"required", std::move(required)},
          {"properties", std::move(properties)},
          {"dependentRequired", std::move(together)}};
}

}  // namespace

std::string uploadSchema() {
  const object isReduced{{"required", array{"useMode"}}, {"properties", object{{"useMode", object{{"const", 3}}}}}};
  const object schema{
      {"$schema", "https://json-schema.org/draft/2020-12/schema"},
      {"title", "An upload, decoded: the payloads in the order of their making"},
      {"type", "array"},
      {"minItems", 1},
      {"items", object{{"type", "object"},
                       {"required", array{"SESSION"}},
                       {"properties", object{{"SESSION", object{{"$ref", "#/$defs/session"}}}}}}},
      {"$defs", object{{"session", object{{"$comment",
                                           "Empty while the library has no settings. A host may add keys to those of "
                                           "a page's payload, or overwrite them."},
                                          {"type", "object"},
                                          {"if", object{{"minProperties", 1}}},
                                          {"then", object{{"if", isReduced},
                                                          {"then", object{{"$ref", "#/$defs/reduced"}}},
                                                          {"else", object{{"$ref", "#/$defs/full"}}}}}}},
                       {"full", session(false)},
                       {"reduced", session(true)}}}};
  std::string text;
  json::appendPretty(text, json::text(schema), 0);
  return text;
}

}  // namespace zul::collector
