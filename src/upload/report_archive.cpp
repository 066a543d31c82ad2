#include "upload/report_archive.h"

#include <miniz.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "report/store/report_files.h"
#include "support/files.h"
#include "support/text.h"

namespace wrenfall {

namespace fs = std::filesystem;

namespace {

constexpr mz_uint kCompressionLevel = 6;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using ScopedStream = std::unique_ptr<std::FILE, FileCloser>;

// A ZIP writer on an open stream. The destructor frees it when finish() was not reached.
class ZipWriter {
 public:
  explicit ZipWriter(std::FILE* stream) : open_(mz_zip_writer_init_cfile(&zip_, stream, 0)) {}
  ~ZipWriter() {
    if (open_) mz_zip_writer_end(&zip_);
  }
  ZipWriter(const ZipWriter&) = delete;
  ZipWriter& operator=(const ZipWriter&) = delete;

  bool add(const std::string& name, const std::string& bytes) {
    return open_ && mz_zip_writer_add_mem(&zip_, name.c_str(), bytes.data(), bytes.size(),
                                          kCompressionLevel);
  }
  bool finish() {
    if (!open_ || !mz_zip_writer_finalize_archive(&zip_)) return false;
    open_ = false;
    return mz_zip_writer_end(&zip_) != 0;
  }

 private:
  mz_zip_archive zip_{};
  bool open_;
};

bool pack(const std::vector<fs::path>& files, std::FILE* stream) {
  ZipWriter zip(stream);
  for (const fs::path& file : files) {
    std::string bytes;
    if (!read_file(file, bytes)) return false;
    if (!zip.add(path_to_utf8(file.filename()), bytes)) return false;
  }
  return zip.finish();
}

}  // namespace

bool write_report_archive(const fs::path& folder, const fs::path& archive_path) {
  remove_file(archive_path);
  ScopedStream stream(open_for_writing(archive_path));
  if (!stream) return false;
  const auto files = files_to_send(folder);
  const bool packed = files && pack(*files, stream.get());
  // Closing writes what is still buffered, so it can fail too.
  return std::fclose(stream.release()) == 0 && packed;
}

}  // namespace wrenfall
