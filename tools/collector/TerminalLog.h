#pragma once

#include <string>

#include "RecordedRequest.h"

namespace zul::collector {

/// One line of text about a request: time, endpoint, device, visit, number of payloads, verdict and why.
std::string terminalLine(const RecordedRequest& request, bool colored);

/// Prints it, in colours on a terminal. Any thread. A line that standard output does not take at once, for want of a
/// reader, is left out: nobody waits for it.
void printRequest(const RecordedRequest& request);

}  // namespace zul::collector
