#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#include "monitor/claimed_dump.h"

namespace wrenfall::monitor {
namespace {

// Beside the descriptor the name, for renaming.
struct OpenFile {
  int descriptor;
  std::string name;
};

OpenFile& open_file(void* file) { return *static_cast<OpenFile*>(file); }

// A read lease is refused while the file is open for writing anywhere.
bool is_being_written(int descriptor) {
  if (fcntl(descriptor, F_SETLEASE, F_RDLCK) != 0) return errno == EAGAIN;
  fcntl(descriptor, F_SETLEASE, F_UNLCK);
  return false;
}

}  // namespace

void ClaimedDump::Closer::operator()(void* file) const {
  close(open_file(file).descriptor);
  delete &open_file(file);
}

ClaimedDump::ClaimedDump(const std::filesystem::path& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) {
    error_ = static_cast<uint32_t>(errno);
    state_ = errno == ENOENT || errno == ENOTDIR ? State::kGone : State::kFailed;
    return;
  }
  file_.reset(new OpenFile{descriptor, path.native()});
  if (is_being_written(descriptor) || flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    error_ = static_cast<uint32_t>(errno);
    state_ = State::kBusy;
    file_.reset();
    return;
  }
  state_ = State::kClaimed;
}

uint64_t ClaimedDump::size() const {
  struct stat status {};
  fstat(open_file(file_.get()).descriptor, &status);
  return static_cast<uint64_t>(status.st_size);
}

bool ClaimedDump::read_at(uint64_t offset, void* buffer, size_t size) const {
  return pread(open_file(file_.get()).descriptor, buffer, size, static_cast<off_t>(offset)) ==
         static_cast<ssize_t>(size);
}

bool ClaimedDump::write_at(uint64_t offset, const void* data, size_t size) {
  const int descriptor = open(open_file(file_.get()).name.c_str(), O_WRONLY | O_CLOEXEC);
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
  struct stat status {};
  if (fstat(open_file(file_.get()).descriptor, &status) != 0) return std::chrono::seconds(0);
  return std::chrono::seconds(std::abs(std::time(nullptr) - status.st_mtime));
}

bool ClaimedDump::move_to(const std::filesystem::path& target) {
  OpenFile& file = open_file(file_.get());
  if (std::rename(file.name.c_str(), target.c_str()) == 0) {
    file.name = target.native();
    return true;
  }
  error_ = static_cast<uint32_t>(errno);
  return false;
}

}  // namespace wrenfall::monitor
