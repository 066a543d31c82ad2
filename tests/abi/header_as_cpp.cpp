#include <wrenfall/wrenfall.h>

#include <cstddef>

// The layout that hosts were compiled against.
static_assert(offsetof(wrenfall_upload_result, size) == 0, "");
static_assert(offsetof(wrenfall_upload_result, result) == 4, "");
static_assert(offsetof(wrenfall_upload_result, http_status) == 8, "");
static_assert(offsetof(wrenfall_upload_result, crash_id) == 16, "");
static_assert(offsetof(wrenfall_upload_result, stack_key_id) == 24, "");
static_assert(offsetof(wrenfall_upload_result, info_url) == 32, "");
static_assert(sizeof(wrenfall_result) == 4 && sizeof(wrenfall_log_level) == 4, "");
