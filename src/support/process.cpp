#include "support/process.h"

#include <charconv>

namespace wrenfall {

std::string ProcessIdentity::text() const {
  return std::to_string(process_id) + "-" + std::to_string(start_time);
}

std::optional<ProcessIdentity> ProcessIdentity::parse(const std::string& text) {
  ProcessIdentity tag;
  const char* const end = text.data() + text.size();
  const auto pid = std::from_chars(text.data(), end, tag.process_id);
  if (pid.ec != std::errc() || pid.ptr == end || *pid.ptr != '-') return std::nullopt;
  const auto start = std::from_chars(pid.ptr + 1, end, tag.start_time);
  if (start.ec != std::errc() || start.ptr != end) return std::nullopt;
  return tag;
}

ProcessIdentity current_process() { return {current_process_id(), current_process_start_time()}; }

}  // namespace wrenfall
