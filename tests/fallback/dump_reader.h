#ifndef WRENFALL_TESTS_FALLBACK_DUMP_READER_H_
#define WRENFALL_TESTS_FALLBACK_DUMP_READER_H_

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

using Bytes = std::vector<uint8_t>;
using Pairs = std::vector<std::pair<std::string, std::string>>;

struct AnnotationContent {
  Bytes report_id;
  Pairs start_up;
  Pairs live;  // Of module 0, in the order of the dump.
  std::vector<uint16_t> live_types;
};

struct Dump {
  std::vector<uint32_t> stream_types;
  std::vector<uint32_t> thread_ids;
  std::vector<std::string> modules;
  uint32_t exception_code = 0;
  uint32_t exception_thread = 0;
  uint64_t exception_address = 0;
  uint64_t instruction_pointer = 0;  // Of the exception's context.
  uint64_t memory_bytes = 0;         // In the memory lists.
  AnnotationContent annotations;
};

// Both check every offset against the file's size and throw std::runtime_error naming what is
// wrong.
AnnotationContent parse_annotation_stream(const Bytes& file, uint32_t rva, uint32_t size);
Dump parse_dump(const Bytes& file);

#endif  // WRENFALL_TESTS_FALLBACK_DUMP_READER_H_
