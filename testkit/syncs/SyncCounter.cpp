#include "SyncCounter.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace {
thread_local int syncs = 0;
}

// The program's definitions come before the C library's, for every library in the process.
extern "C" {

__attribute__((visibility("default"))) int fsync(int file) {
  ++syncs;
  return static_cast<int>(::syscall(SYS_fsync, file));
}

__attribute__((visibility("default"))) int fdatasync(int file) {
  ++syncs;
  return static_cast<int>(::syscall(SYS_fdatasync, file));
}
}

namespace zul::test {

int syncsOfThisThread() {
  return syncs;
}

}  // namespace zul::test
