#pragma once

#include <array>
#include <boost/json/value.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zul::collector {

/// The services that one collector stands for; `unknown` is everything at any other path.
enum class Endpoint { token, upload, errorlog, pushclick, fingerprint, appstore, unknown };

/// All endpoints but `unknown`, and the names that the answers use for them.
inline constexpr std::array<std::string_view, 6> kEndpointNames{"token",     "upload",      "errorlog",
                                                                "pushclick", "fingerprint", "appstore"};

constexpr std::string_view name(Endpoint endpoint) {
  return endpoint == Endpoint::unknown ? "unknown" : kEndpointNames[static_cast<std::size_t>(endpoint)];
}

/// Header names differ only by more than their case.
struct HeaderLess {
  bool operator()(std::string_view left, std::string_view right) const noexcept;
  using is_transparent = void;
};
using Headers = std::map<std::string, std::string, HeaderLess>;

/// What is odd about a good upload, though it keeps the contract.
struct Suspicion {
  std::size_t payload = 0;  ///< its place in the upload
  std::string key;
  std::string reason;
};

/// What is remembered of a payload, to compare and to count.
struct PayloadFacts {
  std::size_t hash = 0;  ///< of its compact text
  std::string uuid;
  std::string vendorId;
  std::string model;
  std::string application;  ///< its bundle identifier
  std::int64_t visit = 0;   ///< its ltvt
  std::int64_t vtTz = 0;    ///< 0 where it has none
  bool isVisitNew = false;
  std::uint64_t equalTo = 0;  ///< the accepted request that brought an equal one; 0: none
};

/// What a request was answered with.
struct GivenAnswer {
  int status = 200;
  std::string body;
  std::chrono::milliseconds delay{0};
  bool close = false;     ///< the connection was closed instead
  bool accepted = false;  ///< a client takes the payloads of its upload for delivered
};

/// One request as it arrived, what was wrong with it and what it was answered. Immutable once recorded.
struct RecordedRequest {
  std::uint64_t sequence = 0;  ///< rises with arrival, from 1
  std::uint64_t recorded = 0;  ///< rises with the end of their judging, from 1: what comes late has a high one
  std::chrono::system_clock::time_point time;
  Endpoint endpoint = Endpoint::unknown;
  std::string method;
  std::string path;
  std::string query;        ///< as sent, still percent-encoded
  Headers headers;          ///< a repeated header's values are joined by ", "
  std::size_t rawSize = 0;  ///< bytes of the body as sent
  std::string bodyText;  ///< decoded, compact JSON; empty where there is none, it could not be decoded or is not kept
  std::string problem;   ///< the first fault found; empty for a good request
  std::string rawBody;   ///< as sent, where it is kept
  GivenAnswer answer;

  std::vector<Suspicion> suspicions;
  std::string device;      ///< of an upload: its last payload's uuid
  std::string model;       ///< that payload's phone
  std::int64_t visit = 0;  ///< that payload's ltvt
  std::vector<PayloadFacts> payloads;

  /// Keeps the contract. It may be suspicious nevertheless.
  bool good() const noexcept { return problem.empty(); }
  /// "good", "suspicious" or "bad".
  std::string_view verdict() const noexcept { return !good() ? "bad" : suspicions.empty() ? "good" : "suspicious"; }

  /// The value of `bodyText`, null where that is empty.
  boost::json::value body() const;

  /// The bytes of memory that it holds, about.
  std::size_t footprint() const noexcept;

  /// The header's value; empty when it was not sent.
  std::string header(std::string_view name) const;
};

using RequestPtr = std::shared_ptr<const RecordedRequest>;

/// Appends the text of the object that the record file and the inspection pages show.
void appendJson(std::string& out, const RecordedRequest& request);

/// The same with another text in place of the whole body's.
void appendJson(std::string& out, const RecordedRequest& request, std::string_view body);

/// Whatever bytes a peer sent, as text that JSON can hold.
std::string printable(const std::string& text);

}  // namespace zul::collector
