#include "Seed.h"

#include <boost/json.hpp>
#include <filesystem>
#include <fstream>

#include "Json.h"
#include "Process.h"
#include "RawSqlite.h"
#include "Workbench.h"

namespace zul::bench {

namespace {

constexpr const char* kInfoPlist = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Example//DTD PLIST 1.0//EN" "http://example.com/PropertyList-1.0.dtd">
<plist version="1.0"><dict>
  <key>CFBundleIdentifier</key><string>com.example.bench</string>
  <key>CFBundleShortVersionString</key><string>4.12.0</string>
  <key>zulAuthorizationKey</key><dict>
    <key>domain</key><string>shop.example.com</string>
    <key>serviceNumber</key><integer>1701</integer>
    <key>expireDate</key><integer>30</integer>
    <key>useMode</key><integer>1</integer>
    <key>isDebug</key><false/>
    <key>isInstallRetention</key><true/>
    <key>isFingerPrint</key><true/>
    <key>ATTPopup</key><false/>
    <key>accessToken</key><string>3f2b8c55e0a94c21b7d6a1f09c4e7d83</string>
  </dict>
</dict></plist>
)";

// A campaign's link, as long as they are.
constexpr const char* kReferrer =
    "https://shop.example.com/campaign/spring?utm_source=newsletter&utm_medium=email&utm_campaign=spring-collection&"
    "utm_term=shoes&utm_content=banner-top&clickid=0f5d7c1e9b3a4d62&redirect=https%3A%2F%2Fshop.example.com%2Fitem%"
    "2F42";

boost::json::object campaigns() {
  boost::json::object slots;
  for (int n = 1; n <= 10; ++n) {
    const auto slot = std::to_string(n);
    slots["inrc" + slot] = "internal-campaign-" + slot;
    slots["inrcTime" + slot] = 1'700'000'000'000 + n;
    slots["inrcDt" + slot] = 36500;  // a start-up finds nothing that has expired
  }
  return slots;
}

std::vector<std::pair<std::string, boost::json::object>> values() {
  return {
      {"AppInfo",
       {{"accessToken", "3f2b8c55e0a94c21b7d6a1f09c4e7d83"},
        {"domain", "shop.example.com"},
        {"serviceNumber", 1701},
        {"expireDate", 30},
        {"useMode", 1},
        {"isDebug", false},
        {"isInstallRetention", true},
        {"isFingerPrint", true}}},
      {"Behavior",
       {{"piTrace", ""},
        {"vtTz", 1'700'000'000'000},
        {"visitNew", "N"},
        {"dailyUnique", "N"},
        {"weeklyUnique", "N"},
        {"monthlyUnique", "N"},
        {"weeklyUnique2", "N"},
        {"expireTimeForDaily", 1700006399.0},
        {"expireTimeForWeekly", 1700352000.0},
        {"expireTimeForMonthly", 1701388800.0},
        {"expireTimeForWeeklyUS", 1700265600.0},
        {"userCriteriaVisit", 12},
        {"lifeCriteriaVisit", 345},
        {"lifeVisitInterval", 678},
        {"spendingVisitToPurchase", 3},
        {"userCriteriaPurchase", 2},
        {"lifeCriteriaPurchase", 17},
        {"lifePurchaseInterval", 55},
        {"lifePurchaseAmount", 123456},
        {"lastPurchaseNo", "2024-000123456"},
        {"isFirstPurchase", "N"},
        {"pageKey", 4},
        {"recentSessionTimeSec", 1700000000.5},
        {"sessionExpireSec", 4102444800.0}}},
      {"DeeplinkReferrerInfo",
       {{"qzs", "newsletter"},
        {"qzm", "email"},
        {"qzc", "spring-collection"},
        {"qzw", "shoes"},
        {"qzp", 12},
        {"qzaffid", "affiliate-0042"},
        {"qzbffid", "partner-0007"},
        {"qzclkTime", 1'700'000'000'000},
        {"qzref", kReferrer},
        {"isDrUpdate", "N"},
        {"openDl", ""},
        {"latestGcmpid", "gcmp-8c55e0a94c21"}}},
      {"Identify",
       {{"uuid", "6F9619FF-8B86-D011-B42D-00CF4FC964FF"},
        {"vendorId", "0A1B2C3D-4E5F-6071-8293-A4B5C6D7E8F9"},
        {"sid", "D3C1A0B2-55AA-4F0E-9C77-0123456789AB"},
        {"pkgname", "com.example.bench"},
        {"appId", 1234567890},
        {"buildMode", false}}},
      {"Install", {{"installTime", 1700000000000.0}, {"timeOffset", 0.0}}},
      {"InstallReferrerInfo",
       {{"its", "search"},
        {"itm", "cpc"},
        {"itc", "install-campaign"},
        {"itw", "running+shoes"},
        {"itp", 3},
        {"itaffid", "affiliate-0001"},
        {"itbffid", "partner-0002"},
        {"itclkTime", 1'699'999'990'000},
        {"installReferrer", kReferrer},
        {"isIrUpdate", "N"}}},
      {"InternalCampaign", campaigns()},
      {"Notification",
       {{"pushtk", "b7d6a1f09c4e7d833f2b8c55e0a94c21b7d6a1f09c4e7d833f2b8c55e0a94c21"},
        {"pushId", "9981"},
        {"pushTitle", ""},
        {"pushCkTime", 1'700'000'000'000},
        {"pushPeriod", 3},
        {"pushExpireTime", 4'102'444'800'000}}},
      {"UserInfo",
       {{"member", "Y"},
        {"gender", "F"},
        {"age", "34"},
        {"memberGrade", "gold"},
        {"memberId", "3c9a5f0d2b7e4a6181d0c3b5e7f9a2b4"},
        {"isLogin", "Y"},
        {"loginTp", "mail"},
        {"signupTp", "mail"},
        {"attribute1", "prefers-delivery-to-the-shop"},
        {"attribute2", "newsletter"},
        {"attribute3", "segment-17"},
        {"attribute4", "size-39"},
        {"attribute5", "returning"}}},
  };
}

}  // namespace

const std::vector<std::pair<std::string, std::string>>& Seed::documents() {
  static const auto all = [] {
    std::vector<std::pair<std::string, std::string>> texts;
    for (const auto& [name, members] : values()) texts.emplace_back(name, json::text(members));
    return texts;
  }();
  return all;
}

void Seed::writeBundle(const std::string& folder) {
  std::ofstream(folder + "/Info.plist") << kInfoPlist;
}

void Seed::writeStore(const std::string& folder, int queued) {
  std::filesystem::create_directories(folder);
  RawSqlite store(folder + "/ZULLocalDB.sqlite");
  store.commit(documents());
  if (queued > 0) store.queue(payloads(queued));
}

std::vector<std::string> Seed::payloads(int count) {
  const TemporaryFolder folder;
  Workbench workbench(folder.path());
  auto payload = workbench.payload();
  std::vector<std::string> texts;
  for (int n = 0; n < count; ++n) {
    payload["vtTz"] = 1'700'000'000'000 + n * 1000;
    payload["pageKey"] = n;
    texts.push_back(json::text(boost::json::object{{"SESSION", payload}}));
  }
  return texts;
}

}  // namespace zul::bench
