#include "hang/hang_report.h"

#include "backend/annotation_keys.h"
#include "hang/watchdog.h"

namespace wrenfall {

void capture_hang(Backend& backend, Logger* logger, uint32_t policy, const std::string& thread_name,
                  int64_t duration_ms) {
  backend.set_annotation(annotation::kHangThread, thread_name);
  backend.set_annotation(annotation::kHangDurationMs, std::to_string(duration_ms));
  backend.set_annotation(annotation::kHangPolicy, hang_policy_text(policy));
  const wrenfall_result result = backend.capture(kReportKindHang);
  backend.set_annotation(annotation::kHangThread, "");
  backend.set_annotation(annotation::kHangDurationMs, "");
  if (logger != nullptr && result == WRENFALL_OK) {
    logger->info("hang report captured for thread '%s' (%lld ms)", thread_name.c_str(),
                 static_cast<long long>(duration_ms));
  }
}

}  // namespace wrenfall
