#include <wrenfall/wrenfall.h>

#include <cstring>
#include <string_view>

#include "api/boundary.h"
#include "api/state.h"

namespace wrenfall {
namespace {

// The start of a host's text, as much of it as can be needed to cut it between two characters.
std::string_view start_of(const char* text, size_t bytes) {
  if (text == nullptr) return {};
  const void* const end = std::memchr(text, 0, bytes + 1);
  return {text,
          end == nullptr ? bytes + 1 : static_cast<size_t>(static_cast<const char*>(end) - text)};
}

}  // namespace
}  // namespace wrenfall

using namespace wrenfall;

wrenfall_result wrenfall_breadcrumb_add(wrenfall_log_level level, const char* category,
                                        const char* message) {
  // Before the state is touched: a bad pointer that the host survives must not keep a shutdown waiting.
  const std::string_view category_start = start_of(category, breadcrumb_layout::kCategoryBytes);
  const std::string_view message_start = start_of(message, breadcrumb_layout::kMessageBytes);
  const StateGlimpse glimpse;
  if (glimpse.get() == nullptr) return WRENFALL_ERROR_NOT_INITIALIZED;
  if (message_start.empty()) return WRENFALL_ERROR_INVALID_ARGUMENT;
  if (BreadcrumbRing* const ring = glimpse.get()->breadcrumbs.get()) {
    ring->add(level, category_start, message_start);
  }
  return WRENFALL_OK;
}

wrenfall_result wrenfall_breadcrumb_clear(void) {
  const StateGlimpse glimpse;
  if (glimpse.get() == nullptr) return WRENFALL_ERROR_NOT_INITIALIZED;
  if (BreadcrumbRing* const ring = glimpse.get()->breadcrumbs.get()) ring->clear();
  return WRENFALL_OK;
}
