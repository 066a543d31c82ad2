// A line in the log file, and taking the user names out of it.
#include <windows.h>

#include <regex>

#include "bench/bench.h"
#include "bench/library.h"
#include "support/log_line.h"
#include "support/logger.h"
#include "support/scrub.h"

namespace {

void append_bare(const std::filesystem::path& file, const std::string& line) {
  const HANDLE handle =
      CreateFileW(file.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                  OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  DWORD written = 0;
  WriteFile(handle, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
  CloseHandle(handle);
}

}  // namespace

int main() {
  const bench::Folder folder("logging");
  wrenfall::Logger logger(folder.path() / "log.txt");
  for (const size_t size : {size_t{40}, size_t{400}, size_t{4000}}) {
    std::string text = "Report folder made: C:\\Users\\somebody\\AppData\\Local\\Store\\";
    text.resize(size, 'x');
    const std::string line = wrenfall::log_line(WRENFALL_LOG_INFO, text);
    const auto bytes = static_cast<double>(size);
    bench::compare(
        "log line, bytes", bytes, 1.1, {31, 50},
        [&] {
          char formatted[4096];
          std::snprintf(formatted, sizeof formatted, "%s", text.c_str());
          append_bare(folder.path() / "bare.txt", line);
        },
        [&] { logger.info("%s", text.c_str()); });
    // As the logger does: the text that is scrubbed is given away.
    std::string kept;
    const auto scrub = [&] {
      kept = text;
      kept = wrenfall::scrub_user_names(std::move(kept));
    };
    bench::compare(
        "scrubbing, part of a log line, bytes", bytes, 0.02, {31, 50},
        [&] { append_bare(folder.path() / "bare.txt", line); }, scrub);
    const std::regex expression(R"(([\\/](?:Users|home)[\\/])[^\\/]+)",
                                std::regex::ECMAScript | std::regex::icase);
    bench::compare(
        "scrubbing beside std::regex, bytes", bytes, 0.05, {15, 200},
        [&] { std::regex_replace(text, expression, "$1..."); }, scrub);
  }
  return 0;
}
