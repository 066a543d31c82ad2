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

// Checks every offset against the file's size and throws std::runtime_error naming what is wrong.
AnnotationContent parse_annotation_stream(const Bytes& file, uint32_t rva, uint32_t size);

#endif  // WRENFALL_TESTS_FALLBACK_DUMP_READER_H_
