#include "dump_reader.h"

#include <cstddef>
#include <stdexcept>

namespace {

void require(bool condition, const std::string& what) {
  if (!condition) throw std::runtime_error(what);
}

struct Location {
  uint32_t size;
  uint32_t rva;
};

class Reader {
 public:
  explicit Reader(const Bytes& file) : file_(file) {}

  void require_range(uint64_t offset, uint64_t size) const {
    require(offset <= file_.size() && size <= file_.size() - offset, "offset beyond the end");
  }

  uint64_t number(uint64_t offset, int size) const {
    require_range(offset, static_cast<uint64_t>(size));
    uint64_t value = 0;
    for (int i = size - 1; i >= 0; --i) {
      value = value << 8 | file_[static_cast<size_t>(offset) + static_cast<size_t>(i)];
    }
    return value;
  }
  uint32_t u32(uint64_t offset) const { return static_cast<uint32_t>(number(offset, 4)); }
  Location location(uint64_t offset) const { return {u32(offset), u32(offset + 4)}; }

  // Length and bytes, and, for a string, the NUL behind them.
  std::string text(uint32_t rva, bool terminated) const {
    const uint32_t length = u32(rva);
    require_range(rva + uint64_t{4}, length + uint64_t{terminated});
    const auto begin = file_.begin() + rva + 4;
    require(!terminated || begin[length] == 0, "string without its NUL");
    return std::string(begin, begin + length);
  }

 private:
  const Bytes& file_;
};

Pairs parse_simple_annotations(const Reader& reader, Location location) {
  Pairs pairs;
  if (location.size == 0) return pairs;
  const uint32_t count = reader.u32(location.rva);
  require(location.size == 4 + 8 * uint64_t{count}, "size of the simple annotations");
  for (uint32_t i = 0; i < count; ++i) {
    const Location rvas = reader.location(location.rva + 4 + uint64_t{8} * i);
    pairs.emplace_back(reader.text(rvas.size, true), reader.text(rvas.rva, true));
  }
  return pairs;
}

void parse_annotation_objects(const Reader& reader, Location location, AnnotationContent* content) {
  if (location.size == 0) return;
  const uint32_t count = reader.u32(location.rva);
  require(location.size == 4 + 12 * uint64_t{count}, "size of the annotation objects");
  for (uint32_t i = 0; i < count; ++i) {
    const uint64_t entry = location.rva + 4 + uint64_t{12} * i;
    content->live.emplace_back(reader.text(reader.u32(entry), true),
                               reader.text(reader.u32(entry + 8), false));
    content->live_types.push_back(static_cast<uint16_t>(reader.number(entry + 4, 2)));
  }
}

}  // namespace

AnnotationContent parse_annotation_stream(const Bytes& file, uint32_t rva, uint32_t size) {
  const Reader reader(file);
  AnnotationContent content;
  require(size == 52, "size of the annotation stream");
  require(reader.u32(rva) == 1, "version of the annotation stream");
  content.report_id.assign(file.begin() + rva + 4, file.begin() + rva + 20);
  content.start_up = parse_simple_annotations(reader, reader.location(rva + uint64_t{36}));

  const Location modules = reader.location(rva + uint64_t{44});
  if (modules.size == 0) return content;
  require(reader.u32(modules.rva) == 1 && modules.size == 16, "module list");
  require(reader.u32(modules.rva + uint64_t{4}) == 0, "index of the module");
  const Location module = reader.location(modules.rva + uint64_t{8});
  require(reader.u32(module.rva) == 1 && module.size == 28, "module");
  require(reader.u32(module.rva + uint64_t{4}) == 0, "list annotations");
  require(reader.u32(module.rva + uint64_t{12}) == 0, "simple annotations of the module");
  parse_annotation_objects(reader, reader.location(module.rva + uint64_t{20}), &content);
  return content;
}
