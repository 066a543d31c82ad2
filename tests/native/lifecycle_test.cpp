// What the exported functions promise, where neither a real handler nor a real service is needed.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "api/published.h"
#include "client/annotation_list.h"
#include "handler/annotation_snapshot.h"
#include "report/store/crash_data.h"
#include "report/store/folder_claim.h"
#include "report/store/layout.h"
#include "report/store/report_store.h"
#include "report/store/session_files.h"
#include "support/paths.h"
#include "tests/native/library_test.h"

namespace wrenfall {

extern bool native_system_is_old;  // platform_facts_posix.cpp

namespace {

namespace fs = std::filesystem;

// The annotations that a handler would find, a line each.
std::string live_annotations() {
  const auto read = [](uint64_t address, void* buffer, size_t size) {
    std::memcpy(buffer, reinterpret_cast<const void*>(address), size);
    return true;
  };
  const auto head = reinterpret_cast<uintptr_t>(crashpad::internal::annotation_list_head());
  std::string lines;
  for (const auto& annotation : crashpad::internal::read_live_annotations(read, head)) {
    lines += annotation.name + "=" + annotation.value + "\n";
  }
  return lines;
}

class LifecycleTest : public LibraryTest {
 protected:
  wrenfall_result start(wrenfall_options* options) {
    wrenfall_options_set_user(options, "user");
    wrenfall_options_set_email(options, "email");
    wrenfall_options_set_environment(options, "first");
    wrenfall_options_set_hang_detection(options, 60000, WRENFALL_HANG_REPORT);
    wrenfall_options_set_logger(options, log, this);
    return wrenfall_init(options);
  }
  wrenfall_result start() { return start(options()); }

  static void log(wrenfall_log_level, const char* message, void* test) {
    auto& self = *static_cast<LifecycleTest*>(test);
    if (self.on_line_) self.on_line_(message);
  }

  // Posts a report that waits in the store; its folder.
  fs::path post_feedback() const {
    EXPECT_EQ(wrenfall_post_feedback("title", "words", nullptr, 0, nullptr), WRENFALL_OK);
    return list_report_folders(store_).at(0);
  }

