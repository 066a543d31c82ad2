#ifndef WRENFALL_BACKEND_BREADCRUMB_RING_H_
#define WRENFALL_BACKEND_BREADCRUMB_RING_H_

#include <wrenfall/wrenfall.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "backend/breadcrumb_layout.h"

namespace wrenfall {

// The last breadcrumbs of the process, in live annotations that the handler reads out of it at any
// moment.
//
// The memory is a pool of the process, since annotations can never be taken out of the handler's list.
// Each new ring takes it over, empty. Only the newest ring may be used; an older one may still be
// destroyed.
//
// Any thread may call any member. None takes a lock, waits or, but for the last two, allocates, so that a
// thread that is suspended or ended in the middle of an add keeps no other one from adding. At worst its
// slot is lost until the process ends.
class BreadcrumbRing {
 public:
  // For the last `wanted` breadcrumbs, from 1 to kMaxBreadcrumbs. Throws bad_alloc.
  explicit BreadcrumbRing(size_t wanted);
  // Clears the annotations, if this is the newest ring.
  ~BreadcrumbRing();
  BreadcrumbRing(const BreadcrumbRing&) = delete;
  BreadcrumbRing& operator=(const BreadcrumbRing&) = delete;

  // The texts are cut to kCategoryBytes and kMessageBytes, between two characters. An unknown level
  // counts as INFO.
  void add(wrenfall_log_level level, std::string_view category, std::string_view message);

  // Only breadcrumbs that are added after this count. The texts of the others are overwritten.
  void clear();

  // Those that are there, oldest first. One that is being added is left out.
  std::vector<Breadcrumb> read() const;

  // A copy of the annotations' bytes, as the handler reads them.
  std::map<std::string, std::string> annotations() const;

 private:
  // The words of a slot, whichever page it lies in.
  std::atomic<uint64_t>* slot(uint64_t number) const;

  const size_t wanted_;
  const size_t slots_;
  const uint64_t generation_;
};

}  // namespace wrenfall

#endif  // WRENFALL_BACKEND_BREADCRUMB_RING_H_
