#pragma once

#include <string>
#include <utility>
#include <vector>

namespace zul::bench {

/// What a host finds at its start: the application's bundle, and what earlier starts have stored.
class Seed {
 public:
  /// Documents that make a payload of ordinary size, about 2.7 KB, by name.
  static const std::vector<std::pair<std::string, std::string>>& documents();

  /// Writes the Info.plist into `folder`.
  static void writeBundle(const std::string& folder);

  /// Makes a database in the new folder `folder`: the documents, and `queued` payloads that wait for the
  /// collector.
  static void writeStore(const std::string& folder, int queued);

  /// Texts of that many payloads as the queue holds them, each different.
  static std::vector<std::string> payloads(int count);
};

}  // namespace zul::bench
