#pragma once

#include <boost/json/object.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "Log.h"

namespace zul {

class NetworkManager;
class SessionRecord;

/// Tells the collector what went wrong. Any thread may call it.
class ErrorReporter {
 public:
  ErrorReporter(SessionRecord& record, NetworkManager& network, std::int64_t serviceNumber, Log log);

  /// What an error log says: the service number, `text` as "errlog", and a few fields of the record.
  boost::json::object getErrorLogParamsDictionaryWithErrlog(const std::optional<std::string>& text);

  /// Sends it. Once it has gone through, the log says `arrived`.
  void send(const std::optional<std::string>& text, const std::string& arrived);

 private:
  SessionRecord& record_;
  NetworkManager& network_;
  const std::int64_t serviceNumber_;
  const Log log_;
};

}  // namespace zul
