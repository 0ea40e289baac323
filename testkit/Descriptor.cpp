#include "Descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace zul::test {

Descriptor::Descriptor(int file, const char* what) : file_(file) {
  if (file < 0) throw std::system_error(errno, std::generic_category(), what);
}

Descriptor::Descriptor(Descriptor&& other) noexcept : file_(std::exchange(other.file_, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  std::swap(file_, other.file_);
  return *this;
}

void Descriptor::close() {
  if (file_ >= 0) ::close(file_);
  file_ = -1;
}

Pipe::Pipe() {
  std::array<int, 2> ends{-1, -1};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) ends = {-1, -1};
  read = Descriptor(ends[0], "no pipe");
  write = Descriptor(ends[1], "no pipe");
}

}  // namespace zul::test
