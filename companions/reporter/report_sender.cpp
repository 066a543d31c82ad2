#include "reporter/report_sender.h"

#include <utility>

namespace wrenfall::reporter {
namespace {

constexpr uint64_t kSteps = 1000;

uint64_t step_of(const SendingState& state) {
  return state.total == 0 ? 0 : state.sent * kSteps / state.total;
}

}  // namespace

// Passes the calls on, and watches how far they have come: what follows the file is the commit.
class ReportSender::Client : public HttpClient {
 public:
  Client(ReportSender& sender, HttpClient& http) : sender_(sender), http_(http) {}

  HttpResponse request(const std::string& method, const std::string& url,
                       const HttpHeaders& headers, const std::string& body) override {
    return may_begin(has_sent_file_) ? http_.request(method, url, headers, body) : cancelled();
  }
  HttpResponse request_file(const std::string& method, const std::string& url,
                            const HttpHeaders& headers,
                            const std::filesystem::path& file_path) override {
    has_sent_file_ = true;
    return may_begin(false) ? http_.request_file(method, url, headers, file_path) : cancelled();
  }

 private:
  bool may_begin(bool commit) {
    const std::lock_guard<std::mutex> lock(sender_.mutex_);
    if (sender_.state_.is_cancelling) return false;
    sender_.is_committing_ = commit;
    return true;
  }

  static HttpResponse cancelled() {
    HttpResponse response;
    response.error = "cancelled by the user";
    return response;
  }

  ReportSender& sender_;
  HttpClient& http_;
  bool has_sent_file_ = false;
};

ReportSender::ReportSender(OwnedReport& report, MakeClient make_client, Listeners listeners)
    : report_(report), make_client_(std::move(make_client)), listeners_(std::move(listeners)) {}

ReportSender::~ReportSender() {
  if (thread_.joinable()) thread_.join();
}

void ReportSender::start() {
  state_ = {};
  is_committing_ = false;
  thread_ = std::thread([this] {
    run();
    listeners_.on_end();
  });
}

void ReportSender::run() {
  const auto was_cancelled = [this] { return state().is_cancelling; };
  const std::unique_ptr<HttpClient> http =
      make_client_([this](uint64_t sent, uint64_t total) { note_progress(sent, total); });
  if (http == nullptr) {
    outcome_ = report_.send(nullptr, true, was_cancelled);
    return;
  }
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    client_ = http.get();
    if (state_.is_cancelling) client_->cancel();
  }
  Client watched(*this, *http);
  outcome_ = report_.send(&watched, true, was_cancelled);
  const std::lock_guard<std::mutex> lock(mutex_);
  client_ = nullptr;
}

void ReportSender::note_progress(uint64_t sent, uint64_t total) {
  bool is_new = false;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    const uint64_t before = step_of(state_);
    is_new = state_.total != total;
    state_.sent = sent;
    state_.total = total;
    is_new = is_new || step_of(state_) != before;
  }
  if (is_new) listeners_.on_progress();
}

bool ReportSender::cancel() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (is_committing_) return false;
  state_.is_cancelling = true;
  if (client_ != nullptr) client_->cancel();
  return true;
}

SendingState ReportSender::state() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return state_;
}

SendOutcome ReportSender::finish() {
  if (thread_.joinable()) thread_.join();
  return outcome_;
}

bool ReportSender::was_cancelled() const { return state().is_cancelling && !outcome_.was_sent(); }

}  // namespace wrenfall::reporter
