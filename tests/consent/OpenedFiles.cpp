// Takes the place of the C library's ways to open something, and writes the names to the file ZUL_OPENED, a line each,
// before it passes them on.

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>

namespace {

void note(const char* name) {
  const char* const file = getenv("ZUL_OPENED");
  if (file == nullptr || name == nullptr) return;
  const long to = syscall(SYS_openat, AT_FDCWD, file, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  const std::string line = std::string(name) + "\n";
  [[maybe_unused]] const long written = syscall(SYS_write, to, line.data(), line.size());
  syscall(SYS_close, to);
}

template <typename Call>
Call* next(const char* name) {
  return reinterpret_cast<Call*>(dlsym(RTLD_NEXT, name));
}

mode_t modeOf(int flags, va_list& rest) {
  return (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : 0;
}

}  // namespace

#define EXPORTED extern "C" __attribute__((visibility("default")))

#define OPEN(name)                                                     \
  EXPORTED int name(const char* path, int flags, ...) {                \
    va_list rest;                                                      \
    va_start(rest, flags);                                             \
    const mode_t mode = modeOf(flags, rest);                           \
    va_end(rest);                                                      \
    note(path);                                                        \
    return next<int(const char*, int, ...)>(#name)(path, flags, mode); \
  }
OPEN(open)
OPEN(open64)

#define OPENAT(name)                                                                \
  EXPORTED int name(int folder, const char* path, int flags, ...) {                 \
    va_list rest;                                                                   \
    va_start(rest, flags);                                                          \
    const mode_t mode = modeOf(flags, rest);                                        \
    va_end(rest);                                                                   \
    note(path);                                                                     \
    return next<int(int, const char*, int, ...)>(#name)(folder, path, flags, mode); \
  }
OPENAT(openat)
OPENAT(openat64)

#define FOPEN(name)                                                  \
  EXPORTED FILE* name(const char* path, const char* mode) {          \
    note(path);                                                      \
    return next<FILE*(const char*, const char*)>(#name)(path, mode); \
  }
FOPEN(fopen)
FOPEN(fopen64)

EXPORTED DIR* opendir(const char* path) {
  note(path);
  return next<DIR*(const char*)>("opendir")(path);
}

EXPORTED int connect(int file, const sockaddr* address, socklen_t size) {
  if (address->sa_family == AF_UNIX) note(reinterpret_cast<const sockaddr_un*>(address)->sun_path);
  return next<int(int, const sockaddr*, socklen_t)>("connect")(file, address, size);
}
