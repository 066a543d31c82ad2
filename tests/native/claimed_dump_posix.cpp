#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "monitor/claimed_dump.h"

namespace wrenfall::monitor {
namespace {

namespace fs = std::filesystem;

std::FILE* stream_of(void* file) { return static_cast<std::FILE*>(file); }

// A link to the open file, which follows it when it is renamed.
fs::path link_to(void* file) { return "/proc/self/fd/" + std::to_string(fileno(stream_of(file))); }

// A read lease is refused while the file is open for writing anywhere.
bool is_being_written(int descriptor) {
  if (fcntl(descriptor, F_SETLEASE, F_RDLCK) != 0) return errno == EAGAIN;
  fcntl(descriptor, F_SETLEASE, F_UNLCK);
  return false;
}

bool claim(int descriptor) {
  return !is_being_written(descriptor) && flock(descriptor, LOCK_EX | LOCK_NB) == 0;
}

}  // namespace

void ClaimedDump::Closer::operator()(void* file) const { std::fclose(stream_of(file)); }

ClaimedDump::ClaimedDump(const fs::path& path) : file_(std::fopen(path.c_str(), "re")) {
  if (file_ && claim(fileno(stream_of(file_.get())))) {
    state_ = State::kClaimed;
    return;
  }
  error_ = static_cast<uint32_t>(errno);
  if (file_) state_ = State::kBusy;
  if (!file_ && (errno == ENOENT || errno == ENOTDIR)) state_ = State::kGone;
  file_.reset();
}

uint64_t ClaimedDump::size() const { return fs::file_size(link_to(file_.get())); }

bool ClaimedDump::read_at(uint64_t offset, void* buffer, size_t size) const {
  return pread(fileno(stream_of(file_.get())), buffer, size, static_cast<off_t>(offset)) ==
         static_cast<ssize_t>(size);
}

bool ClaimedDump::write_at(uint64_t offset, const void* data, size_t size) {
  const int descriptor = open(link_to(file_.get()).c_str(), O_WRONLY | O_CLOEXEC);
  const ssize_t done =
      descriptor < 0 ? -1 : pwrite(descriptor, data, size, static_cast<off_t>(offset));
  error_ = static_cast<uint32_t>(errno);
  if (descriptor >= 0) close(descriptor);
  return done == static_cast<ssize_t>(size);
}

minidump::ReadAt ClaimedDump::reader() const {
  return [this](uint64_t offset, void* buffer, size_t count) {
    return read_at(offset, buffer, count);
  };
}

std::chrono::seconds ClaimedDump::age() const {
  const auto age = fs::file_time_type::clock::now() - fs::last_write_time(link_to(file_.get()));
  return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::abs(age));
}

bool ClaimedDump::move_to(const fs::path& target) {
  const fs::path name = fs::read_symlink(link_to(file_.get()));
  if (std::rename(name.c_str(), target.c_str()) == 0) return true;
  error_ = static_cast<uint32_t>(errno);
  return false;
}

}  // namespace wrenfall::monitor
