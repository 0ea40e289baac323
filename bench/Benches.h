#pragma once

#include <string>

#include "Table.h"

namespace zul::bench {

class PlainServer;

// Each subject adds its rows to the table. `collector` is the URL of one that takes every upload.

/// The first call in a fresh process.
void benchStartup(const std::string& collector, Table& table);

/// Events on the caller's thread, and what they leave in the log and on the disk.
void benchEvents(const std::string& collector, Table& table);

/// The processor's time for events, whatever thread spends it.
void benchCpu(const std::string& collector, Table& table);

/// Uploads a second.
void benchThroughput(const std::string& collector, Table& table);

/// What becomes of events when their process is killed.
void benchKills(const std::string& collector, Table& table);

/// Memory, threads and the size of the library.
void benchFootprint(const std::string& collector, Table& table);

/// Documents, records, payloads and sessions.
void benchStore(Table& table);

/// The body of an upload.
void benchUploadBodies(Table& table);

/// Links and referrers.
void benchAttribution(Table& table);

/// The network clock.
void benchClock(Table& table);

/// Requests that the development collector judges, and what it keeps of them.
void benchCollector(const PlainServer& plain, Table& table);

/// A device's year and a fleet's day in the simulator.
void benchSimulator(Table& table);

}  // namespace zul::bench
