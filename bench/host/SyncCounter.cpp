#include "SyncCounter.h"

#include <dlfcn.h>

namespace {

thread_local int syncs = 0;

int forward(const char* name, int file) {
  ++syncs;
  return reinterpret_cast<int (*)(int)>(dlsym(RTLD_NEXT, name))(file);
}

}  // namespace

// The program's definitions come before the C library's, for every library in the process.
extern "C" {

__attribute__((visibility("default"))) int fsync(int file) {
  return forward("fsync", file);
}

__attribute__((visibility("default"))) int fdatasync(int file) {
  return forward("fdatasync", file);
}
}

namespace zul::bench {

int syncsOfThisThread() {
  return syncs;
}

}  // namespace zul::bench
