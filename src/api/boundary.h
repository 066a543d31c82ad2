#ifndef WRENFALL_API_BOUNDARY_H_
#define WRENFALL_API_BOUNDARY_H_

#include <wrenfall/wrenfall.h>

#include <exception>
#include <filesystem>
#include <memory>
#include <system_error>

#include "api/state.h"
#include "api/upload_record.h"
#include "report/store/upload_result.h"
#include "support/files.h"

namespace wrenfall {

inline bool is_empty(const char* text) { return text == nullptr || *text == '\0'; }

// Runs the body of an exported function that has a result. System errors of locks and threads, and
// a directory listing that breaks off, leave it as exceptions, as the header says. Other
// file-system errors become WRENFALL_ERROR_FILE, and all other exceptions of the standard and JSON
// libraries, lack of memory above all, become `otherwise`: a host written in C could do nothing
// about an exception.
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

// Runs `use` on the published state, which stays alive meanwhile, with the guard of above.
template <typename Use>
wrenfall_result with_state(wrenfall_result otherwise, Use use) {
  return guarded(otherwise, [&]() -> wrenfall_result {
    const std::shared_ptr<State> state = current_state();
    return state ? use(*state) : WRENFALL_ERROR_NOT_INITIALIZED;
  });
}

// The same for a function that sends: `use` gives an UploadResult. The host's record is filled in
// any case, so that the host can always read it and free what it holds.
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
