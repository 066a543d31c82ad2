#include <atomic>

#include "backend/annotation_table.h"
#include "backend/backend.h"

namespace wrenfall {
namespace {

// Keeps annotations, and writes no dump. A program of the name "no handler" cannot be started.
class CaptureLessBackend : public Backend {
 public:
  wrenfall_result start(const BackendConfiguration& configuration) override {
    started_ = configuration.handler_path.filename() != "no handler";
    return started_ ? WRENFALL_OK : WRENFALL_ERROR_HANDLER_START_FAILED;
  }
  bool stop() override {
    started_ = false;
    annotations_.clear();
    return true;
  }
  const char* name() const override { return kCrashpadBackendName; }
  void set_annotation(const std::string& key, const std::string& value) override {
    AnnotationPlace unknown;
    annotations_.set(key, value, unknown);
  }
  void set_annotation_at(const std::string& key, const std::string& value,
                         AnnotationPlace& place) override {
    annotations_.set(key, value, place);
  }
  bool has_capability(uint32_t) const override { return false; }
  wrenfall_result capture(const std::string&) override {
    return started_ ? WRENFALL_OK : WRENFALL_ERROR_NOT_INITIALIZED;
  }

 private:
  std::atomic<bool> started_{false};
  AnnotationTable annotations_;
};

}  // namespace

std::unique_ptr<Backend> make_crashpad_backend(std::chrono::milliseconds) {
  return std::make_unique<CaptureLessBackend>();
}

}  // namespace wrenfall
