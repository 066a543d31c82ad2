#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#include "backend/breadcrumb_ring.h"

namespace wrenfall {
namespace {

using namespace breadcrumb_layout;

constexpr size_t kSlot = kHeadWords;  // the first of a page

// A page of two breadcrumbs, numbers 7 and 8, of which two are wanted.
struct Page {
  Page() : words(kHeadWords + 2 * kSlotWords) {
    words[kHeadMagic] = kMagic;
    words[kHeadWanted] = 2;
    for (uint64_t i = 0; i < 2; ++i) {
      uint64_t* const slot = words.data() + kSlot + i * kSlotWords;
      slot[kSlotDone] = slot[kSlotBegun] = 8 - i;
      slot[kSlotSizes] = uint64_t{1} << 48;
      slot[kSlotMessage] = 'b' - i;
    }
  }
  std::string read() const {
    std::string bytes(words.size() * sizeof words[0] - cut, '\0');
    std::memcpy(bytes.data(), words.data(), bytes.size());
    std::string messages;
    for (const auto& one : breadcrumbs_in({{"wrenfall.breadcrumbs.3", bytes}, {"user", bytes}}))
      messages += one.message;
    return messages;
  }
  std::vector<uint64_t> words;
  size_t cut = 0;
};

bool holds(const BreadcrumbRing& ring, const std::string& text) {
  std::string all;
  for (const auto& [name, bytes] : ring.annotations()) all += bytes;
  return all.find(text) != std::string::npos;
}

TEST(Breadcrumbs, OnlyWholeOnesThatCountAreRead) {
  EXPECT_EQ(Page().read(), "ab");
  const struct {
    size_t word;
    uint64_t value;
    const char* expected;
  } rows[] = {{kHeadMagic, kMagic + 1, ""},
              {kHeadWanted, 1, "b"},
              {kHeadFirst, 8, "b"},
              {kSlot + kSlotBegun, 9, "a"},
              {kSlot + kSlotDone, 0, "a"},
              {kSlot + kSlotTime, UINT64_MAX, "a"},
              {kSlot + kSlotSizes, uint64_t{257} << 48, "a"},
              {kSlot + kSlotSizes, uint64_t{33} << 40, "a"},
              {kSlot + kSlotSizes, uint64_t{4} << 32, "a"}};
  for (const auto& row : rows) {
    Page page;
    page.words[row.word] = row.value;
    EXPECT_EQ(page.read(), row.expected) << row.word << " " << row.value;
  }
  constexpr size_t cuts[] = {1, 8, 330, 650, 672};
  for (const size_t cut : cuts) {
    Page page;
    page.cut = cut;
    EXPECT_EQ(page.read(), cut <= 320 ? "b" : "") << cut;
  }
}

TEST(Breadcrumbs, RingKeepsTheLastAndEachRingBeginsEmpty) {
  constexpr size_t sizes[] = {200, 1, 56, 55};
  for (const size_t wanted : sizes) {
    BreadcrumbRing ring(wanted);
    EXPECT_EQ(ring.read().size(), 0u);
    for (int i = 0; i < 500; ++i) ring.add(i % 6 - 1, "c", "number " + std::to_string(i));
    const auto held = ring.read();
    ASSERT_EQ(held.size(), wanted);
    EXPECT_TRUE(holds(ring, "number 499"));
    for (size_t i = 0; i < wanted; ++i) {
      const int number = static_cast<int>(500 - wanted + i), level = number % 6 - 1;
      EXPECT_EQ(held[i].message, "number " + std::to_string(number));
      EXPECT_EQ(held[i].level, level >= 0 && level < 4 ? level : 1);
    }
    ring.clear();
    EXPECT_FALSE(holds(ring, "number "));
    ring.add(0, std::string(31, 'x') + "ü", std::string(255, 'y') + "ü");
    ASSERT_EQ(ring.read().size(), 1u);
    EXPECT_EQ(ring.read()[0].category, std::string(31, 'x'));
    EXPECT_EQ(ring.read()[0].message, std::string(255, 'y'));
  }
  EXPECT_FALSE(holds(BreadcrumbRing(200), "yyy"));
}

// Threads add as fast as they can; no reader ever sees parts of two messages in one.
TEST(Breadcrumbs, NoneIsTornWhileThreadsAdd) {
  BreadcrumbRing ring(1);
  std::vector<std::thread> threads;
  constexpr int kThreads = 4;
  std::atomic<int> running{kThreads};
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&ring, &running] {
      for (int number = 0; number < 30000; ++number) {
        // What a slot held before has another letter.
        const char letter = static_cast<char>('a' + number % 26);
        ring.add(1, std::string(1, letter),
                 std::string(static_cast<size_t>(128 + number % 129), letter));
      }
      --running;
    });
  }
  size_t seen = 0, torn = 0;
  while (running > 0) {
    for (const Breadcrumb& one : ring.read()) {
      ++seen;
      if (one.message != std::string(one.message.size(), one.category[0])) ++torn;
    }
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(torn, 0u) << seen;
  EXPECT_EQ(ring.read().size(), 1u);
}

}  // namespace
}  // namespace wrenfall
