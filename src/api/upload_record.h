#ifndef WRENFALL_API_UPLOAD_RECORD_H_
#define WRENFALL_API_UPLOAD_RECORD_H_

#include <wrenfall/wrenfall.h>

#include "report/store/upload_result.h"

namespace wrenfall {

// Fills the host's record when there is one and its size says that it has the fields. The info URL
// is a copy that the host frees.
void fill_upload_record(const UploadResult& upload, wrenfall_upload_result* record);

}  // namespace wrenfall

#endif  // WRENFALL_API_UPLOAD_RECORD_H_
