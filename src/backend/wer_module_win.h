#ifndef WRENFALL_BACKEND_WER_MODULE_WIN_H_
#define WRENFALL_BACKEND_WER_MODULE_WIN_H_

#include <filesystem>
#include <functional>

#include "support/logger.h"

namespace wrenfall {

// Registers WrenfallWer.dll, which lies beside the library, with Windows Error Reporting, which
// loads it for crashes that never reach an exception filter. `register_module` does the registering
// and tells whether it worked. `logger` may be null. True when the module is registered and the
// machine's allow-list names it, so that the system will really load it. The list belongs to the
// installer: nothing is written there.
bool register_wer_module(const std::function<bool(const std::filesystem::path&)>& register_module,
                         Logger* logger);

}  // namespace wrenfall

#endif  // WRENFALL_BACKEND_WER_MODULE_WIN_H_
