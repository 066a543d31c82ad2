// clang-format off
#include <windows.h>
#include <bcrypt.h>
// clang-format on

#include <array>
#include <fstream>
#include <new>

#include "support/digest.h"
#include "support/encoding.h"
#include "support/win_handle.h"

namespace wrenfall {
namespace {

struct AlgorithmTraits {
  using Handle = BCRYPT_ALG_HANDLE;
  static Handle empty() { return nullptr; }
  static void close(Handle handle) { BCryptCloseAlgorithmProvider(handle, 0); }
};
struct HashTraits {
  using Handle = BCRYPT_HASH_HANDLE;
  static Handle empty() { return nullptr; }
  static void close(Handle handle) { BCryptDestroyHash(handle); }
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
  explicit Digest(const wchar_t* algorithm) {
    BCRYPT_ALG_HANDLE provider = nullptr;
    if (!succeeded(BCryptOpenAlgorithmProvider(&provider, algorithm, nullptr, 0))) return;
    algorithm_.reset(provider);
    BCRYPT_HASH_HANDLE hash = nullptr;
    if (!succeeded(BCryptCreateHash(provider, &hash, nullptr, 0, nullptr, 0, 0))) return;
    hash_.reset(hash);
  }

  void add(const char* bytes, size_t count) {
    // The system only reads the data, although the parameter is not const.
    const auto data = reinterpret_cast<PUCHAR>(const_cast<char*>(bytes));
    if (hash_ && !succeeded(BCryptHashData(hash_.get(), data, static_cast<ULONG>(count), 0))) {
      hash_.reset();
    }
  }

  template <size_t kSize>
  std::string hex() {
    std::array<unsigned char, kSize> digest{};
    if (!hash_ || !succeeded(BCryptFinishHash(hash_.get(), digest.data(), kSize, 0))) {
      return {};
    }
    return hex_lower(digest.data(), digest.size());
  }

 private:
  // The hash is destroyed before its provider.
  ScopedHandle<AlgorithmTraits> algorithm_;
  ScopedHandle<HashTraits> hash_;
};

constexpr size_t kReadSize = 16384;
constexpr size_t kMd5Size = 16;
constexpr size_t kSha256Size = 32;

}  // namespace

std::string md5_file_hex(const std::filesystem::path& path) {
  std::ifstream stream(path, std::ios::binary);
  if (!stream) return {};
  Digest md5(BCRYPT_MD5_ALGORITHM);
  std::array<char, kReadSize> buffer;
  while (stream) {
    stream.read(buffer.data(), buffer.size());
    md5.add(buffer.data(), static_cast<size_t>(stream.gcount()));
  }
  if (stream.bad()) return {};
  return md5.hex<kMd5Size>();
}

std::string sha256_hex(const std::string& text) {
  Digest sha256(BCRYPT_SHA256_ALGORITHM);
  sha256.add(text.data(), text.size());
  return sha256.hex<kSha256Size>();
}

}  // namespace wrenfall
