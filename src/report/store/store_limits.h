#ifndef WRENFALL_REPORT_STORE_STORE_LIMITS_H_
#define WRENFALL_REPORT_STORE_STORE_LIMITS_H_

#include "report/store/report_limit.h"
#include "report/store/retention.h"

namespace wrenfall {

// What the host said about keeping reports. By default nothing is limited or sent again.
struct StoreLimits {
  RetentionLimits retention;
  bool resend = false;
  ReportLimit report_limit;
  bool drop_without_consent = false;  // no report is made while the user refuses
};

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_STORE_LIMITS_H_
