#ifndef WRENFALL_SUPPORT_OPEN_FILE_WIN_H_
#define WRENFALL_SUPPORT_OPEN_FILE_WIN_H_

#include <windows.h>

#include <filesystem>

#include "support/win_handle.h"

namespace wrenfall {

inline constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// Opens a file, or makes it, by a path of any length. Empty, with the last error set by the system,
// when that fails.
ScopedFile open_file(const std::filesystem::path& path, DWORD access, DWORD share,
                     DWORD how = OPEN_EXISTING, DWORD flags = FILE_ATTRIBUTE_NORMAL);

// A file that exists as long as one thread of all processes has it open, which thereby holds what the
// file is for. The system deletes it with the last handle, however the holder ends.
enum class Hold {
  kTaken,
  kHeld,        // somebody has it
  kImpossible,  // no such file can be made, as in a read-only store
};

// Takes hold of the file; `share` says what others may do with it meanwhile. Waits for a fraction of a
// second where access is denied.
Hold take_hold(const std::filesystem::path& path, DWORD share, ScopedFile& file);

// What a failure to make that file means: the last error, and the kernel's own status of it. A file
// that is being deleted while somebody still has it open denies access just like a folder in which no
// file may be made; only the status tells the two apart.
Hold hold_after_failure(DWORD error, LONG status);

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_OPEN_FILE_WIN_H_
