# The dependencies: the installed package where there is one, otherwise the stand-in from fallback/ if there is one.
set(WRENFALL_DEPENDENCIES auto CACHE STRING
    "Where Crashpad and miniz come from: auto, installed, or fallback (the stand-ins)")
set_property(CACHE WRENFALL_DEPENDENCIES PROPERTY STRINGS auto installed fallback)
if(NOT WRENFALL_DEPENDENCIES MATCHES "^(auto|installed|fallback)$")
  message(FATAL_ERROR "WRENFALL_DEPENDENCIES is \"${WRENFALL_DEPENDENCIES}\"; "
                      "it must be auto, installed or fallback.")
endif()

# Takes the package NAME with the target TARGET, or the stand-in of that name.
function(wrenfall_dependency name target)
  if(NOT WRENFALL_DEPENDENCIES STREQUAL "fallback")
    find_package(${name} CONFIG QUIET)
  endif()
  if(TARGET ${target})
    message(STATUS "Dependency ${name}: installed (${${name}_DIR})")
  elseif(WRENFALL_DEPENDENCIES STREQUAL "installed")
    message(FATAL_ERROR "The package ${name} is not installed. Install it (vcpkg install ${name}), "
                        "or configure with -DWRENFALL_DEPENDENCIES=fallback.")
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

wrenfall_dependency(miniz miniz::miniz)
wrenfall_dependency(crashpad crashpad::crashpad)

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
