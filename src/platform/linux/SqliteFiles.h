#pragma once

#include <string>

namespace zul::platform {

/// Makes sure that the folder of `path` exists, and those above it, new ones open to their owner alone. Throws
/// SqliteError.
void createFolderOf(const std::string& path);

/// Makes sure that the database file exists. A new one is empty and open to its owner alone; SQLite gives its
/// companions the same mode. Throws SqliteError.
void createDatabaseFile(const std::string& path);

/// True when it is certain that nothing is stored: there is no file, or it has no table yet.
bool holdsNothing(const std::string& path);

/// Makes an empty database file as long as its first page when a log with anything in it lies beside it; true if it
/// did. SQLite would delete the log, and now reads it instead. Throws SqliteError.
bool keepLogOfEmptyDatabase(const std::string& path);

/// Renames a database, with its journal, log and index, to "<path>.corrupt-<UTC time>", under a number of its own
/// where that is taken, so that the set can still be opened. All files are renamed or none; connections
/// that are still open go on with the renamed ones. Returns the new path; throws SqliteError.
std::string renameCorruptDatabase(const std::string& path);

/// Waits until the log of the database is on the disk as it is now. Throws SqliteError.
void syncLog(const std::string& path);

}  // namespace zul::platform
