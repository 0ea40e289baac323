#include "PushInfo.h"

#include <fmt/core.h>

#include "Json.h"
#include "Keys.h"
#include "LocalDB.h"
#include "SessionRecord.h"
#include "ZULUtil.h"

namespace zul {

using namespace keys;

void PushInfo::saveDeviceToken(const std::optional<std::string>& given) {
  db_.whenReadable([this, token = given.value_or("")] {
    std::string saved;
    db_.transaction([&] {
      saved = db_.documentWithID(notification::kDocument).stringForKey(notification::kPushtk).value_or("");
      if (saved == token) return;
      record_.set<&SessionJson::pushtk>(token);
      record_.set<&SessionJson::saveToken>("Y");
    });
    const auto* const line =
        saved == token ? "Data identical to the stored push token data is passed to the ZUL.setPushToken function, "
                         "skipping its processing. ( parameter : {}, savedData : {} ) "
                       : "The stored push token data has been updated with the parameters passed to the "
                         "ZUL.setPushToken function. ( parameter : {}, savedData : {} ) ";
    log_.info(fmt::format(fmt::runtime(line), token, saved), ZUL_HERE);
  });
}

void PushInfo::setPushId(const std::string& id) {
  db_.whenReadable([this, id] { record_.set<&SessionJson::pushNo>(id); });
}

void PushInfo::setPushTitle(const std::string& title) {
  db_.whenReadable([this, title] { record_.edit([&](SessionJson& record) { record.pushTitle = title; }); });
}

void PushInfo::setPushClickTime(std::int64_t milliseconds) {
  db_.whenReadable([this, milliseconds] { record_.set<&SessionJson::pushCkTime>(milliseconds); });
}

void PushInfo::setPushPeriod(std::int64_t days) {
  db_.whenReadable([this, days] { record_.set<&SessionJson::pushPeriod>(days); });
}

void PushInfo::setPushExpiredTime(std::int64_t milliseconds) {
  db_.whenReadable([this, milliseconds] {
    record_.sharedInstance();  // one that is made later would not show it
    record_.set<&SessionJson::pushExpiredTime>(milliseconds);
  });
}

void PushInfo::checkToResetPushInfo() {
  db_.whenReadable([this] {
    db_.transaction([this] {
      const auto expiry = db_.documentWithID(notification::kDocument).numberForKey(notification::kPushExpiredTime);
      if (!expiry) return;
      const double now = util_.currentTimeSecMulti1000();
      const bool over = now > *expiry;
      if (over) resetPushInfo();
      db_.afterCommit([this, expiry, now, over] {
        log_.debug(fmt::format("pushExpireTime in checkToResetPushInfo : {}", json::truncate(*expiry)), ZUL_HERE);
        log_.debug(fmt::format("now in checkToResetPushInfo : {:.6f}", now), ZUL_HERE);
        if (over) log_.debug("now in checkToResetPushInfo 1111", ZUL_HERE);
      });
    });
  });
}

void PushInfo::resetPushInfo() {
  db_.whenReadable([this] {
    db_.updateExisting(notification::kDocument, [](MutableDocument& document) {
      document.setString("", notification::kPushTitle);
      document.setString("", notification::kPushId);
      for (const auto key : {notification::kPushCkTime, notification::kPushPeriod, notification::kPushExpiredTime}) {
        document.setInteger(0, key);
      }
    });
  });
}

}  // namespace zul
