#include "NtpPacket.h"

#include <algorithm>
#include <cstdint>

namespace zul::ntp {

namespace {

constexpr std::size_t kRootDelay = 4;
constexpr std::size_t kRootDispersion = 8;
constexpr std::size_t kReference = 16;
constexpr std::size_t kOriginate = 24;
constexpr std::size_t kReceive = 32;
constexpr std::size_t kTransmit = 40;

constexpr std::uint32_t kOneSecond = 0x00010000;  // in 16.16 fixed point
constexpr double kMillisecondsPerUnit = 1000.0 / kOneSecond;

std::uint32_t word(const Packet& packet, std::size_t at) {
  std::uint32_t value = 0;
  for (std::size_t i = at; i < at + 4; ++i) value = value << 8 | std::to_integer<std::uint32_t>(packet[i]);
  return value;
}

NtpTime time(const Packet& packet, std::size_t at) {
  return {word(packet, at), word(packet, at + 4)};
}

void putWord(Packet& packet, std::size_t at, std::uint32_t value) {
  for (std::size_t i = at + 4; i-- > at; value >>= 8) packet[i] = static_cast<std::byte>(value);
}

}  // namespace

Packet query(const NtpTime& transmit) {
  Packet packet{};
  packet[0] = std::byte{0x23};  // no leap second, version 4, client
  packet[2] = std::byte{4};     // polls every 2^4 s
  packet[3] = std::byte{0xFA};  // to 2^-6 s
  putWord(packet, kRootDelay, kOneSecond);
  putWord(packet, kRootDispersion, kOneSecond);
  putWord(packet, kTransmit, transmit.seconds);
  putWord(packet, kTransmit + 4, transmit.fraction);
  return packet;
}

Answer readAnswer(std::span<const std::byte> datagram) {
  Packet packet{};
  std::copy_n(datagram.begin(), std::min(datagram.size(), packet.size()), packet.begin());
  return {.stratum = std::to_integer<int>(packet[1]),
          .mode = std::to_integer<int>(packet[0]) & 7,
          .dispersion = word(packet, kRootDispersion) * kMillisecondsPerUnit,
          .reference = time(packet, kReference),
          .originate = time(packet, kOriginate),
          .receive = time(packet, kReceive),
          .transmit = time(packet, kTransmit)};
}

}  // namespace zul::ntp
