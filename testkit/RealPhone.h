#pragma once

#include <boost/json/object.hpp>
#include <memory>
#include <string>

#include "DevCollector.h"
#include "KeptLog.h"
#include "TemporaryFolder.h"

namespace zul {
class Runtime;
class Tracker;
}  // namespace zul

namespace zul::test {

/// A device that consists of the real parts and a folder. Only its clock can be set, and its start-up hurries.
class RealPhone {
 public:
  explicit RealPhone(std::string collectorBaseUrl);
  ~RealPhone();
  RealPhone(const RealPhone&) = delete;
  RealPhone& operator=(const RealPhone&) = delete;

  /// The access token in the host's configuration; without one the library asks for it.
  void haveToken(const std::string& token) const;

  /// A new process.
  Tracker& boot(double pace = 0.002);
  /// The call with which a host starts the library.
  void initialize();
  /// A new process that has started up, with its first session, if any, on its way. Throws, with the log, when it does
  /// not start.
  Tracker& startUp(double pace = 0.002);
  void exit();

  Runtime& process() { return *runtime_; }
  Tracker& tracker();

  /// Reports an event that can be told from the others.
  void event(const std::string& name);

  /// The value of a query on the database, as somebody else sees it.
  std::string query(const std::string& sql) const;
  boost::json::object document(const std::string& id) const;
  /// The events that are stored for the next upload, in order; sessions without an event are left out.
  std::string queued() const;
  /// True as soon as the store holds these events, a letter each, for the next upload, after one that did not bring
  /// them to the collector; no request is open then.
  bool keeps(const std::string& events) const;
  std::string database() const { return store + "/ZULLocalDB.sqlite"; }

  TemporaryFolder folder;
  std::string collector, lookup, caFile;
  std::string store = folder.path("store");
  double later = 0;  // seconds that the next process's clock is ahead
  std::shared_ptr<KeptLog> log = std::make_shared<KeptLog>();

 private:
  std::unique_ptr<Runtime> runtime_;
};

/// The upload that brings these events, in this order; null when none does in time.
collector::RequestPtr upload(const collector::DevCollector& collector, const std::string& events);

}  // namespace zul::test
