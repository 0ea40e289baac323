#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "Environment.h"
#include "Log.h"
#include "SessionJson.h"

namespace zul {

class LocalDB;
struct Deployment;
namespace platform {
class HttpClient;
}

/// Owns the process's current SessionJson: fills it from the stored documents and the device when it is
/// first asked for, hands it out as an immutable value, and lets single fields be changed.
///
/// Any thread may call it. Its lock covers the exchange of one pointer. Filling the record may wait for the
/// app-store look-up, at most 60 seconds, on the calling thread and without a lock.
class SessionRecord {
 public:
  using Current = std::shared_ptr<const SessionJson>;
  using Edit = std::function<void(SessionJson&)>;

  SessionRecord(LocalDB& db, Environment::Sources sources, std::shared_ptr<platform::HttpClient> http,
                const Deployment& deployment, Log log);

  /// The record; made when there is none.
  Current sharedInstance();
  /// The record, or null.
  Current getSharedInstance() const;
  /// Drops the record: the next `sharedInstance` makes a new one from the store.
  void clearInstance();

  /// Changes the record, making it first when there is none.
  void edit(const Edit& edit);
  /// Changes the record; does nothing when there is none.
  void editExisting(const Edit& edit);

  /// A fresh look at the device.
  Environment environment() const { return Environment(sources_); }

  /// The stored install UUID, or a new random one, which is not stored.
  std::string getUUID();
  /// The vendor identifier as it is reported.
  std::string getVendorId();

 private:
  SessionJson initUniqueInstance(std::optional<boost::json::value>& foundAppId);
  void readStore(SessionJson& record);
  void readEnvironment(SessionJson& record) const;
  void readIdentifiers(SessionJson& record, std::optional<boost::json::value>& foundAppId);
  void storeIdentifiers(SessionJson& record);
  boost::json::value lookUpAppId(const std::string& pkg) const;

  LocalDB& db_;
  Environment::Sources sources_;
  std::shared_ptr<platform::HttpClient> http_;
  std::string collectorBaseUrl_;
  std::string lookupHost_;
  Log log_;

  mutable std::mutex mutex_;
  Current current_;
  std::uint64_t generation_ = 0;  // counts what makes a record that is being made out of date
};

}  // namespace zul
