#include "monitor/handler_end.h"

namespace wrenfall::monitor {
namespace {

constexpr std::chrono::seconds kShortLife(60);
constexpr int kMaxShortLives = 3;

constexpr std::chrono::minutes kEndPatience(2);
constexpr std::chrono::minutes kEndPatienceWhileWriting(10);

}  // namespace

bool was_short_lived(std::chrono::seconds lifetime) { return lifetime < kShortLife; }

bool is_stuck(std::chrono::seconds since_host_end, bool writes_dump) {
  return since_host_end > (writes_dump ? kEndPatienceWhileWriting : kEndPatience);
}

AfterHandler after_handler_end(const HandlerEnd& end) {
  if (!end.host_runs || !end.run_is_up || end.has_successor) return AfterHandler::kEnd;
  const int short_lives = was_short_lived(end.lifetime) ? end.short_lives + 1 : 0;
  return short_lives > kMaxShortLives ? AfterHandler::kStay : AfterHandler::kStart;
}

}  // namespace wrenfall::monitor
