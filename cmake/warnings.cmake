# Warnings for all code of this repository; each is an error.
add_library(wrenfall_warnings INTERFACE)
if(MSVC)
  target_compile_options(wrenfall_warnings INTERFACE /W4 /WX /utf-8 /permissive-)
  target_compile_definitions(wrenfall_warnings INTERFACE _CRT_SECURE_NO_WARNINGS)
else()
  target_compile_options(wrenfall_warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow
                                                     -Werror)
endif()
