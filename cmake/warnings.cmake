# Warnings for all code of this repository; each is an error.
add_library(wrenfall_warnings INTERFACE)
if(MSVC)
  # 4324 says that a type was padded, as all are that hold a processor context.
  target_compile_options(wrenfall_warnings INTERFACE /W4 /WX /sdl /wd4324
                         # Initial values that are no constants: C has them since 1999.
                         $<$<COMPILE_LANGUAGE:C>:/wd4204;/wd4221>)
  target_compile_definitions(wrenfall_warnings INTERFACE _CRT_SECURE_NO_WARNINGS)
endif()
if(NOT MSVC OR CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  # Clang takes them in MSVC's place, too.
  target_compile_options(wrenfall_warnings INTERFACE -Wextra -Wpedantic -Wconversion -Wshadow)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  # Also where a parameter of a constructor has a member's name, of which MSVC warns.
  target_compile_options(wrenfall_warnings INTERFACE -Wshadow-all)
endif()
if(NOT MSVC)
  target_compile_options(wrenfall_warnings INTERFACE -Wall -Werror)
endif()
