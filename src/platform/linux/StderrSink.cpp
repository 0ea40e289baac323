#include "StderrSink.h"

#include <signal.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>

namespace zul::platform {

namespace {

// Linux's numbers of /dev/null.
constexpr unsigned kMemoryDevices = 1;
constexpr unsigned kNullDevice = 3;

// Seconds, at most, after which a host that has turned the stream from nowhere to somewhere is heard.
constexpr std::int64_t kAskAgainAfter = 1;

/// Returns false when the reader of a pipe or socket is gone.
bool writeAll(std::string_view line, std::atomic<bool>& cut) noexcept {
  const bool endsCut = cut.exchange(false);
  iovec parts[2] = {{const_cast<char*>("\n"), endsCut ? 1u : 0u}, {const_cast<char*>(line.data()), line.size()}};
  bool begun = false;
  while (parts[1].iov_len > 0) {
    const ssize_t written = ::writev(STDERR_FILENO, parts, 2);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) {
      if (begun || endsCut) cut = true;
      return errno != EPIPE;
    }
    auto left = static_cast<std::size_t>(written);
    for (iovec& part : parts) {
      const std::size_t taken = std::min(left, part.iov_len);
      part.iov_base = static_cast<char*>(part.iov_base) + taken;
      part.iov_len -= taken;
      left -= taken;
    }
    begun = true;
  }
  return true;
}

/// Nobody reading our log is no reason for the host to die: the signal that the write raises is blocked on this
/// thread and taken away, unless one was pending before, which is then the host's own.
void writeWithoutSignal(std::string_view line, std::atomic<bool>& cut) noexcept {
  sigset_t pipe;
  sigset_t pending;
  sigset_t before;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  sigemptyset(&pending);
  sigpending(&pending);
  const bool wasPending = sigismember(&pending, SIGPIPE) == 1;

  if (!wasPending) pthread_sigmask(SIG_BLOCK, &pipe, &before);
  const bool hasReader = writeAll(line, cut);
  if (wasPending) return;
  if (!hasReader) {
    constexpr timespec kAtOnce{};
    while (sigtimedwait(&pipe, nullptr, &kAtOnce) < 0 && errno == EINTR) {
    }
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace

bool StderrSink::wants(LogLevel) const noexcept {
  timespec now{};
  ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  if (now.tv_sec < askAgain_) return false;
  const int error = errno;
  struct stat stream {};
  const bool leadsNowhere = ::fstat(STDERR_FILENO, &stream) != 0 ||
                            (S_ISCHR(stream.st_mode) && stream.st_rdev == makedev(kMemoryDevices, kNullDevice));
  errno = error;
  if (leadsNowhere) askAgain_ = now.tv_sec + kAskAgainAfter;
  return !leadsNowhere;
}

void StderrSink::write(std::string_view line) noexcept {
  const int error = errno;  // a host that logs through us between a call and its check keeps its errno
  // Asked anew for each line, for the host may redirect the stream at any time; it costs less than the write.
  struct stat stream {};
  const bool known = ::fstat(STDERR_FILENO, &stream) == 0;
  if (known && (S_ISFIFO(stream.st_mode) || S_ISSOCK(stream.st_mode))) {
    writeWithoutSignal(line, cut_);
  } else if (known) {
    writeAll(line, cut_);
  }
  errno = error;
}

}  // namespace zul::platform
