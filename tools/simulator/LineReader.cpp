#include "LineReader.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace zul::simulator {

std::optional<std::string> LineReader::next() {
  auto end = read_.find('\n', at_);
  while (end == read_.npos && !ended_) {
    const auto searched = read_.size() - at_;
    fill();
    end = read_.find('\n', at_ + searched);
  }
  if (end == read_.npos) {
    if (at_ == read_.size()) return std::nullopt;
    end = read_.size();
  }
  auto line = read_.substr(at_, end - at_);
  at_ = std::min(end + 1, read_.size());
  return line;
}

void LineReader::fill() {
  read_.erase(0, at_);
  at_ = 0;
  pollfd wanted{file_, POLLIN, 0};
  while (idle_ && ::poll(&wanted, 1, 0) == 0) idle_();
  char piece[16384];
  const auto size = ::read(file_, piece, sizeof piece);
  if (size < 0 && errno != EINTR) throw std::system_error(errno, std::generic_category(), "cannot read the script");
  if (size == 0) ended_ = true;
  if (size > 0) read_.append(piece, static_cast<std::size_t>(size));
}

}  // namespace zul::simulator
