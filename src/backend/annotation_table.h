#ifndef WRENFALL_BACKEND_ANNOTATION_TABLE_H_
#define WRENFALL_BACKEND_ANNOTATION_TABLE_H_

#include <cstddef>
#include <map>
#include <string>

namespace wrenfall {

// One live annotation: its name and value at addresses that the handler reads out of the dying
// process.
class AnnotationHolder;

// The live string annotations of a backend.
//
// The handler walks a process-wide list of annotations that knows no removal, so a holder whose
// annotation once had a value must stay where it is until the process ends. Holders therefore live
// in a pool of the process; a table takes them from there by key, and gives them back, cleared,
// when it is destroyed.
//
// Any thread may set. One mutex of the process serialises the setters, so that a table whose
// backend is still finishing a capture and the table of its successor, which share holders, do not
// meet.
class AnnotationTable {
 public:
  AnnotationTable() = default;
  ~AnnotationTable();
  AnnotationTable(const AnnotationTable&) = delete;
  AnnotationTable& operator=(const AnnotationTable&) = delete;

  // Does nothing once another table has taken the key over. Values are cut to 4096 bytes, those of
  // "description" and "notes" to 20480; names to 255 bytes. An empty value clears.
  void set(const std::string& key, const std::string& value);

 private:
  // Guarded by the pool's mutex; never null, owned by the pool.
  std::map<std::string, AnnotationHolder*> holders_;
};

}  // namespace wrenfall

#endif  // WRENFALL_BACKEND_ANNOTATION_TABLE_H_
