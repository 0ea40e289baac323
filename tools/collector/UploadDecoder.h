#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace zul::collector {

/// Why a request does not keep the contract.
struct Fault : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Gives the text in the body of a data upload to `take`, piece by piece, by undoing zlib and then the
/// percent-encoding. Throws Fault, also when the text has grown past what any honest upload needs. No more than a piece
/// is in memory, so that `take` can judge, and throw, before there is much of it.
///
/// It reads with zlib itself rather than with the library's own routines: it can then tell what is wrong,
/// and a fault in those does not hide behind itself.
void decodeUpload(std::string_view body, const std::function<void(std::string_view piece)>& take);

}  // namespace zul::collector
