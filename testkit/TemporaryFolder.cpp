#include "TemporaryFolder.h"

#include <stdlib.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

namespace zul::test {

TemporaryFolder::TemporaryFolder() : path_((std::filesystem::temp_directory_path() / "zul-test-XXXXXX").string()) {
  if (::mkdtemp(path_.data()) == nullptr) throw std::system_error(errno, std::generic_category(), path_);
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

void TemporaryFolder::write(const std::string& name, std::string_view text) const {
  std::ofstream(path(name), std::ios::binary) << text;
}

std::string contents(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

}  // namespace zul::test
