#pragma once

#include <string>
#include <string_view>

#include "Endpoints.h"
#include "HttpServer.h"
#include "PayloadReader.h"
#include "RecordedRequest.h"

namespace zul::collector {

/// What a request is, and what is wrong with it.
struct Verdict {
  Endpoint endpoint = Endpoint::unknown;
  std::string path;
  std::string query;
  std::string body;     ///< decoded, compact JSON text, also where something else is wrong; empty where it cannot be
  std::string problem;  ///< the first fault; empty for a good request
  int status = 200;     ///< of the answer that tells it
};

/// How an endpoint is asked; empty for the unknown one.
wire::Endpoint contract(Endpoint endpoint) noexcept;
/// Where it is served.
std::string_view path(Endpoint endpoint) noexcept;

/// Reads a request as the collector service does, and gives each payload of an upload to `take` on the way, also where
/// the request turns out bad. Any thread.
Verdict judge(const HttpRequest& request, const PayloadReader::Take& take = {});

}  // namespace zul::collector
