#include "support/named_event_win.h"

#include "support/named_event.h"

namespace wrenfall {
namespace {

// In the namespace of the user's session, which every process may use.
std::wstring full_name(const std::string& name) {
  return L"Local\\" + std::wstring(name.begin(), name.end());
}

}  // namespace

NamedEvent::NamedEvent(const std::string& name) {
  const std::wstring full = full_name(name);
  event_.reset(CreateEventW(nullptr, TRUE, FALSE, full.c_str()));
  if (GetLastError() == ERROR_ALREADY_EXISTS) event_.reset();
}

bool NamedEvent::is_made() const { return event_ != nullptr; }

void NamedEvent::set() {
  if (event_) SetEvent(event_.get());
}

void NamedEvent::reset() {
  if (event_) ResetEvent(event_.get());
}

void NamedEvent::Closer::operator()(void* event) const { CloseHandle(event); }

ScopedKernelHandle open_named_event(const std::string& name) {
  return ScopedKernelHandle(OpenEventW(SYNCHRONIZE, FALSE, full_name(name).c_str()));
}

}  // namespace wrenfall
