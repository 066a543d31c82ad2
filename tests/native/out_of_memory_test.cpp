// The library while memory is short: each large allocation of a call fails in turn. Small ones succeed,
// because the JSON library ends the process when it finds no memory while it destroys a value.
#include <gtest/gtest.h>
#include <wrenfall/wrenfall.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "report/store/layout.h"
#include "report/store/report_store.h"
#include "tests/support/temp_dir.h"

namespace {

constexpr std::size_t kLarge = 16 * 1024;

// How many more large allocations of this thread succeed; negative is no limit.
thread_local int allocations_left = -1;
thread_local bool has_failed = false;

}  // namespace

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  if (size >= kLarge && allocations_left == 0) {
    has_failed = true;
    return nullptr;
  }
  if (size >= kLarge && allocations_left > 0) --allocations_left;
  return std::malloc(size);
}
void* operator new(std::size_t size) {
  void* const memory = operator new(size, std::nothrow);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void* operator new[](std::size_t size) { return operator new(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

namespace wrenfall {
namespace {

class OutOfMemoryTest : public ::testing::Test {
 protected:
  OutOfMemoryTest() {
    put_file(dir_ / "companion", "");
    wrenfall_options* const options = wrenfall_options_new("127", "Short of Memory", "1.0");
    const std::string companion = path_to_utf8(dir_ / "companion");
    wrenfall_options_set_store_dir(options, path_to_utf8(dir_ / "store").c_str());
    wrenfall_options_set_monitor_path(options, companion.c_str());
    wrenfall_options_set_reporter_path(options, companion.c_str());
    wrenfall_options_set_upload_policy(options, WRENFALL_UPLOAD_MANUAL);
    EXPECT_EQ(wrenfall_init(options), WRENFALL_OK);
  }
  ~OutOfMemoryTest() override { wrenfall_shutdown(); }

  void store_reports(int count) {
    for (int i = 0; i < count; ++i) {
      ASSERT_EQ(wrenfall_post_feedback("title", words_.c_str(), nullptr, 0, nullptr), WRENFALL_OK);
    }
  }

  // Calls with ever more allocations until one call needs no more.
  template <typename Call>
  void fail_each_allocation(Call call) {
    for (int allocations = 0;; ++allocations) {
      has_failed = false;
      allocations_left = allocations;
      call();
      allocations_left = -1;
      if (!has_failed) return;
      ASSERT_LT(allocations, 1000);
    }
  }

  const TempDir dir_;
  const std::string words_ = std::string(4 * kLarge, 'w');
};

TEST_F(OutOfMemoryTest, AListIsWholeOrAbsent) {
  store_reports(3);
  fail_each_allocation([] {
    wrenfall_report_list* const list = wrenfall_pending_reports();
    allocations_left = -1;
    if (list == nullptr) {
      EXPECT_TRUE(has_failed);
      return;
    }
    EXPECT_EQ(wrenfall_report_list_count(list), 3u);
    for (uint32_t i = 0; i < wrenfall_report_list_count(list); ++i) {
      EXPECT_NE(wrenfall_report_list_folder(list, i), nullptr);
      EXPECT_EQ(wrenfall_report_list_json(list, i)[0], '{');
    }
    wrenfall_report_list_free(list);
  });
}

}  // namespace
}  // namespace wrenfall
