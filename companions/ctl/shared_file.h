#ifndef WRENFALL_COMPANIONS_CTL_SHARED_FILE_H_
#define WRENFALL_COMPANIONS_CTL_SHARED_FILE_H_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>

namespace wrenfall::ctl {

// A file open for reading, piece by piece, that others may write, replace and remove meanwhile.
class SharedFile {
 public:
  explicit SharedFile(const std::filesystem::path& path);

  // False when the file could not be opened; nothing can be read then.
  bool is_open() const { return file_ != nullptr; }

  // The size at this moment, 0 when it cannot be told.
  uint64_t size() const;

  // True when all of the bytes were read.
  bool read_at(uint64_t offset, void* buffer, size_t size) const;

 private:
  struct Closer {
    void operator()(void* file) const;
  };
  std::unique_ptr<void, Closer> file_;
};

}  // namespace wrenfall::ctl

#endif  // WRENFALL_COMPANIONS_CTL_SHARED_FILE_H_
