#ifndef WRENFALL_API_BOUNDARY_H_
#define WRENFALL_API_BOUNDARY_H_

#include <wrenfall/wrenfall.h>

#include <exception>
#include <filesystem>
#include <system_error>

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

}  // namespace wrenfall

#endif  // WRENFALL_API_BOUNDARY_H_
