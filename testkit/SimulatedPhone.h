#pragma once

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "SimulatedPlatform.h"
#include "TimeServer.h"
#include "zul/Application.h"
#include "zul/Dictionary.h"

namespace zul {
class Runtime;
class Tracker;
}  // namespace zul

namespace zul::test {

/// A simulated device, in virtual time, with one application on it that uses the library. The device stays; the
/// application's process comes and goes. Its collector gives a token and accepts everything unless told otherwise. One
/// thread at a time.
class SimulatedPhone {
 public:
  static constexpr double kStart = 1706695200;  // 2024-01-31T10:00:00Z, a Wednesday

  /// What a device has at first.
  struct Settings {
    double start = kStart;
    std::string language = "ko-KR";
    std::string country = "kr";
    std::string vendorIdentifier = "11111111-2222-3333-4444-555555555555";
    /// The bodies of the answers, by a piece of the URL.
    std::vector<std::pair<std::string, std::string>> answers = {
        {"acsTokenRps", R"({"token":"tk-1"})"},
        {"dataRcv", R"({"code":"RES001"})"},
        {"errorRcv", R"({"code":"RES001"})"},
        {"fingerPrintRps", "{}"},
        {"/lookup", R"({"resultCount":1,"results":[{"trackId":42}]})"},
    };
  };

  SimulatedPhone();
  explicit SimulatedPhone(const Settings& settings);
  ~SimulatedPhone();
  SimulatedPhone(const SimulatedPhone&) = delete;
  SimulatedPhone& operator=(const SimulatedPhone&) = delete;

  /// The service's settings in the application's Info.plist, as JSON.
  void configure(const std::string& zulAuthorizationKey) const;

  /// A time server, whose clock goes on whatever becomes of the device's.
  struct PlacedTimeServer {
    std::string address;
    double ahead = 0;  ///< seconds that its clock is ahead of the device's when it is placed
    platform::SimulatedNetwork::Path path{};
    TimeServer server{};
  };
  /// There are these time servers from now on, all under the one name that the library knows.
  void setTimeServers(std::vector<PlacedTimeServer> servers);
  const std::vector<PlacedTimeServer>& timeServers() const { return timeServers_; }

  /// The library in the process, which begins when it is first asked for.
  Runtime& process();
  /// Null when no process runs.
  Runtime* processIfRunning() const { return runtime_.get(); }
  /// That of the process.
  Tracker& tracker();

  /// A new process: everything in memory is gone, the device stays.
  Runtime& boot();
  /// The call with which a host starts the library.
  void initialize(const std::optional<Dictionary>& options = std::nullopt,
                  ApplicationState state = ApplicationState::active,
                  const std::function<void()>& deferredCallback = {});
  /// The same in a process of its own, unless the one that runs was not launched yet.
  void launch(const std::optional<Dictionary>& options, ApplicationState state,
              const std::function<void()>& deferredCallback = {});
  /// The process was launched by an initialization entry that was called in another way.
  void setLaunched() { launched_ = true; }
  /// A new process whose start-up has completed.
  Tracker& startUp();
  /// The process dies; the device keeps what is stored.
  void endProcess();
  /// The process dies, and the application is installed anew.
  void reinstall();

  /// Reports an event that can be told from the others.
  void event(const std::string& name);

  /// The stored documents by name, as somebody else sees them: "Json" as what the queue's rows amount to.
  boost::json::object documents() const;
  /// One of them; empty when it is not stored.
  boost::json::object document(const std::string& id) const;
  void store(const std::string& id, const std::string& text) const;
  std::size_t queuedRows() const;

  /// The payload lists that were uploaded, decoded.
  std::vector<boost::json::array> uploads() const;
  void refuseUploads(platform::SimulatedHttp::Answer answer) const;
  void acceptUploads() const { refuseUploads({R"({"code":"RES001"})"}); }

  platform::SimulatedPlatform sim;
  Deployment deployment;
  std::shared_ptr<platform::LogSink> log;  ///< where the library's log lines go; sim.log at first
  std::function<void(Platform&)> adapt;    ///< changes what the next process gets

 private:
  std::unique_ptr<Runtime> runtime_;
  bool launched_ = false;
  std::vector<PlacedTimeServer> timeServers_;
};

/// What a payload says of its session.
const boost::json::object& session(const boost::json::value& payload);

}  // namespace zul::test
