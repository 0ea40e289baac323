#pragma once

#include <boost/json/object.hpp>
#include <string_view>

namespace zul {
struct Field;
}

/// What goes over the wire, for people: told from the library's table of fields and from the endpoints.
namespace zul::simulator {

/// The field that a payload carries under this key; null when there is none.
const Field* payloadField(std::string_view key);
/// The same, or the one that the record or a document calls so.
const Field* findField(std::string_view key);

/// Its kind, meaning, section, when it is sent and in which payloads, what changes it, where it comes from, an example.
boost::json::object describe(const Field& field);

/// All that a payload can have, by key.
boost::json::object payloadCatalogue();

/// Method, path and identification of each request, by the endpoint's name.
boost::json::object endpointCatalogue();

}  // namespace zul::simulator
