#include "support/digest.h"

#include <openssl/evp.h>

#include "support/encoding.h"
#include "support/files.h"

namespace wrenfall {
namespace {

std::string digest_hex(const std::string& bytes, const EVP_MD* algorithm) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned size = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), digest, &size, algorithm, nullptr) != 1) return {};
  return hex_lower(digest, size);
}

}  // namespace

std::string md5_file_hex(const std::filesystem::path& path) {
  std::string bytes;
  return read_file(path, bytes) ? digest_hex(bytes, EVP_md5()) : std::string();
}

std::string sha256_hex(const std::string& text) { return digest_hex(text, EVP_sha256()); }

}  // namespace wrenfall
