#include <fmt/format.h>
#include <sys/socket.h>

#include <array>
#include <chrono>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "AESCrypt.h"
#include "Benches.h"
#include "Endpoints.h"
#include "Loopback.h"
#include "Measurements.h"
#include "PlainServer.h"
#include "Process.h"
#include "Seed.h"
#include "UploadBody.h"
#include "Version.h"

namespace zul::bench {

namespace {

using SteadyClock = std::chrono::steady_clock;
using Requests = std::vector<std::string>;

constexpr int kRounds = 9;
constexpr std::size_t kRequests = 1000;    // a round
constexpr std::size_t kPayloads = 10'000;  // what the collector keeps unless told otherwise
constexpr std::size_t kConnections = 4;
constexpr double kMegabytes = 128;
constexpr auto kStart = std::chrono::seconds(30);

// The uploads of kPayloads payloads, one each, as they stand on the wire.
Requests uploads() {
  const auto head = fmt::format(
      "POST {} HTTP/1.1\r\nHost: collector\r\nauthType: {}\r\nauthToken: 3f2b8c55e0a94c21\r\n"
      "User-Agent: ZUL/{}/Phone 15/Linux 6\r\nContent-Type: {}\r\n",
      wire::kUpload.path, AESCrypt::AES256EncryptWithKey(wire::kUpload.authWord, wire::kAuthKey).value_or(""),
      kSdkVersion, wire::kUploadContentType);
  Requests requests;
  for (const auto& payload : Seed::payloads(kPayloads)) {
    const auto body = uploadBody("[" + payload + "]").value_or("");
    requests.push_back(fmt::format("{}Content-Length: {}\r\n\r\n", head, body.size()) + body);
  }
  return requests;
}

// Sends every kConnections-th request, from `first` on, over one connection, each after the answer to the one before.
void send(int port, const Requests& requests, std::size_t first, std::size_t end) {
  const auto socket = test::connectToLoopback(port);
  std::string answer;
  std::array<char, 4096> piece{};
  for (auto n = first; n < end; n += kConnections) {
    answer.clear();
    if (!test::sendAll(socket, requests[n % requests.size()])) throw std::runtime_error("an upload was not taken");
    while (!answer.ends_with(PlainServer::kAnswer)) {
      const auto got = ::recv(socket.get(), piece.data(), piece.size(), 0);
      if (got <= 0) throw std::runtime_error("an upload was not accepted: " + answer);
      answer.append(piece.data(), static_cast<std::size_t>(got));
      if (answer.starts_with("HTTP/1.1 4")) throw std::runtime_error("an upload was refused: " + answer);
    }
  }
}

// Requests a second.
double perSecond(int port, const Requests& requests, std::size_t first, std::size_t count) {
  const auto begin = SteadyClock::now();
  std::vector<std::thread> senders;
  for (std::size_t n = 0; n < kConnections; ++n) {
    senders.emplace_back([&, n] { send(port, requests, first + n, first + count); });
  }
  for (auto& sender : senders) sender.join();
  return static_cast<double>(count) / std::chrono::duration<double>(SteadyClock::now() - begin).count();
}

double residentMegabytes(pid_t process) {
  std::ifstream status(fmt::format("/proc/{}/status", process));
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmRSS:")) return std::atof(line.c_str() + 6) / 1024;
  }
  throw std::runtime_error("the collector has ended");
}

}  // namespace

void benchCollector(const PlainServer& plain, Table& table) {
  test::Child collector(besideProgram("zul-collector"), {"--listen", "127.0.0.1:0", "--quiet"});
  const auto told = collector.takeUpTo("\n", kStart);
  const int port = std::atoi(told.substr(told.rfind(':') + 1).c_str());
  const auto requests = uploads();

  const double empty = residentMegabytes(collector.pid());
  perSecond(port, requests, 0, kPayloads);
  const double kept = residentMegabytes(collector.pid()) - empty;

  std::vector<double> ours;
  std::vector<double> theirs;
  for (std::size_t round = 0; round < kRounds; ++round) {
    ours.push_back(perSecond(port, requests, round * kRequests, kRequests));
    theirs.push_back(perSecond(plain.port(), requests, round * kRequests, kRequests));
  }
  table.add({"requests to zul-collector, judged and kept", "/s", median(ours),
             "cpp-httplib answering the same, with nothing behind it", median(theirs), Goal::ratioAtLeast(0.5)});
  table.add({.what = "memory for 10,000 kept payloads", .unit = "MB", .ours = kept, .goal = Goal::atMost(kMegabytes)});
}

}  // namespace zul::bench
