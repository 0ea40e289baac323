#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace zul::collector {

/// Why a request does not keep the contract.
struct Fault : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The UTF-8 text in the body of a data upload, by undoing zlib and then the percent-encoding. Throws
/// Fault, also when the text has grown past what any honest upload needs.
///
/// It reads with zlib itself rather than with the library's own routines: it can then tell what is wrong,
/// and a fault in those does not hide behind itself.
std::string decodeUpload(std::string_view body);

}  // namespace zul::collector
