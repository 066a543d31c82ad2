#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string_view>

#include "support/files.h"

namespace wrenfall {

namespace fs = std::filesystem;

// That of the last call, for those that want a place for one.
static thread_local std::error_code last_error;

// Not with std::filesystem, which ends the process when it finds no memory for its iterator.
std::vector<fs::path> list_folder(const fs::path& folder, bool* opened) {
  std::vector<fs::path> entries;
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(opendir(folder.c_str()), closedir);
  if (opened != nullptr) *opened = stream != nullptr;
  while (const dirent* const entry = stream ? readdir(stream.get()) : nullptr) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") entries.push_back(folder / name);
  }
  return entries;
}

bool path_exists(const fs::path& path) { return fs::exists(fs::symlink_status(path, last_error)); }

bool is_file(const fs::path& path) { return path_exists(path) && !is_folder(path); }

bool is_folder(const fs::path& path) { return fs::is_directory(path, last_error); }

bool is_link(const fs::path& path) { return fs::is_symlink(path, last_error); }

bool remove_entry(const fs::path& path) {
  fs::remove_all(path, last_error);
  return !last_error;
}

bool remove_file(const fs::path& path) {
  fs::remove(path, last_error);
  return !last_error;
}

bool remove_folder(const fs::path& folder) { return !is_file(folder) && remove_entry(folder); }

bool is_disk_file(const fs::path& path) { return fs::is_regular_file(path, last_error); }

bool is_same_entry(const fs::path& a, const fs::path& b) {
  return fs::equivalent(a, b, last_error) && !last_error;
}

std::optional<uint64_t> size_of_file(const fs::path& path) {
  const auto size = fs::file_size(path, last_error);
  return last_error ? std::nullopt : std::optional<uint64_t>(size);
}

bool create_folders(const fs::path& path) {
  fs::create_directories(path, last_error);
  return is_folder(path);
}

bool read_file(const fs::path& path, std::string& bytes, uint64_t max_bytes) {
  std::ifstream stream(path, std::ios::binary);
  if (!stream || is_folder(path) || size_of_file(path).value_or(0) > max_bytes) return false;
  bytes.assign(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
  return !stream.bad();
}

bool replace_file(const fs::path& from, const fs::path& to) {
  fs::rename(from, to, last_error);
  return !last_error;
}

bool append_to_file(const fs::path& path, std::string_view bytes) {
  const int file = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT, 0666);
  if (file < 0) return false;
  const bool written =
      write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
  close(file);
  return written;
}

std::FILE* open_for_writing(const fs::path& path) { return std::fopen(path.c_str(), "wb"); }

static std::optional<int64_t> write_time(const fs::path& path, bool of_folder) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0 || S_ISDIR(status.st_mode) != of_folder) return std::nullopt;
  return int64_t{status.st_mtim.tv_sec} * 10'000'000 + status.st_mtim.tv_nsec / 100;
}

std::optional<int64_t> file_write_time(const fs::path& path) { return write_time(path, false); }
std::optional<int64_t> folder_write_time(const fs::path& path) { return write_time(path, true); }

int64_t file_time_now() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return int64_t{now.tv_sec} * 10'000'000 + now.tv_nsec / 100;
}

void reset_copied_attributes(const fs::path& copy) {
  fs::permissions(copy, fs::perms::owner_write, fs::perm_options::add, last_error);
  fs::last_write_time(copy, fs::file_time_type::clock::now(), last_error);
}

bool copy_file_over(const fs::path& from, const fs::path& to) {
  return fs::copy_file(from, to, fs::copy_options::overwrite_existing, last_error) && !last_error;
}

}  // namespace wrenfall
