#include "Fields.h"

namespace zul {

namespace {

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

}  // namespace

const Section& sectionOf(const Field& field) {
  const auto* section = std::begin(kSections);
  for (const auto& other : fields()) {
    const auto* const next = section + 1;
    if (next != std::end(kSections) && other.name == next->first) section = next;
    if (&other == &field) break;
  }
  return *section;
}

std::string_view changesOf(const Field& field) {
  return field.changes.empty() ? sectionOf(field).changes : field.changes;
}

}  // namespace zul
