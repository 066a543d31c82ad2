#ifndef WRENFALL_FALLBACK_CLIENT_CRASHPAD_CLIENT_H_
#define WRENFALL_FALLBACK_CLIENT_CRASHPAD_CLIENT_H_

#include <base/files/file_path.h>
#include <windows.h>

#include <map>
#include <string>
#include <vector>

namespace crashpad {

// Starts the handler process and directs this process's crashes to it.
//
// The connection belongs to the process, not to the object: destroying a client changes nothing,
// and a further StartHandler(), of this or another object, replaces the handler. The members may be
// called from any thread; StartHandler() by one thread at a time.
class CrashpadClient {
 public:
  CrashpadClient() = default;
  CrashpadClient(const CrashpadClient&) = delete;
  CrashpadClient& operator=(const CrashpadClient&) = delete;

  // Starts `handler` and installs the crash handling. True once the handler is ready, or, with
  // `asynchronous_start`, once its process exists. False leaves everything as it was: no handle, no
  // exception filter, and an earlier handler still in charge. When a handler is already in charge,
  // the new one takes over first and the old one is then told to end.
  //
  // `annotations` are UTF-8 and end at their first NUL. `restartable` has no effect.
  bool StartHandler(const base::FilePath& handler, const base::FilePath& database,
                    const base::FilePath& metrics_dir, const std::string& url,
                    const std::map<std::string, std::string>& annotations,
                    const std::vector<std::string>& arguments, bool restartable,
                    bool asynchronous_start, const std::vector<base::FilePath>& attachments = {});

  // Registers `full_path` with Windows Error Reporting as a runtime exception module, until the
  // process ends; see handler/win/wer/crashpad_wer.h for what the module does. True when the system
  // accepted it, now or before; false on systems that have no such registration.
  bool RegisterWerModule(const std::wstring& full_path);

  // Writes a dump of the running process with `context` as the calling thread's state. Returns when
  // the dump is complete on disk, when it failed, or when the handler is gone; at once without a
  // handler.
  static void DumpWithoutCrash(const CONTEXT& context);
};

}  // namespace crashpad

#endif  // WRENFALL_FALLBACK_CLIENT_CRASHPAD_CLIENT_H_
