#include <client/crashpad_info.h>

namespace crashpad {

CrashpadInfo* CrashpadInfo::GetCrashpadInfo() {
  static CrashpadInfo info;
  return &info;
}

}  // namespace crashpad
