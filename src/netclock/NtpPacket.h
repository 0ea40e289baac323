#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "NtpTime.h"

/// The datagrams, as bytes and as values.
namespace zul::ntp {

inline constexpr std::size_t kPacketSize = 48;
inline constexpr int kServerMode = 4;

using Packet = std::array<std::byte, kPacketSize>;

/// A client's question, sent at `transmit`.
Packet query(const NtpTime& transmit);

struct Answer {
  int stratum = 0;
  int mode = 0;
  double dispersion = 0;  ///< of the server against the true time, milliseconds
  NtpTime reference;      ///< when the server's clock was last set
  NtpTime originate;      ///< the question's transmit time
  NtpTime receive;        ///< when the question came
  NtpTime transmit;       ///< when the answer left
};

/// What any bytes say. Behind the end of a short datagram stand zeros; what a long one has beyond an answer is not
/// looked at.
Answer readAnswer(std::span<const std::byte> datagram);

}  // namespace zul::ntp
