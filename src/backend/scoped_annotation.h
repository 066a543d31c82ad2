#ifndef WRENFALL_BACKEND_SCOPED_ANNOTATION_H_
#define WRENFALL_BACKEND_SCOPED_ANNOTATION_H_

#include <string>
#include <utility>

#include "backend/backend.h"

namespace wrenfall {

// An annotation that is set for the lifetime of this object. Only dumps taken meanwhile carry it.
class ScopedAnnotation {
 public:
  ScopedAnnotation(Backend& backend, std::string key, const std::string& value)
      : backend_(backend), key_(std::move(key)) {
    backend_.set_annotation(key_, value);
  }
  ~ScopedAnnotation() { backend_.set_annotation(key_, {}); }
  ScopedAnnotation(const ScopedAnnotation&) = delete;
  ScopedAnnotation& operator=(const ScopedAnnotation&) = delete;

 private:
  Backend& backend_;
  const std::string key_;
};

}  // namespace wrenfall

#endif  // WRENFALL_BACKEND_SCOPED_ANNOTATION_H_
