# The licences of the parts linked into the binaries. The texts come from the packages installed on this machine; the
# notice that lists them is written here.
set(wrenfall_notices ${PROJECT_BINARY_DIR}/third-party)
set(wrenfall_notice_text
    "# Third-party software\n\nLinked into the binaries of this package; the full texts are beside this file.\n")
file(REMOVE_RECURSE ${wrenfall_notices})

# Adds a part NAME. PACKAGES are folders of installed packages with a file "copyright": of Debian or of vcpkg.
function(wrenfall_third_party name text)
  set(places ${ARGN})
  list(TRANSFORM places PREPEND /usr/share/doc/ OUTPUT_VARIABLE debian)
  set(vcpkg)
  foreach(share IN ITEMS ${VCPKG_INSTALLED_DIR}/${VCPKG_TARGET_TRIPLET}/share ${crashpad_DIR}/..
                         ${miniz_DIR}/..)
    list(TRANSFORM ARGN PREPEND ${share}/ OUTPUT_VARIABLE of_share)
    list(APPEND vcpkg ${of_share})
  endforeach()
  # What was installed for this build goes before what the machine has.
  find_file(copyright copyright PATHS ${vcpkg} ${debian}
            NO_CACHE NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  if(NOT copyright)
    install(CODE "message(FATAL_ERROR \"There is no licence text of ${name} on this machine.\")"
            COMPONENT SDK)
    return()
  endif()
  configure_file(${copyright} ${wrenfall_notices}/${name}.txt COPYONLY)
  string(APPEND wrenfall_notice_text "\n- ${name} (${name}.txt): ${text}\n")
  set(wrenfall_notice_text "${wrenfall_notice_text}" PARENT_SCOPE)
endfunction()

wrenfall_third_party(nlohmann-json "JSON, in Wrenfall.dll and its companions. MIT licence."
                     nlohmann-json3-dev nlohmann-json)
set(zlib_users)
if(TARGET miniz)
  list(APPEND zlib_users "Wrenfall.dll and its companions")
else()
  wrenfall_third_party(miniz "ZIP archives, in Wrenfall.dll and its companions. MIT licence." miniz)
endif()
if(NOT TARGET crashpad_portable)
  list(APPEND zlib_users "crashpad_handler.exe")
  wrenfall_third_party(crashpad "crash capture, in Wrenfall.dll and as crashpad_handler.exe. Apache licence 2.0."
                       crashpad)
  # Crashpad's package holds this part too, but not its licence.
  configure_file(${CMAKE_CURRENT_LIST_DIR}/mini_chromium_licence.txt ${wrenfall_notices}/mini_chromium.txt COPYONLY)
  string(APPEND wrenfall_notice_text "\n- mini_chromium (mini_chromium.txt): Crashpad's base library, in Wrenfall.dll and \
crashpad_handler.exe. BSD licence of three clauses.\n")
endif()
if(zlib_users)
  list(JOIN zlib_users ", and in " zlib_users)
  wrenfall_third_party(zlib "deflate, in ${zlib_users}. zlib licence." libz-mingw-w64-dev zlib1g-dev zlib)
endif()
if(MINGW)
  wrenfall_third_party(gcc "the compiler's run-time libraries (libgcc, libstdc++), in every binary. \
GPL 3 with the GCC Runtime Library Exception, which lets the binaries have any licence."
                       gcc-mingw-w64-base)
  wrenfall_third_party(mingw-w64 "C run-time start-up code and winpthreads, in every binary. \
Public domain, Zope Public License and MIT, by file."
                       mingw-w64-x86-64-dev mingw-w64-common)
endif()
file(WRITE ${wrenfall_notices}/THIRD-PARTY.md "${wrenfall_notice_text}")
