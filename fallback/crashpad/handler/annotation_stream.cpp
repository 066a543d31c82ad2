#include "handler/annotation_stream.h"

#include <cstddef>

namespace crashpad::internal {
namespace {

// Appends to the stream; the members whose names end in `_at` fill in what was reserved. All numbers
// are little-endian, and records are packed to 4 bytes.
class StreamWriter {
 public:
  explicit StreamWriter(uint32_t file_offset) : file_offset_(file_offset) {}

  uint32_t rva() const { return rva_of(bytes_.size()); }
  size_t position() const { return bytes_.size(); }
  uint32_t rva_of(size_t position) const { return file_offset_ + static_cast<uint32_t>(position); }

  size_t reserve(size_t size) {
    const size_t position = bytes_.size();
    bytes_.resize(position + size);
    return position;
  }

  void put_u16(uint32_t value) {
    bytes_.push_back(static_cast<uint8_t>(value));
    bytes_.push_back(static_cast<uint8_t>(value >> 8));
  }

  void put_u32(uint32_t value) {
    put_u16(value & 0xFFFF);
    put_u16(value >> 16);
  }

  void put_u32_at(size_t position, uint32_t value) {
    for (size_t i = 0; i < 4; ++i) bytes_[position + i] = static_cast<uint8_t>(value >> (8 * i));
  }

  void put_uuid(const Uuid& uuid) { bytes_.insert(bytes_.end(), uuid.begin(), uuid.end()); }

  // Length and bytes, padded to 4 bytes. `terminated` appends a NUL that the length does not count.
  uint32_t put_bytes(const std::string& text, bool terminated) {
    const uint32_t result = rva();
    put_u32(static_cast<uint32_t>(text.size()));
    bytes_.insert(bytes_.end(), text.begin(), text.end());
    if (terminated) bytes_.push_back(0);
    while (bytes_.size() % 4 != 0) bytes_.push_back(0);
    return result;
  }

  // Points the LOCATION reserved at `location` to the `size` bytes at `position`.
  void set_location(size_t location, size_t position, size_t size) {
    put_u32_at(location, static_cast<uint32_t>(size));
    put_u32_at(location + 4, rva_of(position));
  }

  std::vector<uint8_t> take() { return std::move(bytes_); }

 private:
  const uint32_t file_offset_;
  std::vector<uint8_t> bytes_;
};

// A LOCATION of size 0 means "absent", so empty lists are not written.

void write_simple_annotations(StreamWriter* writer, size_t location,
                              const std::vector<std::pair<std::string, std::string>>& pairs) {
  if (pairs.empty()) return;
  const size_t size = 4 + 8 * pairs.size();
  size_t entry = writer->reserve(size);
  writer->set_location(location, entry, size);
  writer->put_u32_at(entry, static_cast<uint32_t>(pairs.size()));
  entry += 4;
  for (const auto& [key, value] : pairs) {
    writer->put_u32_at(entry, writer->put_bytes(key, true));
    writer->put_u32_at(entry + 4, writer->put_bytes(value, true));
    entry += 8;
  }
}

void write_annotation_objects(StreamWriter* writer, size_t location,
                              const std::vector<LiveAnnotation>& annotations) {
  const size_t size = 4 + 12 * annotations.size();
  size_t entry = writer->reserve(size);
  writer->set_location(location, entry, size);
  writer->put_u32_at(entry, static_cast<uint32_t>(annotations.size()));
  entry += 4;
  for (const LiveAnnotation& annotation : annotations) {
    writer->put_u32_at(entry, writer->put_bytes(annotation.name, true));
    writer->put_u32_at(entry + 4, annotation.type);
    writer->put_u32_at(entry + 8, writer->put_bytes(annotation.value, false));
    entry += 12;
  }
}

void write_module_list(StreamWriter* writer, size_t location,
                       const std::vector<LiveAnnotation>& annotations) {
  if (annotations.empty()) return;
  const size_t list = writer->position();
  writer->put_u32(1);  // Modules.
  writer->put_u32(0);  // The program is the first module of the dump's module list.
  const size_t module_location = writer->reserve(8);
  writer->set_location(location, list, writer->position() - list);

  const size_t module = writer->position();
  writer->put_u32(1);   // Version.
  writer->reserve(16);  // No list annotations, no simple ones.
  const size_t objects_location = writer->reserve(8);
  writer->set_location(module_location, module, writer->position() - module);
  write_annotation_objects(writer, objects_location, annotations);
}

}  // namespace

std::vector<uint8_t> build_annotation_stream(const AnnotationStreamContent& content,
                                             uint32_t file_offset) {
  StreamWriter writer(file_offset);
  writer.put_u32(1);  // Version.
  writer.put_uuid(content.report_id);
  writer.put_uuid(content.client_id);
  const size_t start_up = writer.reserve(8);
  const size_t module_list = writer.reserve(8);
  write_simple_annotations(&writer, start_up, content.start_up);
  write_module_list(&writer, module_list, content.live);
  return writer.take();
}

}  // namespace crashpad::internal