  std::function<void(const std::string& message)> on_line_;
};

TEST_F(LifecycleTest, TheSessionFileIsThereAfterInitWhateverRemovedItMeanwhile) {
  const fs::path session = session_file(store_, current_process());
  bool removed = false;
  on_line_ = [&](const std::string& message) {
    if (message.find("hang detection on") == 0) removed = fs::remove(session);
  };
  ASSERT_EQ(start(), WRENFALL_OK);
  EXPECT_TRUE(removed);
  EXPECT_TRUE(fs::exists(session));
  wrenfall_shutdown();
  EXPECT_FALSE(fs::exists(session));
}

struct Thing : std::enable_shared_from_this<Thing> {};

TEST(Published, DoesNotWaitForEverForAThreadThatTheHostEnded) {
  Published<Thing> published;
  published.publish(std::make_shared<Thing>());
  auto glimpse = std::make_unique<Published<Thing>::Glimpse>(published);
  const std::weak_ptr<Thing> thing = glimpse->get()->weak_from_this();
  published.publish(nullptr, std::chrono::milliseconds(20));
  EXPECT_FALSE(thing.expired());
  glimpse.reset();
  published.publish(nullptr);
  EXPECT_TRUE(thing.expired());
}

TEST_F(LifecycleTest, AFailedInitLeavesNoSession) {
  wrenfall_options* const failing = options();
  const std::string monitor = path_to_utf8(dir_.add("no handler", ""));
  wrenfall_options_set_monitor_path(failing, monitor.c_str());
  EXPECT_EQ(start(failing), WRENFALL_ERROR_HANDLER_START_FAILED);
  EXPECT_TRUE(fs::exists(store_ / kSessionsFolder));
  EXPECT_TRUE(fs::is_empty(store_ / kSessionsFolder));
}

TEST_F(LifecycleTest, AnOldSystemIsRefusedInWords) {
  std::string last;
  on_line_ = [&](const std::string& message) { last = message; };
  native_system_is_old = true;
  EXPECT_EQ(start(), WRENFALL_ERROR_HANDLER_START_FAILED);
  native_system_is_old = false;
  EXPECT_NE(last.find("Windows 11 10.0.22631 x64 is too old"), std::string::npos) << last;
  EXPECT_EQ(start(), WRENFALL_OK);
  wrenfall_shutdown();
}

TEST_F(LifecycleTest, ARelativeStoreIsThatOfTheInitCall) {
  const fs::path before = fs::current_path();
  fs::current_path(dir_.path());
  wrenfall_options* const relative = options();
  // Blanks and dots at the end are what Windows drops.
  wrenfall_options_set_store_dir(relative, "relative. ");
  const wrenfall_result started = start(relative);
  fs::current_path(before);
  ASSERT_EQ(started, WRENFALL_OK);
  EXPECT_TRUE(fs::path(wrenfall_log_file_path()).is_absolute());
  ASSERT_EQ(wrenfall_post_feedback("", "", nullptr, 0, nullptr), WRENFALL_OK);
  EXPECT_EQ(list_report_folders(dir_ / "relative").size(), 1u);
}

TEST_F(LifecycleTest, AnEnvironmentThatWasHandedOutStays) {
  ASSERT_EQ(start(), WRENFALL_OK);
  const char* const first = wrenfall_get_environment();
  EXPECT_EQ(wrenfall_set_environment("second, and longer than the first one was"), WRENFALL_OK);
  EXPECT_EQ(wrenfall_set_environment("the third one replaces one that nobody has"), WRENFALL_OK);
  EXPECT_STREQ(first, "first");
  EXPECT_STREQ(wrenfall_get_environment(), "the third one replaces one that nobody has");
}

// An upload that is under way goes on after a shutdown and logs. A busy machine may run the sender only
// after the shutdown: then again, with more patience.
TEST_F(LifecycleTest, TheCallbackIsSilentAfterShutdown) {
  wrenfall_result result = WRENFALL_ERROR_NOT_INITIALIZED;
  bool called = false;
  for (int patience_ms = 200; result == WRENFALL_ERROR_NOT_INITIALIZED; patience_ms *= 5) {
    ASSERT_LT(patience_ms, 60000);
    on_line_ = nullptr;
    ASSERT_EQ(start(), WRENFALL_OK);
    const fs::path folder = post_feedback();
    auto claim = FolderClaim::try_take(folder);
    std::thread sender([&] {
      result =
          wrenfall_send_report(path_to_utf8(folder).c_str(), nullptr, nullptr, nullptr, nullptr);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(patience_ms));
    wrenfall_shutdown();
    on_line_ = [&](const std::string&) { called = true; };
    claim.reset();
    sender.join();
  }
  EXPECT_FALSE(called);
  EXPECT_NE(file_text(store_ / kLogFile).find("Report not sent"), std::string::npos);
}

// Of the three texts a new one replaces what the record says, an empty one clears it, and none keeps it.
TEST_F(LifecycleTest, SendingCarriesWhatTheHostSays) {
  const struct {
    const char *user, *email, *description;
    const char* sent;
  } rows[] = {{nullptr, nullptr, nullptr, "user|email|words"},
              {"new", "address", "text", "new|address|text"},
              {"", "", "", "||"}};
  for (const auto& row : rows) {
    ASSERT_EQ(start(), WRENFALL_OK);
    const fs::path folder = post_feedback();
    std::string recorded, form;
    network() = [&](const std::string&, const std::string& body) -> HttpResponse {
      if (recorded.empty()) {
        CrashData record;
        EXPECT_TRUE(load(folder, record));
        recorded = record.user + "|" + record.email + "|" + record.userDescription;
      }
      form = body;
      return {WRENFALL_OK, 200, R"({"status":"success","url":"https://b/k"})", ""};
    };
    EXPECT_EQ(wrenfall_send_report(path_to_utf8(folder).c_str(), row.user, row.email,
                                   row.description, nullptr),
              WRENFALL_OK);
    const auto field = [&form](const std::string& name) {
      const std::string head = "name=\"" + name + "\"\r\n\r\n";
      const size_t begin = form.find(head) + head.size();
      return form.substr(begin, form.find("\r\n--", begin) - begin);
    };
    EXPECT_EQ(recorded, row.sent);
    EXPECT_EQ(field("user") + "|" + field("email") + "|" + field("description"), row.sent);
    wrenfall_shutdown();
  }
}

// The list of reports is made by then: the first one is being sent.
TEST_F(LifecycleTest, AReportThatAReporterTakesMeanwhileIsLeftToIt) {
  ASSERT_EQ(start(), WRENFALL_OK);
  for (int i = 0; i < 3; ++i) post_feedback();
  const auto reports = list_report_folders(store_);
  std::atomic<int> requests{0};
  network() = [&](const std::string&, const std::string&) -> HttpResponse {
    CrashData record;
    if (requests++ == 0 && load(reports[1], record)) {
      record.ownerPid = static_cast<uint64_t>(getppid());
      EXPECT_TRUE(save(reports[1], record));
    }
    return {WRENFALL_OK, 503, "", ""};
  };
  ASSERT_EQ(wrenfall_post_pending_reports_async(), WRENFALL_OK);
  while (!fs::exists(reports[2] / kResultFile)) std::this_thread::yield();
  EXPECT_EQ(requests, 2);
}

TEST_F(LifecycleTest, AnArchiveThatVanishesIsToldOf) {
  ASSERT_EQ(start(), WRENFALL_OK);
  std::string bytes(8 << 20, '\0');
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * i >> 7);
  wrenfall_result result = WRENFALL_OK;
  const auto is_told_of = [this] {
    return file_text(store_ / kLogFile).find(": report zip is empty (http 0)") != std::string::npos;
  };
  // Once more when a busy machine ran the remover too late.
  for (int round = 0; round < 5 && !is_told_of(); ++round) {
    const fs::path folder = post_feedback();
    put_file(folder / "large", bytes);
    std::atomic<bool> sent{false};
    std::thread remover([&] {  // while it is being packed
      while (!sent && !fs::remove(folder / kArchiveFile)) std::this_thread::yield();
    });
    result = wrenfall_send_report(path_to_utf8(folder).c_str(), nullptr, nullptr, nullptr, nullptr);
    sent = true;
    remover.join();
    fs::remove_all(folder);
  }
  EXPECT_EQ(result, WRENFALL_ERROR_FILE);
  EXPECT_TRUE(is_told_of());
}

TEST_F(LifecycleTest, FeedbackIsWrittenInThisForm) {
  ASSERT_EQ(start(), WRENFALL_OK);
  const fs::path folder = post_feedback();
  CrashData record;
  ASSERT_TRUE(load(folder, record));
  EXPECT_EQ(file_text(folder / kFeedbackFile), "{\n  \"description\": \"words\",\n  \"time\": \"" +
                                                   record.crashTime +
                                                   "\",\n  \"title\": \"title\"\n}");
  wrenfall_report_list* const list = wrenfall_pending_reports();
  EXPECT_EQ(wrenfall_report_list_folder(list, 0), path_to_utf8(folder));
  EXPECT_EQ(wrenfall_report_list_json(list, 0), file_text(folder / kCrashDataFile));
  wrenfall_report_list_free(list);
}

TEST_F(LifecycleTest, ASignatureIsMadeUnlessTheHostWantsNone) {
  for (const bool wanted : {true, false}) {
    fs::remove_all(store_);
    wrenfall_options* const with_signature = options();
    wrenfall_options_set_crash_signature(with_signature, wanted);
    ASSERT_EQ(start(with_signature), WRENFALL_OK);
    wrenfall_report* const report = wrenfall_report_new(WRENFALL_REPORT_JSON);
    wrenfall_report_add_thread(report, "t", 1);
    wrenfall_report_add_frame(report, 0, "f", "a", 12, "", 0);
    EXPECT_EQ(wrenfall_report_post(report, nullptr), WRENFALL_OK);
    wrenfall_report_free(report);
    CrashData record;
    ASSERT_TRUE(load(list_report_folders(store_).at(0), record));
    EXPECT_EQ(record.crashSignature, wanted ? "f|a|12" : "");
    EXPECT_EQ(record.crashSignatureHash.size(), wanted ? 64u : 0u);
    wrenfall_shutdown();
  }
}

// Posts of feedback and of sanitizer texts wait for each other, with all that they send.
TEST_F(LifecycleTest, PostsGoOneAfterTheOther) {
  ASSERT_EQ(start(options(WRENFALL_UPLOAD_QUIET)), WRENFALL_OK);
  std::atomic<int> at_once{0}, most{0};
  network() = [&](const std::string&, const std::string&) -> HttpResponse {
    most = std::max(most.load(), ++at_once);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    --at_once;
    return {WRENFALL_OK, 200, R"({"status":"success","url":"https://b/k"})", ""};
  };
  std::thread others[] = {std::thread([] { wrenfall_post_feedback("", "", nullptr, 0, nullptr); }),
                          std::thread([] { wrenfall_post_asan_report("", nullptr); }),
                          std::thread([] { wrenfall_post_asan_report("", nullptr); }),
                          std::thread([] { wrenfall_post_feedback("", "", nullptr, 0, nullptr); })};
  for (std::thread& other : others) other.join();
  EXPECT_EQ(most, 1);
}

// A post may take minutes. Meanwhile a thread that ends the process must not wait to say why, and a
// shutdown must leave nothing for later crashes.
TEST_F(LifecycleTest, ALongPostKeepsNothingFromADumpNorInIt) {
  wrenfall_options* const options = this->options(WRENFALL_UPLOAD_QUIET);
  wrenfall_options_set_breadcrumbs(options, 1);
  ASSERT_EQ(start(options), WRENFALL_OK);
  ASSERT_EQ(wrenfall_breadcrumb_add(WRENFALL_LOG_INFO, "", "went left"), WRENFALL_OK);
  std::string during, after;
  network() = [&](const std::string&, const std::string&) -> HttpResponse {
    std::thread([&] {
      EXPECT_EQ(wrenfall_set_attribute("wrenfall.what", "why"), WRENFALL_OK);
      during = live_annotations();
      wrenfall_shutdown();
      after = live_annotations();
    }).join();
    network() = nullptr;
    return {WRENFALL_OK, 503, "", ""};
  };
  wrenfall_post_feedback("", "", nullptr, 0, nullptr);
  for (const char* const text : {"attr.wrenfall.what=why\n", "user=user\n", "went left"}) {
    EXPECT_NE(during.find(text), std::string::npos) << text;
    EXPECT_EQ(after.find(text), std::string::npos) << text;
  }
}

// A record of the host that is too small for the fields is left alone, and a folder must be named.
TEST_F(LifecycleTest, TheHostsRecordAndArgumentsAreLookedAt) {
  ASSERT_EQ(start(), WRENFALL_OK);
  for (const uint32_t size : {39u, 40u}) {
    wrenfall_upload_result record{};
    record.size = size;
    record.http_status = 7;
    EXPECT_EQ(wrenfall_post_feedback("", "", nullptr, 0, &record), WRENFALL_OK);
    EXPECT_EQ(record.http_status, size == 39 ? 7 : 0) << size;
    record.http_status = 7;
    EXPECT_EQ(wrenfall_send_report("", nullptr, nullptr, nullptr, &record), 1);
    EXPECT_EQ(record.http_status, size == 39 ? 7 : 0) << size;
  }
  EXPECT_EQ(wrenfall_discard_report(""), WRENFALL_ERROR_INVALID_ARGUMENT);
}

}  // namespace
}  // namespace wrenfall
