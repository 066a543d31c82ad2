#include "api/upload_record.h"

#include <cstdlib>
#include <cstring>
#include <string>

namespace wrenfall {
namespace {

// A copy that the host frees with free(); null for the empty text and when there is no memory.
char* copy_for_host(const std::string& text) {
  if (text.empty()) return nullptr;
  char* const copy = static_cast<char*>(std::malloc(text.size() + 1));
  if (copy != nullptr) std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

}  // namespace

void fill_upload_record(const UploadResult& upload, wrenfall_upload_result* record) {
  if (record == nullptr || record->size < sizeof(wrenfall_upload_result)) return;
  record->result = upload.result;
  record->http_status = upload.http_status;
  record->crash_id = upload.crash_id;
  record->stack_key_id = upload.stack_key_id;
  record->info_url = copy_for_host(upload.info_url);
}

}  // namespace wrenfall
