#include <gmock/gmock.h>

#include <cstdint>
#include <limits>
#include <stdexcept>

#include "CampaignLink.h"
#include "FacebookData.h"

namespace zul {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr double kNow = 1'700'000'000'000;  // ms
constexpr double kDay = 86'400'000;         // ms

bool counts(const std::string& rest, double now = kNow) {
  const auto link = parseCampaignLink("a://?_qzs=s&_qzc=c&" + rest, now);
  return link && link->counts;
}

TEST(CampaignLink, ReadsNumbersAsTextsBeginWithThem) {
  using Limits = std::numeric_limits<std::int64_t>;
  const std::pair<const char*, std::int64_t> cases[] = {
      {"7", 7},
      {" \t\n-7", -7},
      {"+7", 7},
      {"7.9", 7},
      {"0x10", 0},
      {"", 0},
      {"   ", 0},
      {"seven", 0},
      {"+-7", 0},
      {"--7", 0},
      {"-", 0},
      {"+", 0},
      {"7 8", 7},
      {"9223372036854775808", Limits::max()},
      {"-99999999999999999999", Limits::min()},
  };
  for (const auto& [text, number] : cases) EXPECT_EQ(integerValue(text), number) << text;
}

TEST(CampaignLink, CountsForItsDaysFromTheClickAndNotAtTheirEnd) {
  EXPECT_TRUE(counts("_qzp=2&_qzclkTime=" + std::to_string(static_cast<std::int64_t>(kNow - 2 * kDay + 1))));
  EXPECT_FALSE(counts("_qzp=2&_qzclkTime=" + std::to_string(static_cast<std::int64_t>(kNow - 2 * kDay))));
  EXPECT_TRUE(counts("_qzclkTime=" + std::to_string(static_cast<std::int64_t>(kNow - kDay + 1))))
      << "a day unless told";
  EXPECT_FALSE(counts("_qzclkTime=" + std::to_string(static_cast<std::int64_t>(kNow - kDay))));
  EXPECT_TRUE(counts("_qzclkTime=0"));
  EXPECT_FALSE(counts("_qzp=0"));
  EXPECT_TRUE(counts("_qzp=0&_qzclkTime=1700000000001")) << "a click to come";
  EXPECT_FALSE(counts("_qzp=-9223372036854775808"));
  EXPECT_TRUE(counts("_qzp=9223372036854775807&_qzclkTime=9223372036854775807"));
  EXPECT_EQ(parseCampaignLink("?_qzs=s&_qzc=c", kNow + 0.9)->clickTime, 1'700'000'000'000);
}

TEST(CampaignLink, IsKnownByTwoWordsWhereverTheyStand) {
  EXPECT_FALSE(parseCampaignLink("a://?_qzs=s", kNow));
  EXPECT_FALSE(parseCampaignLink("a://?_QZS=s&_QZC=c", kNow));
  const auto link = parseCampaignLink("a://xqzsx/qzc", kNow);
  ASSERT_TRUE(link);
  EXPECT_TRUE(link->counts && link->isIncomplete());
  EXPECT_FALSE(parseCampaignLink("?_qzs=&_qzc=", kNow)->isIncomplete()) << "empty is not left out";
}

// The contract, odd as it is: whoever mends one of these breaks the agreement with the collector.
TEST(CampaignLink, TheOdditiesOfReferrersStay) {
  const auto referrer = [](const std::string& text) { return campaignQuery(text); };
  // Seconds, added to milliseconds.
  EXPECT_TRUE(referrerCounts(referrer("_qzckp=1440&_qzclkTime=1699999913601"), kNow));
  EXPECT_FALSE(referrerCounts(referrer("_qzckp=1440&_qzclkTime=1699999913600"), kNow));
  EXPECT_TRUE(referrerCounts(referrer("_qzclkTime=1699999913601"), kNow));
  EXPECT_FALSE(referrerCounts(referrer("_qzckp=1440"), kNow)) << "without a click never";
  // Taken with something missing, but not with a key missing.
  EXPECT_TRUE(takesReferrer(referrer("_qzs=&_qzc=b")));
  EXPECT_TRUE(takesReferrer(referrer("_qzs=a&_qzc=")));
  for (const auto* const text : {"_qzs=a&_qzc=b", "_qzs=", "_qzc=", "", "_qzs=a"}) {
    EXPECT_FALSE(takesReferrer(referrer(text))) << text;
  }
  // A tie is the fingerprint's; a click before 1970 is a click.
  Claims claims;
  EXPECT_EQ(claims.winner(), nullptr);
  claims.ir.itclkTime = -5;
  EXPECT_EQ(claims.winner(), &claims.ir);
  claims.fp.itclkTime = -5;
  EXPECT_EQ(claims.winner(), &claims.fp);
  claims.ir.itclkTime = -4;
  EXPECT_EQ(claims.winner(), &claims.ir);
}

TEST(CampaignLink, TheEmbeddedLinkIsTheRestAsItStands) {
  EXPECT_EQ(embeddedDeepLink("?_qzs=a&_iosDl=b://p?q=%31&_iosDl=c"), "b://p?q=%31&_iosDl=c");
  EXPECT_EQ(embeddedDeepLink("?_iosDlx&_iosDl=b"), "b");
  EXPECT_EQ(embeddedDeepLink("?_iosDl="), "");
  EXPECT_EQ(embeddedDeepLink("?iosDl=b"), std::nullopt);
  EXPECT_THROW(embeddedDeepLink("?_iosDl"), std::out_of_range);
}

TEST(FacebookData, EachPieceOfDataIsAReferrerWithTheClickBeforeIt) {
  int problems = 0;
  const auto referrers = [&problems](const std::string& url) {
    return facebookReferrers(url, kNow, [&](const std::string&) { ++problems; });
  };
  const std::string data = "al_applink_data=%7B%22target_url%22%3A%22t%22%7D";
  EXPECT_THAT(referrers("a://b?" + data + "&fb_click_time_utc=12.5x&" + data + "#" + data),
              ElementsAre("t&_qzclkTime=1700000000000", "t&_qzclkTime=12.5x"));
  EXPECT_THAT(referrers("a://b?fb_click_time_utc=1=2&" + data), ElementsAre("t&_qzclkTime=1700000000000"));
  EXPECT_EQ(problems, 0);
  for (const auto* const url : {"", "a://b", "a://b?", "?al_applink_data=%7B%7D", "?x=1&fb_click_time_utc=5",
                                "?al_applink_data=%7B%22target_url%22%3A5%7D"}) {
    EXPECT_THAT(referrers(url), IsEmpty()) << url;
  }
  EXPECT_EQ(problems, 0);
  for (const auto* const url : {"?al_applink_data", "?al_applink_data=%7B", "?al_applink_data=%5B%5D",
                                "?al_applink_data={\"target_url\":\"a=b\"}", "?al_applink_data=%zz%7B%7D"}) {
    EXPECT_THAT(referrers(url), IsEmpty()) << url;
  }
  EXPECT_EQ(problems, 5);
}

}  // namespace
}  // namespace zul
