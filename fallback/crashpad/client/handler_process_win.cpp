#include "client/handler_process_win.h"

#include <cstddef>
#include <memory>

namespace crashpad::internal {
namespace {

constexpr int kStartAttempts = 4;
constexpr DWORD kStartPauseMs = 100;

// Makes handles inheritable for the lifetime of this object, so that a child that the host starts at
// another time, with all inheritable handles, does not keep them open.
class InheritanceScope {
 public:
  explicit InheritanceScope(const std::vector<HANDLE>& handles) : handles_(handles) {
    for (const HANDLE handle : handles_) {
      if (!SetHandleInformation(handle, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT)) ok_ = false;
    }
  }
  ~InheritanceScope() {
    for (const HANDLE handle : handles_) SetHandleInformation(handle, HANDLE_FLAG_INHERIT, 0);
  }
  InheritanceScope(const InheritanceScope&) = delete;
  InheritanceScope& operator=(const InheritanceScope&) = delete;

  bool ok() const { return ok_; }

 private:
  const std::vector<HANDLE>& handles_;
  bool ok_ = true;
};

// The attribute list that limits inheritance to `handles`, which must outlive it.
class HandleListAttribute {
 public:
  explicit HandleListAttribute(std::vector<HANDLE>* handles) {
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    memory_ = std::make_unique<std::byte[]>(size);
    const auto list = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.get());
    if (!InitializeProcThreadAttributeList(list, 1, 0, &size)) return;
    list_ = list;
    ok_ = UpdateProcThreadAttribute(list_, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles->data(),
                                    handles->size() * sizeof(HANDLE), nullptr, nullptr) != FALSE;
  }
  ~HandleListAttribute() {
    if (list_ != nullptr) DeleteProcThreadAttributeList(list_);
  }
  HandleListAttribute(const HandleListAttribute&) = delete;
  HandleListAttribute& operator=(const HandleListAttribute&) = delete;

  bool ok() const { return ok_; }
  LPPROC_THREAD_ATTRIBUTE_LIST list() const { return list_; }

 private:
  std::unique_ptr<std::byte[]> memory_;
  LPPROC_THREAD_ATTRIBUTE_LIST list_ = nullptr;
  bool ok_ = false;
};

}  // namespace

ScopedHandle start_handler_process(const std::wstring& program, const std::wstring& command_line,
                                   const std::vector<HANDLE>& inherited) {
  std::vector<HANDLE> handles = inherited;
  HandleListAttribute attribute(&handles);
  InheritanceScope inheritance(handles);
  if (!attribute.ok() || !inheritance.ok()) return nullptr;

  STARTUPINFOEXW startup = {};
  startup.StartupInfo.cb = sizeof(startup);
  startup.lpAttributeList = attribute.list();
  PROCESS_INFORMATION process = {};
  const auto start = [&] {
    std::wstring writable_command_line = command_line;
    return CreateProcessW(program.c_str(), writable_command_line.data(), nullptr, nullptr, TRUE,
                          CREATE_NO_WINDOW | EXTENDED_STARTUPINFO_PRESENT, nullptr, nullptr,
                          &startup.StartupInfo, &process) != FALSE;
  };
  // On a busy machine Wine reports an internal error once in a few hundred starts.
  for (int attempt = 1; !start(); ++attempt) {
    if (GetLastError() != ERROR_INTERNAL_ERROR || attempt == kStartAttempts) return nullptr;
    Sleep(kStartPauseMs);
  }
  CloseHandle(process.hThread);
  return ScopedHandle(process.hProcess);
}

}  // namespace crashpad::internal
