#ifndef WRENFALL_SUPPORT_DIGEST_H_
#define WRENFALL_SUPPORT_DIGEST_H_

#include <filesystem>
#include <string>

namespace wrenfall {

// The MD5 (RFC 1321) of a file's bytes as 32 lower-case hexadecimal digits; empty when the file
// cannot be read or the system offers no MD5. Reads in pieces, so the size of the file does not
// matter. Throws bad_alloc where the system lacks memory.
std::string md5_file_hex(const std::filesystem::path& path);

// The SHA-256 (FIPS 180-4) of a text as 64 lower-case hexadecimal digits; empty when the system
// offers none.
std::string sha256_hex(const std::string& text);

}  // namespace wrenfall

#endif  // WRENFALL_SUPPORT_DIGEST_H_
