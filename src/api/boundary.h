#ifndef WRENFALL_API_BOUNDARY_H_
#define WRENFALL_API_BOUNDARY_H_

#include <wrenfall/wrenfall.h>

#include <exception>
#include <filesystem>
#include <system_error>

#include "report/delivery.h"
#include "support/files.h"

namespace wrenfall {

// Runs the body of an exported function that has a result. System errors of locks and threads, and
// a directory listing that breaks off, leave it as exceptions, as the header tells. Other
// file-system errors become WRENFALL_ERROR_FILE, and whatever else the standard and JSON libraries
// throw, lack of memory first of all, becomes `otherwise`: a host written in C could do nothing
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

// The same for a function that sends and fills the caller's record: that is filled in any case, so
// that the host can always read it and free what it holds.
template <typename Body>
wrenfall_result guarded_upload(wrenfall_upload_result* record, Body body) {
  fill_upload_result({}, record);
  const wrenfall_result result = guarded(WRENFALL_ERROR_FILE, body);
  if (can_be_filled(record)) record->result = result;
  return result;
}

}  // namespace wrenfall

#endif  // WRENFALL_API_BOUNDARY_H_
