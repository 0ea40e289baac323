#include "FolderLock.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "SqliteConnection.h"

namespace zul::platform {

namespace {

// Not flock(), which children inherit.
int tryLock(int file, int command, struct flock& lock) {
  lock = {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  int result = 0;
  do {
    result = ::fcntl(file, command, &lock);
  } while (result != 0 && errno == EINTR);
  return result;
}

std::string holder(int file) {
  struct flock lock {};
  const bool known = tryLock(file, F_GETLK, lock) == 0 && lock.l_type != F_UNLCK && lock.l_pid > 0;
  return known ? "process " + std::to_string(lock.l_pid) : "another process";
}

}  // namespace

FolderLock::~FolderLock() {
  if (file_ >= 0) ::close(file_);
}

void FolderLock::take() {
  if (file_ >= 0) return;
  const int file = ::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (file < 0) {
    // Where nothing may be written, two processes do each other no harm.
    if (errno == EROFS || errno == EACCES || errno == EPERM || errno == ENOENT || errno == ENOTDIR) return;
    throw SqliteError(SQLITE_CANTOPEN,
                      "unable to open the lock " + path_ + " (" + std::generic_category().message(errno) + ")");
  }
  struct flock lock {};
  takenByOther_ = tryLock(file, F_SETLK, lock) != 0 && (errno == EAGAIN || errno == EACCES);
  if (!takenByOther_) {
    file_ = file;
    return;
  }
  const auto message = "the folder is in use by " + holder(file) + ", and one process at a time may use it";
  ::close(file);
  throw SqliteError(SQLITE_BUSY, message);
}

}  // namespace zul::platform
