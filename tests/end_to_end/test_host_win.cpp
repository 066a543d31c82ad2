// A host that does what it is told: one command a line on standard input, its words separated by
// tabs, in UTF-8; one line of answer each. Ends at the end of the input. Lets the tests take a real
// host process through any story.
#include <crtdbg.h>
#include <windows.h>
#include <wrenfall/wrenfall.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include "crash_kinds.h"

namespace {

wrenfall_options* options = nullptr;
wrenfall_report* report = nullptr;
std::string fatal_message;  // at which the logging callback crashes
std::string messages;  // warnings and errors of the logging callback, each with a tab behind it

// The words of a command behind its name; those that are missing are null.
class Words {
 public:
  explicit Words(const std::vector<std::string>& words) : words_(words) {}
  const char* operator[](size_t i) const {
    return i + 1 < words_.size() ? words_[i + 1].c_str() : nullptr;
  }
  int number(size_t i) const { return (*this)[i] == nullptr ? 0 : std::atoi((*this)[i]); }
  uint32_t unsigned_number(size_t i) const {
    return (*this)[i] == nullptr ? 0 : static_cast<uint32_t>(std::strtoul((*this)[i], nullptr, 10));
  }
  std::vector<const char*> from(size_t first) const {
    std::vector<const char*> rest;
    for (size_t i = first; (*this)[i] != nullptr; ++i) rest.push_back((*this)[i]);
    return rest;
  }

 private:
  const std::vector<std::string>& words_;
};

void answer_text(const char* text) {
  std::printf("%s\n", text == nullptr ? "-" : text);
  std::fflush(stdout);
}
void answer(long long result) { answer_text(std::to_string(result).c_str()); }

// "status crash_id stack_key_id info_url" of an upload, behind the results.
void answer_outcome(const std::string& results, wrenfall_upload_result* outcome) {
  const std::string text = results + " " + std::to_string(outcome->http_status) + " " +
                           std::to_string(outcome->crash_id) + " " +
                           std::to_string(outcome->stack_key_id) + " " +
                           (outcome->info_url == nullptr ? "-" : outcome->info_url);
  answer_text(text.c_str());
  wrenfall_upload_result_free(outcome);
}

void crash_at_message(wrenfall_log_level, const char* message, void*) {
  if (std::strstr(message, fatal_message.c_str()) != nullptr) crash("access-violation");
}
// Crashes on another thread, so many milliseconds after init begins to start the handler.
void crash_while_starting(wrenfall_log_level, const char* message, void*) {
  if (std::strncmp(message, "Starting ", 9) != 0) return;
  std::thread([] {
    Sleep(static_cast<DWORD>(std::atoi(fatal_message.c_str())));
    crash("access-violation");
  }).detach();
}
void note_message(wrenfall_log_level level, const char* message, void*) {
  if (level >= WRENFALL_LOG_WARN) messages += message + std::string("\t");
}

constexpr struct {
  const char* name;
  wrenfall_log_callback log;
} kLoggers[] = {
    {"crash_at_message", crash_at_message},
    {"crash_while_starting", crash_while_starting},
    {"note_messages", note_message},
};
void set_logger(const Words& words) {
  fatal_message = words[1];
  for (const auto& logger : kLoggers) {
    if (words[0] == std::string(logger.name)) {
      wrenfall_options_set_logger(options, logger.log, nullptr);
    }
  }
  answer(0);
}

// "call" and then: the name of an exported function without its prefix, and its arguments, "#" before
// a number and "'" before a text. Those of options and of reports get this host's before the others.
void call_function(const Words& words) {
  const std::string name = words[0];
  std::vector<uintptr_t> arguments;
  if (name.find("options_") == 0) arguments.push_back(reinterpret_cast<uintptr_t>(options));
  if (name.find("report_") == 0) arguments.push_back(reinterpret_cast<uintptr_t>(report));
  for (const char* const word : words.from(1)) {
    arguments.push_back(*word == '#' ? static_cast<uintptr_t>(std::strtoull(word + 1, nullptr, 10))
                                     : reinterpret_cast<uintptr_t>(word + 1));
  }
  arguments.resize(7);
  using Argument = uintptr_t;
  Argument (*function)(Argument, Argument, Argument, Argument, Argument, Argument, Argument);
  const FARPROC found =
      GetProcAddress(GetModuleHandleW(L"Wrenfall.dll"), ("wrenfall_" + name).c_str());
  if (found == nullptr) return answer_text("unknown function");
  std::memcpy(&function, &found, sizeof function);
  const Argument* const a = arguments.data();
  answer(static_cast<int32_t>(function(a[0], a[1], a[2], a[3], a[4], a[5], a[6])));
}

void* wer_context = nullptr;
int wer_registrations = 0;

HRESULT WINAPI note_wer_registration(const wchar_t*, void* context) {
  wer_context = context;
  ++wer_registrations;
  return S_OK;
}

// Leads the system's function for registering helper modules here: on Windows a module gets what is
// given to it, which Wine forgets.
void catch_wer_registration(const Words&) {
  unsigned char jump[] = {0x48, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xE0};  // mov rax, ..; jmp rax
  HRESULT(WINAPI* const target)(const wchar_t*, void*) = note_wer_registration;
  const FARPROC function =
      GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "WerRegisterRuntimeExceptionModule");
  void* code = nullptr;
  SIZE_T written = 0;
  DWORD protection = 0;
  std::memcpy(&code, &function, sizeof code);
  std::memcpy(jump + 2, &target, sizeof target);
  VirtualProtect(code, sizeof jump, PAGE_EXECUTE_READWRITE, &protection);
  answer(!WriteProcessMemory(GetCurrentProcess(), code, jump, sizeof jump, &written));
}

