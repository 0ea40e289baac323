#include "LinuxFiles.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>

namespace zul::platform {

namespace {

class File {
 public:
  File(const std::string& path, int flags, mode_t mode = 0) : fd_(::open(path.c_str(), flags | O_CLOEXEC, mode)) {}
  ~File() {
    if (fd_ >= 0) ::close(fd_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  int fd() const { return fd_; }
  bool isOpen() const { return fd_ >= 0; }

 private:
  int fd_;
};

std::string reason(int error) {
  return std::generic_category().message(error);
}

bool writeAll(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(fd, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

void makeFolders(const std::string& path) {
  for (auto slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
    ::mkdir(path.substr(0, slash).c_str(), 0700);
  }
}

}  // namespace

std::optional<std::string> readFile(const std::string& path, std::size_t limit, std::string* error) {
  const auto fail = [&](std::string why) -> std::optional<std::string> {
    if (error != nullptr) *error = std::move(why);
    return std::nullopt;
  };
  // Without O_NONBLOCK, a pipe in the file's place would block here until somebody writes to it.
  const File file(path, O_RDONLY | O_NONBLOCK);
  if (!file.isOpen()) return fail(errno == ENOENT ? std::string() : reason(errno));
  struct stat info {};
  if (::fstat(file.fd(), &info) != 0) return fail(reason(errno));
  if (!S_ISREG(info.st_mode)) return fail("not a regular file");

  // The kernel's own files tell no true size, so the end is where reading ends.
  std::string text;
  std::array<char, 16384> part{};
  for (;;) {
    const ssize_t count = ::read(file.fd(), part.data(), part.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return fail(reason(errno));
    if (count == 0) return text;
    if (text.size() + static_cast<std::size_t>(count) > limit) {
      return fail("larger than " + std::to_string(limit) + " bytes");
    }
    text.append(part.data(), static_cast<std::size_t>(count));
  }
}

bool replaceFile(const std::string& path, std::string_view text) {
  makeFolders(path);
  const std::string fresh = path + "." + std::to_string(::getpid()) + ".new";
  {
    const File file(fresh, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW, 0600);
    if (!file.isOpen()) return false;
    if (!writeAll(file.fd(), text)) {
      ::unlink(fresh.c_str());
      return false;
    }
  }
  if (::rename(fresh.c_str(), path.c_str()) == 0) return true;
  ::unlink(fresh.c_str());
  return false;
}

std::string executablePath() {
  std::array<char, PATH_MAX> path{};
  const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
  return length < 0 ? std::string() : std::string(path.data(), static_cast<std::size_t>(length));
}

}  // namespace zul::platform
