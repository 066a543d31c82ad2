#include "hang/hang_report.h"

#include "backend/annotation_keys.h"
#include "backend/scoped_annotation.h"
#include "hang/watchdog.h"

namespace wrenfall {

void capture_hang(Backend& backend, Logger& logger, uint32_t policy, const Hang& hang) {
  const wrenfall_result result = [&] {
    const ScopedAnnotation thread(backend, annotation::kHangThread, hang.thread_name);
    const ScopedAnnotation thread_id(backend, annotation::kHangThreadId,
                                     std::to_string(hang.thread_id));
    const ScopedAnnotation duration(backend, annotation::kHangDurationMs,
                                    std::to_string(hang.duration_ms));
    backend.set_annotation(annotation::kHangPolicy, hang_policy_text(policy));
    return backend.capture(kReportKindHang);
  }();
  if (result != WRENFALL_OK) return;
  logger.info("hang report captured for thread '%s' (%lld ms)", hang.thread_name.c_str(),
              static_cast<long long>(hang.duration_ms));
}

}  // namespace wrenfall
