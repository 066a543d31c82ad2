#ifndef WRENFALL_BACKEND_WER_MODULE_WIN_H_
#define WRENFALL_BACKEND_WER_MODULE_WIN_H_

#include "support/logger.h"

namespace crashpad {
class CrashpadClient;
}

namespace wrenfall {

// Registers WrenfallWer.dll, which lies beside the library, with Windows Error Reporting. The
// system loads it for crashes that never reach an exception filter. True when the module is
// registered and the machine's allow-list names it, so that the system will really load it. The
// installer fills that list; nothing is written to it here.
bool register_wer_module(crashpad::CrashpadClient& client, Logger& logger);

// Whether this process's error mode (SEM_NOGPFAULTERRORBOX) keeps Windows Error Reporting, and so the
// module, away from its crashes at present. The host may change it at any time.
bool is_wer_kept_away();

}  // namespace wrenfall

#endif  // WRENFALL_BACKEND_WER_MODULE_WIN_H_
