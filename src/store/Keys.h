#pragma once

#include <string_view>

/// The documents of the database "ZULLocalDB" and their keys, each spelled here and nowhere else. Times are seconds
/// since 1970 as doubles, those marked ms milliseconds since 1970 as integers; Y/N stands for the texts "Y" and "N".
namespace zul::keys {

/// Visits, unique users, purchases and pages.
namespace behavior {
inline constexpr std::string_view kDocument = "Behavior";
inline constexpr std::string_view kUserCriteriaVisit = "userCriteriaVisit";
inline constexpr std::string_view kLifeCriteriaVisit = "lifeCriteriaVisit";
inline constexpr std::string_view kLifeVisitInterval = "lifeVisitInterval";        // days
inline constexpr std::string_view kRecentSessionTimeSec = "recentSessionTimeSec";  // the latest session's begin
inline constexpr std::string_view kSessionExpireSec = "sessionExpireSec";
inline constexpr std::string_view kExpireTimeForDaily = "expireTimeForDaily";
inline constexpr std::string_view kExpireTimeForWeekly = "expireTimeForWeekly";
inline constexpr std::string_view kExpireTimeForMonthly = "expireTimeForMonthly";
inline constexpr std::string_view kExpireTimeForWeeklyUs = "expireTimeForWeeklyUS";
inline constexpr std::string_view kDailyUnique = "dailyUnique";  // Y/N, as the next four
inline constexpr std::string_view kWeeklyUnique = "weeklyUnique";
inline constexpr std::string_view kMonthlyUnique = "monthlyUnique";
inline constexpr std::string_view kWeeklyUnique2 = "weeklyUnique2";
inline constexpr std::string_view kVisitNew = "visitNew";
inline constexpr std::string_view kVtTz = "vtTz";  // ms
inline constexpr std::string_view kPageKey = "pageKey";
inline constexpr std::string_view kPiTrace = "piTrace";
inline constexpr std::string_view kPageStartTime = "pageStartTime";
inline constexpr std::string_view kUserCriteriaPurchase = "userCriteriaPurchase";
inline constexpr std::string_view kLifeCriteriaPurchase = "lifeCriteriaPurchase";
inline constexpr std::string_view kLastPurchaseTimeSec = "lastPurchaseTimeSec";  // read and never written
inline constexpr std::string_view kLifePurchaseInterval = "lifePurchaseInterval";
inline constexpr std::string_view kLifePurchaseAmount = "lifePurchaseAmount";
inline constexpr std::string_view kSpendingTimeToPurchase = "spendingTimeToPurchase";  // s
inline constexpr std::string_view kSpendingVisitToPurchase = "spendingVisitToPurchase";
inline constexpr std::string_view kLastPurchaseNo = "lastPurchaseNo";
inline constexpr std::string_view kIsFirstPurchase = "isFirstPurchase";  // Y/N
}  // namespace behavior

/// The service's settings and the access token.
namespace appinfo {
inline constexpr std::string_view kDocument = "AppInfo";
inline constexpr std::string_view kDomain = "domain";
inline constexpr std::string_view kServiceNumber = "serviceNumber";
inline constexpr std::string_view kExpireDate = "expireDate";  // days
inline constexpr std::string_view kIsDebug = "isDebug";
inline constexpr std::string_view kIsInstallRetention = "isInstallRetention";
inline constexpr std::string_view kIsFingerPrint = "isFingerPrint";
inline constexpr std::string_view kUseMode = "useMode";
inline constexpr std::string_view kAccessToken = "accessToken";
}  // namespace appinfo

/// Who this installation is.
namespace identify {
inline constexpr std::string_view kDocument = "Identify";
inline constexpr std::string_view kUuid = "uuid";
inline constexpr std::string_view kSid = "sid";
inline constexpr std::string_view kAppId = "appId";
inline constexpr std::string_view kPkgname = "pkgname";
inline constexpr std::string_view kVendorId = "vendorId";      // written
inline constexpr std::string_view kVendorIdRead = "verdorId";  // read: misspelt, and so never found
inline constexpr std::string_view kBuildMode = "buildMode";
inline constexpr std::string_view kAttPopupDone = "ATTPopupDone";    // "Y" once answered
inline constexpr std::string_view kTempSavedIdfa = "tempSavedIDFA";  // the advertising identifier before the answer
}  // namespace identify

namespace install {
inline constexpr std::string_view kDocument = "Install";
inline constexpr std::string_view kInstallTime = "installTime";  // ms, as a double
inline constexpr std::string_view kTimeOffset = "timeOffset";    // ms, as a double: network minus device
}  // namespace install

/// The latest campaign link.
namespace deeplink {
inline constexpr std::string_view kDocument = "DeeplinkReferrerInfo";
inline constexpr std::string_view kQzs = "qzs";
inline constexpr std::string_view kQzm = "qzm";
inline constexpr std::string_view kQzc = "qzc";
inline constexpr std::string_view kQzw = "qzw";
inline constexpr std::string_view kQzp = "qzp";
inline constexpr std::string_view kQzaffid = "qzaffid";
inline constexpr std::string_view kQzbffid = "qzbffid";
inline constexpr std::string_view kQzclkTime = "qzclkTime";  // ms
inline constexpr std::string_view kQzref = "qzref";
inline constexpr std::string_view kIsDrUpdate = "isDrUpdate";  // Y/N
inline constexpr std::string_view kOpenDl = "openDl";
inline constexpr std::string_view kLatestGcmpid = "latestGcmpid";
inline constexpr std::string_view kItp = "itp";                    // the link's own, which nothing reads
inline constexpr std::string_view kDRExpireTime = "DRExpireTime";  // seconds; none when there is nothing to expire
}  // namespace deeplink

/// Where the install came from.
namespace installreferrer {
inline constexpr std::string_view kDocument = "InstallReferrerInfo";
inline constexpr std::string_view kIts = "its";
inline constexpr std::string_view kItm = "itm";
inline constexpr std::string_view kItc = "itc";
inline constexpr std::string_view kItw = "itw";
inline constexpr std::string_view kItp = "itp";
inline constexpr std::string_view kItaffid = "itaffid";
inline constexpr std::string_view kItbffid = "itbffid";
inline constexpr std::string_view kItclkTime = "itclkTime";  // ms
inline constexpr std::string_view kInstallReferrer = "installReferrer";
inline constexpr std::string_view kIsIrUpdate = "isIrUpdate";  // Y/N
}  // namespace installreferrer

/// When the latest evidence arose.
namespace attributedtime {
inline constexpr std::string_view kDocument = "AttributedTimeInfo";
inline constexpr std::string_view kResponseTime = "responseTime";  // ms: only a later click is heeded
}  // namespace attributedtime

namespace attribution {
inline constexpr std::string_view kDocument = "AttributionInfo";
inline constexpr std::string_view kAttributionInfo = "attributionInfo";
}  // namespace attribution

namespace attstatus {
inline constexpr std::string_view kDocument = "ATTAuthStatusInfo";
inline constexpr std::string_view kAttAuthStatus = "ATTAuthStatus";  // as the platform numbers it
}  // namespace attstatus

namespace notification {
inline constexpr std::string_view kDocument = "Notification";
inline constexpr std::string_view kPushtk = "pushtk";
inline constexpr std::string_view kPushId = "pushId";
inline constexpr std::string_view kPushTitle = "pushTitle";
inline constexpr std::string_view kPushCkTime = "pushCkTime";  // ms
inline constexpr std::string_view kPushPeriod = "pushPeriod";
inline constexpr std::string_view kPushExpiredTime = "pushExpiredTime";  // ms; when the push stops to count
inline constexpr std::string_view kPushExpireTime = "pushExpireTime";    // read by the record and never written
inline constexpr std::string_view kSaveToken = "saveToken";              // "Y" once a token was stored
}  // namespace notification

namespace inapp {
inline constexpr std::string_view kDocument = "inappMessageData";
inline constexpr std::string_view kAlreadySeenCampaignId = "alreadySeenCampaignId";
inline constexpr std::string_view kInamId = "inamId";
inline constexpr std::string_view kInamClkTime = "inamClkTime";        // ms
inline constexpr std::string_view kInamExpireTime = "inamExpireTime";  // ms
inline constexpr std::string_view kReceivedInAppMessageList = "receivedInAppMessageList";

/// Of a message in that list.
inline constexpr std::string_view kMk = "mk";              // its key
inline constexpr std::string_view kViewTime = "viewTime";  // ms
inline constexpr std::string_view kDateType = "dateType";  // "D", "W" or "M"
inline constexpr std::string_view kFrequencyLimitDay = "frequencyLimitDay";
inline constexpr std::string_view kEnd = "end";  // ms
}  // namespace inapp

/// Ten slots, each key with the slot's number behind it: "inrc1", "inrcTime1" (ms), "inrcDt1" (days).
namespace campaign {
inline constexpr std::string_view kDocument = "InternalCampaign";
inline constexpr std::string_view kInrc[] = {"inrc1", "inrc2", "inrc3", "inrc4", "inrc5",
                                             "inrc6", "inrc7", "inrc8", "inrc9", "inrc10"};
inline constexpr std::string_view kInrcTime[] = {"inrcTime1", "inrcTime2", "inrcTime3", "inrcTime4", "inrcTime5",
                                                 "inrcTime6", "inrcTime7", "inrcTime8", "inrcTime9", "inrcTime10"};
inline constexpr std::string_view kInrcDt[] = {"inrcDt1", "inrcDt2", "inrcDt3", "inrcDt4", "inrcDt5",
                                               "inrcDt6", "inrcDt7", "inrcDt8", "inrcDt9", "inrcDt10"};
}  // namespace campaign

/// The signed-in member.
namespace user {
inline constexpr std::string_view kDocument = "UserInfo";
inline constexpr std::string_view kMember = "member";
inline constexpr std::string_view kAge = "age";
inline constexpr std::string_view kGender = "gender";
inline constexpr std::string_view kAttribute[] = {"attribute1", "attribute2", "attribute3", "attribute4", "attribute5"};
inline constexpr std::string_view kMemberGrade = "memberGrade";
inline constexpr std::string_view kMemberId = "memberId";
inline constexpr std::string_view kIsLogin = "isLogin";  // Y/N
inline constexpr std::string_view kLoginTp = "loginTp";
inline constexpr std::string_view kSignupTp = "signupTp";
}  // namespace user

namespace skad {
inline constexpr std::string_view kDocument = "skadNetworkData";
inline constexpr std::string_view kLatestSkAdCurValue = "latestSkAdCurValue";
}  // namespace skad

/// Events recorded before the start-up completed.
namespace early {
inline constexpr std::string_view kDocument = "DataBeforeInit";
inline constexpr std::string_view kEntireExceptionData = "entireExceptionData";
}  // namespace early

/// The upload queue. Not a row of its own: computed from the payloads' rows, and parsed into them when written.
namespace queue {
inline constexpr std::string_view kDocument = "Json";
inline constexpr std::string_view kQueueJsonList = "QueueJsonList";  // a JSON array as text; "" when empty
}  // namespace queue

}  // namespace zul::keys
