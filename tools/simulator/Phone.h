#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "SimulatedPlatform.h"
#include "zul/Application.h"
#include "zul/Dictionary.h"

namespace zul {
class Runtime;
}

namespace zul::simulator {

/// A simulated device with one application on it that uses the library. The device stays; the application's
/// process comes and goes. One thread at a time.
class Phone {
 public:
  static constexpr const char* kBundleId = "com.example.app";

  /// A device that is set up and configured, and a collector that gives a token and accepts everything.
  Phone();
  ~Phone();
  Phone(const Phone&) = delete;
  Phone& operator=(const Phone&) = delete;

  /// The library in the process, which begins when it is first asked for.
  Runtime& process();
  /// Null when no process runs.
  Runtime* processIfRunning() const { return runtime_.get(); }

  /// The launch: an initialization entry, in a process of its own unless the one that runs was not launched yet.
  void launch(const std::optional<Dictionary>& options, ApplicationState state,
              const std::function<void()>& deferredCallback = {});

  /// The process was launched by an initialization entry that was called in another way.
  void setLaunched() { launched_ = true; }

  /// The process dies; the device keeps what is stored.
  void endProcess();
  /// The process dies, and the application is installed anew.
  void reinstall();

  platform::SimulatedPlatform sim;
  Deployment deployment;
  std::shared_ptr<platform::LogSink> log;  ///< where the library's log lines go; sim.log at first

 private:
  std::unique_ptr<Runtime> runtime_;
  bool launched_ = false;
};

}  // namespace zul::simulator
