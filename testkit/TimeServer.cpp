#include "TimeServer.h"

#include <algorithm>
#include <cmath>

namespace zul::test {

namespace {

constexpr double kStepsEvery = 600;  // seconds

void put(ntp::Packet& packet, std::size_t at, std::uint32_t value) {
  for (std::size_t i = at + 4; i-- > at; value >>= 8) packet[i] = static_cast<std::byte>(value);
}

void put(ntp::Packet& packet, std::size_t at, const NtpTime& time) {
  put(packet, at, time.seconds);
  put(packet, at + 4, time.fraction);
}

}  // namespace

NtpTime ntpTime(double seconds) {
  const double whole = std::floor(seconds);
  return unix2ntp({static_cast<std::int64_t>(whole), static_cast<std::int32_t>((seconds - whole) * 1e6)});
}

std::vector<TimeServer::Bytes> TimeServer::answer(std::span<const std::byte> question, double time) {
  constexpr int kClientMode = 3;
  if (question.size() < ntp::kPacketSize || (std::to_integer<int>(question[0]) & 7) != kClientMode) return {};
  ntp::Packet asked{};
  std::copy_n(question.begin(), asked.size(), asked.begin());
  if (!first) first = time;
  time += stepping * std::floor((time - *first) / kStepsEvery);
  ahead = !ahead;
  time += ahead ? lying : -lying;
  if (answersOlderQuery) std::swap(asked, before);

  ntp::Packet packet{};
  packet[0] = static_cast<std::byte>(0x20 | mode);
  packet[1] = static_cast<std::byte>(stratum);
  packet[2] = asked[2];
  packet[3] = std::byte{0xE9};
  put(packet, 8, static_cast<std::uint32_t>(dispersion * 65536 / 1000));
  put(packet, 16, ntpTime(time - referenceAge));
  std::copy_n(asked.begin() + 40, 8, packet.begin() + 24);
  put(packet, 32, ntpTime(time));
  put(packet, 40, ntpTime(time + processing));

  Bytes bytes(packet.begin(), packet.end());
  bytes.resize(length);
  std::vector<Bytes> sent(static_cast<std::size_t>(strays), Bytes(48, std::byte{'x'}));
  sent.insert(sent.end(), static_cast<std::size_t>(answers), bytes);
  return sent;
}

}  // namespace zul::test
