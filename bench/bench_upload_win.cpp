// Packing and sending, beside the deflate library and a bare loop over the system's HTTP client.
// clang-format off
#include <winsock2.h>
#include <windows.h>
#include <winhttp.h>
#include <psapi.h>
// clang-format on

#include <miniz.h>

#include <array>
#include <cstring>
#include <random>
#include <thread>

#include "bench/bench.h"
#include "bench/library.h"
#include "report/store/layout.h"
#include "support/digest.h"
#include "support/files.h"
#include "upload/http_client.h"
#include "upload/report_archive.h"

namespace {

namespace fs = std::filesystem;

constexpr double kMiB = 1024.0 * 1024.0;
constexpr size_t kChunk = 8192;

double peak_mib() {
  PROCESS_MEMORY_COUNTERS counters{};
  counters.cb = sizeof counters;
  K32GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
  return static_cast<double>(counters.PeakWorkingSetSize) / kMiB;
}

// Pages of zeros, pointers, text and noise, as a dump holds them.
std::string dump_like(size_t size) {
  std::mt19937_64 random(20);
  std::string bytes(size, '\0');
  for (size_t page = 0; page + 4096 <= size; page += 4096) {
    const uint64_t kind = random() % 4;
    for (size_t at = 0; kind != 0 && at < 4096; at += 8) {
      const uint64_t word = kind == 1   ? 0x00007FF600000000ULL + random() % 65536 * 16
                            : kind == 2 ? 0x2065726F6D646E61ULL + random() % 16
                                        : random();
      std::memcpy(&bytes[page + at], &word, sizeof word);
    }
  }
  return bytes;
}

void deflate_bare(const std::string& bytes, const fs::path& file) {
  std::FILE* const stream = wrenfall::open_for_writing(file);
  mz_zip_archive zip{};
  mz_zip_writer_init_cfile(&zip, stream, 0);
  mz_zip_writer_add_mem(&zip, "minidump.dmp", bytes.data(), bytes.size(), 6);
  mz_zip_writer_finalize_archive(&zip);
  mz_zip_writer_end(&zip);
  std::fclose(stream);
}

// What the deflate library works in, whatever the size.
constexpr double kCompressorMiB = 0.5;

void bench_archive(const fs::path& folder) {
  for (const size_t mib : {size_t{2}, size_t{20}, size_t{200}}) {
    const fs::path report = folder / "report";
    fs::create_directories(report);
    std::string bytes = dump_like(mib << 20);
    wrenfall::write_file_atomic(report / "minidump.dmp", bytes);
    // The peak counts from the process's start, so the library comes before the limit's own copy.
    bytes = std::string();
    const double before = peak_mib();
    const fs::path archive = folder / wrenfall::kArchiveFile;
    wrenfall::Logger logger;
    const auto pack = [&] {
      wrenfall::write_report_archive(report, archive, logger);
      wrenfall::md5_file_hex(archive);
    };
    pack();
    const double peak = peak_mib() - before;
    const double packed = static_cast<double>(wrenfall::size_of_file(archive).value_or(0)) / kMiB;
    bench::print_figure("peak memory of packing " + std::to_string(mib) + " MiB, added", peak,
                        "MiB", static_cast<double>(mib) + packed + kCompressorMiB);
    wrenfall::read_file(report / "minidump.dmp", bytes);
    bench::compare(
        "archive and MD5, MiB", static_cast<double>(mib), 1.05, {mib == 200 ? 3 : 7, 1},
        [&] { deflate_bare(bytes, folder / "bare.zip"); }, pack);
  }
}

// Takes requests on 127.0.0.1, one after the other, and answers each with 200 after its body.
class Sink {
 public:
  Sink() {
    WSADATA data{};
    WSAStartup(MAKEWORD(2, 2), &data);
    listener_ = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address);
    int size = sizeof address;
    getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
    port_ = ntohs(address.sin_port);
    listen(listener_, 4);
    thread_ = std::thread([this] { serve(); });
  }
  ~Sink() {
    closesocket(listener_);
    thread_.join();
  }
  Sink(const Sink&) = delete;
  Sink& operator=(const Sink&) = delete;

