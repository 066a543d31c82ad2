#ifndef WRENFALL_BACKEND_ANNOTATION_KEYS_H_
#define WRENFALL_BACKEND_ANNOTATION_KEYS_H_

#include <cstddef>

// The keys of the annotations that carry facts in a dump. The library writes them and the monitor
// reads them.
namespace wrenfall::annotation {

// Fixed when the handler starts.
inline constexpr char kDatabase[] = "database";
inline constexpr char kProduct[] = "prod";
inline constexpr char kVersion[] = "version";
inline constexpr char kStore[] = "wrenfall.store";
inline constexpr char kReporter[] = "wrenfall.reporter";
inline constexpr char kPolicy[] = "wrenfall.policy";  // may be overridden live
inline constexpr char kDumpType[] = "wrenfall.dumpType";
inline constexpr char kMinidumpFlags[] = "wrenfall.minidumpFlags";
inline constexpr char kThemeDir[] = "wrenfall.themeDir";
inline constexpr char kOpenSupportUrl[] = "wrenfall.openSupportUrl";
inline constexpr char kCrashTypeId[] = "wrenfall.crashTypeId";
inline constexpr char kSdkVersion[] = "wrenfall.sdkVersion";
inline constexpr char kSession[] = "wrenfall.session";
inline constexpr char kRun[] = "wrenfall.run";  // of every run of a process but the first
inline constexpr char kRetention[] = "wrenfall.retention";  // these three only where used
inline constexpr char kDropWithoutConsent[] = "wrenfall.dropWithoutConsent";
inline constexpr char kResend[] = "wrenfall.resend";
inline constexpr char kReportLimit[] = "wrenfall.reportLimit";

// Changed while the process runs.
inline constexpr char kEnvironment[] = "wrenfall.environment";
inline constexpr char kReportKind[] = "wrenfall.reportKind";
inline constexpr char kKey[] = "key";
inline constexpr char kUser[] = "user";
inline constexpr char kEmail[] = "email";
inline constexpr char kDescription[] = "description";
inline constexpr char kNotes[] = "notes";
inline constexpr char kAttributePrefix[] = "attr.";
inline constexpr char kWhatAttribute[] =
    "wrenfall.what";  // its name; see wrenfall/runtime_failures.h
inline constexpr char kThreadId[] = "wrenfall.threadId";  // of the caller of a capture
inline constexpr char kHangThread[] = "wrenfall.hangThread";
inline constexpr char kHangThreadId[] = "wrenfall.hangThreadId";
inline constexpr char kHangDurationMs[] = "wrenfall.hangDurationMs";
inline constexpr char kHangPolicy[] = "wrenfall.hangPolicy";  // stays set after a hang

// How many bytes of a value travel: of the description and the notes the longer ones.
inline constexpr size_t kValueBytes = 4096;
inline constexpr size_t kLongValueBytes = 20480;

}  // namespace wrenfall::annotation

namespace wrenfall {

// What a report is of: the values of kReportKind for dumps, and the kinds of host-made reports.
inline constexpr char kReportKindCrash[] = "crash";
inline constexpr char kReportKindCapture[] = "capture";
inline constexpr char kReportKindHang[] = "hang";
inline constexpr char kReportKindStructured[] = "structured";
inline constexpr char kReportKindFeedback[] = "feedback";

// The values of kHangPolicy.
inline constexpr char kHangPolicyTerminate[] = "terminate";
inline constexpr char kHangPolicyReport[] = "report";

}  // namespace wrenfall

#endif  // WRENFALL_BACKEND_ANNOTATION_KEYS_H_
