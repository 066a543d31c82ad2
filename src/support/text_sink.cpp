#include "support/text_sink.h"

namespace wrenfall {
namespace {

constexpr size_t kCapacity = 65536;

}  // namespace

TextSink::TextSink(std::ostream& stream) : stream_(stream) { buffer_.reserve(kCapacity); }

TextSink& TextSink::operator<<(std::string_view text) {
  if (buffer_.size() + text.size() > kCapacity) flush();
  if (text.size() > kCapacity) {
    stream_.write(text.data(), static_cast<std::streamsize>(text.size()));
  } else {
    buffer_.append(text);
  }
  return *this;
}

TextSink& TextSink::operator<<(char character) {
  if (buffer_.size() == kCapacity) flush();
  buffer_ += character;
  return *this;
}

void TextSink::flush() {
  stream_.write(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
  buffer_.clear();
}

}  // namespace wrenfall
