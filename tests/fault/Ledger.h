#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "RecordedRequest.h"

namespace zul::test {

/// What the host reported and what arrived of it. Expectations that fail are reported where they are found.
class Ledger {
 public:
  /// The numbers in `output`, a line each, were reported.
  void addReported(const std::string& output);

  /// An upload that the process with the access token `process` may have sent. With `mayBeAccepted` false the
  /// collector has surely refused it.
  void addUpload(const collector::RecordedRequest& upload, const std::string& process, bool mayBeAccepted);

  std::set<int> missing() const;
  std::string statistics() const;
  int lastReported() const { return reported_.empty() ? -1 : *reported_.rbegin(); }
  const std::string& uuid() const { return uuid_; }

 private:
  struct Arrival {
    std::string payload;
    int times = 0;
    bool mayBeAccepted = false;
  };
  struct Visit {
    std::int64_t ltvt, ltRvnVt, vtTz;
    bool operator==(const Visit&) const = default;
  };

  void addPayload(const boost::json::object& session, bool mayBeAccepted);

  std::set<int> reported_;
  std::map<int, Arrival> arrivals_;
  std::map<std::string, Visit> visits_;       // by sid
  std::map<std::int64_t, std::string> sids_;  // by ltvt
  std::string uuid_;
  int uploads_ = 0;
  int payloads_ = 0;
};

/// The session as the documents of a store show it.
struct StoredSession {
  std::string uuid, sid;
  std::int64_t visits = 0;
};

/// Reads a copy of the store in `folder`, as the death of its process left it, and checks that it is sound and that
/// the values of its session belong together. None when there is no session yet.
std::optional<StoredSession> readSession(const std::string& folder);

}  // namespace zul::test
