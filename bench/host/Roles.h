#pragma once

#include <map>
#include <string>

namespace zul::bench {

/// What the program was called with: name=value.
using Options = std::map<std::string, std::string>;

// Each role is one small program. It prints its figures, one a line: the name, and one or more numbers.

/// Does nothing: what the process itself costs.
void idle(const Options& options);
/// The first call of the library, or what SQLite alone would need for the same file.
void startLibrary(const Options& options);
void startRaw(const Options& options);
/// Events one at a time, then all at once; beside each of the former what its commit and its log lines cost
/// without the library.
void sendEvents(const Options& options);
/// A burst of events, until the collector has them all.
void deliverEvents(const Options& options);
/// Memory and threads after the start, and after one upload.
void footprint(const Options& options);
/// Commits, and waits for the disk, of one event on its way to a collector that takes it.
void countCommits(const Options& options);

}  // namespace zul::bench
