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

bool is_same_entry(const fs::path& a, const fs::path& b) {
  std::error_code error;
  return fs::equivalent(a, b, error) && !error;
}

std::optional<std::chrono::seconds> age_of_file(const fs::path& path) {
  constexpr int64_t kTicksPerSecond = 10'000'000;
  const auto written = file_write_time(path);
  if (!written) return std::nullopt;
  return std::chrono::seconds(std::abs(file_time_now() - *written) / kTicksPerSecond);
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
