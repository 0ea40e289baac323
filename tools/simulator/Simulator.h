#pragma once

#include <boost/json/array.hpp>
#include <boost/json/value.hpp>
#include <chrono>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Arguments.h"
#include "Phone.h"

namespace zul::simulator {

class LiveClient;
class SimulatorLog;

struct SimulatorOptions {
  std::string collectorUrl{};  ///< of a real collector, which is asked in real time; empty: a simulated one
  std::string caFile{};        ///< the authority that its certificate is trusted by; empty: the system's
  std::string recordFile{};    ///< one JSON object a request is written there; empty: nowhere
  bool printLog = true;
  /// Asked while a command takes its time: true ends it. Null: nothing does.
  std::function<bool()> interrupted{};
};

/// Runs commands on a simulated device, one line each. One thread.
class Simulator {
 public:
  using Show = std::function<void(const boost::json::value&)>;

  /// `show` takes what the commands show, at most one value each.
  Simulator(const SimulatorOptions& options, Show show);
  ~Simulator();

  /// Runs one line. Throws CommandError when that cannot be done; the device then is as it was, or, where the command
  /// was interrupted, as it is at that moment.
  void run(std::string_view line);
  /// Whether a command has ended the device: there is no more to run.
  bool ended() const { return ended_; }
  /// Shows what is left to be told.
  void finish();

  /// Real time passes against a real collector, also between two lines: the moment that whoever waits for the next one
  /// is to spend here, over and over. Null in virtual time.
  std::function<void()> idle();

  /// The words that `line` can go on with, its last one being incomplete, each as the whole word.
  static std::vector<std::string> completions(std::string_view line);

 private:
  struct Command {
    std::string_view name;
    std::string_view parameters;
    std::string_view meaning;
    void (Simulator::*run)(Arguments&);
    std::vector<std::string_view> (*words)();  // that may come first after the name; null: none that are known
  };
  static const std::vector<Command>& commands();
  static std::vector<std::string_view> commandNames();

  void device(Arguments& arguments);
  void config(Arguments& arguments);
  void info(Arguments& arguments);
  void resource(Arguments& arguments);
  void clock(Arguments& arguments);
  void network(Arguments& arguments);
  void collector(Arguments& arguments);
  void ntp(Arguments& arguments);
  void webview(Arguments& arguments);
  void searchads(Arguments& arguments);
  void launch(Arguments& arguments);
  void call(Arguments& arguments);
  void state(Arguments& arguments);
  void advance(Arguments& arguments);
  void restart(Arguments& arguments);
  void reinstall(Arguments& arguments);
  void wipe(Arguments& arguments);
  void document(Arguments& arguments);
  void keychain(Arguments& arguments);
  void show(Arguments& arguments);
  void expect(Arguments& arguments);
  void explain(Arguments& arguments);
  void open(Arguments& arguments);
  void fleet(Arguments& arguments);
  void help(Arguments& arguments);
  void quit(Arguments& arguments);

  boost::json::value view(const std::string& what);
  boost::json::value documentView(const std::string& name);
  std::optional<boost::json::object> lastSession() const;
  void note(const platform::HttpRequest& request);
  void goLive(const SimulatorOptions& options);
  double pass(double from, double to);
  void checkInterrupt() const;
  void catchUp();
  double sinceStart() const;
  void setInfo(const boost::json::object& entries);
  std::function<void(boost::json::object)> reporter();
  Runtime& running();

  Show print_;
  const std::function<bool()> interrupted_;
  bool commanded_ = false;  // a command is under way
  bool ended_ = false;
  std::shared_ptr<SimulatorLog> log_;
  std::shared_ptr<LiveClient> live_;  // null: virtual time
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  Phone phone_;
  ApplicationState state_ = ApplicationState::active;
  std::optional<boost::json::value> shown_;  // by the running command
  bool absent_ = false;                      // whether that null stands for what a path did not find
  std::optional<boost::json::value> last_;   // shown, which expectations are about
  bool lastAbsent_ = false;
  std::optional<platform::HttpRequest> lastUpload_;
  std::ofstream record_;
  boost::json::array reports_;  // of callbacks that were called and not told yet
};

}  // namespace zul::simulator
