#include <benchmark/benchmark.h>
#include <malloc.h>

#include <memory>
#include <vector>

#include "Benches.h"
#include "Measurements.h"
#include "NHNetworkClock.h"
#include "NtpPacket.h"
#include "Runtime.h"
#include "SimulatedPhone.h"

namespace zul::bench {

namespace {

constexpr int kServers = 12;
constexpr int kMany = 1000;
constexpr double kDay = 86400;

/// A device with a synchronized clock.
std::shared_ptr<test::SimulatedPhone> synchronizedPhone() {
  auto phone = std::make_shared<test::SimulatedPhone>();
  std::vector<test::SimulatedPhone::PlacedTimeServer> servers;
  for (int n = 1; n <= kServers; ++n) servers.push_back({.address = "192.0.2." + std::to_string(n), .ahead = 120});
  phone->setTimeServers(std::move(servers));
  phone->boot().networkClock().synchronize();
  phone->sim.dispatcher->advance(10);
  return phone;
}

std::size_t allocated() {
  return ::mallinfo2().uordblks;
}

double associationBytes() {
  test::SimulatedPhone phone;
  auto& runtime = phone.boot();
  const NetAssociationServices services{runtime.tasks(), phone.sim.clock, phone.sim.network, 123,
                                        std::make_shared<std::atomic<bool>>(false)};
  std::vector<std::shared_ptr<NHNetAssociation>> associations;
  associations.reserve(kMany);
  const auto before = allocated();
  for (int n = 0; n < kMany; ++n) {
    associations.push_back(std::make_shared<NHNetAssociation>("192.0.2.1", services));
    associations.back()->enable();
  }
  return static_cast<double>(allocated() - before) / kMany;
}

}  // namespace

void benchClock(Table& table) {
  benchmark::RegisterBenchmark("time answer", [](benchmark::State& state) {
    const auto datagram = ntp::query({1, 2});
    ClockFilter filter;
    for (auto _ : state) {
      const auto answer = ntp::readAnswer(datagram);
      filter.add(sampleOf(answer, answer.originate, answer.transmit).offset);
      benchmark::DoNotOptimize(filter);
    }
  })->UseRealTime();
  benchmark::RegisterBenchmark("network offset", [phone = synchronizedPhone()](benchmark::State& state) {
    auto& clock = phone->process().networkClock();
    for (auto _ : state) benchmark::DoNotOptimize(clock.networkOffset());
  })->UseRealTime();

  const Measurements measurements;
  const auto add = [&](const char* what, const char* unit, double value) {
    table.add({.what = what, .unit = unit, .ours = value});
  };
  add("decoding and judging a time server's answer", "us", measurements.microseconds("time answer"));
  add("networkOffset over 12 servers", "us", measurements.microseconds("network offset"));
  add("memory of an association, simulated socket", "bytes", associationBytes());

  const auto phone = synchronizedPhone();
  double packets = 0;
  phone->sim.network->onSend = [&](const auto&, auto, auto) { ++packets; };
  phone->sim.dispatcher->advance(kDay);
  add("packets to 12 servers of stratum 2, simulated day", "", packets);
  add("wake-ups for them: a timer and an answer each", "", 2 * packets);
}

}  // namespace zul::bench