// Uses that many names, one after the other; answers the last result.
void set_and_remove_attributes(const Words& words) {
  wrenfall_result result = 0;
  for (int i = 0; i < words.number(0) && result == 0; ++i) {
    const std::string name = "passing " + std::to_string(i);
    result = wrenfall_set_attribute(name.c_str(), "value");
    if (result == 0) result = wrenfall_set_attribute(name.c_str(), nullptr);
  }
  answer(result);
}

void send_report(const Words& words) {
  wrenfall_upload_result outcome;
  // A host need set the size alone: every call fills the rest.
  std::memset(&outcome, 0x5A, sizeof outcome);
  outcome.size = sizeof outcome;
  const wrenfall_result result =
      wrenfall_send_report(words[0], words[1], nullptr, nullptr, &outcome);
  answer_outcome(std::to_string(result), &outcome);
}

// Folders separated by tabs, oldest first.
void print_pending(const Words&) {
  wrenfall_report_list* const list = wrenfall_pending_reports();
  std::string folders;
  for (uint32_t i = 0; i < wrenfall_report_list_count(list); ++i) {
    folders += (i == 0 ? "" : "\t") + std::string(wrenfall_report_list_folder(list, i));
  }
  answer_text(folders.c_str());
  wrenfall_report_list_free(list);
}

// "post" and then: feedback TITLE TEXT ATTACHMENT..., asan TEXT, report SIZE-OF-THE-RESULT
void post(const Words& words) {
  wrenfall_upload_result outcome{};
  outcome.size = sizeof outcome;
  outcome.http_status = -7;
  const std::string kind = words[0];
  wrenfall_result result = 0;
  if (kind == "feedback") {
    const auto attachments = words.from(3);
    result = wrenfall_post_feedback(words[1], words[2], attachments.data(),
                                    static_cast<uint32_t>(attachments.size()), &outcome);
  } else if (kind == "asan") {
    result = wrenfall_post_asan_report(words[1], &outcome);
  } else {
    if (words[1] != nullptr) outcome.size = words.unsigned_number(1);
    result = wrenfall_report_post(report, &outcome);
  }
  answer_outcome(std::to_string(result) + " " + std::to_string(outcome.result), &outcome);
}

