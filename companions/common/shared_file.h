#ifndef WRENFALL_COMPANIONS_COMMON_SHARED_FILE_H_
#define WRENFALL_COMPANIONS_COMMON_SHARED_FILE_H_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>

namespace wrenfall {

// A file that is open for reading in pieces, while other processes may write, replace or remove it.
class SharedFile {
 public:
  explicit SharedFile(const std::filesystem::path& path);

  // False when the file could not be opened. Then its size is 0 and read_at() fails.
  bool is_open() const { return file_ != nullptr; }

  // The size at this moment; 0 when it cannot be queried.
  uint64_t size() const;

  // True when all of the bytes were read.
  bool read_at(uint64_t offset, void* buffer, size_t size) const;

 private:
  struct Closer {
    void operator()(void* file) const;
  };
  std::unique_ptr<void, Closer> file_;
};

}  // namespace wrenfall

#endif  // WRENFALL_COMPANIONS_COMMON_SHARED_FILE_H_
