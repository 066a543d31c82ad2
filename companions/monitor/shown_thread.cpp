#include "monitor/shown_thread.h"

#include <algorithm>

#include "minidump/exception_thread.h"
#include "monitor/record_from_annotations.h"

namespace wrenfall::monitor {

void show_thread_of_interest(ClaimedDump& dump, const minidump::DumpFacts& facts, Logger& logger) {
  const auto thread = thread_of_interest(facts);
  if (!thread) return;
  const auto id = static_cast<unsigned long>(thread->id);
  const auto patches =
      minidump::name_exception_thread(dump.reader(), dump.size(), thread->id, thread->context);
  if (!patches) {
    logger.warn("Dump names the thread that took it: thread %lu is not in it", id);
    return;
  }
  const bool written = std::all_of(patches->begin(), patches->end(), [&dump](const auto& patch) {
    return dump.write_at(patch.offset, patch.bytes.data(), patch.bytes.size());
  });
  if (!written) {
    logger.warn("Dump names the thread that took it instead of thread %lu (error %lu)", id,
                static_cast<unsigned long>(dump.error()));
  }
}

}  // namespace wrenfall::monitor
