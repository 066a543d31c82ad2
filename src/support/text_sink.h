#ifndef WRENFALL_SUPPORT_TEXT_SINK_H_
#define WRENFALL_SUPPORT_TEXT_SINK_H_

#include <ostream>
#include <string>
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

  TextSink& operator<<(std::string_view text);
  TextSink& operator<<(char character);

 private:
  void flush();

  std::ostream& stream_;
  std::string buffer_;
};

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_TEXT_SINK_H_
