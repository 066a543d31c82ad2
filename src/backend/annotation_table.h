#ifndef WRENFALL_BACKEND_ANNOTATION_TABLE_H_
#define WRENFALL_BACKEND_ANNOTATION_TABLE_H_

#include <cstdint>
#include <string>

#include "backend/backend.h"

namespace wrenfall {

// The live string annotations of a backend.
//
// The handler walks a process-wide list of annotations, newest first, and reads at most 200 of them,
// cleared ones included. Nothing can be removed from that list. So an annotation that once had a
// value keeps its address until the process ends: it belongs to a pool of the process, and each new
// table finds it there by its key. Once the pool is large, the annotation of a cleared attribute is
// reused for the next new attribute, so that the handler can still read the whole list.
//
// Only the newest table has an effect. Calls of older ones, whose backends may still be finishing a
// capture, do nothing. Any thread may set a value; one mutex for the process serialises all changes.
// A dump that is taken in the middle of a change lacks the value; it never shows half of it.
class AnnotationTable {
 public:
  AnnotationTable();
  ~AnnotationTable() { clear(); }
  AnnotationTable(const AnnotationTable&) = delete;
  AnnotationTable& operator=(const AnnotationTable&) = delete;

  // Values are cut to 4096 bytes, those of "description" and "notes" to 20480; names to 255 bytes. An
  // empty value clears. Not const, because it changes the process's annotations.
  // NOLINTNEXTLINE(readability-make-member-function-const)
  void set(const std::string& key, const std::string& value, AnnotationPlace& place);

  // Clears all values, if this is the newest table.
  // NOLINTNEXTLINE(readability-make-member-function-const)
  void clear();

  // Annotations that say what one dump is of must not change while that dump is under way, however
  // late it comes. From hold_dump() on, changes of them are put off, those of every table; the matching
  // release_dump() makes them. A further hold_dump() makes them as well, for its own dump: an earlier
  // dump that is still under way then no longer counts, and its release does nothing.
  static uint64_t hold_dump();
  static void release_dump(uint64_t dump);

 private:
  const uint64_t generation_;
};

}  // namespace wrenfall

#endif  // WRENFALL_BACKEND_ANNOTATION_TABLE_H_
