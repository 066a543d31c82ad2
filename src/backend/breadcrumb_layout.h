#ifndef WRENFALL_BACKEND_BREADCRUMB_LAYOUT_H_
#define WRENFALL_BACKEND_BREADCRUMB_LAYOUT_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace wrenfall {

// One message of the host about what it was doing.
struct Breadcrumb {
  int64_t time_ms = 0;  // since 1970-01-01 UTC
  int32_t level = 0;    // a wrenfall_log_level that is listed in the header
  uint32_t thread_id = 0;
  std::string category;
  std::string message;
};

// How breadcrumbs lie in the live annotations "wrenfall.breadcrumbs.0", ".1" and so on, which the
// library fills and the monitor reads out of a dump. Each annotation is a page of 64-bit little-endian
// words: a head, and then slots of one size, which continue in the next page.
//
//   head   word 0     kMagic; its low byte is the version
//          word 1     the number of slots in all pages
//          word 2     how many breadcrumbs the host wants, at most the number of slots
//          word 3     the lowest sequence number that counts; those below were cleared
//   slot   word 0     the sequence number, written last; 0 when the slot was never used
//          word 1     the time in milliseconds since 1970
//          word 2     bits 0-31 the thread's id, 32-39 the level, 40-47 the bytes of the category,
//                     48-63 the bytes of the message
//          words 3-6  the category
//          words 7-38 the message
//          word 39    the sequence number, written first
//
// Sequence numbers grow with time and need not be without gaps. A slot whose two numbers differ was
// being written when the copy was made, and does not count. Who copies a page from its start to its end
// sees the numbers in the right order, also while other threads write.
namespace breadcrumb_layout {

inline constexpr char kKeyPrefix[] = "wrenfall.breadcrumbs.";
inline constexpr uint64_t kMagic = 0x5742524541444301;  // bytes 01 "CDAERBW"
inline constexpr size_t kHeadWords = 4;
inline constexpr size_t kHeadMagic = 0, kHeadSlots = 1, kHeadWanted = 2, kHeadFirst = 3;
inline constexpr size_t kSlotWords = 40;
inline constexpr size_t kSlotDone = 0, kSlotTime = 1, kSlotSizes = 2, kSlotCategory = 3,
                        kSlotMessage = 7, kSlotBegun = 39;
inline constexpr size_t kCategoryBytes = 32;
inline constexpr size_t kMessageBytes = 256;

inline constexpr size_t kMaxBreadcrumbs = 200;
// More than are wanted, so that threads in the middle of adding leave as many whole ones as are
// wanted.
inline constexpr size_t kSpareSlots = 8;
// A page stays below what the handler reads of an annotation, 20480 bytes.
inline constexpr size_t kSlotsOfPage = 63;
inline constexpr size_t kPageWords = kHeadWords + kSlotsOfPage * kSlotWords;
inline constexpr size_t kMaxPages =
    (kMaxBreadcrumbs + kSpareSlots + kSlotsOfPage - 1) / kSlotsOfPage;

static_assert(kPageWords * sizeof(uint64_t) < 20480);
static_assert(kSlotMessage - kSlotCategory == kCategoryBytes / sizeof(uint64_t));
static_assert(kSlotBegun - kSlotMessage == kMessageBytes / sizeof(uint64_t));

}  // namespace breadcrumb_layout

// The breadcrumbs in the annotations, oldest first. Annotations under other keys are ignored. The bytes
// may come from a process with damaged memory: what is no breadcrumb is left out.
std::vector<Breadcrumb> breadcrumbs_in(const std::map<std::string, std::string>& annotations);

}  // namespace wrenfall

#endif  // WRENFALL_BACKEND_BREADCRUMB_LAYOUT_H_