// Opens a file without sharing it, in place of the one held before; an empty name opens none.
void hold(const Words& words) {
  static HANDLE held = INVALID_HANDLE_VALUE;
  if (held != INVALID_HANDLE_VALUE) CloseHandle(held);
  held = INVALID_HANDLE_VALUE;
  if (words[0] == nullptr || *words[0] == '\0') return answer(0);
  wchar_t wide[4096];
  MultiByteToWideChar(CP_UTF8, 0, words[0], -1, wide, 4096);
  held = CreateFileW(wide, GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  answer(held == INVALID_HANDLE_VALUE);
}

// Debugs the process of that id, until this one ends.
void debug(const Words& words) {
  std::thread([process = words.unsigned_number(0)] {
    DebugSetProcessKillOnExit(FALSE);
    answer(DebugActiveProcess(process));
    DEBUG_EVENT event;
    bool started = false;
    while (WaitForDebugEvent(&event, INFINITE)) {
      const bool passed_on = started && event.dwDebugEventCode == EXCEPTION_DEBUG_EVENT;
      started = started || event.dwDebugEventCode == EXCEPTION_DEBUG_EVENT;
      ContinueDebugEvent(event.dwProcessId, event.dwThreadId,
                         passed_on ? DBG_EXCEPTION_NOT_HANDLED : DBG_CONTINUE);
    }
  }).detach();
}

// Suspends the process of that id, as a handler does that reads it.
void suspend(const Words& words) {
  const HANDLE process = OpenProcess(PROCESS_SUSPEND_RESUME, FALSE, words.unsigned_number(0));
  const FARPROC found = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtSuspendProcess");
  LONG(NTAPI * function)(HANDLE);
  std::memcpy(&function, &found, sizeof function);
  answer(function(process));
  CloseHandle(process);
}

constexpr struct {
  const char* name;
  void (*run)(const Words&);
} kCommands[] = {
    {"options",
     [](const Words& w) {
       options = wrenfall_options_new(w[0], w[1], w[2]);
       answer(0);
     }},
    {"logger", set_logger},
    {"call", call_function},
    {"init", [](const Words&) { answer(wrenfall_init(options)); }},
    {"shutdown", [](const Words&) { answer((wrenfall_shutdown(), 0)); }},
    {"set_key", [](const Words& w) { answer(wrenfall_set_key(w[0])); }},
    {"set_user", [](const Words& w) { answer(wrenfall_set_user(w[0])); }},
    {"set_email", [](const Words& w) { answer(wrenfall_set_email(w[0])); }},
    {"set_user_description", [](const Words& w) { answer(wrenfall_set_user_description(w[0])); }},
    {"set_notes", [](const Words& w) { answer(wrenfall_set_notes(w[0])); }},
    {"set_environment", [](const Words& w) { answer(wrenfall_set_environment(w[0])); }},
    {"set_attribute", [](const Words& w) { answer(wrenfall_set_attribute(w[0], w[1])); }},
    {"many_attributes", set_and_remove_attributes},
    {"add_attachment", [](const Words& w) { answer(wrenfall_add_attachment(w[0])); }},
    {"remove_attachment", [](const Words& w) { answer(wrenfall_remove_attachment(w[0])); }},
    {"quiet", [](const Words& w) { answer((wrenfall_set_quiet_mode(w.number(0)), 0)); }},
    {"watch", [](const Words& w) { answer(wrenfall_watch_thread(w[0])); }},
    {"unwatch", [](const Words&) { answer((wrenfall_unwatch_thread(), 0)); }},
    {"heartbeat", [](const Words&) { answer((wrenfall_heartbeat(), 0)); }},
    {"environment", [](const Words&) { answer_text(wrenfall_get_environment()); }},
    {"has_capability",
     [](const Words& w) { answer(wrenfall_has_capability(w.unsigned_number(0))); }},
    {"capture", [](const Words&) { answer(wrenfall_capture_report()); }},
    {"pending", print_pending},
    {"send", send_report},
    {"discard", [](const Words& w) { answer(wrenfall_discard_report(w[0])); }},
    {"post_pending", [](const Words&) { answer(wrenfall_post_pending_reports_async()); }},
    {"report",
     [](const Words& w) {
       wrenfall_report_free(report);
       report = wrenfall_report_new(w.unsigned_number(0));
       answer(0);
     }},
    {"post", post},
    // On a thread of its own; answers at once.
    {"post_in_background",
     [](const Words&) {
       std::thread([] { wrenfall_post_feedback("background", "", nullptr, 0, nullptr); }).detach();
       answer(0);
     }},
    {"catch_wer_registration", catch_wer_registration},
    {"wer_registrations", [](const Words&) { answer(wer_registrations); }},
    {"wer_context", [](const Words&) { answer(reinterpret_cast<intptr_t>(wer_context)); }},
    {"hold", hold},
    {"debug", debug},
    {"suspend", suspend},
    {"messages",
     [](const Words&) {
       answer_text(messages.c_str());
       messages.clear();
     }},
    // For a dump that takes its time.
    {"fill_memory",
     [](const Words& w) {
       static std::vector<char> memory;
       memory.assign(static_cast<size_t>(w.number(0)) << 20, 'm');
       answer(0);
     }},
    {"last_run",
     [](const Words&) {
       wrenfall_last_run run{};
       run.size = sizeof run;
       wrenfall_get_last_run(&run);
       std::printf("%u %u %u %lld %lld %u %u\n", run.state, run.exception_code, run.exit_code,
                   static_cast<long long>(run.start_time), static_cast<long long>(run.end_time),
                   run.crashes_in_a_row, run.uptime_ms_capped);
       std::fflush(stdout);
     }},
    {"error_mode", [](const Words& w) { answer((SetErrorMode(w.unsigned_number(0)), 0)); }},
    {"pid", [](const Words&) { answer(GetCurrentProcessId()); }},
    {"crash",
     [](const Words& w) {
       crash(w[0]);
       answer(-1);
     }},
};

void execute(const std::vector<std::string>& words) {
  for (const auto& command : kCommands) {
    if (words[0] == command.name) return command.run(Words(words));
  }
  answer_text("unknown command");
}

// Microsoft's debug runtime opens a message box at an abort or a failed assertion, which nobody
// answers in a test. From now on it tells a debugger alone.
void silence_debug_runtime() {
#ifdef _MSC_VER
  static_cast<void>(_CrtSetReportMode(_CRT_ERROR, _CRTDBG_MODE_DEBUG));
  static_cast<void>(_CrtSetReportMode(_CRT_ASSERT, _CRTDBG_MODE_DEBUG));
#endif
}

}  // namespace

int main() {
  silence_debug_runtime();
  std::string line;
  while (std::getline(std::cin, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    std::vector<std::string> words(1);
    for (const char c : line) {
      if (c == '\t') {
        words.emplace_back();
      } else {
        words.back() += c;
      }
    }
    execute(words);
  }
  return 0;
}
