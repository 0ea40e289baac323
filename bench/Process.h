#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

namespace zul::bench {

/// A folder that is removed, with all that is in it, at the end of the scope.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

/// The file of this name beside the running program.
std::string besideProgram(const std::string& name);

/// Runs a program to its end, with its error output in `log`, and gives what it printed. Throws
/// std::runtime_error when it fails.
std::string run(const std::vector<std::string>& command, const std::string& log = "/dev/null");

/// The figures that zul-bench-host printed in one of its roles, by name.
using Figures = std::map<std::string, std::vector<double>>;
Figures runHost(const std::string& role, const std::map<std::string, std::string>& options,
                const std::string& log = "/dev/null");

/// The development collector in a process of its own, which ends with this one. To be made before any
/// thread exists.
class Collector {
 public:
  Collector();
  ~Collector();
  Collector(const Collector&) = delete;
  Collector& operator=(const Collector&) = delete;
  const std::string& url() const { return url_; }

 private:
  pid_t process_ = -1;
  int life_ = -1;  // the collector ends when this pipe does
  std::string url_;
};

/// Where nothing listens.
constexpr const char* kNoCollector = "http://127.0.0.1:9";

}  // namespace zul::bench
