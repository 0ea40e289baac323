// What the collector expects of a payload's keys, and what the library's table of fields says of them: two tables, so
// that neither judges itself, and one contract.

#include <gmock/gmock.h>

#include <set>
#include <string>

#include "Fields.h"
#include "WireKeys.h"

namespace zul::collector {
namespace {

bool agree(const Field& field, Kind kind) {
  if (field.sent == Sent::inSession) return kind == Kind::object;
  if (field.sent == Sent::asReal) return kind == Kind::real;
  const auto& member = field.member;
  if (std::holds_alternative<InRecord<std::int64_t>>(member) ||
      std::holds_alternative<InExtras<std::int64_t>>(member)) {
    return kind == Kind::whole;
  }
  if (std::holds_alternative<InRecord<bool>>(member)) return kind == Kind::boolean;
  if (std::holds_alternative<InRecord<double>>(member)) return kind == Kind::real;
  if (std::holds_alternative<InRecord<boost::json::value>>(member)) return kind == Kind::textOrNumber;
  if (std::holds_alternative<InExtras<boost::json::value>>(member)) return kind == Kind::object;
  return kind == Kind::text || kind == Kind::yesNo;
}

bool isAlwaysSent(const Field& field) {
  return field.sent == Sent::always || field.sent == Sent::asReal || field.sent == Sent::inSession;
}

TEST(WireKeysTest, CollectorAndLibraryKnowTheSameKeys) {
  // What a device always has, though the table would let it go without.
  const std::set<std::string_view> known = {"plat", "dSource", "uuid", "vendorId", "sid"};
  for (const std::int64_t useMode : {1, 3}) {
    std::set<std::string> sent;
    for (const auto index : payloadFields(useMode)) {
      const auto& field = fields()[index];
      SCOPED_TRACE(field.payloadKey());
      sent.emplace(field.payloadKey());
      const auto kind = expectedKind(field.payloadKey(), useMode);
      ASSERT_TRUE(kind) << "the collector takes it for no key of this payload";
      EXPECT_TRUE(agree(field, *kind)) << "the collector expects " << name(*kind);
    }
    for (const auto& wanted : wireKeys()) {
      const auto presence = useMode == 3 ? wanted.reduced : wanted.inFull ? std::optional(wanted.full) : std::nullopt;
      if (!presence) continue;
      SCOPED_TRACE(wanted.key);
      ASSERT_EQ(sent.count(std::string(wanted.key)), 1u) << "the library sends no such key";
      const auto* field = &fields()[0];
      while (field->payloadKey() != wanted.key) ++field;
      EXPECT_EQ(*presence == WireKey::always, isAlwaysSent(*field) || known.contains(wanted.key));
    }
  }
}

}  // namespace
}  // namespace zul::collector
