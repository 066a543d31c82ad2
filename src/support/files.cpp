#include "support/files.h"

#include <cstdio>
#include <cstdlib>

namespace wrenfall {

namespace fs = std::filesystem;

namespace {

// Without a stream of the C++ library: with it, that library's locales would become part of every
// program that writes a file.
bool write_new(const fs::path& path, std::string_view bytes) {
  std::FILE* const file = open_for_writing(path);
  if (file == nullptr) return false;
  // Flushed here, because not every runtime's fclose tells of a full disk.
  const bool written =
      std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size() && std::fflush(file) == 0;
  return std::fclose(file) == 0 && written;
}

}  // namespace

bool write_file_atomic(const fs::path& path, std::string_view bytes) {
  if (path.has_parent_path()) create_folders(path.parent_path());
  fs::path temporary = path;
  temporary += kTemporarySuffix;
  if (!write_new(temporary, bytes)) return false;
  if (replace_file(temporary, path)) return true;
  const bool copied = copy_file_over(temporary, path);
  remove_file(temporary);
  return copied;
}

std::optional<std::chrono::seconds> age_of_file(const fs::path& path) {
  constexpr int64_t kTicksPerSecond = 10'000'000;
  const auto written = file_write_time(path);
  if (!written) return std::nullopt;
  return std::chrono::seconds(std::abs(file_time_now() - *written) / kTicksPerSecond);
}

bool is_held_file(const fs::path& path, uint64_t max_bytes) {
  std::string bytes;
  return path_exists(path) && size_of_file(path).value_or(0) <= max_bytes &&
         !read_file(path, bytes, max_bytes);
}

}  // namespace wrenfall
