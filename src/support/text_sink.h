#ifndef WRENFALL_SUPPORT_TEXT_SINK_H_
#define WRENFALL_SUPPORT_TEXT_SINK_H_

#include <cstddef>
#include <cstring>
#include <memory>
#include <ostream>
#include <string_view>

namespace wrenfall {

// Gathers many small pieces of text into few large writes: a formatted insertion costs far more than
// the bytes that it inserts. Failures stay in the stream's state. Used by one thread.
class TextSink {
 public:
  explicit TextSink(std::ostream& stream);
  ~TextSink() { flush(); }
  TextSink(const TextSink&) = delete;
  TextSink& operator=(const TextSink&) = delete;

  TextSink& operator<<(std::string_view text) {
    if (text.size() > kCapacity - used_) return make_room_for(text);
    copy(text);
    return *this;
  }
  TextSink& operator<<(char character) { return *this << std::string_view(&character, 1); }

 private:
  static constexpr size_t kCapacity = 65536;

  template <size_t kSize>
  static void copy_bytes(char*& to, const char*& from) {
    std::memcpy(to, from, kSize);
    to += kSize;
    from += kSize;
  }

  // Most pieces are a few bytes long: a call of memcpy costs more than they do. With a constant size
  // it is none.
  void copy(std::string_view text) {
    char* to = buffer_.get() + used_;
    const char* from = text.data();
    size_t left = text.size();
    used_ += left;
    for (; left >= 16; left -= 16) copy_bytes<16>(to, from);
    if ((left & 8) != 0) copy_bytes<8>(to, from);
    if ((left & 4) != 0) copy_bytes<4>(to, from);
    if ((left & 2) != 0) copy_bytes<2>(to, from);
    if ((left & 1) != 0) copy_bytes<1>(to, from);
  }

  TextSink& make_room_for(std::string_view text);
  void flush();

  std::ostream& stream_;
  const std::unique_ptr<char[]> buffer_;
  size_t used_ = 0;
};

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_TEXT_SINK_H_
