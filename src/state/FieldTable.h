#pragma once

#include "Fields.h"
#include "Keys.h"

/// The table of the fields as it is written. Who includes it has what it names, and no more: the library leaves out the
/// texts.
namespace zul::fieldtable {

/// A field, and what is told of it.
struct Row {
  Field field;
  FieldText text;
};

using namespace keys;
using S = SessionJson;
using X = PayloadExtras;

inline constexpr std::string_view kEmpty = "";
inline constexpr std::string_view kNo = "N";
inline constexpr std::int64_t kOne = 1;

inline constexpr std::string_view kVisited = "a new visit; N in what is built after an upload was accepted";

constexpr Row kept(From from, std::string_view name, const Member& member, Sent sent, std::string_view document,
                   std::string_view key, std::string_view meaning, std::string_view example = {},
                   WhenAbsent whenAbsent = {}) {
  return {{name, {}, member, from, sent, document, key, key, whenAbsent}, {meaning, {}, example}};
}
constexpr Row stored(std::string_view name, const Member& member, Sent sent, std::string_view document,
                     std::string_view key, std::string_view meaning, std::string_view example,
                     WhenAbsent whenAbsent = {}) {
  return kept(From::store, name, member, sent, document, key, meaning, example, whenAbsent);
}
constexpr Row field(From from, std::string_view name, const Member& member, Sent sent, std::string_view meaning,
                    std::string_view example = {}) {
  return kept(from, name, member, sent, {}, {}, meaning, example);
}
constexpr Row sentAs(std::string_view payloadKey, Row row) {
  row.field.sentAs = payloadKey;
  return row;
}
constexpr Row changedBy(std::string_view what, Row row) {
  row.text.changes = what;
  return row;
}
constexpr Row readFrom(std::string_view key, Row row) {
  row.field.readKey = key;
  return row;
}

// The three fields of a campaign slot, which a record that is made reads from the keys of slot `from`.
#define ZUL_SLOT(n, from)                                                                                         \
  readFrom(campaign::kInrc[from - 1],                                                                             \
           stored("inrc" #n, at<&S::inrc, n - 1, &S::CampaignSlot::inrc>(), Sent::whenSet, campaign::kDocument,   \
                  campaign::kInrc[n - 1], "id of internal campaign " #n, R"("banner-7")")),                       \
      readFrom(campaign::kInrcTime[from - 1],                                                                     \
               stored("inrcTime" #n, at<&S::inrc, n - 1, &S::CampaignSlot::inrcTime>(), Sent::withText,           \
                      campaign::kDocument, campaign::kInrcTime[n - 1],                                            \
                      "when internal campaign " #n " was set, ms since 1970", "1706662800000")),                  \
      readFrom(campaign::kInrcDt[from - 1], stored("inrcDt" #n, at<&S::inrc, n - 1, &S::CampaignSlot::inrcDt>(),  \
                                                   Sent::withText, campaign::kDocument, campaign::kInrcDt[n - 1], \
                                                   "days for which internal campaign " #n " counts", "7"))

inline constexpr Row kRows[] = {
    // Library
    field(From::computed, "sdk_version", at<&S::sdk_version>(), Sent::inSession, "version of the library",
          R"({"SESSION":"1.1.5"})"),
    changedBy("nothing", field(From::computed, "dSource", at<&S::dSource>(), Sent::whenSet, "what reports: always SDK",
                               R"("SDK")")),

    // Service settings
    changedBy("the deployment of the application",
              field(From::computed, "_qzhst", at<&S::_qzhst>(), Sent::whenSet, "the collector's base URL",
                    R"("https://collector.example.com")")),
    stored("_qzno", at<&S::_qzno>(), Sent::always, appinfo::kDocument, appinfo::kServiceNumber, "service number",
           "1001"),
    stored("_qzUdays", at<&S::_qzUdays>(), Sent::always, appinfo::kDocument, appinfo::kExpireDate,
           "days in which visits and purchases are counted together", "30"),
    stored("_qzDebug", at<&S::_qzDebug>(), Sent::always, appinfo::kDocument, appinfo::kIsDebug,
           "whether the service is being debugged", "false"),
    stored("_qzUseRetention", at<&S::_qzUseRetention>(), Sent::always, appinfo::kDocument, appinfo::kIsInstallRetention,
           "whether the service measures retention", "false"),
    stored("_qzUseFingerPrint", at<&S::_qzUseFingerPrint>(), Sent::always, appinfo::kDocument, appinfo::kIsFingerPrint,
           "whether the service attributes by fingerprint", "true"),
    changedBy("a token in the configuration, or the collector's answer to a token request",
              stored("_accessToken", at<&S::_accessToken>(), Sent::whenSet, appinfo::kDocument, appinfo::kAccessToken,
                     "token that lets this application report", R"("3f2b8c55e0a94c21")")),
    stored("useMode", at<&S::useMode>(), Sent::always, appinfo::kDocument, appinfo::kUseMode,
           "1, 2: full payload; 3: reduced, offline; any other: none", "1"),

    // Member profile
    stored("mbr", at<&S::mbr>(), Sent::whenSet, user::kDocument, user::kMember,
           "member flag or type, as the host defines it", R"("Y")"),
    stored("sx", at<&S::sx>(), Sent::whenSet, user::kDocument, user::kGender, "gender of the member", R"("F")"),
    stored("ag", at<&S::ag>(), Sent::whenSet, user::kDocument, user::kAge, "age or age band of the member", R"("30")"),
    stored("ut1", at<&S::ut, 0>(), Sent::whenSet, user::kDocument, user::kAttribute[0],
           "the host's attribute 1 of the member", R"("gold")"),
    stored("ut2", at<&S::ut, 1>(), Sent::whenSet, user::kDocument, user::kAttribute[1],
           "the host's attribute 2 of the member", R"("app")"),
    stored("ut3", at<&S::ut, 2>(), Sent::whenSet, user::kDocument, user::kAttribute[2],
           "the host's attribute 3 of the member", R"("a")"),
    stored("ut4", at<&S::ut, 3>(), Sent::whenSet, user::kDocument, user::kAttribute[3],
           "the host's attribute 4 of the member", R"("b")"),
    stored("ut5", at<&S::ut, 4>(), Sent::whenSet, user::kDocument, user::kAttribute[4],
           "the host's attribute 5 of the member", R"("c")"),
    stored("mbl", at<&S::mbl>(), Sent::whenSet, user::kDocument, user::kMemberGrade, "grade of the member", R"("VIP")"),
    stored("mbid", at<&S::mbid>(), Sent::whenSet, user::kDocument, user::kMemberId, "id of the member",
           R"("member-7")"),
    stored("isLogin", at<&S::isLogin>(), Sent::whenSet, user::kDocument, user::kIsLogin,
           "Y while a member is logged in", R"("Y")"),
    stored("loginTp", at<&S::loginTp>(), Sent::whenSet, user::kDocument, user::kLoginTp, "how the member logged in",
           R"("email")"),
    stored("signupTp", at<&S::signupTp>(), Sent::whenSet, user::kDocument, user::kSignupTp, "how the member signed up",
           R"("email")"),

    // Device environment
    field(From::device, "lng", at<&S::lng>(), Sent::whenSet, "language, upper case; ANP without consent", R"("KO")"),
    field(From::device, "cntr", at<&S::cntr>(), Sent::whenSet, "country, upper case; ANP without consent", R"("KR")"),
    field(From::identity, "ip", at<&S::ip>(), Sent::never, "address of the first network interface"),
    field(From::device, "tz", at<&S::tz>(), Sent::whenSet, "whole hours east of GMT; ANP without consent", R"("9")"),
    field(From::device, "os", at<&S::os>(), Sent::whenSet, "system and its version", R"("iOS 17.2")"),
    field(From::device, "osvr", at<&S::osvr>(), Sent::whenSet, "version of the system", R"("17.2")"),
    field(From::device, "sr", at<&S::sr>(), Sent::whenSet, "screen: width*height/scale; ANP without consent",
          R"("390*844/3.0")"),
    field(From::device, "phone", at<&S::phone>(), Sent::whenSet, "model of the device; ANP without consent",
          R"("iPhone14,2")"),
    changedBy("an update of the application",
              field(From::device, "apVr", at<&S::apVr>(), Sent::whenSet, "version of the application", R"("2.4.0")")),
    changedBy("what the host tells of it", field(From::event, "gps", at<&S::gps>(), Sent::whenSet,
                                                 "whether positioning is on, as the host told", R"("Y")")),
    field(From::device, "cari", at<&S::cari>(), Sent::whenSet, "carrier, ios without one; ANP without consent",
          R"("ios")"),
    changedBy("nothing",
              field(From::device, "plat", at<&S::plat>(), Sent::whenSet, "platform: always IOS", R"("IOS")")),
    changedBy("another network, as of the next visit or process",
              field(From::device, "isWifi", at<&S::isWifi>(), Sent::asReal,
                    "2 Wi-Fi or cable, 1 cellular, 0 no network", "2.0")),
    field(From::device, "inch", at<&S::inch>(), Sent::always,
          "diagonal of the screen in inches, from the first refresh of the environment on; 0 without consent", "6.1"),

    // Identifiers
    changedBy("another advertising identifier on the device, with consent",
              field(From::identity, "advtId", at<&S::advtId>(), Sent::whenSet, "advertising identifier",
                    R"("6D92078A-8246-4BA4-AE5B-76104861E7DC")")),
    sentAs("uptAfV", changedBy("an advertising identifier where there was none; empty once an upload is accepted",
                               field(From::event, "uptAfv", at<&S::uptAfv>(), Sent::whenSet,
                                     "Y when an advertising identifier was seen for the first time", R"("Y")"))),
    changedBy("another advertising identifier; not a reinstall",
              field(From::identity, "keychainUUID", at<&S::keychainUUID>(), Sent::whenSet,
                    "identifier of the device that survives a reinstall", R"("9A1C1F3E-52C4-4D0B-8C0B-2F6B7D0C9E11")")),
    field(From::event, "imei", at<&S::imei>(), Sent::never, "not filled"),
    changedBy(
        "the removal of all applications of the vendor; another device",
        kept(From::identity, "vendorId", at<&S::vendorId>(), Sent::whenSet, identify::kDocument, identify::kVendorId,
             "identifier of the device for this vendor", R"("9A1C1F3E-52C4-4D0B-8C0B-2F6B7D0C9E11")")),
    changedBy("a reinstall",
              kept(From::identity, "uuid", at<&S::uuid>(), Sent::whenSet, identify::kDocument, identify::kUuid,
                   "identifier of this installation", R"("E134CF85-2C7E-4B0A-9D51-0B7B2A5B6F10")")),
    changedBy("another advertising identifier, or none any more; N once an upload is accepted",
              field(From::event, "aidChange", at<&S::aidChange>(), Sent::whenSet,
                    "Y when the advertising identifier has changed", R"("N")")),
    changedBy("checkDebugMode, from the next visit or process on",
              kept(From::computed, "buildMode", at<&S::buildMode>(), Sent::whenSet, identify::kDocument,
                   identify::kBuildMode, "dev for a development build, else prod", R"("prod")")),
    changedBy("nothing", kept(From::identity, "pkg", at<&S::pkg>(), Sent::whenSet, identify::kDocument,
                              identify::kPkgname, "bundle identifier of the application", R"("com.example.shop")")),
    changedBy("the app store's first answer",
              kept(From::identity, "appId", at<&S::appId>(), Sent::whenSet, identify::kDocument, identify::kAppId,
                   "the application's id in the app store", "634826493")),
    changedBy("a new visit", stored("sid", at<&S::sid>(), Sent::whenSet, identify::kDocument, identify::kSid,
                                    "identifier of the session", R"("209250C3-41B5-4E5B-8B0E-6A3E7A1D2C44")")),
    changedBy(
        "whether the device lets applications track",
        field(From::identity, "advtFlag", at<&S::advtFlag>(), Sent::always, "1 when advertising tracking is off", "1")),

    // Visits. A new install is on its first visit, whatever the store says of it
    stored("udVt", at<&S::udVt>(), Sent::always, behavior::kDocument, behavior::kUserCriteriaVisit,
           "visits within the counting period", "2", kOne),
    stored("ltvt", at<&S::ltvt>(), Sent::always, behavior::kDocument, behavior::kLifeCriteriaVisit,
           "visits since the install", "3", kOne),
    stored("ltVi", at<&S::ltVi>(), Sent::always, behavior::kDocument, behavior::kLifeVisitInterval,
           "sum of the days between visits", "4"),
    changedBy("nothing: no operation raises it", stored("pageKey", at<&S::pageKey>(), Sent::always, behavior::kDocument,
                                                        behavior::kPageKey, "number of the page", "0")),
    stored("vtTz", at<&S::vtTz>(), Sent::always, behavior::kDocument, behavior::kVtTz,
           "begin of the visit, ms since 1970 by the network clock", "1706662805120"),
    changedBy(kVisited, stored("isVisitNew", at<&S::isVisitNew>(), Sent::whenSet, behavior::kDocument,
                               behavior::kVisitNew, "Y until the visit has been reported", R"("Y")")),
    changedBy(kVisited, stored("isDf", at<&S::isDf>(), Sent::whenSet, behavior::kDocument, behavior::kDailyUnique,
                               "Y for the first visit of a day", R"("Y")")),
    changedBy(kVisited, stored("isWf", at<&S::isWf>(), Sent::whenSet, behavior::kDocument, behavior::kWeeklyUnique,
                               "Y for the first visit of a week from Sunday to Saturday", R"("N")")),
    changedBy(kVisited, stored("isMf", at<&S::isMf>(), Sent::whenSet, behavior::kDocument, behavior::kMonthlyUnique,
                               "Y for the first visit of a month", R"("N")")),
    changedBy(kVisited, stored("isWfUs", at<&S::isWfUs>(), Sent::whenSet, behavior::kDocument, behavior::kWeeklyUnique2,
                               "Y for the first visit of a week from Monday to Sunday", R"("N")")),
    changedBy("a page, or a new process",
              kept(From::event, "piTrace", at<&S::piTrace>(), Sent::never, behavior::kDocument, behavior::kPiTrace,
                   "trail of the pages seen, separated by |")),

    // Purchases. csRvnVs is not read back: every record starts it at 0
    changedBy("a purchase; 0 after the counting period",
              stored("udRvnc", at<&S::udRvnc>(), Sent::always, behavior::kDocument, behavior::kUserCriteriaPurchase,
                     "purchases within the counting period", "1")),
    stored("ltRvnc", at<&S::ltRvnc>(), Sent::always, behavior::kDocument, behavior::kLifeCriteriaPurchase,
           "purchases since the install", "2"),
    changedBy("a purchase; 0 in each new record",
              kept(From::event, "csRvnVs", at<&S::csRvnVs>(), Sent::always, behavior::kDocument,
                   behavior::kSpendingTimeToPurchase, "seconds from the begin of the visit to the purchase", "90")),
    stored("ltrvni", at<&S::ltrvni>(), Sent::always, behavior::kDocument, behavior::kLifePurchaseInterval,
           "days between purchases", "0"),
    changedBy("a new visit; 0 after a purchase",
              stored("ltRvnVt", at<&S::ltRvnVt>(), Sent::always, behavior::kDocument,
                     behavior::kSpendingVisitToPurchase, "visits before the purchase", "1", kOne)),
    stored("ltrvn", at<&S::ltrvn>(), Sent::always, behavior::kDocument, behavior::kLifePurchaseAmount,
           "amount of all purchases", "17"),
    sentAs("lastOrdNo", stored("lastOrderNo", at<&S::lastOrderNo>(), Sent::whenNotEmpty, behavior::kDocument,
                               behavior::kLastPurchaseNo, "number of the last order", R"("A-1001")", kEmpty)),
    stored("firstOrd", at<&S::firstOrd>(), Sent::whenSet, behavior::kDocument, behavior::kIsFirstPurchase,
           "Y for the first purchase", R"("N")", kNo),

    // Send state
    changedBy("nothing", field(From::event, "isSFail", at<&S::isSFail>(), Sent::whenSet, "not filled")),

    // Deep-link attribution
    stored("qzs", at<&S::qzs>(), Sent::whenSet, deeplink::kDocument, deeplink::kQzs,
           "source of the latest campaign link", R"("search")"),
    stored("qzm", at<&S::qzm>(), Sent::whenSet, deeplink::kDocument, deeplink::kQzm,
           "medium of the latest campaign link", R"("cpc")"),
    stored("qzc", at<&S::qzc>(), Sent::whenSet, deeplink::kDocument, deeplink::kQzc,
           "campaign of the latest campaign link", R"("spring")"),
    stored("qzw", at<&S::qzw>(), Sent::whenSet, deeplink::kDocument, deeplink::kQzw, "word of the latest campaign link",
           R"("shoes")"),
    stored("qzaffid", at<&S::qzaffid>(), Sent::whenSet, deeplink::kDocument, deeplink::kQzaffid,
           "affiliate of the latest campaign link", R"("aff1")"),
    stored("qzbffid", at<&S::qzbffid>(), Sent::whenSet, deeplink::kDocument, deeplink::kQzbffid,
           "sub-affiliate of the latest campaign link", R"("aff2")"),
    stored("qzref", at<&S::qzref>(), Sent::whenSet, deeplink::kDocument, deeplink::kQzref,
           "referrer of the latest campaign link", R"("shop://open?_qzs=search&_qzc=spring")"),
    changedBy("a campaign link; N once an upload is accepted",
              stored("isDrUpdate", at<&S::isDrUpdate>(), Sent::whenSet, deeplink::kDocument, deeplink::kIsDrUpdate,
                     "Y until a new campaign link has been reported", R"("Y")")),
    changedBy("a deep link; empty once an upload is accepted",
              stored("openDl", at<&S::openDl>(), Sent::whenSet, deeplink::kDocument, deeplink::kOpenDl,
                     "the deep link that opened the application, whole", R"("shop://open?_qzs=search&_qzc=spring")")),
    stored("latestGcmpid", at<&S::latestGcmpid>(), Sent::whenSet, deeplink::kDocument, deeplink::kLatestGcmpid,
           "latest campaign id", R"("g-17")"),
    stored("qzp", at<&S::qzp>(), Sent::whenNonZero, deeplink::kDocument, deeplink::kQzp,
           "validity of the latest campaign link", "7"),
    stored("qzclkTime", at<&S::qzclkTime>(), Sent::whenNonZero, deeplink::kDocument, deeplink::kQzclkTime,
           "click on the latest campaign link, ms since 1970", "1706662790000"),

    // Install referrer
    stored("its", at<&S::its>(), Sent::whenSet, installreferrer::kDocument, installreferrer::kIts,
           "source that the install is attributed to", R"("search")"),
    stored("itm", at<&S::itm>(), Sent::whenSet, installreferrer::kDocument, installreferrer::kItm,
           "medium that the install is attributed to", R"("cpc")"),
    stored("itc", at<&S::itc>(), Sent::whenSet, installreferrer::kDocument, installreferrer::kItc,
           "campaign that the install is attributed to", R"("spring")"),
    stored("itw", at<&S::itw>(), Sent::whenSet, installreferrer::kDocument, installreferrer::kItw,
           "word that the install is attributed to", R"("shoes")"),
    stored("itaffid", at<&S::itaffid>(), Sent::whenSet, installreferrer::kDocument, installreferrer::kItaffid,
           "affiliate that the install is attributed to", R"("aff1")"),
    stored("itbffid", at<&S::itbffid>(), Sent::whenSet, installreferrer::kDocument, installreferrer::kItbffid,
           "sub-affiliate that the install is attributed to", R"("aff2")"),
    stored("installReferrer", at<&S::installReferrer>(), Sent::whenSet, installreferrer::kDocument,
           installreferrer::kInstallReferrer, "referrer that the install is attributed to",
           R"("_qzs=search&_qzc=spring")"),
    changedBy("a new install referrer; N once an upload is accepted",
              stored("isIrUpdate", at<&S::isIrUpdate>(), Sent::whenSet, installreferrer::kDocument,
                     installreferrer::kIsIrUpdate, "Y until a new install referrer has been reported", R"("Y")")),
    stored("itp", at<&S::itp>(), Sent::whenNonZero, installreferrer::kDocument, installreferrer::kItp,
           "validity of the install referrer", "7"),
    stored("itclkTime", at<&S::itclkTime>(), Sent::whenNonZero, installreferrer::kDocument, installreferrer::kItclkTime,
           "click that led to the install, ms since 1970", "1706662790000"),
    changedBy("nothing, once the start-up after the install has completed",
              stored("installTime", at<&S::installTime>(), Sent::always, install::kDocument, install::kInstallTime,
                     "the install, ms since 1970", "1706662800000")),

    // Push. A record that is made reads "pushExpireTime", which nobody writes, and not the "pushExpiredTime" that a
    // push
    // is stored with. saveToken is not read back
    changedBy("another token from the host", stored("pushtk", at<&S::pushtk>(), Sent::whenSet, notification::kDocument,
                                                    notification::kPushtk, "push token", R"("740f4707bebcf74f")")),
    stored("pushNo", at<&S::pushNo>(), Sent::whenSet, notification::kDocument, notification::kPushId,
           "the push that was opened", R"("push-12")"),
    changedBy("a push that the host tells, until the next record: what is stored is empty",
              stored("pushTitle", at<&S::pushTitle>(), Sent::whenSet, notification::kDocument, notification::kPushTitle,
                     "its title", R"("Sale")")),
    changedBy("another token from the host; N once an upload is accepted, gone in a new record: compare pushtk",
              kept(From::event, "saveToken", at<&S::saveToken>(), Sent::whenSet, notification::kDocument,
                   notification::kSaveToken, "Y until a new push token has been reported", R"("Y")")),
    stored("pushCkTime", at<&S::pushCkTime>(), Sent::always, notification::kDocument, notification::kPushCkTime,
           "when it was opened, ms since 1970", "1706662800000"),
    stored("pushPeriod", at<&S::pushPeriod>(), Sent::always, notification::kDocument, notification::kPushPeriod,
           "days for which it counts", "3"),
    changedBy("a push's end from the host; 0 in each new record",
              readFrom(notification::kPushExpireTime,
                       stored("pushExpiredTime", at<&S::pushExpiredTime>(), Sent::always, notification::kDocument,
                              notification::kPushExpiredTime, "when it stops to count, ms since 1970", "0"))),

    // Clock
    field(From::event, "networkTime", at<&S::networkTime>(), Sent::never, "not filled"),
    field(From::event, "deviceTime", at<&S::deviceTime>(), Sent::never, "not filled"),
    field(From::event, "timeOffset", at<&S::timeOffset>(), Sent::never, "not filled"),

    // In-app messages
    changedBy("in-app campaigns that are shown, or end",
              stored("alreadySeenCampaignId", at<&S::alreadySeenCampaignId>(), Sent::whenSet, inapp::kDocument,
                     inapp::kAlreadySeenCampaignId, "in-app campaigns that were shown, joined by |", R"("12|15")")),
    stored("inamId", at<&S::inamId>(), Sent::whenSet, inapp::kDocument, inapp::kInamId,
           "in-app message that was clicked", R"("12")"),
    stored("inamClkTime", at<&S::inamClkTime>(), Sent::whenNonZero, inapp::kDocument, inapp::kInamClkTime,
           "when, ms since 1970", "1706662800000"),
    stored("inamExpireTime", at<&S::inamExpireTime>(), Sent::whenNonZero, inapp::kDocument, inapp::kInamExpireTime,
           "when it stops to count, ms since 1970", "1706749200000"),

    // Tracking authorization and conversion values
    field(From::event, "ATTAuthStatus", at<&S::ATTAuthStatus>(), Sent::never, "not filled"),
    stored("latestSkAdCurValue", at<&S::latestSkAdCurValue>(), Sent::whenNonZero, skad::kDocument,
           skad::kLatestSkAdCurValue, "latest conversion value", "5"),

    // Internal campaigns. Slot 2 is filled from slot 1's keys: a restarted record shows those until slot 2 is set again
    ZUL_SLOT(1, 1),
    ZUL_SLOT(2, 1),
    ZUL_SLOT(3, 3),
    ZUL_SLOT(4, 4),
    ZUL_SLOT(5, 5),
    ZUL_SLOT(6, 6),
    ZUL_SLOT(7, 7),
    ZUL_SLOT(8, 8),
    ZUL_SLOT(9, 9),
    ZUL_SLOT(10, 10),

    // Beside the record
    field(From::event, "sarInfo", at<&X::sarInfo>(), Sent::whenSet, "what the search-ads attribution service answered",
          R"({"attribution":true})"),
    field(From::event, "AAATk", at<&X::AAATk>(), Sent::whenSet, "token for search-ads attribution", R"("dG9rZW4=")"),
    field(From::event, "AAATktime", at<&X::AAATktime>(), Sent::always, "when that was made, ms since 1970",
          "1706662800000"),
    changedBy("what the host says of its web view",
              field(From::event, "clientUserAgent", at<&X::clientUserAgent>(), Sent::whenNotEmpty,
                    "user agent of the host's browser", R"("Mozilla/5.0")")),
};

#undef ZUL_SLOT

}  // namespace zul::fieldtable
