#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "CountingStore.h"
#include "WatchedHttp.h"

namespace zul {
struct Platform;
}

namespace zul::bench {

using SteadyClock = std::chrono::steady_clock;

/// What the program was called with: name=value.
using Options = std::map<std::string, std::string>;

/// Throws std::runtime_error when there is none of that name.
std::string at(const Options& options, const std::string& name);
int numberAt(const Options& options, const std::string& name);

/// Prints a figure.
void report(std::string_view name, const std::vector<double>& numbers);

/// In microseconds.
double timed(const std::function<void()>& work);

/// The processor's time for all threads so far, in milliseconds.
double processorTime();

/// The Linux platform of the options "data", "bundle" and "collector".
Platform platformOf(const Options& options);

/// The library in this process, initialized.
struct Host {
  explicit Host(const Options& options);

  /// Waits until no request is under way and the processor has nothing to do: a long queue is read, and the body of
  /// its upload made, for seconds.
  void settle() const;
  void waitForUpload(int before) const;

  std::shared_ptr<test::WatchedHttp> http;
  std::shared_ptr<test::CountingStore> store;
};

}  // namespace zul::bench
