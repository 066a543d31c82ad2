#ifndef WRENFALL_COMPANIONS_MINIDUMP_STREAM_DIRECTORY_H_
#define WRENFALL_COMPANIONS_MINIDUMP_STREAM_DIRECTORY_H_

#include <cstdint>
#include <optional>
#include <vector>

#include "minidump/minidump_layout.h"

namespace wrenfall::minidump {

// The types of MINIDUMP_STREAM_TYPE (minidumpapiset.h) that are read here.
enum StreamType : uint32_t {
  kThreadList = 3,
  kMemoryList = 5,
  kException = 6,
  kMemory64List = 9,
};

struct Stream {
  uint32_t type = 0;
  DumpLocation place;
};

struct StreamDirectory {
  uint32_t time_stamp = 0;  // of the dump
  std::vector<Stream> streams;

  // The first stream of a type; null when there is none.
  const Stream* find(uint32_t type) const;
};

// Nothing when the file is no minidump, or when the directory or a stream that it names does not lie
// wholly in the file.
std::optional<StreamDirectory> read_stream_directory(const DumpBytes& dump);

}  // namespace wrenfall::minidump

#endif  // WRENFALL_COMPANIONS_MINIDUMP_STREAM_DIRECTORY_H_
