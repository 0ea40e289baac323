#pragma once

#include <string>

#include "Process.h"

namespace zul::bench {

/// What a host finds that has run here before: the bundle, the seed's documents, its keychain, and payloads that wait
/// for the collector.
class UsedFolder {
 public:
  /// Somebody must take the uploads of a first process, which leaves nothing waiting then; or it finds `queued`
  /// payloads there and nobody who takes them.
  UsedFolder(int queued, const std::string& collector);

  enum class Log { nowhere, file };
  /// Runs a role on a copy of it.
  Figures run(const std::string& role, const std::string& collector, HostOptions options = {},
              Log log = Log::nowhere) const;

  /// Starts a role in the folder itself.
  test::Child start(const std::string& role, const std::string& collector, HostOptions options) const;

 private:
  TemporaryFolder folder_;
};

}  // namespace zul::bench
