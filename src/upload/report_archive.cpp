#include "upload/report_archive.h"

#include <miniz.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "report/store/report_files.h"
#include "support/files.h"
#include "support/text.h"

namespace wrenfall {

namespace fs = std::filesystem;

namespace {

constexpr mz_uint kCompressionLevel = 6;

constexpr std::chrono::seconds kPatience(3);
constexpr std::chrono::milliseconds kPause(50);

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using ScopedStream = std::unique_ptr<std::FILE, FileCloser>;

// A ZIP writer on an open stream. The destructor frees it when finish() was not reached.
class ZipWriter {
 public:
  explicit ZipWriter(std::FILE* stream)
      : open_(check(mz_zip_writer_init_cfile(&zip_, stream, 0))) {}
  ~ZipWriter() {
    if (open_) mz_zip_writer_end(&zip_);
  }
  ZipWriter(const ZipWriter&) = delete;
  ZipWriter& operator=(const ZipWriter&) = delete;

  bool add(const std::string& name, const std::string& bytes) {
    return open_ && check(mz_zip_writer_add_mem(&zip_, name.c_str(), bytes.data(), bytes.size(),
                                                kCompressionLevel));
  }
  bool finish() {
    if (!open_ || !check(mz_zip_writer_finalize_archive(&zip_))) return false;
    open_ = false;
    return mz_zip_writer_end(&zip_) != 0;
  }

 private:
  // Lack of memory says nothing about the report, so it leaves as an exception, unlike every other
  // failure.
  bool check(mz_bool done) {
    if (!done && mz_zip_get_last_error(&zip_) == MZ_ZIP_ALLOC_FAILED) throw std::bad_alloc();
    return done != MZ_FALSE;
  }

  mz_zip_archive zip_{};
  bool open_;
};

// Virus scanners and indexers hold a file for some seconds.
bool read_patiently(const fs::path& file, std::string& bytes) {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (!read_file(file, bytes)) {
    if (!path_exists(file) || std::chrono::steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(kPause);
  }
  return true;
}

bool pack(const std::vector<fs::path>& files, std::FILE* stream) {
  ZipWriter zip(stream);
  for (const fs::path& file : files) {
    std::string bytes;
    if (!read_patiently(file, bytes)) return false;
    if (!zip.add(path_to_utf8(file.filename()), bytes)) return false;
  }
  return zip.finish();
}

}  // namespace

bool write_report_archive(const fs::path& folder, const fs::path& archive_path, Logger& logger) {
  const FilesToSend found = files_to_send(folder);
  for (const fs::path& entry : found.skipped) {
    logger.warn("Not sent, a device or a link that leads nowhere: %s", path_to_utf8(entry).c_str());
  }
  return found.listed && write_archive(found.files, archive_path);
}

bool write_archive(const std::vector<fs::path>& files, const fs::path& archive_path) {
  remove_file(archive_path);
  ScopedStream stream(open_for_writing(archive_path));
  if (!stream) return false;
  const bool packed = pack(files, stream.get());
  // Closing writes what is still buffered, so it can fail too.
  return std::fclose(stream.release()) == 0 && packed;
}

}  // namespace wrenfall
