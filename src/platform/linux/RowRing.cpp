#include "RowRing.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <limits>
#include <optional>
#include <span>

namespace zul::platform {

namespace {

constexpr std::size_t kRingSize = RowRing::kSize - RowRing::kPage;

struct Places {
  char magic[8];
  std::uint64_t first;
  std::uint64_t next;
};
constexpr char kMagic[8] = {'Z', 'U', 'L', 'R', 'I', 'N', 'G', '1'};

struct Entry {
  std::uint32_t length;  // of the text, which follows
  std::uint32_t checksum;
  std::int64_t id;
  std::uint64_t dropped;  // kDropped, or 0
};
constexpr std::uint64_t kDropped = 0x44524f5050454421;
constexpr std::uint32_t kSkip = 0xFFFFFFFF;  // in the place of a length: the next entry is at the ring's begin

constexpr std::size_t kAlignment = 8;

std::size_t sizeOf(std::size_t length) {
  return (sizeof(Entry) + length + kAlignment - 1) / kAlignment * kAlignment;
}

// The place counts, so that what an earlier round left is no entry of this one.
std::uint32_t checksum(std::uint64_t place, std::int64_t id, std::string_view text) {
  const std::uint64_t head[] = {place, static_cast<std::uint64_t>(id), text.size()};
  const auto begin = crc32_z(0, reinterpret_cast<const Bytef*>(head), sizeof head);
  return static_cast<std::uint32_t>(crc32_z(begin, reinterpret_cast<const Bytef*>(text.data()), text.size()));
}

class File {
 public:
  File(const std::string& path, int flags)
      : file_(::open(path.c_str(), flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600)) {}
  ~File() {
    if (file_ >= 0) ::close(file_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  int get() const { return file_; }

 private:
  const int file_;
};

// A ring or the begin of one; none when it cannot be read.
std::optional<std::string> content(int file) {
  std::string bytes(RowRing::kSize, '\0');
  std::size_t size = 0;
  while (size < bytes.size()) {
    const auto count = ::pread(file, bytes.data() + size, bytes.size() - size, static_cast<off_t>(size));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::nullopt;
    if (count == 0) break;
    size += static_cast<std::size_t>(count);
  }
  bytes.resize(size);
  return bytes;
}

// Writes zeros from `place` to the end.
bool fill(int file, std::size_t place) {
  const std::array<char, RowRing::kPage> zeros{};
  while (place < RowRing::kSize) {
    const auto size = std::min(zeros.size(), RowRing::kSize - place);
    const auto count = ::pwrite(file, zeros.data(), size, static_cast<off_t>(place));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    place += static_cast<std::size_t>(count);
  }
  return true;
}

bool isSound(const Places& places) {
  constexpr auto kMost = std::uint64_t{1} << 62;
  return std::memcmp(places.magic, kMagic, sizeof kMagic) == 0 && places.first <= places.next &&
         places.next - places.first <= kRingSize && places.first % kAlignment == 0 && places.next % kAlignment == 0 &&
         places.next < kMost;
}

struct Piece {
  const void* data;
  char* target;
  std::size_t size;
};

// In their order.
bool copy(std::span<const Piece> pieces) noexcept {
  std::array<iovec, 4> from{};
  std::array<iovec, 4> to{};
  std::size_t size = 0;
  for (std::size_t n = 0; n < pieces.size(); ++n) {
    from[n] = {const_cast<void*>(pieces[n].data), pieces[n].size};
    to[n] = {pieces[n].target, pieces[n].size};
    size += pieces[n].size;
  }
  const auto copied = ::process_vm_writev(::getpid(), from.data(), pieces.size(), to.data(), pieces.size(), 0);
  return copied == static_cast<ssize_t>(size);
}

}  // namespace

RowRing::~RowRing() {
  if (mapping_ != nullptr) ::munmap(mapping_, kSize);
}

// ---- what an earlier process left

RowBuffer::LeftOver RowRing::leftOver() {
  LeftOver found;
  const MutexLock lock(mutex_);
  if (mapping_ != nullptr) return found;
  const File file(path_, O_RDONLY);
  if (file.get() < 0) {
    found.failed = errno == EIO || errno == ENOMEM || errno == EMFILE || errno == ENFILE || errno == EINTR;
    return found;
  }
  struct stat status {};
  if (::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return found;
  // The first page tells whether there is anything to read.
  Places places{};
  const bool isHere = ::pread(file.get(), &places, sizeof places, 0) == sizeof places && isSound(places);
  if (isHere && places.first == places.next) {
    first_ = next_ = places.first;
    return found;
  }
  const auto bytes = content(file.get());
  found.failed = !bytes;
  if (!bytes || bytes->find_first_not_of('\0') == std::string::npos) return found;
  if (isHere && bytes->size() == kSize) {
    first_ = places.first;
    next_ = places.next;
    readEntries(*bytes, found);
  } else {
    found.damaged.push_back(*bytes);
    first_ = next_ = kRing;
  }
  return found;
}

// An entry that is damaged still has its length; where that makes no sense, neither does what follows.
void RowRing::readEntries(const std::string& content, LeftOver& found) {
  const std::string_view ring = std::string_view(content).substr(kPage);
  auto damagedTo = std::numeric_limits<std::uint64_t>::max();  // what lies side by side is one piece
  for (std::uint64_t place = first_; place < next_;) {
    const auto rest = ring.substr(place % kRing);
    Entry entry{};
    std::memcpy(&entry, rest.data(), std::min(rest.size(), sizeof entry));
    if (entry.length == kSkip) {
      place += rest.size();
      continue;
    }
    const auto claimed = sizeOf(entry.length);
    const bool fits = claimed <= rest.size() && claimed <= next_ - place;
    const auto size = fits ? claimed : std::min<std::uint64_t>(rest.size(), next_ - place);
    const auto text = rest.substr(std::min(sizeof entry, rest.size()), fits ? entry.length : 0);
    if (fits && checksum(place, entry.id, text) == entry.checksum) {
      if (entry.dropped != kDropped) found.rows.push_back({std::to_string(entry.id), std::string(text)});
    } else {
      if (place != damagedTo) found.damaged.emplace_back();
      found.damaged.back().append(rest.substr(0, size));
      damagedTo = place + size;
    }
    if (!fits) return;
    place += size;
  }
}

// ---- taking rows

// Without the lock, which hosts wait for.
void RowRing::prepare() {
  {
    const MutexLock lock(mutex_);
    if (mapping_ != nullptr) return;
  }
  const File file(path_, O_RDWR | O_CREAT);
  struct stat status {};
  if (file.get() < 0 || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return;
  if (::posix_fallocate(file.get(), 0, kSize) != 0) return;
  // The first write to each page is slow, and so is reading it from the disk: both are for this thread.
  if (status.st_size < static_cast<off_t>(kSize) && !fill(file.get(), static_cast<std::size_t>(status.st_size))) return;
  if (!content(file.get())) return;
  void* const mapping = ::mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
  if (mapping == MAP_FAILED) return;
  const MutexLock lock(mutex_);
  mapping_ = static_cast<char*>(mapping);
  if (writePlaces()) return;
  ::munmap(mapping_, kSize);
  mapping_ = nullptr;
}

// Through the mapping, or into the file where there is none.
bool RowRing::writePlaces() noexcept {
  Places places{};
  std::memcpy(places.magic, kMagic, sizeof kMagic);
  places.first = first_;
  places.next = next_;
  if (mapping_ != nullptr) {
    const Piece piece = {&places, mapping_, sizeof places};
    return copy({&piece, 1});
  }
  const File file(path_, O_WRONLY);
  return file.get() >= 0 && ::pwrite(file.get(), &places, sizeof places, 0) == sizeof places;
}

std::optional<std::uint64_t> RowRing::append(std::int64_t id, std::string_view text) noexcept {
  const MutexLock lock(mutex_);
  if (mapping_ == nullptr || text.size() > kRing / 2) return std::nullopt;
  std::uint64_t first = first_;
  std::uint64_t end = next_;
  if (first == end) first = end = (end + kRing - 1) / kRing * kRing;
  const auto size = sizeOf(text.size());
  const auto toWrap = kRing - end % kRing;
  const auto place = size <= toWrap ? end : end + toWrap;
  const auto next = place + size;
  if (next - first > kRing) return std::nullopt;

  char* const ring = mapping_ + kPage;
  const Entry entry = {static_cast<std::uint32_t>(text.size()), checksum(place, id, text), id, 0};
  const std::uint64_t places[] = {first, next};
  std::array<Piece, 4> pieces{};
  std::size_t count = 0;
  if (place != end) pieces[count++] = {&kSkip, ring + end % kRing, sizeof kSkip};
  pieces[count++] = {&entry, ring + place % kRing, sizeof entry};
  pieces[count++] = {text.data(), ring + place % kRing + sizeof entry, text.size()};
  pieces[count++] = {places, mapping_ + offsetof(Places, first), sizeof places};  // last: only now it counts
  if (!copy({pieces.data(), count})) return std::nullopt;
  first_ = first;
  next_ = next;
  return place;
}

void RowRing::drop(std::uint64_t place) noexcept {
  const MutexLock lock(mutex_);
  if (mapping_ == nullptr || place < first_ || place >= next_) return;
  const Piece piece = {&kDropped, mapping_ + kPage + place % kRing + offsetof(Entry, dropped), sizeof kDropped};
  copy({&piece, 1});
}

bool RowRing::crowded() const noexcept {
  constexpr std::size_t kCrowd = kRing / 4;
  return next_ - first_ > kCrowd;
}

void RowRing::release(std::uint64_t place) noexcept {
  const MutexLock lock(mutex_);
  if (place <= first_ || place > next_) return;
  first_ = place;
  writePlaces();  // where that fails, the next process finds rows that it has already
}

}  // namespace zul::platform
