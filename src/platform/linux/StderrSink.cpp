#include "StderrSink.h"

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

namespace zul::platform {

namespace {

/// Returns false when the reader of a pipe or socket is gone.
bool writeAll(std::string_view line) noexcept {
  while (!line.empty()) {
    const ssize_t written = ::write(STDERR_FILENO, line.data(), line.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return errno != EPIPE;
    line.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

/// Nobody reading our log is no reason for the host to die: the signal that the write raises is blocked on this
/// thread and taken away, unless one was pending before, which is then the host's own.
void writeWithoutSignal(std::string_view line) noexcept {
  sigset_t pipe;
  sigset_t pending;
  sigset_t before;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  sigemptyset(&pending);
  sigpending(&pending);
  const bool wasPending = sigismember(&pending, SIGPIPE) == 1;

  if (!wasPending) pthread_sigmask(SIG_BLOCK, &pipe, &before);
  const bool hasReader = writeAll(line);
  if (wasPending) return;
  if (!hasReader) {
    constexpr timespec kAtOnce{};
    while (sigtimedwait(&pipe, nullptr, &kAtOnce) < 0 && errno == EINTR) {
    }
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace

void StderrSink::write(std::string_view line) noexcept {
  const int error = errno;  // a host that logs through us between a call and its check keeps its errno
  // Asked anew for each line, for the host may redirect the stream at any time; it costs less than the write.
  struct stat stream {};
  const bool known = ::fstat(STDERR_FILENO, &stream) == 0;
  if (known && (S_ISFIFO(stream.st_mode) || S_ISSOCK(stream.st_mode))) {
    writeWithoutSignal(line);
  } else if (known) {
    writeAll(line);
  }
  errno = error;
}

}  // namespace zul::platform
