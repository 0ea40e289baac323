#pragma once

#include <string_view>

#include "Child.h"

namespace zul::bench {

/// What the collector is measured against: a server of another library, in a process of its own, that reads every POST
/// and answers the same bytes, with nothing behind it. To be made before any thread exists.
class PlainServer {
 public:
  static constexpr std::string_view kAnswer = R"({"code":"RES001","msg":"OK"})";

  PlainServer();
  int port() const { return port_; }

 private:
  test::Child process_;
  int port_ = 0;
};

}  // namespace zul::bench
