#include "ErrorReporter.h"

#include <string_view>
#include <utility>

#include "NetworkManager.h"
#include "SessionRecord.h"

namespace zul {

ErrorReporter::ErrorReporter(SessionRecord& record, NetworkManager& network, std::int64_t serviceNumber)
    : record_(record), network_(network), serviceNumber_(serviceNumber) {}

boost::json::object ErrorReporter::getErrorLogParamsDictionaryWithErrlog(const std::optional<std::string>& text) {
  const auto record = record_.sharedInstance();
  boost::json::object params;
  params["_qzno"] = serviceNumber_;
  params["errlog"] = text.value_or("");  // an answer may have no reason; the key is always there
  for (const auto* field :
       {&fieldOf(at<&SessionJson::qzref>()), &fieldOf(at<&SessionJson::installReferrer>()),
        &fieldOf(at<&SessionJson::advtId>()), &fieldOf(at<&SessionJson::lng>()), &fieldOf(at<&SessionJson::cntr>()),
        &fieldOf(at<&SessionJson::tz>()), &fieldOf(at<&SessionJson::os>()), &fieldOf(at<&SessionJson::phone>()),
        &fieldOf(at<&SessionJson::apVr>()), &fieldOf(at<&SessionJson::plat>()),
        &fieldOf(at<&SessionJson::vendorId>())}) {
    const auto& value = std::get<InRecord<SessionJson::Text>>(field->member).get(*record);
    if (value) params[field->payloadKey()] = *value;
  }
  params["advtFlag"] = record->advtFlag;
  return params;
}

void ErrorReporter::send(const std::optional<std::string>& text, std::function<void(bool)> completion) {
  network_.sendErrorLogWithErrParams(
      getErrorLogParamsDictionaryWithErrlog(text), record_.environment().sender(),
      [completion = std::move(completion)](bool success, const auto&) { completion(success); });
}

}  // namespace zul
