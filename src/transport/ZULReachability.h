#pragma once

#include <memory>
#include <string>

namespace zul {

namespace platform {
class Reachability;
}
struct Deployment;

/// Tells whether the network, and which kind of it, can be reached; it sends nothing. Any thread.
class ZULReachability {
 public:
  enum NetworkType : int { cellular = 0, other = 1, none = 2 };

  ZULReachability(std::shared_ptr<platform::Reachability> reachability, const Deployment& deployment);

  /// True when packets would leave at once: a link that must first be set up does not count.
  bool isConnectedToNetwork() const;

  /// Over which kind of link; here one that must first be set up does count.
  NetworkType isConnectedToNetworkOfType() const;

 private:
  std::shared_ptr<platform::Reachability> reachability_;
  std::string collectorHost_;
};

}  // namespace zul
