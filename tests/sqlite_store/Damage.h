#pragma once

#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <string>

namespace zul::platform {

inline void overwrite(const std::string& path, int from, int size) {
  std::fstream(path, std::ios::binary | std::ios::in | std::ios::out).seekp(from) << std::string(size, '\x5a');
}

/// While it lives, the system fails SQLite's reads: `count` of them after the first `after`.
class FailingReads {
 public:
  FailingReads(int after, int count) {
    first_ = after;
    end_ = after + count;
    reads_ = 0;
    read_ = replace("read", reinterpret_cast<sqlite3_syscall_ptr>(&FailingReads::read));
    pread_ = replace("pread", reinterpret_cast<sqlite3_syscall_ptr>(&FailingReads::pread));
    pread64_ = replace("pread64", reinterpret_cast<sqlite3_syscall_ptr>(&FailingReads::pread));
  }
  ~FailingReads() {
    replace("read", read_);
    replace("pread", pread_);
    replace("pread64", pread64_);
  }
  FailingReads(const FailingReads&) = delete;
  FailingReads& operator=(const FailingReads&) = delete;

  bool hasFailed() const { return reads_ > first_; }

 private:
  static sqlite3_syscall_ptr replace(const char* name, sqlite3_syscall_ptr call) {
    sqlite3_vfs* const system = sqlite3_vfs_find(nullptr);
    const sqlite3_syscall_ptr before = system->xGetSystemCall(system, name);
    if (before != nullptr) system->xSetSystemCall(system, name, call);
    return before;
  }
  static bool fails() {
    const int number = reads_++;
    if (number < first_ || number >= end_) return false;
    errno = EIO;
    return true;
  }
  static ssize_t read(int file, void* data, size_t size) { return fails() ? -1 : ::read(file, data, size); }
  static ssize_t pread(int file, void* data, size_t size, off_t place) {
    return fails() ? -1 : ::pread(file, data, size, place);
  }

  inline static int first_, end_, reads_;
  sqlite3_syscall_ptr read_, pread_, pread64_;
};

}  // namespace zul::platform
