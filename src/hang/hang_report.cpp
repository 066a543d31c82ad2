#include "hang/hang_report.h"

#include "backend/annotation_keys.h"
#include "backend/scoped_annotation.h"
#include "hang/watchdog.h"

namespace wrenfall {

void capture_hang(Backend& backend, Logger& logger, uint32_t policy, const std::string& thread_name,
                  int64_t duration_ms) {
  const wrenfall_result result = [&] {
    const ScopedAnnotation thread(backend, annotation::kHangThread, thread_name);
    const ScopedAnnotation duration(backend, annotation::kHangDurationMs,
                                    std::to_string(duration_ms));
    backend.set_annotation(annotation::kHangPolicy, hang_policy_text(policy));
    return backend.capture(kReportKindHang);
  }();
  if (result != WRENFALL_OK) return;
  logger.info("hang report captured for thread '%s' (%lld ms)", thread_name.c_str(),
              static_cast<long long>(duration_ms));
}

}  // namespace wrenfall
