#include "EarlyEvents.h"

#include "Fields.h"
#include "Json.h"
#include "Keys.h"
#include "LocalDB.h"

namespace zul {

bool EarlyEvents::load() {
  const auto document = db_.documentWithID(keys::early::kDocument);
  const auto& recorded = document.valueForKey(keys::early::kEntireExceptionData);
  if (!recorded.is_array()) return false;
  std::vector<boost::json::object> list;
  for (const auto& payload : recorded.get_array()) {
    if (payload.is_object()) list.push_back(payload.get_object());
  }
  const MutexLock lock(mutex_);
  exceptionJsonList_.swap(list);
  return true;
}

std::vector<std::string> EarlyEvents::inSession(const std::string& session) const {
  const auto sid = fieldOf(at<&SessionJson::sid>()).payloadKey();
  const auto vtTz = fieldOf(at<&SessionJson::vtTz>()).payloadKey();
  const auto current = json::parseObject(session).value_or(boost::json::object());
  std::vector<boost::json::object> list;
  {
    const MutexLock lock(mutex_);
    list = exceptionJsonList_;
  }
  std::vector<std::string> texts;
  for (auto& payload : list) {
    if (auto* const recorded = payload.if_contains("SESSION"); recorded && recorded->is_object()) {
      auto& members = recorded->get_object();
      if (const auto text = json::string(current, sid)) {
        members[sid] = *text;
      } else {
        members.erase(sid);
      }
      members[vtTz] = json::truncate(json::number(current, vtTz).value_or(0));
    }
    texts.push_back(json::text(payload));
  }
  return texts;
}

}  // namespace zul
