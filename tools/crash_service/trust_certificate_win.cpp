// trust_certificate.exe FILE.der: makes the current user and the machine trust the test authority
// of the local crash service. Meant for a Wine prefix or a throw-away Windows machine.

#include <windows.h>
// <wincrypt.h> needs <windows.h> first.
#include <shellapi.h>
#include <wincrypt.h>

#include <cstddef>
#include <cstdio>
#include <memory>
#include <vector>

namespace {

constexpr int kExitTrusted = 0;
constexpr int kExitStoreRefused = 1;
constexpr int kExitUsage = 2;
constexpr int kExitBadFile = 3;

// A certificate has one or two kilobytes; anything far above is not one.
constexpr DWORD kMaxFileSize = 1024 * 1024;

constexpr char kUsage[] =
    "usage: trust_certificate.exe CERTIFICATE.der\n"
    "\n"
    "Adds the DER-encoded certificate to the \"Root\" store of the current user and of the\n"
    "local machine, replacing the same certificate when it is there already. Every program\n"
    "that uses these stores then trusts what the certificate's owner signs.\n"
    "\n"
    "exit codes: 0 added to both stores, 1 at least one store refused it,\n"
    "            2 wrong usage, 3 the file cannot be read or is not a certificate\n";

struct HandleCloser {
  using pointer = HANDLE;
  void operator()(HANDLE handle) const { CloseHandle(handle); }
};
using UniqueFile = std::unique_ptr<HANDLE, HandleCloser>;

struct LocalFreer {
  void operator()(wchar_t** memory) const { LocalFree(memory); }
};
using UniqueArguments = std::unique_ptr<wchar_t*, LocalFreer>;

struct CertificateFreer {
  void operator()(const CERT_CONTEXT* certificate) const {
    CertFreeCertificateContext(certificate);
  }
};
using UniqueCertificate = std::unique_ptr<const CERT_CONTEXT, CertificateFreer>;

struct StoreCloser {
  using pointer = HCERTSTORE;
  void operator()(HCERTSTORE store) const { CertCloseStore(store, 0); }
};
using UniqueStore = std::unique_ptr<HCERTSTORE, StoreCloser>;

struct StoreLocation {
  DWORD flag;
  const char* added;
  const char* refused;
};

constexpr StoreLocation kStoreLocations[] = {
    {CERT_SYSTEM_STORE_CURRENT_USER, "current user: added to the Root store",
     "current user: the Root store refused the certificate"},
    {CERT_SYSTEM_STORE_LOCAL_MACHINE, "local machine: added to the Root store",
     "local machine: the Root store refused the certificate (it needs an elevated prompt)"},
};

// Prints what failed, and the system's reason for it. To be called before anything else can change
// the last error.
void report_failure(const char* what) {
  const DWORD error = GetLastError();
  char text[512] = "";
  DWORD length = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                error, 0, text, sizeof text, nullptr);
  while (length > 0 && (text[length - 1] == '\n' || text[length - 1] == '\r'))
    text[--length] = '\0';
  std::fprintf(stderr, "%s: win32 error %lu%s%s\n", what, error, length > 0 ? ": " : "", text);
}

// Reads the whole file. An empty result means failure, with the reason printed.
std::vector<BYTE> read_file(const wchar_t* path) {
  const HANDLE raw = CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                 FILE_ATTRIBUTE_NORMAL, nullptr);
  if (raw == INVALID_HANDLE_VALUE) {
    report_failure("cannot open the file");
    return {};
  }
  const UniqueFile file(raw);
  LARGE_INTEGER size = {};
  if (!GetFileSizeEx(raw, &size)) {
    report_failure("cannot read the file's size");
    return {};
  }
  if (size.QuadPart <= 0 || size.QuadPart > static_cast<LONGLONG>(kMaxFileSize)) {
    std::fprintf(stderr, "the file is not a DER-encoded certificate: it has %lld bytes\n",
                 static_cast<long long>(size.QuadPart));
    return {};
  }
  std::vector<BYTE> bytes(static_cast<std::size_t>(size.QuadPart));
  DWORD read = 0;
  if (!ReadFile(raw, bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr) ||
      read != bytes.size()) {
    report_failure("cannot read the file");
    return {};
  }
  return bytes;
}

// True when the "Root" store of the location now holds the certificate; says which of the two.
bool add_to_root(const StoreLocation& location, const std::vector<BYTE>& certificate) {
  const UniqueStore store(CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, location.flag, L"Root"));
  if (!store ||
      !CertAddEncodedCertificateToStore(store.get(), X509_ASN_ENCODING, certificate.data(),
                                        static_cast<DWORD>(certificate.size()),
                                        CERT_STORE_ADD_REPLACE_EXISTING, nullptr)) {
    report_failure(location.refused);
    return false;
  }
  std::puts(location.added);
  return true;
}

int trust(const wchar_t* path) {
  const std::vector<BYTE> bytes = read_file(path);
  if (bytes.empty()) return kExitBadFile;

  const UniqueCertificate certificate(CertCreateCertificateContext(
      X509_ASN_ENCODING, bytes.data(), static_cast<DWORD>(bytes.size())));
  if (!certificate) {
    report_failure("the file is not a DER-encoded certificate");
    return kExitBadFile;
  }
  bool all_added = true;
  for (const StoreLocation& location : kStoreLocations) {
    all_added = add_to_root(location, bytes) && all_added;
  }
  return all_added ? kExitTrusted : kExitStoreRefused;
}

}  // namespace

// The wide command line is taken from the system: a wide entry point would need its own linker
// switch with MinGW.
int main() {
  int count = 0;
  const UniqueArguments arguments(CommandLineToArgvW(GetCommandLineW(), &count));
  if (!arguments || count != 2) {
    std::fputs(kUsage, stderr);
    return kExitUsage;
  }
  const wchar_t* argument = arguments.get()[1];
  if (lstrcmpW(argument, L"--help") == 0 || lstrcmpW(argument, L"-h") == 0) {
    std::fputs(kUsage, stdout);
    return kExitTrusted;
  }
  return trust(argument);
}
