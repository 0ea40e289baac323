#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace zul::test {

/// A new folder, removed with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "zul-test-XXXXXX").string();
    path_ = mkdtemp(name.data());
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return path_; }
  std::string path(const std::string& name) const { return path_ + "/" + name; }

  void write(const std::string& name, std::string_view text) const {
    std::ofstream(path(name), std::ios::binary) << text;
  }

 private:
  std::string path_;
};

}  // namespace zul::test
