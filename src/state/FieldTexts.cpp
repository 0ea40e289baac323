#include <iterator>

#include "FieldTable.h"

namespace zul {

namespace {

// Fields that stand together.
struct Section {
  std::string_view title;
  std::string_view first;    // its first field's name
  std::string_view changes;  // what changes those that do not say otherwise
};

constexpr Section kSections[] = {
    {"Library", "sdk_version", "another version of the library"},
    {"Service settings", "_qzhst", "the application's configuration, taken over when a start-up has its access token"},
    {"Member", "mbr", "a login, a logout or a profile that the host reports"},
    {"Device", "lng", "the device, and the user's consent, as of the next visit or process"},
    {"Identifiers", "advtId", ""},
    {"Visits", "udVt", "a new visit"},
    {"Purchases", "udRvnc", "a purchase that the host reports"},
    {"Send state", "isSFail", ""},
    {"Campaign link", "qzs", "a campaign link that counts; empty or gone after its validity"},
    {"Install", "its", "the claim on the install that wins at a start-up"},
    {"Push", "pushtk", "a push that the host reports, or the end of its validity"},
    {"Clock", "networkTime", ""},
    {"In-app messages", "alreadySeenCampaignId", "a click on an in-app message, or the end of its validity"},
    {"Conversion values", "ATTAuthStatus", "the collector's answer to an upload"},
    {"Internal campaigns", "inrc1",
     "an internal campaign that the host sets, or its end, after which it is empty; a new record reads slot 2 from "
     "slot 1, and slot 3 is not read back"},
    {"Beside the record", "sarInfo", "the answer of the search-ads attribution service at a start-up"},
};

const Section& section(const Field& field) {
  const auto* section = std::begin(kSections);
  for (const auto& other : fields()) {
    const auto* const next = section + 1;
    if (next != std::end(kSections) && other.name == next->first) section = next;
    if (&other == &field) break;
  }
  return *section;
}

}  // namespace

FieldText textOf(const Field& field) {
  auto text = fieldtable::kRows[&field - fields().data()].text;
  if (text.changes.empty()) text.changes = section(field).changes;
  return text;
}

std::string_view sectionOf(const Field& field) {
  return section(field).title;
}

}  // namespace zul
