#include "reporter/screen_reader_win.h"

// clang-format off
#include <windows.h>
#include <objbase.h>
#include <oleacc.h>
// clang-format on

namespace wrenfall::reporter {
namespace {

// Not all compilers' libraries have these.
constexpr GUID kServicesClass = {
    0xb5f8350b, 0x0548, 0x48b1, {0xa6, 0xee, 0x88, 0xbd, 0x00, 0xb4, 0xa5, 0xe7}};
constexpr GUID kServicesInterface = {
    0x6e26e776, 0x04f0, 0x495d, {0x80, 0xe4, 0x33, 0x30, 0x35, 0x2e, 0x31, 0x69}};
constexpr GUID kName = {
    0x608d3df8, 0x8128, 0x4aa7, {0xa4, 0x28, 0xf5, 0x5e, 0x49, 0x26, 0x72, 0x91}};
constexpr GUID kRole = {
    0xcb905ff2, 0x7bd1, 0x4c05, {0xb3, 0xc8, 0xe6, 0xc2, 0x41, 0x36, 0x4d, 0x70}};
constexpr GUID kLiveSetting = {
    0xc12bcd8e, 0x2a8e, 0x4950, {0x8a, 0xe7, 0x36, 0x25, 0x11, 0x1d, 0x58, 0xeb}};

constexpr LONG kAssertive = 2;
constexpr DWORD kLiveRegionChanged = 0x8019;
constexpr DWORD kClient = static_cast<DWORD>(OBJID_CLIENT);

}  // namespace

ScreenReader::ScreenReader() {
  void* services = nullptr;
  if (SUCCEEDED(CoCreateInstance(kServicesClass, nullptr, CLSCTX_INPROC_SERVER, kServicesInterface,
                                 &services))) {
    services_ = static_cast<IAccPropServices*>(services);
  }
}

ScreenReader::~ScreenReader() {
  if (services_ != nullptr) services_->Release();
}

void ScreenReader::set_name(HWND control, const std::wstring& name) const {
  if (services_ == nullptr) return;
  services_->SetHwndPropStr(control, kClient, CHILDID_SELF, kName, name.c_str());
}

void ScreenReader::set_link(HWND button) const { set_number(button, kRole, ROLE_SYSTEM_LINK); }

void ScreenReader::set_announced(HWND text) const { set_number(text, kLiveSetting, kAssertive); }

void ScreenReader::set_number(HWND control, const GUID& property, LONG number) const {
  if (services_ == nullptr) return;
  VARIANT value{};
  value.vt = VT_I4;
  value.lVal = number;
  services_->SetHwndProp(control, kClient, CHILDID_SELF, property, value);
}

void announce(HWND control) {
  NotifyWinEvent(EVENT_SYSTEM_ALERT, control, OBJID_CLIENT, CHILDID_SELF);
  NotifyWinEvent(kLiveRegionChanged, control, OBJID_CLIENT, CHILDID_SELF);
}

}  // namespace wrenfall::reporter
