#include "SqliteFiles.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "SqliteConnection.h"

namespace zul::platform {

namespace {

[[noreturn]] void fail(int code, const std::string& what, int error) {
  throw SqliteError(code, what + " (" + std::generic_category().message(error) + ")");
}

void createFolder(const std::filesystem::path& folder) {
  const auto make = [&folder] { return ::mkdir(folder.c_str(), 0700) == 0 || errno == EEXIST; };
  if (folder.empty() || make()) {
    return;
  }
  if (errno == ENOENT && folder.has_relative_path()) {
    createFolder(folder.parent_path());
    if (make()) {
      return;
    }
  }
  fail(SQLITE_CANTOPEN, "unable to create the folder", errno);
}

std::string utcStamp() {
  const time_t now = ::time(nullptr);
  tm utc{};
  ::gmtime_r(&now, &utc);
  std::array<char, 32> text{};
  const std::size_t length = std::strftime(text.data(), text.size(), "%Y%m%dT%H%M%S", &utc);
  return {text.data(), length};
}

// What SQLite keeps beside a database, and the database, which comes last: whatever interrupts the renaming, no log is
// left behind without its database, for SQLite would delete it.
constexpr std::array kSuffixes = {"-journal", "-wal", "-shm", ""};

bool hasLog(const std::string& path) {
  constexpr off_t kLogHeader = 32;
  struct stat log {};
  return ::stat((path + "-wal").c_str(), &log) == 0 && log.st_size > kLogHeader;
}

bool exists(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0;
}

bool taken(const std::string& path) {
  return std::any_of(kSuffixes.begin(), kSuffixes.end(), [&](const char* suffix) { return exists(path + suffix); });
}

}  // namespace

void createFolderOf(const std::string& path) {
  createFolder(std::filesystem::path(path).parent_path());
}

bool holdsNothing(const std::string& path) {
  struct stat status {};
  const bool found = ::stat(path.c_str(), &status) == 0;
  if (!found && errno != ENOENT && errno != ENOTDIR) return false;
  if (!found || status.st_size == 0) return !hasLog(path);  // not for SQLite, which would delete the log
  try {
    SqliteConnection connection(path);
    SqliteQuery tables(connection, "SELECT 1 FROM sqlite_master LIMIT 1");
    return !tables.step();
  } catch (const SqliteError&) {
    return false;
  }
}

void createDatabaseFile(const std::string& path) {
  const int file = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (file >= 0) {
    ::close(file);
  } else if (errno != EEXIST) {
    fail(SQLITE_CANTOPEN, "unable to create the file", errno);
  }
}

bool keepLogOfEmptyDatabase(const std::string& path) {
  constexpr off_t kPage = 4096;
  struct stat database {};
  if (::stat(path.c_str(), &database) != 0 || database.st_size != 0 || !hasLog(path)) return false;
  if (::truncate(path.c_str(), kPage) != 0) fail(SQLITE_IOERR, "unable to write the file", errno);
  return true;
}

std::string renameCorruptDatabase(const std::string& path) {
  const std::string base = path + ".corrupt-" + utcStamp();
  std::string target = base;
  for (int number = 2; taken(target); ++number) {
    target = base + "-" + std::to_string(number);
  }
  for (std::size_t i = 0; i < kSuffixes.size(); ++i) {
    const std::string suffix = kSuffixes[i];
    if (std::rename((path + suffix).c_str(), (target + suffix).c_str()) == 0 || errno == ENOENT) {
      continue;
    }
    const int error = errno;
    while (i-- > 0) {
      std::rename((target + kSuffixes[i]).c_str(), (path + kSuffixes[i]).c_str());
    }
    fail(SQLITE_IOERR, "unable to rename the damaged file", error);
  }
  return target;
}

void syncLog(const std::string& path) {
  const int file = ::open((path + "-wal").c_str(), O_RDWR | O_CLOEXEC);
  const bool synced = file >= 0 && ::fsync(file) == 0;
  const int error = errno;
  if (file >= 0) {
    ::close(file);
  }
  if (!synced) {
    fail(SQLITE_IOERR, "unable to sync the log", error);
  }
}

}  // namespace zul::platform
