#ifndef WRENFALL_COMPANIONS_MINIDUMP_ANNOTATION_STREAM_H_
#define WRENFALL_COMPANIONS_MINIDUMP_ANNOTATION_STREAM_H_

#include <cstdint>
#include <map>
#include <string>

#include "minidump/minidump_layout.h"

namespace wrenfall::minidump {

inline constexpr uint32_t kAnnotationStreamType = 0x43500001;

// Texts by their keys. The bytes are those of the dump and need not be UTF-8.
struct DumpAnnotations {
  std::string report_id;                       // a UUID in lower case
  std::map<std::string, std::string> startup;  // what the handler was started with
  std::map<std::string, std::string> live;     // as they were when the dump was taken; of several
                                               // with one name the newest
};

// Reads the stream that the capture handler adds. False when a part of it lies outside the dump, or
// when a count or length is larger than any handler writes: such a dump is damaged as a whole.
bool read_annotation_stream(const DumpBytes& dump, const DumpLocation& stream,
                            DumpAnnotations& annotations);

}  // namespace wrenfall::minidump

#endif  // WRENFALL_COMPANIONS_MINIDUMP_ANNOTATION_STREAM_H_
