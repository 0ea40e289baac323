#pragma once

#include <string>

#include "Measurements.h"
#include "Process.h"
#include "Table.h"
#include "Workbench.h"

namespace zul::bench {

class PlainServer;

// Each subject either registers with Google Benchmark and reads its measurements afterwards, or runs by
// itself. All add their rows to the table.

/// Documents, records, payloads and sessions.
void registerStoreBench(Workbench& workbench, const std::string& folder);
void tabulateStoreBench(const Measurements& measurements, Workbench& workbench, Table& table);

/// The body of an upload.
void registerUploadBench();
void tabulateUploadBench(const Measurements& measurements, Table& table);

/// Links and referrers.
void registerAttributionBench();
void tabulateAttributionBench(const Measurements& measurements, Table& table);

/// The network clock.
void registerClockBench();
void tabulateClockBench(const Measurements& measurements, Table& table);

/// The first call in a fresh process.
void benchStartup(Table& table);

/// Events on the caller's thread, and the commits that they cost.
void benchEvents(const Collector& collector, Table& table);

/// Uploads a second.
void benchThroughput(Workbench& workbench, const Collector& collector, Table& table);

/// Requests that the collector judges, and what it keeps of them.
void benchCollector(const PlainServer& plain, Table& table);

/// A device's year and a fleet's day in the simulator.
void benchSimulator(Table& table);

/// Memory, threads and the size of the library.
void benchFootprint(const Collector& collector, Table& table);

}  // namespace zul::bench
