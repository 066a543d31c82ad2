// The store's files: listing, records, structured reports.
#include <windows.h>

#include <chrono>
#include <fstream>
#include <functional>
#include <vector>

#include <nlohmann/json.hpp>

#include "bench/bench.h"
#include "bench/library.h"
#include "report/store/crash_data.h"
#include "report/store/layout.h"
#include "report/store/pending_reports.h"
#include "report/store/report_store.h"
#include "report/structured_report_json.h"
#include "report/structured_report_xml.h"
#include "support/files.h"

namespace {

namespace fs = std::filesystem;

wrenfall::CrashData sample_record(size_t notes) {
  wrenfall::CrashData record;
  record.database = "database";
  record.appName = "Application";
  record.appVersion = "1.0";
  record.crashTypeId = "1";
  record.notes = std::string(notes, 'n');
  for (int i = 0; i < 16; ++i) record.attributes["attribute " + std::to_string(i)] = "some value";
  return record;
}

// Grows from one size to the next.
void bench_pending(const fs::path& store) {
  int made = 0;
  for (const int count : {100, 1000, 10000}) {
    for (; made < count; ++made) {
      const fs::path report = store / ("report " + std::to_string(made));
      wrenfall::create_folders(report);
      wrenfall::save(report, sample_record(100));
      fs::last_write_time(report / wrenfall::kCrashDataFile,
                          fs::file_time_type::clock::now() - std::chrono::hours(1));
    }
    const auto list_bare = [&store] {
      std::error_code error;
      for (const fs::directory_entry& entry : fs::directory_iterator(store, error)) {
        WIN32_FILE_ATTRIBUTE_DATA data{};
        GetFileAttributesExW((entry.path() / wrenfall::kCrashDataFile).c_str(),
                             GetFileExInfoStandard, &data);
      }
    };
    bench::compare("listing the store, folders", count, 2, {5, 1}, list_bare,
                   [&] { wrenfall::list_report_folders(store); });
    bench::compare("pending reports, first listing, folders", count, bench::kNoBudget, {3, 1},
                   list_bare, [&] { wrenfall::PendingReports(store).list(); });
    wrenfall::PendingReports pending(store);
    bench::compare("pending reports, later listings, folders", count, 5, {3, 1}, list_bare,
                   [&] { pending.list(); });
  }
}

void write_bare(const fs::path& file, const std::string& bytes) {
  const fs::path temporary = file.wstring() + L".tmp";
  const HANDLE handle = CreateFileW(temporary.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
  DWORD written = 0;
  WriteFile(handle, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
  CloseHandle(handle);
  MoveFileExW(temporary.c_str(), file.c_str(), MOVEFILE_REPLACE_EXISTING);
}

std::string read_bare(const fs::path& file) {
  const HANDLE handle = CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  std::string bytes(GetFileSize(handle, nullptr), '\0');
  DWORD got = 0;
  ReadFile(handle, bytes.data(), static_cast<DWORD>(bytes.size()), &got, nullptr);
  CloseHandle(handle);
  return bytes;
}

void bench_record(const fs::path& folder) {
  for (const size_t notes : {size_t{200}, size_t{2000}, size_t{20000}}) {
    const wrenfall::CrashData record = sample_record(notes);
    const std::string text = wrenfall::serialize(record);
    const nlohmann::ordered_json document = nlohmann::ordered_json::parse(text);
    bench::compare(
        "crash-data save and load, bytes", static_cast<double>(text.size()), 1.2, {21, 10},
        [&] {
          write_bare(folder / "bare.json", document.dump(2));
          const auto parsed = nlohmann::ordered_json::parse(read_bare(folder / "bare.json"));
          if (!parsed.is_object()) std::exit(1);
        },
        [&] {
          wrenfall::save(folder, record);
          wrenfall::CrashData loaded;
          wrenfall::load(folder, loaded);
        });
  }
}

// What the library keeps of the user and of its runs, by the calls of a host.
void bench_kept() {
  const bench::Library library("kept");
  const fs::path consent = library.store() / wrenfall::kConsentFile;
  bench::compare(
      "wrenfall_set_consent", 1, 1.5, {21, 10},
      [&] { write_bare(consent, "{\"consent\":\"ask\"}"); },
      [] { wrenfall_set_consent(WRENFALL_CONSENT_ASK); });
  wrenfall_last_run run{};
  run.size = sizeof run;
  const auto ask = [&run] {
    if (wrenfall_get_last_run(&run) != WRENFALL_OK) std::exit(1);
  };
  // It makes the file; the later calls of a run do not read it again.
  bench::print_figure("wrenfall_get_last_run, first call of a store", bench::time_of(ask, 1) / 1000,
                      "us", bench::kNoBudget);
  bench::print_figure("wrenfall_get_last_run, later calls", bench::time_of(ask, 200000), "ns",
                      bench::kNoBudget);
}

// The time until the call returns, beside a bare start of a thread. What that thread does in the store
// has ended before the next call.
void bench_asking() {
  const bench::Library library("asking");
  bench::Rounds times;
  const auto take = [](std::vector<double>& taken, const std::function<void()>& call) {
    taken.push_back(bench::time_of(call, 1));
    Sleep(20);
  };
  for (int round = 0; round < 42; ++round) {
    if (round == 1) times = {};
    take(times.limits, [] {
      CloseHandle(CreateThread(
          nullptr, 0, [](void*) { return DWORD{0}; }, nullptr, 0, nullptr));
    });
    take(times.operations, [] { wrenfall_ask_pending_reports_async(); });
  }
  bench::print("wrenfall_ask_pending_reports_async, reports in the store", 0, 1.5, times);
}

wrenfall::StructuredReport sample_report(int threads) {
  wrenfall::StructuredReport report;
  report.platform = "windows";
  for (int i = 0; i < threads; ++i) {
    wrenfall::ReportThread thread;
    thread.name = "thread " + std::to_string(i);
    for (uint32_t f = 0; f < 100; ++f) {
      thread.frames.push_back({"space::Class::function" + std::to_string(f), "source.cpp", f,
                               "host.exe", 0x140001000ULL + f});
    }
    report.threads.push_back(std::move(thread));
  }
  return report;
}

using Write = std::string (*)(const wrenfall::StructuredReport&);

void bench_structured_report(const fs::path& folder, const char* format, Write write) {
  for (const int threads : {10, 100, 1000}) {
    const wrenfall::StructuredReport report = sample_report(threads);
    const std::string bytes = write(report);
    bench::compare(
        std::string("structured report as ") + format + ", threads of 100 frames", threads, 3,
        {9, 1}, [&] { std::ofstream(folder / "bare", std::ios::binary) << bytes; },
        [&] { std::ofstream(folder / "report", std::ios::binary) << write(report); });
  }
}

}  // namespace

int main() {
  const bench::Folder folder("store");
  bench_record(folder.path());
  bench_kept();
  bench_asking();
  bench_structured_report(folder.path(), "JSON", wrenfall::structured_report_json);
  bench_structured_report(folder.path(), "XML", wrenfall::structured_report_xml);
  fs::create_directories(folder.path() / "store");
  bench_pending(folder.path() / "store");
  return 0;
}
