// What must not ask for memory, since it could not tell the host that there is none.

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "Document.h"
#include "zul/Dictionary.h"

namespace {

thread_local bool noMemory = false;

}  // namespace

// Not inlined, or the compiler sees a free() of what a new has made.
__attribute__((noinline)) void* operator new(std::size_t size) {
  void* const room = noMemory ? nullptr : std::malloc(size);
  if (room == nullptr) throw std::bad_alloc();
  return room;
}
__attribute__((noinline)) void operator delete(void* room) noexcept {
  std::free(room);
}
__attribute__((noinline)) void operator delete(void* room, std::size_t) noexcept {
  std::free(room);
}

namespace zul {
namespace {

TEST(ShortMemory, EmptyValuesAndComparisonsTakeNone) {
  const auto text = R"({"a":[{"b":"a text that is longer than what fits into a value itself"},1.5,null]})";
  const auto one = Dictionary::fromJson(text);
  const auto other = Dictionary::fromJson(text);
  noMemory = true;  // before the first empty value is asked for
  const bool same = *one == *other;
  const bool different = *one == Dictionary();
  const bool empty = Dictionary().empty() && Document().members().empty() && Document().valueForKey("a").is_null();
  noMemory = false;
  EXPECT_TRUE(same);
  EXPECT_FALSE(different);
  EXPECT_TRUE(empty);
}

}  // namespace
}  // namespace zul
