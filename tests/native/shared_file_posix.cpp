#include <cstdio>

#include "common/shared_file.h"

namespace wrenfall {

namespace {
std::FILE* stream_of(void* file) { return static_cast<std::FILE*>(file); }
}  // namespace

void SharedFile::Closer::operator()(void* file) const { std::fclose(stream_of(file)); }

SharedFile::SharedFile(const std::filesystem::path& path) : file_(std::fopen(path.c_str(), "rb")) {}

uint64_t SharedFile::size() const {
  if (std::fseek(stream_of(file_.get()), 0, SEEK_END) != 0) return 0;
  const long size = std::ftell(stream_of(file_.get()));
  return size < 0 ? 0 : static_cast<uint64_t>(size);
}

bool SharedFile::read_at(uint64_t offset, void* buffer, size_t size) const {
  return std::fseek(stream_of(file_.get()), static_cast<long>(offset), SEEK_SET) == 0 &&
         std::fread(buffer, 1, size, stream_of(file_.get())) == size;
}

}  // namespace wrenfall