  unsigned short port() const { return port_; }

 private:
  void serve() {
    for (;;) {
      const SOCKET client = accept(listener_, nullptr, nullptr);
      if (client == INVALID_SOCKET) return;
      serve(client);
      closesocket(client);
    }
  }

  static void serve(SOCKET client) {
    std::string head;
    std::array<char, 65536> buffer{};
    size_t end = std::string::npos;
    while ((end = head.find("\r\n\r\n")) == std::string::npos) {
      const int got = recv(client, buffer.data(), static_cast<int>(buffer.size()), 0);
      if (got <= 0) return;
      head.append(buffer.data(), static_cast<size_t>(got));
    }
    const size_t field = head.find("Content-Length: ");
    unsigned long long left = std::strtoull(head.c_str() + field + 16, nullptr, 10);
    left -= head.size() - end - 4;
    while (left > 0) {
      const int got = recv(client, buffer.data(), static_cast<int>(buffer.size()), 0);
      if (got <= 0) return;
      left -= static_cast<unsigned long long>(got);
    }
    const char answer[] = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
    send(client, answer, sizeof answer - 1, 0);
  }

  SOCKET listener_ = INVALID_SOCKET;
  unsigned short port_ = 0;
  std::thread thread_;
};

void put_bare(unsigned short port, const fs::path& file) {
  const HINTERNET session = WinHttpOpen(L"bench", WINHTTP_ACCESS_TYPE_AUTOMATIC_PROXY,
                                        WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0);
  const HINTERNET connection = WinHttpConnect(session, L"127.0.0.1", port, 0);
  const HINTERNET request = WinHttpOpenRequest(connection, L"PUT", L"/", nullptr,
                                               WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES, 0);
  const HANDLE source = CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  WinHttpSendRequest(request, WINHTTP_NO_ADDITIONAL_HEADERS, 0, WINHTTP_NO_REQUEST_DATA, 0,
                     GetFileSize(source, nullptr), 0);
  std::array<char, kChunk> chunk{};
  DWORD got = 0, written = 0;
  while (ReadFile(source, chunk.data(), kChunk, &got, nullptr) && got > 0) {
    WinHttpWriteData(request, chunk.data(), got, &written);
  }
  WinHttpReceiveResponse(request, nullptr);
  CloseHandle(source);
  WinHttpCloseHandle(request);
  WinHttpCloseHandle(connection);
  WinHttpCloseHandle(session);
}

void make_file(const fs::path& path, LONGLONG size) {
  const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  LARGE_INTEGER end{};
  end.QuadPart = size;
  SetFilePointerEx(file, end, nullptr, FILE_BEGIN);
  SetEndOfFile(file);
  CloseHandle(file);
}

void bench_upload(const fs::path& folder) {
  Sink sink;
  const auto client = wrenfall::make_http_client();
  const std::string url = "http://127.0.0.1:" + std::to_string(sink.port()) + "/";
  // The first request of a process loads what HTTP needs.
  make_file(folder / "archive", 1);
  put_bare(sink.port(), folder / "archive");
  for (const int mib : {10, 100, 1024}) {
    const fs::path file = folder / "archive";
    make_file(file, LONGLONG{mib} << 20);
    const double before = peak_mib();
    const auto put = [&] {
      const wrenfall::HttpResponse answer =
          client->request_file("PUT", url, {{"User-Agent", "bench"}}, file);
      if (answer.status != 200) std::fprintf(stderr, "PUT: %s\n", answer.error.c_str());
    };
    put();
    bench::print_figure("peak memory of sending " + std::to_string(mib) + " MiB, added",
                        peak_mib() - before, "MiB", 1);
    bench::compare(
        "upload, MiB", mib, 1.05, {mib == 1024 ? 3 : 7, 1}, [&] { put_bare(sink.port(), file); },
        put);
  }
}

}  // namespace

int main() {
  const bench::Folder folder("upload");
  // First, while the process has not yet grown.
  bench_upload(folder.path());
  bench_archive(folder.path());
  return 0;
}
