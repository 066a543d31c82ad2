#include "links.h"

#include <string.h>

#include <windows.h>
#include <winioctl.h>

/* Makes `link` a junction to a folder. */
static BOOL make_junction(const wchar_t* link, const wchar_t* target) {
  /* A header of two words and four half words, then the name with the kernel's prefix twice: to
   * use and to show. */
  static struct {
    ULONG tag;
    USHORT data_length, reserved, name_offset, name_length, shown_offset, shown_length;
    wchar_t names[2048];
  } data;
  const size_t length = wcslen(target) + 4;
  DWORD done = 0;
  BOOL made = FALSE;
  HANDLE folder;
  if (length > 1000 || !CreateDirectoryW(link, NULL)) return FALSE;
  folder = CreateFileW(link, GENERIC_WRITE, 0, NULL, OPEN_EXISTING,
                       FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, NULL);
  if (folder == INVALID_HANDLE_VALUE) return FALSE;
  wcscpy(data.names, L"\\??\\");
  wcscat(data.names, target);
  wcscpy(data.names + length + 1, target);
  data.tag = IO_REPARSE_TAG_MOUNT_POINT;
  data.name_length = (USHORT)(length * sizeof(wchar_t));
  data.shown_offset = (USHORT)(data.name_length + sizeof(wchar_t));
  data.shown_length = (USHORT)((length - 4) * sizeof(wchar_t));
  data.data_length = (USHORT)(10 + data.shown_offset + data.shown_length);
  made = DeviceIoControl(folder, FSCTL_SET_REPARSE_POINT, &data, 8u + data.data_length, NULL, 0,
                         &done, NULL);
  CloseHandle(folder);
  return made;
}

long long make_link(const char* kind, const char* link, const char* target) {
  static wchar_t wide_link[1024], wide_target[1024];
  DWORD error = 0, attributes;
  BOOL made;
  MultiByteToWideChar(CP_UTF8, 0, link, -1, wide_link, 1024);
  MultiByteToWideChar(CP_UTF8, 0, target, -1, wide_target, 1024);
  made = strcmp(kind, "junction") == 0
             ? make_junction(wide_link, wide_target)
             : CreateSymbolicLinkW(wide_link, wide_target, SYMBOLIC_LINK_FLAG_DIRECTORY);
  if (!made) error = GetLastError();
  attributes = GetFileAttributesW(wide_link);
  if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_REPARSE_POINT)) {
    RemoveDirectoryW(wide_link);
    return error == 0 ? -1 : (long long)error;
  }
  return 0;
}
