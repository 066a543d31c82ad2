#ifndef WRENFALL_COMPANIONS_MINIDUMP_ANNOTATION_STREAM_H_
#define WRENFALL_COMPANIONS_MINIDUMP_ANNOTATION_STREAM_H_

#include <cstdint>
#include <map>
#include <string>

#include "minidump/minidump_layout.h"

namespace wrenfall::minidump {

inline constexpr uint32_t kAnnotationStreamType = 0x43500001;

// Texts by their keys; bytes as they lie in the dump, not checked to be UTF-8.
struct DumpAnnotations {
  std::string report_id;                       // a UUID in lower case
  std::map<std::string, std::string> startup;  // what the handler was started with
  std::map<std::string, std::string> live;     // as they were at the dump; the newest of a name
};

// Reads the capture handler's own stream. False when a part of it lies outside the dump, or when a
// count or length is beyond all reason: such a dump is damaged, and what else it says cannot be
// trusted.
bool read_annotation_stream(const DumpBytes& dump, const DumpLocation& stream,
                            DumpAnnotations& annotations);

}  // namespace wrenfall::minidump

#endif  // WRENFALL_COMPANIONS_MINIDUMP_ANNOTATION_STREAM_H_
