#pragma once

#include <string>
#include <string_view>

namespace zul::test {

/// A new folder, removed with all that is in it. Throws std::system_error when there can be none.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return path_; }
  std::string path(const std::string& name) const { return path_ + "/" + name; }

  void write(const std::string& name, std::string_view text) const;

 private:
  std::string path_;
};

/// The whole file; empty when there is none.
std::string contents(const std::string& file);

}  // namespace zul::test
