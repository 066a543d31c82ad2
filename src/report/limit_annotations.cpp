#include "report/limit_annotations.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "backend/annotation_keys.h"

namespace wrenfall {
namespace {

constexpr char kOn[] = "1";

template <typename... Numbers>
std::string joined(Numbers... numbers) {
  std::string text;
  ((text += text.empty() ? std::to_string(numbers) : "," + std::to_string(numbers)), ...);
  return text;
}

// That many decimal numbers with commas between them.
std::optional<std::vector<uint64_t>> split(const std::string& text, size_t count) {
  std::vector<uint64_t> numbers;
  const char* next = text.data();
  const char* const end = next + text.size();
  while (numbers.size() < count) {
    uint64_t number = 0;
    const auto parsed = std::from_chars(next, end, number);
    if (parsed.ec != std::errc()) return std::nullopt;
    numbers.push_back(number);
    next = parsed.ptr;
    if (numbers.size() == count) break;
    if (next == end || *next++ != ',') return std::nullopt;
  }
  if (next != end) return std::nullopt;
  return numbers;
}

uint32_t small(uint64_t number) {
  return static_cast<uint32_t>(std::min<uint64_t>(number, std::numeric_limits<uint32_t>::max()));
}

}  // namespace

void add_limit_annotations(const StoreLimits& limits,
                           std::map<std::string, std::string>& annotations) {
  const RetentionLimits& retention = limits.retention;
  if (retention.any()) {
    annotations[annotation::kRetention] =
        joined(retention.max_reports, retention.max_age_days, retention.max_bytes);
  }
  if (limits.resend) annotations[annotation::kResend] = kOn;
  if (limits.drop_without_consent) annotations[annotation::kDropWithoutConsent] = kOn;
  if (limits.report_limit.any()) {
    annotations[annotation::kReportLimit] =
        joined(limits.report_limit.count, limits.report_limit.seconds);
  }
}

void take_limit_annotation(const std::string& key, const std::string& value, StoreLimits& limits) {
  if (key == annotation::kResend) {
    limits.resend = value == kOn;
  } else if (key == annotation::kDropWithoutConsent) {
    limits.drop_without_consent = value == kOn;
  } else if (key == annotation::kRetention) {
    if (const auto numbers = split(value, 3)) {
      limits.retention = {small((*numbers)[0]), small((*numbers)[1]), (*numbers)[2]};
    }
  } else if (key == annotation::kReportLimit) {
    if (const auto numbers = split(value, 2)) {
      limits.report_limit = {small((*numbers)[0]), small((*numbers)[1])};
    }
  }
}

}  // namespace wrenfall
