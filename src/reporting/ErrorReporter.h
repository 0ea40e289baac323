#pragma once

#include <boost/json/object.hpp>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace zul {

class NetworkManager;
class SessionRecord;

/// Tells the collector what went wrong. Any thread may call it.
class ErrorReporter {
 public:
  ErrorReporter(SessionRecord& record, NetworkManager& network, std::int64_t serviceNumber);

  /// What an error log says: the service number, `text` as "errlog", and a few fields of the record.
  boost::json::object getErrorLogParamsDictionaryWithErrlog(const std::optional<std::string>& text);

  /// Sends it, and calls `completion` with whether it has gone through.
  void send(const std::optional<std::string>& text, std::function<void(bool)> completion);

 private:
  SessionRecord& record_;
  NetworkManager& network_;
  const std::int64_t serviceNumber_;
};

}  // namespace zul
