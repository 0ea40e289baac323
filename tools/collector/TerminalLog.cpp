#include "TerminalLog.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>

namespace zul::collector {

namespace {

constexpr std::size_t kLongestLine = 500;

/// What came from outside must not move the cursor.
std::string harmless(std::string text) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    const bool second = byte >= 0x80 && byte < 0xa0 && at > 0 && static_cast<unsigned char>(text[at - 1]) == 0xc2;
    if (byte < 0x20 || byte == 0x7f || second) text[at] = '?';
  }
  return text;
}

std::string reasons(const RecordedRequest& request) {
  if (!request.good()) return ": " + request.problem;
  if (request.suspicions.empty()) return "";
  const auto& first = request.suspicions.front();
  auto text = fmt::format(": {} {}", first.key, first.reason);
  if (request.suspicions.size() > 1) text += fmt::format(", and {} more", request.suspicions.size() - 1);
  return text;
}

std::string subject(const RecordedRequest& request) {
  if (request.payloads.empty()) return "";
  return fmt::format("{} {}, visit {}, {} payload{}, ", request.device.substr(0, 8), request.model, request.visit,
                     request.payloads.size(), request.payloads.size() == 1 ? "" : "s");
}

}  // namespace

std::string terminalLine(const RecordedRequest& request, bool colored) {
  const auto time = std::chrono::system_clock::to_time_t(request.time);
  auto what =
      request.endpoint == Endpoint::unknown ? request.method + " " + request.path : std::string(name(request.endpoint));
  auto text = harmless(fmt::format("{:<11} {}", what, subject(request)));
  const auto verdict = harmless(fmt::format("{}{}", request.verdict(), reasons(request)));
  const char* color = !request.good() ? "31" : request.suspicions.empty() ? "32" : "33";
  text =
      text.substr(0, kLongestLine) + (colored ? fmt::format("\x1b[{}m{}\x1b[0m", color, verdict.substr(0, kLongestLine))
                                              : verdict.substr(0, kLongestLine));
  return fmt::format("{:%H:%M:%S} {}\n", fmt::localtime(time), text);
}

void printRequest(const RecordedRequest& request) {
  static const bool colored = ::isatty(STDOUT_FILENO) == 1 && !std::getenv("NO_COLOR");
  const auto line = terminalLine(request, colored);
  pollfd out{STDOUT_FILENO, POLLOUT, 0};
  // A pipe that is ready takes a whole line of this length.
  if (::poll(&out, 1, 0) == 1 && (out.revents & POLLOUT))
    static_cast<void>(::write(STDOUT_FILENO, line.data(), line.size()));
}

}  // namespace zul::collector
