# Import libraries for other linkers than the one that built the DLL. The names come from the header, the only list of
# the exported functions; a test compares them with the DLL.
set(wrenfall_header ${PROJECT_SOURCE_DIR}/include/wrenfall/wrenfall.h)
set(wrenfall_def ${PROJECT_BINARY_DIR}/lib/Wrenfall.def)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${wrenfall_header})

file(READ ${wrenfall_header} wrenfall_header_text)
string(REGEX MATCHALL "WRENFALL_API[^;(]*[ *]wrenfall_[a-z0-9_]+\\(" wrenfall_exports
       "${wrenfall_header_text}")
list(TRANSFORM wrenfall_exports REPLACE ".*[ *](wrenfall_[a-z0-9_]+)\\($" "    \\1")
list(SORT wrenfall_exports)
list(JOIN wrenfall_exports "\n" wrenfall_exports)
file(CONFIGURE OUTPUT ${wrenfall_def} @ONLY
     CONTENT "; For x64: lib /machine:x64 /def:Wrenfall.def\nLIBRARY \"Wrenfall.dll\"\nEXPORTS\n@wrenfall_exports@\n")

# MSVC makes Wrenfall.lib when it links the DLL. For MinGW the tool is LLVM's: it writes the short import records that
# Microsoft's own tools write. GNU dlltool writes object files instead, whose sections the linker must merge in order;
# lld-link can, but leaves tables at odd addresses when it meets both kinds, and link.exe is known to have trouble.
set(wrenfall_msvc_library)
if(MINGW)
  find_program(WRENFALL_LLVM_DLLTOOL NAMES llvm-dlltool llvm-dlltool-19 llvm-dlltool-16
                                           llvm-dlltool-14)
  if(WRENFALL_LLVM_DLLTOOL)
    set(wrenfall_msvc_library ${PROJECT_BINARY_DIR}/lib/Wrenfall.lib)
    add_custom_command(OUTPUT ${wrenfall_msvc_library}
      COMMAND ${WRENFALL_LLVM_DLLTOOL} -m i386:x86-64 -d ${wrenfall_def} -l ${wrenfall_msvc_library}
      DEPENDS ${wrenfall_def}
      VERBATIM)
    add_custom_target(wrenfall_msvc_import_library ALL DEPENDS ${wrenfall_msvc_library})
  else()
    message(WARNING "llvm-dlltool is not installed (Debian package llvm): "
                    "the package will have no import library for MSVC.")
  endif()
endif()
