#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <random>

#include "Child.h"
#include "RowRing.h"
#include "TemporaryFolder.h"

namespace zul::platform {
namespace {

class RowRingTest : public testing::Test {
 protected:
  // What the next process finds.
  static std::string describe(const RowBuffer::LeftOver& found) {
    std::string text = found.failed ? "failed " : "";
    for (const auto& row : found.rows) text += row.key + "=" + row.text.substr(0, 3) + " ";
    if (!found.damaged.empty()) text += std::to_string(found.damaged.size()) + " damaged";
    return text;
  }
  std::string leftOver() const { return describe(RowRing(path).leftOver()); }

  void write(std::streamoff place, const std::string& bytes) const {
    std::fstream(path, std::ios::in | std::ios::out | std::ios::binary)
        .seekp(place)
        .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  }

  test::TemporaryFolder folder;
  const std::string path = folder.path(RowRing::kFileName);
};

TEST_F(RowRingTest, KeepsWhatIsNotReleasedRoundAfterRound) {
  std::int64_t id = 0;
  const auto textOf = [](std::int64_t n) {
    return std::string(static_cast<std::size_t>(n * 97 % 9000), static_cast<char>(n));
  };
  for (int process = 0; process < 40; ++process) {
    RowRing ring(path);
    const auto found = ring.leftOver();
    ASSERT_TRUE(found.damaged.empty() && !found.failed);
    ASSERT_EQ(found.rows.size(), process == 0 ? 0U : 3U);
    for (const auto& row : found.rows) EXPECT_TRUE(row.text == textOf(std::stoll(row.key)));
    EXPECT_TRUE(process == 0 || found.rows.back().key == std::to_string(id));
    ring.prepare();
    for (int n = 0; n < 30; ++n) {
      const auto before = ring.end();
      ++id;
      ASSERT_TRUE(ring.append(id, textOf(id)));
      if (n < 28) ring.release(before);
    }
  }
}

TEST_F(RowRingTest, TakesNoMoreThanItHasRoomFor) {
  RowRing ring(path);
  EXPECT_FALSE(ring.append(1, "a")) << "before it is ready";
  ring.prepare();
  int count = 0;
  while (ring.append(count, std::string(3000, 'x'))) ++count;
  EXPECT_EQ(count, 345);
  EXPECT_FALSE(ring.append(1, std::string(RowRing::kSize, 'x')));
  ring.release(ring.end());
  EXPECT_TRUE(ring.append(1, "a"));
  EXPECT_EQ(leftOver(), "1=a ");
  ring.release(ring.end());
  EXPECT_EQ(leftOver(), "");
}

TEST_F(RowRingTest, WhatIsDroppedIsNotFoundAgain) {
  RowRing ring(path);
  ring.prepare();
  ASSERT_TRUE(ring.append(1, "one"));
  const auto second = ring.append(2, "two");
  ASSERT_TRUE(second && ring.append(3, "three"));
  ring.drop(*second);
  EXPECT_EQ(leftOver(), "1=one 3=thr ");
  ring.release(ring.end());
  ring.drop(*second);
  EXPECT_EQ(leftOver(), "");
}

// A death in the middle of an append leaves bytes that nothing points at; the disk may lose or spoil others.
TEST_F(RowRingTest, DamageCostsNoMoreThanItself) {
  {
    RowRing ring(path);
    ring.prepare();
    for (int n = 1; n <= 3; ++n) ASSERT_TRUE(ring.append(n, std::string(100, static_cast<char>('a' + n))));
  }
  const auto third = static_cast<std::streamoff>(RowRing::kPage) + 256;
  write(third + 128, std::string(50, 'x'));
  EXPECT_EQ(leftOver(), "1=bbb 2=ccc 3=ddd ") << "behind the end";
  write(third - 60, "?");
  EXPECT_EQ(leftOver(), "1=bbb 3=ddd 1 damaged");
  write(third - 128, std::string(4, '\x7f'));  // a length that cannot be
  EXPECT_EQ(leftOver(), "1=bbb 1 damaged");
  write(0, "?");
  EXPECT_EQ(leftOver(), "1 damaged");
  RowRing ring(path);
  EXPECT_EQ(describe(ring.leftOver()), "1 damaged");
  ring.prepare();
  EXPECT_TRUE(ring.append(7, "new"));
  EXPECT_EQ(leftOver(), "7=new ");
}

// Rows as fast as can be, each told of once it is in; none is released.
[[noreturn]] void appendUntilKilled(const std::string& path) {
  RowRing ring(path);
  ring.prepare();
  for (int id = 1;; ++id) {
    while (!ring.append(id, std::string(static_cast<std::size_t>(id % 5) * 700, static_cast<char>('a' + id % 26)))) {
      ::usleep(1000);
    }
    if (::write(STDOUT_FILENO, &id, sizeof id) != sizeof id) ::_exit(1);
  }
}

TEST_F(RowRingTest, AKillWithinTheAppendLosesNoRow) {
  std::mt19937 random(20240229);  // NOLINT(bugprone-random-generator-seed): the same instants every time
  std::size_t most = 0;
  for (int kill = 0; kill < 100; ++kill) {
    std::filesystem::remove(path);
    test::Child child([this]() -> int { appendUntilKilled(path); });
    const int first = 1;
    ASSERT_TRUE(child.readUpTo({reinterpret_cast<const char*>(&first), sizeof first}, std::chrono::seconds(10)));
    for (const auto until = std::chrono::steady_clock::now() + std::chrono::microseconds(random() % 300);
         std::chrono::steady_clock::now() < until;) {
    }
    child.kill();
    ASSERT_TRUE(child.readUpTo({}, std::chrono::seconds(10)));
    const auto reported = child.output().size() / sizeof(int);
    const auto found = RowRing(path).leftOver();
    EXPECT_TRUE(found.damaged.empty());
    EXPECT_GE(found.rows.size(), reported);
    EXPECT_LE(found.rows.size(), reported + 1);
    for (std::size_t n = 0; n < found.rows.size(); ++n) EXPECT_EQ(found.rows[n].key, std::to_string(n + 1));
    most = std::max(most, found.rows.size());
  }
  EXPECT_GT(most, 20U);
}

// Of a file that somebody has made up, or that is none at all.
TEST_F(RowRingTest, HostileFilesAreDamageOrNoRing) {
  std::filesystem::create_directory(path);
  EXPECT_EQ(leftOver(), "");
  std::filesystem::remove(path);
  ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(leftOver(), "");
  std::filesystem::remove(path);
  {
    RowRing ring(path);
    ring.prepare();
  }
  const std::uint64_t odd[] = {RowRing::kSize - RowRing::kPage - 1, RowRing::kSize - RowRing::kPage - 1};
  write(8, {reinterpret_cast<const char*>(odd), sizeof odd});
  EXPECT_EQ(leftOver(), "1 damaged");
  const std::uint64_t zeros[] = {0, 65536};
  write(8, {reinterpret_cast<const char*>(zeros), sizeof zeros});
  EXPECT_EQ(leftOver(), "1 damaged") << "and not one for each of the entries";
}

// Rows that an earlier process left are not found again, also where this one cannot have a ring.
TEST_F(RowRingTest, ReleasesWithoutAMapping) {
  {
    RowRing ring(path);
    ring.prepare();
    ASSERT_TRUE(ring.append(1, "one"));
  }
  RowRing ring(path);
  EXPECT_EQ(describe(ring.leftOver()), "1=one ");
  ring.release(ring.end());
  EXPECT_EQ(leftOver(), "");
}

// The ground is gone from under the mapping: a row that is refused, and no signal.
TEST_F(RowRingTest, AFileThatIsCutShortRefusesRows) {
  RowRing ring(path);
  ring.prepare();
  ASSERT_TRUE(ring.append(1, "one"));
  ASSERT_EQ(truncate(path.c_str(), 0), 0);
  EXPECT_FALSE(ring.append(2, "two"));
  ring.release(ring.end());
}

}  // namespace
}  // namespace zul::platform
