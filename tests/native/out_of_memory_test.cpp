// The library while memory is short: each large allocation of a call fails in turn.
#include "report/store/report_store.h"
#include "tests/native/library_test.h"
#include "tests/support/failing_new.h"

namespace wrenfall {
namespace {

TEST_F(LibraryTest, AListIsWholeOrAbsent) {
  ASSERT_EQ(wrenfall_init(options()), WRENFALL_OK);
  const std::string words(64000, 'w');
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(wrenfall_post_feedback("", words.c_str(), nullptr, 0, nullptr), WRENFALL_OK);
  }
  smallest_allocation = 16000;
  allocation_failed = true;
  for (long allocations = 0; allocation_failed.exchange(false); ++allocations) {
    ASSERT_LT(allocations, 1000);
    allocations_left = allocations;
    wrenfall_report_list* const list = wrenfall_pending_reports();
    allocations_left = -1;
    if (list == nullptr) {
      EXPECT_TRUE(allocation_failed);
      continue;
    }
    EXPECT_EQ(wrenfall_report_list_count(list), 3u);
    for (uint32_t i = 0; i < wrenfall_report_list_count(list); ++i) {
      EXPECT_NE(wrenfall_report_list_folder(list, i), nullptr);
      EXPECT_EQ(wrenfall_report_list_json(list, i)[0], '{');
    }
    wrenfall_report_list_free(list);
  }
}

}  // namespace
}  // namespace wrenfall
