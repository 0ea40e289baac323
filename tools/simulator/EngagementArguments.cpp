#include "EngagementArguments.h"

#include <fmt/format.h>

#include <charconv>
#include <optional>
#include <string>
#include <utility>

#include "Arguments.h"
#include "Choices.h"

namespace zul::simulator {

namespace {

using boost::json::object;

struct UserField {
  std::string_view name;
  std::optional<std::string> User::*value;
};
constexpr UserField kUserFields[] = {
    {"member", &User::member},         {"gender", &User::gender},         {"age", &User::age},
    {"attribute1", &User::attribute1}, {"attribute2", &User::attribute2}, {"attribute3", &User::attribute3},
    {"attribute4", &User::attribute4}, {"attribute5", &User::attribute5}, {"memberGrade", &User::memberGrade},
    {"memberId", &User::memberId},     {"isLogin", &User::isLogin},       {"loginTp", &User::loginTp},
    {"signupTp", &User::signupTp},
};

std::string textOf(const object::value_type& field) {
  if (!field.value().is_string()) throw CommandError(fmt::format("{} must be a text", std::string_view(field.key())));
  return std::string(field.value().get_string());
}

// The slot that a key such as "inrc7" is of, from 0; none when it is no such key.
std::optional<std::size_t> slotOf(std::string_view key, std::string_view name) {
  if (!key.starts_with(name)) return std::nullopt;
  key.remove_prefix(name.size());
  std::size_t number = 0;
  const auto [end, error] = std::from_chars(key.data(), key.data() + key.size(), number);
  const bool whole = error == std::errc{} && end == key.data() + key.size() && key.front() != '0';
  return whole && number <= InternalCampaign().slots.size() ? std::optional(number - 1) : std::nullopt;
}

}  // namespace

User readUser(const object& fields) {
  User user;
  for (const auto& field : fields) {
    const auto* const known = find(kUserFields, std::string_view(field.key()));
    if (!known) throw CommandError(fmt::format("a member has no {}", std::string_view(field.key())));
    user.*known->value = textOf(field);
  }
  return user;
}

InternalCampaign readInternalCampaign(const object& fields) {
  InternalCampaign campaign;
  for (const auto& field : fields) {
    if (const auto period = slotOf(field.key(), "inrcDt")) {
      if (!field.value().is_int64()) throw CommandError("a campaign's days must be a whole number");
      campaign.slots[*period].inrcDt = field.value().get_int64();
    } else if (const auto slot = slotOf(field.key(), "inrc")) {
      campaign.slots[*slot].inrc = textOf(field);
    } else {
      throw CommandError(fmt::format("a campaign's fields are inrc1, inrcDt1 to inrc10, inrcDt10, not {}",
                                     std::string_view(field.key())));
    }
  }
  return campaign;
}

}  // namespace zul::simulator
