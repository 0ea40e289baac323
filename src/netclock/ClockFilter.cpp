#include "ClockFilter.h"

#include <cmath>
#include <limits>

#include "NtpPacket.h"

namespace zul {

namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
constexpr double kUnfit = std::numeric_limits<double>::infinity();

// Milliseconds between which a server's dispersion has to be: one of 0 is made up.
constexpr double kLeastDispersion = 0.00001;
constexpr double kMostDispersion = 50;

constexpr double kMostSinceReference = 60;  // seconds

constexpr double kLeastGood = 0.0001;     // seconds: less tells nothing
constexpr double kLeastSpread = 0.001;    // seconds; another bound than the one before, and meant so
constexpr int kBadEnough = 4;             // samples
constexpr int kEnough = 4;                // samples, of which more are needed
constexpr double kDeviationsToTrust = 3;  // that the offset has to exceed

}  // namespace

ClockFilter::ClockFilter() : offset_(kUnfit) {
  reset();
}

void ClockFilter::reset() {
  fifo_.fill(kNone);
  fifoIndex_ = 0;
}

void ClockFilter::add(double sample) {
  fifo_[static_cast<std::size_t>(fifoIndex_)] = sample;
  fifoIndex_ = static_cast<std::int16_t>((fifoIndex_ + 1) % static_cast<int>(fifo_.size()));

  int good = 0;
  int bad = 0;
  int empty = 0;
  offset_ = 0;
  for (const double offset : fifo_) {
    if (std::isnan(offset)) {
      ++empty;
    } else if (std::isinf(offset) || std::abs(offset) < kLeastGood) {
      ++bad;
    } else {
      ++good;
      offset_ += offset;
    }
  }
  if (good == 0 && bad < kBadEnough) return;  // too little to change the verdict

  offset_ /= good;  // without a good one this is not a number, as those who compare servers expect
  double squares = 0;
  for (const double offset : fifo_) {
    if (std::isfinite(offset) && std::abs(offset) >= kLeastSpread) squares += (offset - offset_) * (offset - offset_);
  }
  trusty_ = good + empty > kEnough && std::abs(offset_) > kDeviationsToTrust * std::sqrt(squares / good);
}

ClockSample sampleOf(const ntp::Answer& answer, const NtpTime& asked, const NtpTime& arrived) {
  const bool fit = answer.dispersion > kLeastDispersion && answer.dispersion < kMostDispersion && answer.stratum >= 1 &&
                   answer.mode == ntp::kServerMode &&
                   ntpDiffSeconds(answer.reference, answer.transmit) < kMostSinceReference;
  if (!fit) return {.offset = kUnfit};
  return {.offset = (ntpDiffSeconds(answer.transmit, arrived) + ntpDiffSeconds(answer.receive, asked)) / 2,
          .roundtrip = ntpDiffSeconds(asked, arrived) - ntpDiffSeconds(answer.receive, answer.transmit)};
}

}  // namespace zul
