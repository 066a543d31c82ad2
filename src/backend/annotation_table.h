#ifndef WRENFALL_BACKEND_ANNOTATION_TABLE_H_
#define WRENFALL_BACKEND_ANNOTATION_TABLE_H_

#include <cstdint>
#include <string>

namespace wrenfall {

// The live string annotations of a backend.
//
// The handler walks a process-wide list of annotations that knows no removal, newest first, and
// reads 200 of them at the most, cleared ones counted. So an annotation that once had a value stays
// where it is until the process ends, in a pool of the process, from which every table takes it
// again by its key; and once the pool is large, a cleared attribute's annotation is given the name
// of the next new attribute, so that the list stays short enough to be read to its end.
//
// The newest table is the one in force; from its construction on the calls of older ones, whose
// backends may still be finishing a capture, do nothing. Any thread may set; one mutex of the
// process serialises all of it. A value is absent, not torn, for a dump that is taken in the middle
// of a change.
class AnnotationTable {
 public:
  AnnotationTable();
  // Clears everything, if the table is in force.
  ~AnnotationTable();
  AnnotationTable(const AnnotationTable&) = delete;
  AnnotationTable& operator=(const AnnotationTable&) = delete;

  // Values are cut to 4096 bytes, those of "description" and "notes" to 20480; names to 255 bytes.
  // An empty value clears.
  // It changes what the process has under the table's name, though nothing inside the table.
  // NOLINTNEXTLINE(readability-make-member-function-const)
  void set(const std::string& key, const std::string& value);

 private:
  const uint64_t generation_;
};

}  // namespace wrenfall

#endif  // WRENFALL_BACKEND_ANNOTATION_TABLE_H_
