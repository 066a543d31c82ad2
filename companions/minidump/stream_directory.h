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
  kModuleList = 4,
  kMemoryList = 5,
  kException = 6,
  kSystemInfo = 7,
  kMemory64List = 9,
  kThreadNames = 24,
};

constexpr uint32_t kSignature = 0x504D444D;  // "MDMP", the first bytes of every dump

struct Stream {
  uint32_t type = 0;
  DumpLocation place;
};

struct StreamDirectory {
  uint32_t time_stamp = 0;  // of the dump
  uint64_t type_flags = 0;  // of the dump
  std::vector<Stream> streams;
  bool left_out = false;  // whether a stream was

  // The first stream of a type; null when there is none.
  const Stream* find(uint32_t type) const;
};

// What becomes of a stream that does not lie wholly in the file.
enum class CutStreams { kRefuse, kLeaveOut };

// Nothing when the file is no minidump, when the directory does not lie wholly in the file, or when a
// stream does not and is to be refused.
std::optional<StreamDirectory> read_stream_directory(const DumpBytes& dump,
                                                     CutStreams cut = CutStreams::kRefuse);

}  // namespace wrenfall::minidump

#endif  // WRENFALL_COMPANIONS_MINIDUMP_STREAM_DIRECTORY_H_
