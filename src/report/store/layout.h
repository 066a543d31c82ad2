#ifndef WRENFALL_REPORT_STORE_LAYOUT_H_
#define WRENFALL_REPORT_STORE_LAYOUT_H_

#include <filesystem>

// Every name in the store:
//
//   Wrenfall.log                      what the library and its companions log
//   reportLimit.json                  when reports were made, where their number is limited
//   consent.json                      what the user said about sending, once told by host or dialog
//   last_run.json                     how the last runs ended, once a host has asked for it
//   sessions/<process>.json           one for each process that runs with the library initialized
//   crashpad/                         the capture handler's own
//     reports/<id>.dmp                dumps that are being written, or wait to become reports
//     reports/<id>.dmp.damaged        dumps that cannot become reports, set aside by the monitor
//     sessions/<process>.json         session files kept for such dumps of processes that are gone
//   <report>.sending                  the claim to a report folder
//   <policy>.reporter                 held by the reporter that works on the reports of that policy
//   <report>/                         a report folder, of any name
//     WrenfallCrashData.json          the record, which makes the folder a report
//     minidump.dmp, feedback.json ... the main file, by the kind of report
//     Wrenfall.log                    what the uploads of the report logged
//     WrenfallCrash.zip               the archive, during an upload and after a failed one
//     breadcrumbs.json                the host's breadcrumbs, where there are any
//     result.json                     the outcome of the last upload
//     retry.json                      when to send again, where resending is on
//
// and beside each JSON file "<name>.tmp" (kTemporarySuffix) while it is being written.
namespace wrenfall {

inline constexpr char kLogFile[] = "Wrenfall.log";
inline constexpr char kConsentFile[] = "consent.json";
inline constexpr char kLastRunFile[] = "last_run.json";
inline constexpr char kReportLimitFile[] = "reportLimit.json";
inline constexpr char kSessionsFolder[] = "sessions";
inline constexpr char kHandlerFolder[] = "crashpad";
inline constexpr char kDumpsFolder[] = "reports";
// The handler's own notes about its dumps, and what is open while a handler runs.
inline constexpr char kDatabaseNotesFile[] = "metadata";
inline constexpr char kDatabaseUseFile[] = "handlers.lock";
inline constexpr char kDumpExtension[] = ".dmp";
inline constexpr char kDamagedSuffix[] = ".damaged";
inline constexpr char kClaimSuffix[] = ".sending";
inline constexpr char kReporterSuffix[] = ".reporter";

inline constexpr char kCrashDataFile[] = "WrenfallCrashData.json";
inline constexpr char kResultFile[] = "result.json";
// Only with breadcrumbs; a host's attachment may have this name where there are none.
inline constexpr char kBreadcrumbsFile[] = "breadcrumbs.json";
// Only with resending on; a host's attachment may have this name, see retry_file.h.
inline constexpr char kRetryFile[] = "retry.json";
inline constexpr char kArchiveFile[] = "WrenfallCrash.zip";

// The store's log as an attachment: kLogFile in a report folder is the log of its uploads.
inline constexpr char kAttachedLogFile[] = "Wrenfall-store.log";

// An attachment while it is being copied into the folder.
inline constexpr char kAttachmentTemporary[] = "wfAttachment.tmp";

inline constexpr char kReportDumpFile[] = "minidump.dmp";
inline constexpr char kStructuredJsonFile[] = "wfCrashReport.json";
inline constexpr char kStructuredXmlFile[] = "wfCrashReport.xml";
inline constexpr char kFeedbackFile[] = "feedback.json";
inline constexpr char kAsanReportFile[] = "wfAsanReport.xml";

// What the library and its companions themselves write into every report folder.
inline constexpr const char* kOwnFiles[] = {
    kCrashDataFile,      kResultFile,        kArchiveFile,  kLogFile,       kReportDumpFile,
    kStructuredJsonFile, kStructuredXmlFile, kFeedbackFile, kAsanReportFile};

// The file through which the claim to a report folder is held.
inline std::filesystem::path claim_file(std::filesystem::path folder) {
  return folder += kClaimSuffix;
}

}  // namespace wrenfall

#endif  // WRENFALL_REPORT_STORE_LAYOUT_H_
