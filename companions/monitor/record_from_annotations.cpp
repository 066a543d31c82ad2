#include "monitor/record_from_annotations.h"

#include <wrenfall/wrenfall.h>

#include <charconv>
#include <cstdio>
#include <cstring>
#include <map>

#include "backend/annotation_keys.h"
#include "backend/backend.h"
#include "report/fact_annotations.h"
#include "report/store/report_limit.h"
#include "report/store/upload_policy.h"
#include "support/clock.h"
#include "support/encoding.h"
#include "support/version.h"

namespace wrenfall::monitor {
namespace {

std::string find_text(const std::map<std::string, std::string>& texts, const char* key) {
  const auto found = texts.find(key);
  return found == texts.end() ? std::string() : found->second;
}

std::string value_of(const minidump::DumpAnnotations& annotations, const char* key) {
  const auto live = annotations.live.find(key);
  return live != annotations.live.end() ? live->second : find_text(annotations.startup, key);
}

// What the dump holds, as its writer says, whatever was asked for: not every handler heeds that.
const char* written_dump_type(uint64_t flags) {
  constexpr uint64_t kWithFullMemory = 0x2;
  constexpr uint64_t kWithPrivateReadWriteMemory = 0x200;
  if ((flags & kWithFullMemory) != 0) return dump_type_text(WRENFALL_DUMP_FULL);
  return dump_type_text((flags & kWithPrivateReadWriteMemory) != 0 ? WRENFALL_DUMP_HEAP
                                                                   : WRENFALL_DUMP_NORMAL);
}

std::string kind_of(const minidump::DumpFacts& facts) {
  // A process may crash while a dump of another kind is being taken; both dumps then carry the mark
  // of that kind.
  if (facts.real_exception_code()) return kReportKindCrash;
  std::string kind = value_of(facts.annotations, annotation::kReportKind);
  if (!kind.empty()) return kind;
  // A shutdown during a capture clears the mark before the dump is written.
  return facts.crash_code ? kReportKindCapture : kReportKindCrash;
}

void copy_attributes(const std::map<std::string, std::string>& texts, CrashData& record) {
  const size_t prefix = std::strlen(annotation::kAttributePrefix);
  for (const auto& [key, value] : texts) {
    if (key.size() > prefix && key.compare(0, prefix, annotation::kAttributePrefix) == 0) {
      record.attributes[key.substr(prefix)] = value;
    }
  }
}

// The whole text as a positive decimal number; 0 when it is none.
template <typename Number>
Number positive_number(const std::string& text) {
  Number number = 0;
  const char* const end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, number);
  return parsed.ec == std::errc() && parsed.ptr == end && number > 0 ? number : 0;
}

void fill_host_facts(const minidump::DumpAnnotations& annotations, CrashData& record) {
  for (const FactAnnotation& fact : kFactAnnotations) {
    record.*fact.field = value_of(annotations, fact.key);
  }
  record.uploadPolicy = known_upload_policy(record.uploadPolicy);
  record.openSupportUrl = value_of(annotations, annotation::kOpenSupportUrl) != "0";
  copy_attributes(annotations.startup, record);
  copy_attributes(annotations.live, record);
}

void fill_hang_facts(const minidump::DumpAnnotations& annotations, CrashData& record) {
  record.hangDurationMs =
      positive_number<int64_t>(value_of(annotations, annotation::kHangDurationMs));
  for (const char* const key :
       {annotation::kHangThread, annotation::kHangThreadId, annotation::kHangPolicy}) {
    const std::string value = value_of(annotations, key);
    if (!value.empty()) record.attributes[key] = value;
  }
}

}  // namespace

std::optional<ProcessIdentity> process_of(const minidump::DumpFacts& facts) {
  return ProcessIdentity::parse(find_text(facts.annotations.startup, annotation::kSession));
}

uint32_t run_of(const minidump::DumpFacts& facts) {
  const auto entry = facts.annotations.startup.find(annotation::kRun);
  if (entry == facts.annotations.startup.end()) return 1;
  return positive_number<uint32_t>(entry->second);
}

bool is_crash(const minidump::DumpFacts& facts) { return kind_of(facts) == kReportKindCrash; }

std::optional<ThreadOfInterest> thread_of_interest(const minidump::DumpFacts& facts) {
  if (is_crash(facts)) return std::nullopt;
  ThreadOfInterest thread;
  if (kind_of(facts) == kReportKindHang) {
    thread.id =
        positive_number<uint32_t>(find_text(facts.annotations.live, annotation::kHangThreadId));
    thread.context = minidump::ShownContext::kThreadsOwn;
  } else {
    thread.id = positive_number<uint32_t>(find_text(facts.annotations.live, annotation::kThreadId));
  }
  if (thread.id == 0) return std::nullopt;
  return thread;
}

bool asks_for_termination(const minidump::DumpFacts& facts) {
  return kind_of(facts) == kReportKindHang &&
         find_text(facts.annotations.live, annotation::kHangPolicy) == kHangPolicyTerminate;
}

CrashData record_from_annotations(const minidump::DumpFacts& facts, const RecordContext& context) {
  CrashData record;
  fill_host_facts(facts.annotations, record);
  record.captureBackend = kCrashpadBackendName;
  record.reportKind = kind_of(facts);
  record.dumpFile = kReportDumpFile;
  record.dumpType = written_dump_type(facts.type_flags);
  record.dumpFormat = "minidump";
  record.crashpadReportId = context.crashpad_report_id;
  record.attachments = context.attachments;
  record.crashTime = facts.time_stamp == 0 ? context.now : iso_text(utc_time(facts.time_stamp));
  if (const auto code = facts.real_exception_code()) record.signalOrExceptionCode = hex_code(*code);
  if (record.reportKind == kReportKindHang) fill_hang_facts(facts.annotations, record);
  set_platform(context.platform, record);
  note_dropped(context.dropped_before, record);
  record.locale = context.locale;
  record.monitorVersion = WRENFALL_VERSION_TEXT;
  record.ownerPid = record.uploadPolicy == kPolicyManual ? 0 : context.monitor_pid;
  if (const auto process = process_of(facts)) record.processId = process->process_id;
  return record;
}

}  // namespace wrenfall::monitor
