#ifndef WRENFALL_UPLOAD_UPLOADER_H_
#define WRENFALL_UPLOAD_UPLOADER_H_

#include <filesystem>

#include "report/store/crash_data.h"
#include "report/store/upload_result.h"
#include "support/logger.h"
#include "upload/http_client.h"

namespace wrenfall {

// What an upload works with; both outlive it.
struct UploadContext {
  HttpClient& http;
  Logger& logger;
};

// Sends one report folder: packs it into an archive inside the folder, asks the service for an
// upload location, puts the archive there, and commits it with the record's metadata. Blocks until
// the last request ends. Two uploads of one folder at the same time would use one archive file;
// callers prevent that.
//
// Every failure is logged and reported in the result, except for those that say nothing about the
// report or the service: throws DirectoryIterationError, and bad_alloc when memory ends before the
// service has taken the report.
UploadResult upload_report(const UploadContext& context, const CrashData& data,
                           const std::filesystem::path& folder);

}  // namespace wrenfall

#endif  // WRENFALL_UPLOAD_UPLOADER_H_
