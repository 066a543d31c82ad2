#ifndef WRENFALL_BACKEND_BACKEND_H_
#define WRENFALL_BACKEND_BACKEND_H_

#include <wrenfall/wrenfall.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "backend/stack_guarantee.h"
#include "support/logger.h"

namespace wrenfall {

// What a backend is started with. Texts are UTF-8.
struct BackendConfiguration {
  std::filesystem::path store_dir;
  std::filesystem::path database_dir;   // the handler's own folder, where dumps are written
  std::filesystem::path handler_path;   // the program to start as the capture handler
  std::filesystem::path reporter_path;  // may be empty
  bool protect_exception_filter = true;
  uint32_t stack_guarantee = kDefaultStackGuarantee;  // of every thread from the start on, bytes
  std::map<std::string, std::string> startup_annotations;  // for every dump of this process
  std::string environment;                                 // a live annotation from the start on
  Logger* logger = nullptr;  // not owned, outlives the backend; null logs nothing
};

// Where a backend keeps an annotation that was set before. The backend fills it in; a caller only
// keeps it beside the key that it belongs to.
struct AnnotationPlace {
  void* holder = nullptr;
  uint64_t renames = 0;
};

// What the one implementation calls itself, in each record's "captureBackend".
inline constexpr char kCrashpadBackendName[] = "crashpad";

// Arranges for a dump when the process crashes, and takes dumps of the running process on request. The
// rest of the library uses the capture only through this class.
class Backend {
 public:
  virtual ~Backend() = default;

  // A static text.
  virtual const char* name() const = 0;

  // WRENFALL_OK, _ALREADY_INITIALIZED when it is already started, _MONITOR_NOT_FOUND without a handler
  // path, or _HANDLER_START_FAILED. Blocks until the handler is ready.
  virtual wrenfall_result start(const BackendConfiguration& configuration) = 0;

  // Ends captures on request, and clears what set_annotation() was told. Crashes are still captured.
  // False while another thread waits for a dump, which still shows the values; they are then cleared
  // with this object.
  virtual bool stop() = 0;

  // Every dump from now on carries the value under the key; an empty value removes it. May be called
  // by any thread.
  virtual void set_annotation(const std::string& key, const std::string& value) = 0;

  virtual bool has_capability(uint32_t capability) const = 0;

  // Writes a dump of the running process, marked with the kind of report. WRENFALL_OK,
  // _NOT_INITIALIZED when not started, or _HANDLER_START_FAILED, with an error logged, when the handler
  // no longer answers. Blocks until the dump is written, but not without end.
  virtual wrenfall_result capture(const std::string& report_kind) = 0;

  // As set_annotation(), and faster when `place` is where the annotation was the last time.
  virtual void set_annotation_at(const std::string& key, const std::string& value,
                                 AnnotationPlace& place) = 0;
};

// How long a handler that is alive may take for a dump on demand. Some clients wait for ever when the
// handler does not answer. A large process on a busy machine takes a minute and more.
inline constexpr std::chrono::seconds kDumpBound(120);

std::unique_ptr<Backend> make_crashpad_backend(std::chrono::milliseconds dump_bound = kDumpBound);

}  // namespace wrenfall

#endif  // WRENFALL_BACKEND_BACKEND_H_
