#include <boost/json/value.hpp>

#include "Fields.h"
#include "Views.h"

namespace zul::simulator {

namespace {

template <typename T>
void add(boost::json::object& view, std::string_view name, const T& value) {
  view[name] = value;
}
template <typename T>
void add(boost::json::object& view, std::string_view name, const std::optional<T>& value) {
  if (value) view[name] = *value;
}
void add(boost::json::object& view, std::string_view name, const boost::json::value& value) {
  if (!value.is_null()) view[name] = value;
}

}  // namespace

boost::json::object recordView(const SessionJson& record) {
  boost::json::object view;
  bool hasText = false;  // whether the latest text is set: a campaign slot is shown where it has an id
  for (const auto& field : fields()) {
    std::visit(
        [&](const auto& place) {
          if constexpr (requires { place.get(record); }) {
            const auto& value = place.get(record);
            if constexpr (std::is_same_v<decltype(value), const SessionJson::Text&>) hasText = value.has_value();
            if (field.sent != Sent::withText || hasText) add(view, field.name, value);
          }
        },
        field.member);
  }
  return view;
}

}  // namespace zul::simulator
