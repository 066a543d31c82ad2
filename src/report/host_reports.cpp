#include "report/host_reports.h"

#include <new>
#include <optional>
#include <utility>

#include "backend/annotation_keys.h"
#include "report/breadcrumb_file.h"
#include "report/crash_signature.h"
#include "report/store/attachments.h"
#include "report/store/consent.h"
#include "report/store/layout.h"
#include "report/store/retry_file.h"
#include "report/structured_report_json.h"
#include "report/structured_report_xml.h"
#include "support/clock.h"
#include "support/digest.h"
#include "support/files.h"
#include "support/identifiers.h"
#include "support/json_text.h"
#include "support/text.h"

namespace wrenfall {

namespace fs = std::filesystem;

namespace {

constexpr uint32_t kFormatJson = WRENFALL_REPORT_JSON;

// The crash types under which the service files each kind of report.
constexpr char kCrashTypeStructured[] = "21";
constexpr char kCrashTypeAsan[] = "25";
constexpr char kCrashTypeFeedback[] = "36";

// The SHA-256 of an empty text. The service puts all reports without a signature into one group.
constexpr char kEmptySha256[] = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

// What differs between the kinds of reports.
struct Contents {
  CrashData record;
  std::string main_file;  // its text, which is written under the record's dumpFile
  std::vector<std::string> attachments;
};

// Puts everything but the record into the folder. False when the main file could not be written.
bool fill_folder(const PostingContext& context, const fs::path& folder, Contents& contents) {
  try {
    // These come first, so that no attachment takes their names.
    if (context.limits.resend) mark_for_resend(folder);
    const auto written = write_breadcrumbs(folder, context.breadcrumbs, context.logger);
    if (!write_file_atomic(folder / contents.record.dumpFile, contents.main_file)) return false;
    contents.record.attachments =
        copy_attachments(folder, contents.attachments, SameName::kReplace, context.logger, written);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

// What a report that is not made gives; nothing where it is made.
std::optional<UploadResult> dropped_without_consent(const PostingContext& context) {
  if (!drops_reports(context.store_dir, context.limits)) return std::nullopt;
  context.logger.warn("Report dropped: the user has refused that reports are sent");
  UploadResult dropped;
  dropped.result = WRENFALL_ERROR_NO_CONSENT;
  return dropped;
}

UploadResult post(const PostingContext& context, Contents contents) {
  const fs::path folder = context.store_dir / new_uuid();
  if (fill_folder(context, folder, contents)) {
    return post_folder(context, folder, contents.record);
  }
  context.logger.error("Could not write %s",
                       path_to_utf8(folder / contents.record.dumpFile).c_str());
  remove_folder(folder);
  UploadResult failed;
  failed.result = WRENFALL_ERROR_FILE;
  return failed;
}

// The same within the limit of reports.
UploadResult post_limited(const PostingContext& context, Contents contents) {
  // First, because a report that is not made does not count.
  if (const auto dropped = dropped_without_consent(context)) return *dropped;
  const Admission admission = admit_report(context.store_dir, context.limits.report_limit);
  if (!admission.admitted) {
    context.logger.warn("Report dropped: more than %lu in %lu seconds",
                        static_cast<unsigned long>(context.limits.report_limit.count),
                        static_cast<unsigned long>(context.limits.report_limit.seconds));
    UploadResult dropped;
    dropped.result = WRENFALL_ERROR_LIMIT_REACHED;
    return dropped;
  }
  note_dropped(admission.dropped_before, contents.record);
  UploadResult outcome = post(context, std::move(contents));
  const bool was_made = outcome.result != WRENFALL_ERROR_FILE;
  if (!was_made) give_back_dropped(context.store_dir, admission.dropped_before);
  return outcome;
}

}  // namespace

UploadResult post_structured_report(const PostingContext& context, const CrashData& facts,
                                    const StructuredReport& report, bool with_signature) {
  const bool is_json = report.format == kFormatJson;
  Contents contents;
  contents.record = make_record(facts, kReportKindStructured, kCrashTypeStructured);
  contents.record.dumpFile = is_json ? kStructuredJsonFile : kStructuredXmlFile;
  contents.record.dumpFormat = is_json ? "json" : "xml";
  if (with_signature) {
    // The service checks the hash against the text that it receives, so both use valid UTF-8.
    contents.record.crashSignature = valid_utf8(crash_signature(report));
    if (!contents.record.crashSignature.empty()) {
      contents.record.crashSignatureHash = sha256_hex(contents.record.crashSignature);
    }
  }
  contents.main_file = is_json ? structured_report_json(report) : structured_report_xml(report);
  contents.attachments = report.attachments;
  return post_limited(context, std::move(contents));
}

UploadResult post_feedback(const PostingContext& context, const CrashData& facts,
                           const std::string& title, const std::string& description,
                           const std::vector<std::string>& attachments) {
  Contents contents;
  contents.record = make_record(facts, kReportKindFeedback, kCrashTypeFeedback);
  contents.record.userDescription = description;
  contents.record.dumpFile = kFeedbackFile;
  contents.record.dumpFormat = "none";
  contents.record.crashSignatureHash = kEmptySha256;
  contents.main_file = json_text(
      {{"title", title}, {"description", description}, {"time", contents.record.crashTime}}, 2);
  contents.attachments = attachments;
  if (const auto dropped = dropped_without_consent(context)) return *dropped;
  return post(context, std::move(contents));
}

UploadResult post_asan_report(const PostingContext& context, const CrashData& facts,
                              const std::string& text) {
  Contents contents;
  contents.record = make_record(facts, kReportKindStructured, kCrashTypeAsan);
  contents.record.dumpFile = kAsanReportFile;
  contents.record.dumpFormat = "asan";
  contents.record.crashSignatureHash = kEmptySha256;
  contents.main_file = text;
  return post_limited(context, std::move(contents));
}

}  // namespace wrenfall
