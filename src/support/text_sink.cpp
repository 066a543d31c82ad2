#include "support/text_sink.h"

namespace wrenfall {

TextSink::TextSink(std::ostream& stream) : stream_(stream), buffer_(new char[kCapacity]) {}

TextSink& TextSink::make_room_for(std::string_view text) {
  flush();
  if (text.size() <= kCapacity) {
    copy(text);
  } else {
    stream_.write(text.data(), static_cast<std::streamsize>(text.size()));
  }
  return *this;
}

void TextSink::flush() {
  stream_.write(buffer_.get(), static_cast<std::streamsize>(used_));
  used_ = 0;
}

}  // namespace wrenfall
