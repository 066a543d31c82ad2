#ifndef WRENFALL_UPLOAD_MULTIPART_FORM_H_
#define WRENFALL_UPLOAD_MULTIPART_FORM_H_

#include <string>
#include <utility>
#include <vector>

namespace wrenfall {

// A body of type multipart/form-data (RFC 7578) made of text fields. Values are sent as they are.
class MultipartForm {
 public:
  // An empty form with a fresh random boundary.
  static MultipartForm create();

  explicit MultipartForm(std::string boundary) : boundary_(std::move(boundary)) {}

  // Fields keep the order in which they are added; a name may be added more than once.
  void add(std::string name, std::string value);

  std::string content_type() const;
  std::string body() const;

 private:
  std::string boundary_;
  std::vector<std::pair<std::string, std::string>> fields_;
};

}  // namespace wrenfall

#endif  // WRENFALL_UPLOAD_MULTIPART_FORM_H_
