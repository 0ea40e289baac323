#pragma once

#include <string>

#include "Child.h"

namespace zul::bench {

/// A collector that costs next to nothing, in a process of its own: it reads every request, over connections that stay,
/// keeps nothing of it and accepts it. To be made before any thread exists.
class EpollAnswerer {
 public:
  EpollAnswerer();
  const std::string& url() const { return url_; }

 private:
  test::Child process_;
  std::string url_;
};

}  // namespace zul::bench
