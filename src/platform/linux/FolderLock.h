#pragma once

#include <string>

namespace zul::platform {

/// Keeps a folder for one process at a time, by a lock on the file "ZULLocalDB.lock" in it. The system gives the lock
/// back when the process ends, however it ends; a child that the process forks does not have it. One thread at a time.
class FolderLock {
 public:
  /// `path`: the lock's file.
  explicit FolderLock(std::string path) : path_(std::move(path)) {}
  ~FolderLock();
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

  /// Throws SqliteError when another process has the lock, or when the system cannot tell just now. Where no lock can
  /// be had at all, as on a file system without any, it does without.
  void take();

  bool taken() const { return file_ >= 0; }

  /// True after another process was found to have it.
  bool takenByOther() const { return takenByOther_; }

 private:
  const std::string path_;
  int file_ = -1;
  bool takenByOther_ = false;
};

}  // namespace zul::platform
