#ifndef WRENFALL_FALLBACK_HANDLER_DUMP_OUTPUT_WIN_H_
#define WRENFALL_FALLBACK_HANDLER_DUMP_OUTPUT_WIN_H_

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "common/scoped_win.h"

namespace crashpad::internal {

// A new file that stays only after commit(). Until then it is marked for deletion and vanishes when it
// is closed, by the destructor or by the end of this process. No other process can open it while this
// object exists. All members but the constructor need ok().
class DumpOutput {
 public:
  explicit DumpOutput(const std::wstring& path);

  bool ok() const { return file_ != nullptr; }
  HANDLE handle() const { return file_.get(); }

  uint64_t size() const;
  bool read_at(uint64_t offset, void* buffer, size_t size) const;
  bool write_at(uint64_t offset, const void* data, size_t size);
  bool make_empty();

  // True when everything is on disk and the file stays.
  bool commit();

 private:
  bool seek(uint64_t offset) const;
  bool mark_for_deletion(bool mark);

  ScopedHandle file_;
};

}  // namespace crashpad::internal

#endif  // WRENFALL_FALLBACK_HANDLER_DUMP_OUTPUT_WIN_H_
