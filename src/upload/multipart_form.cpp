#include "upload/multipart_form.h"

#include <random>
#include <string_view>

namespace wrenfall {

MultipartForm MultipartForm::create() {
  static constexpr std::string_view kAlphabet =
      "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
  static constexpr int kRandomCharacters = 16;
  std::mt19937 generator{std::random_device{}()};
  std::uniform_int_distribution<size_t> index(0, kAlphabet.size() - 1);
  std::string boundary = "----WrenfallFormBoundary";
  for (int i = 0; i < kRandomCharacters; ++i) boundary += kAlphabet[index(generator)];
  return MultipartForm(std::move(boundary));
}

void MultipartForm::add(std::string name, std::string value) {
  fields_.emplace_back(std::move(name), std::move(value));
}

std::string MultipartForm::content_type() const {
  return "multipart/form-data; boundary=" + boundary_;
}

std::string MultipartForm::body() const {
  std::string text;
  for (const auto& [name, value] : fields_) {
    text += "--" + boundary_ + "\r\n";
    text += "Content-Disposition: form-data; name=\"" + name + "\"\r\n\r\n";
    text += value;
    text += "\r\n";
  }
  return text + "--" + boundary_ + "--\r\n";
}

}  // namespace wrenfall
