#include "report/host_reports.h"

#include <wrenfall/wrenfall.h>

#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "api/boundary.h"
#include "api/sending_reports.h"
#include "api/state.h"
#include "support/text.h"

// A structured report while the host builds it. Used by one thread at a time.
struct wrenfall_report {
  wrenfall::StructuredReport contents;
};

using namespace wrenfall;

namespace {

// Applies the change unless the report is null. When memory runs out, the change is dropped.
template <typename Change>
void change(wrenfall_report* report, Change apply) {
  if (report == nullptr) return;
  try {
    apply(report->contents);
  } catch (const std::bad_alloc&) {
  }
}

// Runs `post` with what posting needs of the state, and those breadcrumbs.
template <typename Post>
UploadResult post_with(State& state, std::vector<Breadcrumb> breadcrumbs, Post post) {
  const uint32_t policy = state.configuration.upload_policy;
  const std::unique_ptr<HttpClient> http =
      policy == WRENFALL_UPLOAD_MANUAL ? nullptr : make_http_client();
  UploadResult outcome = post(PostingContext{state.store_dir, policy, http.get(), state.logger,
                                             state.configuration.limits, std::move(breadcrumbs)});
  apply_retention(state);
  return outcome;
}

}  // namespace

wrenfall_report* wrenfall_report_new(uint32_t format) {
  auto* const report = new (std::nothrow) wrenfall_report;
  if (report != nullptr) report->contents.format = format;
  return report;
}

void wrenfall_report_free(wrenfall_report* report) { delete report; }

void wrenfall_report_set_platform(wrenfall_report* report, const char* platform, const char* os) {
  change(report, [=](StructuredReport& contents) {
    contents.platform = text_or_empty(platform);
    contents.os = text_or_empty(os);
  });
}

void wrenfall_report_set_exception(wrenfall_report* report, const char* code,
                                   const char* explanation) {
  change(report, [=](StructuredReport& contents) {
    contents.exception_code = text_or_empty(code);
    contents.exception_explanation = text_or_empty(explanation);
  });
}

void wrenfall_report_add_register(wrenfall_report* report, const char* name, const char* value) {
  change(report, [=](StructuredReport& contents) {
    contents.registers.emplace_back(text_or_empty(name), text_or_empty(value));
  });
}

int32_t wrenfall_report_add_thread(wrenfall_report* report, const char* name, int32_t crashing) {
  int32_t index = -1;
  change(report, [&](StructuredReport& contents) {
    contents.threads.push_back({text_or_empty(name), crashing != 0, {}});
    index = static_cast<int32_t>(contents.threads.size() - 1);
  });
  return index;
}

void wrenfall_report_add_frame(wrenfall_report* report, int32_t thread, const char* function,
                               const char* file, uint32_t line, const char* module,
                               uint64_t address) {
  change(report, [=](StructuredReport& contents) {
    if (thread < 0 || static_cast<size_t>(thread) >= contents.threads.size()) return;
    contents.threads[static_cast<size_t>(thread)].frames.push_back(
        {text_or_empty(function), text_or_empty(file), line, text_or_empty(module), address});
  });
}

void wrenfall_report_add_module(wrenfall_report* report, const char* name, const char* path,
                                uint64_t base, uint64_t size, const char* file_version,
                                const char* product_version) {
  change(report, [=](StructuredReport& contents) {
    contents.modules.push_back({text_or_empty(name), text_or_empty(path), base, size,
                                text_or_empty(file_version), text_or_empty(product_version)});
  });
}

void wrenfall_report_add_attachment(wrenfall_report* report, const char* path) {
  if (path == nullptr) return;
  change(report, [=](StructuredReport& contents) { contents.attachments.emplace_back(path); });
}

wrenfall_result wrenfall_report_post(const wrenfall_report* report,
                                     wrenfall_upload_result* result) {
  return with_state_for_upload(result, [=](State& state) {
    if (report == nullptr) return not_attempted(WRENFALL_ERROR_INVALID_ARGUMENT);
    const CrashData facts = [&state] {
      const std::lock_guard<std::recursive_mutex> lock(state.metadata_lock);
      return state.facts;
    }();
    return post_with(state, breadcrumbs_of(state), [&](const PostingContext& context) {
      return post_structured_report(context, facts, report->contents,
                                    state.configuration.crash_signature);
    });
  });
}

wrenfall_result wrenfall_post_feedback(const char* title, const char* description,
                                       const char* const* attachments, uint32_t attachment_count,
                                       wrenfall_upload_result* result) {
  return with_state_for_upload(result, [=](State& state) {
    std::vector<std::string> paths;
    for (uint32_t i = 0; attachments != nullptr && i < attachment_count; ++i) {
      if (attachments[i] != nullptr) paths.emplace_back(attachments[i]);
    }
    // Before the wait for another post, during which a shutdown may clear them.
    std::vector<Breadcrumb> breadcrumbs = breadcrumbs_of(state);
    // Held until the post is done: feedback and sanitizer posts run one after the other.
    const std::lock_guard<std::recursive_mutex> lock(state.metadata_lock);
    return post_with(state, std::move(breadcrumbs), [&](const PostingContext& context) {
      return post_feedback(context, state.facts, text_or_empty(title), text_or_empty(description),
                           paths);
    });
  });
}

wrenfall_result wrenfall_post_asan_report(const char* text, wrenfall_upload_result* result) {
  return with_state_for_upload(result, [=](State& state) {
    if (text == nullptr) return not_attempted(WRENFALL_ERROR_INVALID_ARGUMENT);
    std::vector<Breadcrumb> breadcrumbs = breadcrumbs_of(state);
    const std::lock_guard<std::recursive_mutex> lock(state.metadata_lock);
    return post_with(state, std::move(breadcrumbs), [&](const PostingContext& context) {
      return post_asan_report(context, state.facts, text);
    });
  });
}
