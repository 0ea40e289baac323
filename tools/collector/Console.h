#pragma once

#include <functional>
#include <optional>
#include <string_view>

#include "Answers.h"
#include "HttpServer.h"
#include "RequestLog.h"

namespace zul::collector {

/// What the collector serves for the people who look at it, beside the contract: its page, the page's events, and what
/// is below /inspect. None of it is recorded. Any thread.
class Console {
 public:
  /// The log and the answers have to outlive the console and its replies.
  Console(const RequestLog& log, Answers& answers, std::function<void()> reset);

  /// None for a request that is not the console's.
  std::optional<HttpReply> reply(const HttpRequest& request) const;

 private:
  std::optional<HttpReply> get(const HttpRequest& request, std::string_view path, std::string_view query) const;
  std::optional<HttpReply> post(const HttpRequest& request, std::string_view path) const;

  const RequestLog& log_;
  Answers& answers_;
  const std::function<void()> reset_;
};

}  // namespace zul::collector
