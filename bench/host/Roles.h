#pragma once

#include "Host.h"

namespace zul::bench {

// Each role is one small program. It prints its figures, one a line: the name, and one or more numbers.

/// Does nothing: what the process itself costs.
void idle(const Options& options);
/// The first call of the library, or what SQLite alone would need for the same file.
void startLibrary(const Options& options);
void startRaw(const Options& options);
/// Memory and threads after the start, and after one upload.
void footprint(const Options& options);
/// Commits, and waits for the disk, of one event on its way to a collector that takes it.
void countCommits(const Options& options);

/// Events in a rhythm, then all at once; each beside as many commits without the library.
void sendEvents(const Options& options);
/// The processor's time for an event that nobody takes.
void spendOffline(const Options& options);
/// Events, all at once or in a rhythm, until the collector has them all.
void deliverEvents(const Options& options);
/// The bytes of the log, which is a file, for an event.
void logEvents(const Options& options);
/// Events with numbers, each of which it prints once it has been reported. Goes on until its input ends.
void reportEvents(const Options& options);

}  // namespace zul::bench
