#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace zul {

/// What one piece of evidence says of where the install came from.
struct Claim {
  using Text = std::optional<std::string>;

  Text its, itm, itc, itw;     ///< source, medium, campaign, keyword
  Text itaffid, itbffid;       ///< affiliate and sub-affiliate
  Text installReferrer;        ///< the link or referrer itself, whole
  std::int64_t itp = 0;        ///< how long the evidence counts, in minutes
  std::int64_t itclkTime = 0;  ///< of the click, ms since 1970; 0: there is no claim
};

/// Both kinds of evidence that a first run gathers.
struct Claims {
  Claim fp;  ///< of the first run's link, or of the fingerprint that the collector recognised
  Claim ir;  ///< of an install referrer

  /// The later click; of two at the same moment the fingerprint's, as the contract with the collector has it. Null
  /// where there is no claim.
  const Claim* winner() const {
    if (fp.itclkTime == 0 && ir.itclkTime == 0) return nullptr;
    if (fp.itclkTime == 0) return &ir;
    if (ir.itclkTime == 0) return &fp;
    return ir.itclkTime > fp.itclkTime ? &ir : &fp;
  }
};

}  // namespace zul
