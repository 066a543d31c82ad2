#ifndef WRENFALL_API_BOUNDARY_H_
#define WRENFALL_API_BOUNDARY_H_

#include <wrenfall/wrenfall.h>

#include <exception>
#include <filesystem>
#include <memory>
#include <new>
#include <system_error>

#include "api/state.h"
#include "api/upload_record.h"
#include "report/store/upload_result.h"
#include "support/error_text.h"
#include "support/files.h"

namespace wrenfall {

inline bool is_empty(const char* text) { return text == nullptr || *text == '\0'; }

// Runs the body of an exported function and turns exceptions into results, because a host written
// in C cannot catch them. Two kinds still leave the function, as the header says: errors of locks
// and threads (std::system_error), and a directory listing that breaks off. Other file-system
// errors become WRENFALL_ERROR_FILE. All other exceptions of the standard and JSON libraries, above
// all lack of memory, become `otherwise`.
template <typename Body>
wrenfall_result guarded(wrenfall_result otherwise, Body body) {
  try {
    return body();
  } catch (const DirectoryIterationError&) {
    throw;
  } catch (const std::filesystem::filesystem_error&) {
    return WRENFALL_ERROR_FILE;
  } catch (const std::system_error&) {
    throw;
  } catch (const std::exception&) {
    return otherwise;
  }
}

// Runs `use` on the published state, inside guarded(). The state stays alive until `use` returns,
// also when the library is shut down meanwhile.
template <typename Use>
wrenfall_result with_state(wrenfall_result otherwise, Use use) {
  return guarded(otherwise, [&]() -> wrenfall_result {
    const std::shared_ptr<State> state = current_state();
    return state ? use(*state) : WRENFALL_ERROR_NOT_INITIALIZED;
  });
}

// Runs the work of one of the library's own threads, which an exception must not leave: it would end
// the host. What breaks off is logged.
template <typename Work>
void run_logged(State& state, const char* what, Work work) {
  try {
    work();
  } catch (const std::exception& error) {
    try {
      state.logger.error("%s broke off: %s", what, error_text(error).c_str());
    } catch (const std::bad_alloc&) {
      // There is no memory for the line either.
    }
  }
}

// The outcome of a send that was not even attempted.
inline UploadResult not_attempted(wrenfall_result reason) {
  UploadResult outcome;
  outcome.result = reason;
  return outcome;
}

// The same for a function that sends: `use` returns an UploadResult. The host's record is filled
// whatever happens, so the host can always read it and free its text.
template <typename Use>
wrenfall_result with_state_for_upload(wrenfall_upload_result* record, Use use) {
  fill_upload_record({}, record);
  UploadResult outcome;
  outcome.result = with_state(WRENFALL_ERROR_FILE, [&](State& state) -> wrenfall_result {
    outcome = use(state);
    return outcome.result;
  });
  fill_upload_record(outcome, record);
  return outcome.result;
}

}  // namespace wrenfall

#endif  // WRENFALL_API_BOUNDARY_H_
