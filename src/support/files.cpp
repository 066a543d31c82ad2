#include "support/files.h"

#include <fstream>

namespace wrenfall {

namespace fs = std::filesystem;

namespace {

fs::path temporary_of(fs::path path) { return path += ".tmp"; }

// `leftover` is why the temporary file is still there.
bool write_through_temporary(const fs::path& path, std::string_view bytes,
                             std::error_code& leftover) {
  if (path.has_parent_path()) create_folders(path.parent_path());
  const fs::path temporary = temporary_of(path);
  {
    std::ofstream stream(temporary, std::ios::binary | std::ios::trunc);
    if (!stream) return false;
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    if (!stream) return false;
  }
  if (replace_file(temporary, path)) return true;
  const bool copied = copy_file_over(temporary, path);
  fs::remove(temporary, leftover);
  return copied;
}

}  // namespace

bool write_file_atomic(const fs::path& path, std::string_view bytes) {
  std::error_code leftover;
  const bool written = write_through_temporary(path, bytes, leftover);
  if (leftover) throw fs::filesystem_error("remove", temporary_of(path), leftover);
  return written;
}

bool try_write_file_atomic(const fs::path& path, std::string_view bytes) {
  std::error_code leftover;
  return write_through_temporary(path, bytes, leftover);
}

std::optional<uint64_t> size_of_file(const fs::path& path) {
  std::error_code error;
  const auto size = fs::file_size(path, error);
  if (error) return std::nullopt;
  return static_cast<uint64_t>(size);
}

bool create_folders(const fs::path& path) {
  std::error_code error;
  fs::create_directories(path, error);
  return is_folder(path);
}

bool remove_file(const fs::path& path) {
  std::error_code error;
  fs::remove(path, error);
  return !error;
}

}  // namespace wrenfall
