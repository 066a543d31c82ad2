#ifndef WRENFALL_SUPPORT_VERSION_H_
#define WRENFALL_SUPPORT_VERSION_H_

// The one place that holds the library's version. Read by the code, by the version resources (hence
// macros, and plain C) and by the build, which takes WRENFALL_VERSION_TEXT from this file.
#define WRENFALL_VERSION_MAJOR 9
#define WRENFALL_VERSION_MINOR 0
#define WRENFALL_VERSION_PATCH 0
#define WRENFALL_VERSION_TEXT "9.0.0-dev"

#endif  // WRENFALL_SUPPORT_VERSION_H_
