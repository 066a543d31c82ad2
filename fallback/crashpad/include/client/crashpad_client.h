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
// The connection belongs to the process, not to the object: destroying a client changes nothing, and
// another StartHandler(), of this or another object, replaces the handler. Any thread may call the
// members, but only one at a time StartHandler().
class CrashpadClient {
 public:
  // The start-up annotations "wrenfall.dumpType" and "wrenfall.minidumpFlags" decide how large dumps
  // are. Crashpad's own client has no such member.
  static constexpr bool kHeedsDumpType = true;

  CrashpadClient() = default;
  CrashpadClient(const CrashpadClient&) = delete;
  CrashpadClient& operator=(const CrashpadClient&) = delete;

  // Starts `handler` and installs the crash handling. True once the handler is ready, or, with
  // `asynchronous_start`, once its process exists. False leaves everything unchanged: no handle, no
  // exception filter, and an earlier handler still in force; the last error says why. An earlier handler is told to end after
  // the new one has taken over.
  //
  // `annotations` are UTF-8 and end at their first NUL. `restartable` has no effect.
  bool StartHandler(const base::FilePath& handler, const base::FilePath& database,
                    const base::FilePath& metrics_dir, const std::string& url,
                    const std::map<std::string, std::string>& annotations,
                    const std::vector<std::string>& arguments, bool restartable,
                    bool asynchronous_start, const std::vector<base::FilePath>& attachments = {});

  // Registers `full_path` with Windows Error Reporting as a runtime exception module, until the
  // process ends; see util/win/registration_protocol_win_structs.h for what the module is given. True when the system
  // accepted it, now or before; false on systems that have no such registration.
  bool RegisterWerModule(const std::wstring& full_path);

  // Writes a dump of the running process, with `context` as the calling thread's registers. Returns when
  // the dump is complete on disk, when it failed, or when the handler has ended; at once when there is
  // no handler.
  static void DumpWithoutCrash(const CONTEXT& context);
};

}  // namespace crashpad

#endif  // WRENFALL_FALLBACK_CLIENT_CRASHPAD_CLIENT_H_
