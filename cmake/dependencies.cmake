# The dependencies: the installed package where there is one, otherwise the stand-in from fallback/ if there is one.

# Takes the package NAME with the target TARGET, or the stand-in of that name, as the cache variable SWITCH says. A package
# that is asked for, by the switch or by its folder, is never replaced by the stand-in, and neither is one that is there
# but cannot be used. One whose version file refuses it, as one for another machine does, counts as not there.
function(wrenfall_dependency name target switch)
  set(${switch} auto CACHE STRING "Where ${name} comes from: auto, installed, or fallback (the stand-in)")
  set_property(CACHE ${switch} PROPERTY STRINGS auto installed fallback)
  if(NOT ${switch} MATCHES "^(auto|installed|fallback)$")
    message(FATAL_ERROR "${switch} is \"${${switch}}\"; it must be auto, installed or fallback.")
  endif()
  if(NOT ${switch} STREQUAL "fallback")
    set(folder "${${name}_DIR}")
    set(asked_for OFF)
    foreach(named IN ITEMS "${folder}" "${${name}_ROOT}" "$ENV{${name}_ROOT}" "$ENV{${name}_DIR}")
      if(named)
        set(asked_for ON)
      endif()
    endforeach()
    find_package(${name} CONFIG QUIET)
  endif()
  if(TARGET ${target})
    # Nobody here can repair what compilers warn of in a package's headers. CMake knows that of imported targets; some
    # packages make a plain one.
    get_target_property(package_target ${target} ALIASED_TARGET)
    if(NOT package_target)
      set(package_target ${target})
    endif()
    set_target_properties(${package_target} PROPERTIES SYSTEM ON)
    message(STATUS "Dependency ${name}: installed (${${name}_DIR})")
  elseif(NOT ${switch} STREQUAL "fallback" AND ${name}_DIR)
    set(why "${${name}_NOT_FOUND_MESSAGE}")
    if(NOT why)
      set(why "Its configuration file makes no target ${target}.")
    endif()
    message(FATAL_ERROR "The package ${name} is installed (${${name}_CONSIDERED_CONFIGS}), but cannot be used. ${why} "
                        "Repair it, or configure with -D${switch}=fallback.")
  elseif(${switch} STREQUAL "installed" OR asked_for)
    # The search has replaced the folder that the user named. The next run must not take the stand-in either.
    if(folder)
      set(${name}_DIR "${folder}" CACHE PATH "Where ${name} was not found" FORCE)
    endif()
    message(FATAL_ERROR "The package ${name} was asked for, but is not found. Install it (vcpkg install ${name}) and name "
                        "where it is, for example with -DCMAKE_PREFIX_PATH=<folder> or -D${name}_DIR=<folder of "
                        "${name}Config.cmake>, or configure with -D${switch}=fallback.")
  else()
    message(STATUS "Dependency ${name}: stand-in (fallback/${name})")
    add_subdirectory(${PROJECT_SOURCE_DIR}/fallback/${name} ${PROJECT_BINARY_DIR}/fallback/${name})
  endif()
endfunction()

# nlohmann/json consists of headers. A cross build takes them from the build machine, but must not see the C library's
# headers in the same folder: it gets a folder that holds a link to the one directory.
if(CMAKE_CROSSCOMPILING)
  set(wrenfall_json_headers /usr/include/nlohmann)
  if(NOT EXISTS ${wrenfall_json_headers}/json.hpp)
    message(FATAL_ERROR "nlohmann/json is not installed. Install nlohmann-json3-dev.")
  endif()
  file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/json-include)
  file(CREATE_LINK ${wrenfall_json_headers} ${PROJECT_BINARY_DIR}/json-include/nlohmann SYMBOLIC)
  add_library(nlohmann_json::nlohmann_json INTERFACE IMPORTED GLOBAL)
  target_include_directories(nlohmann_json::nlohmann_json SYSTEM
                             INTERFACE ${PROJECT_BINARY_DIR}/json-include)
  message(STATUS "Dependency nlohmann_json: installed (${wrenfall_json_headers})")
else()
  find_package(nlohmann_json 3.11 CONFIG QUIET)
  if(NOT TARGET nlohmann_json::nlohmann_json)
    message(FATAL_ERROR "nlohmann/json 3.11 is not installed. "
                        "Install nlohmann-json3-dev (Debian) or nlohmann-json (vcpkg).")
  endif()
  message(STATUS "Dependency nlohmann_json: installed (${nlohmann_json_DIR})")
endif()

wrenfall_dependency(miniz miniz::miniz WRENFALL_MINIZ)
wrenfall_dependency(crashpad crashpad::crashpad WRENFALL_CRASHPAD)

# An installed Crashpad brings its handler as a tool. A program finder would not know the ending in a cross build.
if(WIN32 AND NOT TARGET crashpad_handler)
  # The one that an earlier run found may be that of another Crashpad. One that the user has named stays.
  if("${WRENFALL_CRASHPAD_HANDLER}" STREQUAL "${WRENFALL_FOUND_HANDLER}")
    unset(WRENFALL_CRASHPAD_HANDLER CACHE)
  endif()
  set(wrenfall_named_handler "${WRENFALL_CRASHPAD_HANDLER}")
  find_file(WRENFALL_CRASHPAD_HANDLER crashpad_handler.exe
            PATHS ${crashpad_DIR}/../../tools/crashpad ${crashpad_DIR}/../../../tools/crashpad
            NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH
            DOC "The handler of the installed Crashpad")
  if(NOT EXISTS "${WRENFALL_CRASHPAD_HANDLER}")
    message(FATAL_ERROR "The installed Crashpad (${crashpad_DIR}) has no tools/crashpad/crashpad_handler.exe. "
                        "Name it with -DWRENFALL_CRASHPAD_HANDLER=<file>.")
  endif()
  if(NOT wrenfall_named_handler)
    set(WRENFALL_FOUND_HANDLER "${WRENFALL_CRASHPAD_HANDLER}" CACHE INTERNAL "What the search for the handler found")
  endif()
  message(STATUS "Dependency crashpad: its handler is ${WRENFALL_CRASHPAD_HANDLER}")
endif()

if(WRENFALL_BUILD_TESTS)
  find_package(GTest CONFIG QUIET)
  if(TARGET GTest::gtest_main)
    message(STATUS "Dependency GTest: installed (${GTest_DIR})")
  elseif(EXISTS /usr/src/googletest/CMakeLists.txt)
    message(STATUS "Dependency GTest: built from /usr/src/googletest")
    set(INSTALL_GTEST OFF)
    add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
    if(NOT TARGET GTest::gtest_main)
      add_library(GTest::gtest_main ALIAS gtest_main)
      add_library(GTest::gtest ALIAS gtest)
    endif()
  else()
    message(FATAL_ERROR "GoogleTest is not installed. Install googletest (Debian) or gtest (vcpkg), "
                        "or configure with -DWRENFALL_BUILD_TESTS=OFF.")
  endif()
endif()
