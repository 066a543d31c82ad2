// clang-format off
#include <windows.h>
#include <bcrypt.h>
// clang-format on

#include <array>
#include <new>
#include <utility>

#include "support/digest.h"
#include "support/encoding.h"
#include "support/open_file_win.h"
#include "support/system_library_win.h"

namespace wrenfall {
namespace {

struct BCrypt {
  SystemLibrary library{L"bcrypt.dll"};
  decltype(&BCryptCloseAlgorithmProvider) close_provider =
      library.find("BCryptCloseAlgorithmProvider");
  decltype(&BCryptCreateHash) create_hash = library.find("BCryptCreateHash");
  decltype(&BCryptDestroyHash) destroy_hash = library.find("BCryptDestroyHash");
  decltype(&BCryptFinishHash) finish_hash = library.find("BCryptFinishHash");
  decltype(&BCryptHashData) hash_data = library.find("BCryptHashData");
  decltype(&BCryptOpenAlgorithmProvider) open_provider =
      library.find("BCryptOpenAlgorithmProvider");
};

// Whether the call succeeded. Throws bad_alloc where it failed for lack of memory.
bool succeeded(NTSTATUS status) {
  constexpr auto kNoMemory = static_cast<NTSTATUS>(0xC0000017);
  constexpr auto kInsufficientResources = static_cast<NTSTATUS>(0xC000009A);
  if (status == kNoMemory || status == kInsufficientResources) throw std::bad_alloc();
  return BCRYPT_SUCCESS(status);
}

// One running digest of the system's cryptography provider. After any failure it stays failed.
class Digest {
 public:
  // Of two constructors, so that the destructor runs when this one throws.
  explicit Digest(const wchar_t* algorithm) : Digest() {
    if (!system_.library.is_complete() ||
        !succeeded(system_.open_provider(&provider_, algorithm, nullptr, 0)) ||
        !succeeded(system_.create_hash(provider_, &hash_, nullptr, 0, nullptr, 0, 0))) {
      hash_ = nullptr;
    }
  }
  ~Digest() {
    end_hash();
    if (provider_ != nullptr) system_.close_provider(provider_, 0);
  }
  Digest(const Digest&) = delete;
  Digest& operator=(const Digest&) = delete;

  void add(const char* bytes, size_t count) {
    // The system only reads the data, although the parameter is not const.
    const auto data = reinterpret_cast<PUCHAR>(const_cast<char*>(bytes));
    if (hash_ != nullptr &&
        !succeeded(system_.hash_data(hash_, data, static_cast<ULONG>(count), 0))) {
      end_hash();
    }
  }

  template <size_t kSize>
  std::string hex() {
    std::array<unsigned char, kSize> digest{};
    if (hash_ == nullptr || !succeeded(system_.finish_hash(hash_, digest.data(), kSize, 0))) {
      return {};
    }
    return hex_lower(digest.data(), digest.size());
  }

 private:
  Digest() = default;

  void end_hash() {
    if (hash_ != nullptr) system_.destroy_hash(std::exchange(hash_, nullptr));
  }

  const BCrypt system_{};
  BCRYPT_ALG_HANDLE provider_ = nullptr;
  BCRYPT_HASH_HANDLE hash_ = nullptr;  // destroyed before its provider
};

constexpr DWORD kReadSize = 16384;
constexpr size_t kMd5Size = 16;
constexpr size_t kSha256Size = 32;

}  // namespace

std::string md5_file_hex(const std::filesystem::path& path) {
  const ScopedFile file = open_file(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE);
  if (!file) return {};
  Digest md5(BCRYPT_MD5_ALGORITHM);
  std::array<char, kReadSize> buffer;
  DWORD got = 0;
  do {
    if (!ReadFile(file.get(), buffer.data(), kReadSize, &got, nullptr)) return {};
    md5.add(buffer.data(), got);
  } while (got != 0);
  return md5.hex<kMd5Size>();
}

std::string sha256_hex(const std::string& text) {
  Digest sha256(BCRYPT_SHA256_ALGORITHM);
  sha256.add(text.data(), text.size());
  return sha256.hex<kSha256Size>();
}

}  // namespace wrenfall
