#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <string>

#include "Child.h"

namespace zul::test {

/// A bus of this test's own, system and session bus in one, as long as it lives. See services.py for what runs on it.
class PrivateBus {
 public:
  PrivateBus() : program_("/usr/bin/env", {"/usr/bin/python3", ZUL_SERVICES}), address_(line()) {
    setenv("DBUS_SYSTEM_BUS_ADDRESS", address_.c_str(), 1);
    setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
  }
  ~PrivateBus() {
    program_.closeInput();
    program_.exitStatus();
  }
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  /// What this machine lacks for it; empty when it is there.
  std::string missing() const {
    return address_.find("missing: ") != address_.npos || address_.find("No such file") != address_.npos ? address_
                                                                                                         : "";
  }

  const std::string& address() const { return address_; }

  /// The words of a command are separated by bars.
  void run(const std::string& command) {
    program_.type(command + "\n");
    EXPECT_EQ(line(), "done") << command;
  }

 private:
  std::string line() {
    auto text = program_.takeUpTo("\n", std::chrono::seconds(60));
    if (text.ends_with('\n')) text.pop_back();
    return text;
  }

  Child program_;
  std::string address_;
};

}  // namespace zul::test
