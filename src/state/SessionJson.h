#pragma once

#include <array>
#include <boost/json/value.hpp>
#include <cstdint>
#include <optional>
#include <string>

namespace zul {

/// The record of everything that a session payload carries: one plain value. Who owns the current one and
/// how it is filled is SessionRecord's business; which key a field travels under is the payload's.
struct SessionJson {
  using Text = std::optional<std::string>;

  struct CampaignSlot {
    Text inrc;
    std::int64_t inrcTime = 0;  ///< ms since 1970
    std::int64_t inrcDt = 0;    ///< days
    bool operator==(const CampaignSlot&) const = default;
  };

  // Library
  std::string sdk_version;
  Text dSource;

  // Service settings
  Text _qzhst;
  std::int64_t _qzno = 0;
  std::int64_t _qzUdays = 0;
  bool _qzDebug = false;
  bool _qzUseRetention = false;
  bool _qzUseFingerPrint = false;
  Text _accessToken;
  std::int64_t useMode = 0;

  // Member profile
  Text mbr, sx, ag;
  std::array<Text, 5> ut;  ///< ut1 to ut5
  Text mbl, mbid, isLogin, loginTp, signupTp;

  // Device environment
  Text lng, cntr, ip, tz, os, osvr, sr, phone, apVr, gps, cari, plat;
  std::int64_t isWifi = 0;
  double inch = 0;

  // Identifiers
  Text advtId, uptAfv, keychainUUID, imei, vendorId, uuid, aidChange, buildMode, pkg;
  boost::json::value appId;  ///< text or number; null for none
  Text sid;
  std::int64_t advtFlag = 0;

  // Visits
  std::int64_t udVt = 0, ltvt = 0, ltVi = 0, pageKey = 0;
  std::int64_t vtTz = 0;  ///< ms since 1970
  Text isVisitNew, isDf, isWf, isMf, isWfUs, piTrace;

  // Purchases
  std::int64_t udRvnc = 0, ltRvnc = 0, csRvnVs = 0, ltrvni = 0, ltRvnVt = 0, ltrvn = 0;
  Text lastOrderNo, firstOrd;

  // Send state
  Text isSFail;

  // Deep-link attribution
  Text qzs, qzm, qzc, qzw, qzaffid, qzbffid, qzref, isDrUpdate, openDl, latestGcmpid;
  std::int64_t qzp = 0, qzclkTime = 0;

  // Install referrer
  Text its, itm, itc, itw, itaffid, itbffid, installReferrer, isIrUpdate;
  std::int64_t itp = 0, itclkTime = 0;
  std::int64_t installTime = 0;  ///< ms since 1970

  // Push
  Text pushtk, pushNo, pushTitle, saveToken;
  std::int64_t pushCkTime = 0, pushPeriod = 0, pushExpiredTime = 0;

  // Clock
  double networkTime = 0, deviceTime = 0;
  std::optional<double> timeOffset;  ///< ms

  std::array<CampaignSlot, 10> inrc;  ///< slots 1 to 10

  // In-app messages
  Text alreadySeenCampaignId, inamId;
  std::int64_t inamClkTime = 0, inamExpireTime = 0;

  std::int64_t ATTAuthStatus = 0;
  std::int64_t latestSkAdCurValue = 0;

  bool operator==(const SessionJson&) const = default;
};

}  // namespace zul
