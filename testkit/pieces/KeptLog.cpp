#include "KeptLog.h"

namespace zul::test {

void KeptLog::write(std::string_view line) noexcept {
  const std::lock_guard lock(mutex_);
  text_ += line;
}

std::string KeptLog::text() const {
  const std::lock_guard lock(mutex_);
  return text_;
}

std::size_t KeptLog::count(std::string_view part) const {
  const std::lock_guard lock(mutex_);
  std::size_t count = 0;
  for (auto at = text_.find(part); at != text_.npos; at = text_.find(part, at + part.size())) ++count;
  return count;
}

void KeptLog::clear() {
  const std::lock_guard lock(mutex_);
  text_.clear();
}

}  // namespace zul::test
