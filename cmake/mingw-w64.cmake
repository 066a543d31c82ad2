# Cross compiler of Debian (packages g++-mingw-w64-x86-64-posix): 64-bit Windows, POSIX threads for <thread> and <mutex>.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
# Packages come from the folders that the user names, by variables of CMake's or the environment's, and from Debian's
# last. Nothing else on this machine is for Windows.
foreach(name IN ITEMS CMAKE_PREFIX_PATH crashpad_ROOT crashpad_DIR miniz_ROOT miniz_DIR)
  file(TO_CMAKE_PATH "$ENV{${name}}" folders)
  list(PREPEND folders ${${name}})
  if(name MATCHES "_DIR$")
    # That of the configuration file; the libraries are elsewhere in the package. A failed search leaves "…-NOTFOUND".
    list(FILTER folders EXCLUDE REGEX "-NOTFOUND$")
    list(TRANSFORM folders REPLACE "/(share|lib/cmake)/[^/]+/?$" "")
  endif()
  list(APPEND CMAKE_FIND_ROOT_PATH ${folders})
endforeach()
list(APPEND CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
list(REMOVE_DUPLICATES CMAKE_FIND_ROOT_PATH)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Runs the built programs and tests.
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine.sh)
