#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

#include "Child.h"
#include "TemporaryFolder.h"

namespace zul::test {

/// chronyd, which serves the time of a local reference that is some seconds ahead of this machine's clock, and leaves
/// that clock alone.
class Chrony {
 public:
  /// Its program; empty where there is none.
  static std::string program();

  Chrony(const std::string& address, std::uint16_t port, double ahead);
  ~Chrony();
  Chrony(const Chrony&) = delete;
  Chrony& operator=(const Chrony&) = delete;

  /// True as soon as it has set its own clock by the reference.
  bool isSet();
  const std::string& output() const { return daemon_->output(); }

 private:
  void tellTime(const std::string& socket) const;

  TemporaryFolder folder_;
  std::unique_ptr<Child> daemon_;
  std::atomic<bool> ended_{false};
  std::thread reference_;
};

}  // namespace zul::test
