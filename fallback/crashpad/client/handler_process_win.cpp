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

// A job that ends its process when its last handle is closed, unless it is let go before. Creating a
// process takes several steps, between which it is suspended. When this process ends in between, the
// system closes the handle, and no suspended process is left behind.
class ScopedJob {
 public:
  ScopedJob() : job_(CreateJobObjectW(nullptr, nullptr)) {
    if (job_ && !end_process_with_job(true)) job_.reset();
  }

  HANDLE get() const { return job_.get(); }

  // The process lives on after this object's end. The handle stays open when that cannot be arranged.
  void let_go() {
    if (job_ && !end_process_with_job(false)) static_cast<void>(job_.release());
  }

 private:
  bool end_process_with_job(bool end) {
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits = {};
    // Its children are not the job's: a program that starts them may end before they do. A child that
    // is to leave the client's jobs as well (CREATE_BREAKAWAY_FROM_JOB) needs this job's leave too.
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_BREAKAWAY_OK |
                                              JOB_OBJECT_LIMIT_SILENT_BREAKAWAY_OK |
                                              (end ? JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE : 0U);
    return SetInformationJobObject(job_.get(), JobObjectExtendedLimitInformation, &limits,
                                   sizeof(limits)) != FALSE;
  }

  ScopedHandle job_;
};

// The attributes of a new process: the handles that it inherits, and the job that it is born into, if
// the system knows that attribute. Both must outlive the object.
class ProcessAttributes {
 public:
  ProcessAttributes(std::vector<HANDLE>* handles, HANDLE job) : job_(job) {
    constexpr DWORD kAttributes = 2;
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, kAttributes, 0, &size);
    memory_ = std::make_unique<std::byte[]>(size);
    const auto list = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(memory_.get());
    if (!InitializeProcThreadAttributeList(list, kAttributes, 0, &size)) return;
    list_ = list;
    ok_ = set(PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles->data(), handles->size() * sizeof(HANDLE));
    if (job_ != nullptr) set(kJobList, &job_, sizeof(job_));
  }
  ~ProcessAttributes() {
    if (list_ != nullptr) DeleteProcThreadAttributeList(list_);
  }
  ProcessAttributes(const ProcessAttributes&) = delete;
  ProcessAttributes& operator=(const ProcessAttributes&) = delete;

  bool ok() const { return ok_; }
  LPPROC_THREAD_ATTRIBUTE_LIST list() const { return list_; }

 private:
  // PROC_THREAD_ATTRIBUTE_JOB_LIST, which some headers lack.
  static constexpr DWORD_PTR kJobList = 0x0002000D;

  bool set(DWORD_PTR attribute, void* value, SIZE_T size) {
    return UpdateProcThreadAttribute(list_, 0, attribute, value, size, nullptr, nullptr) != FALSE;
  }

  HANDLE job_;
  std::unique_ptr<std::byte[]> memory_;
  LPPROC_THREAD_ATTRIBUTE_LIST list_ = nullptr;
  bool ok_ = false;
};

// Null when the process could not be started. `job` may be null.
ScopedHandle start_process(const std::wstring& program, const std::wstring& command_line,
                           std::vector<HANDLE>* inherited, HANDLE job) {
  ProcessAttributes attributes(inherited, job);
  if (!attributes.ok()) return nullptr;
  STARTUPINFOEXW startup = {};
  startup.StartupInfo.cb = sizeof(startup);
  // No standard handles: a program that reads the client's output to its end must not wait for the
  // handler.
  startup.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  startup.lpAttributeList = attributes.list();
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

}  // namespace

ScopedHandle start_handler_process(const std::wstring& program, const std::wstring& command_line,
                                   const std::vector<HANDLE>& inherited) {
  std::vector<HANDLE> handles = inherited;
  InheritanceScope inheritance(handles);
  if (!inheritance.ok()) return nullptr;
  ScopedJob job;
  ScopedHandle process = start_process(program, command_line, &handles, job.get());
  // The jobs that this process is in may not allow another one.
  if (!process && job.get() != nullptr) {
    process = start_process(program, command_line, &handles, nullptr);
  }
  job.let_go();
  return process;
}

}  // namespace crashpad::internal
