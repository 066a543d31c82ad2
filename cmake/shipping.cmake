# What is shipped: how it is linked, its properties and its manifest.

# Windows and the programs are x64 throughout: the guard of the exception filter writes machine code, and dumps are read
# by the layout of x64's registers. Windows on ARM64 runs x64 programs by emulation.
if(WIN32)
  include(CheckCXXSourceCompiles)
  check_cxx_source_compiles("
    #if !(defined(_M_X64) || defined(__x86_64__)) || defined(_M_ARM64EC)
    #error
    #endif
    int main() {}" WRENFALL_TARGET_IS_X64)
  if(NOT WRENFALL_TARGET_IS_X64)
    message(FATAL_ERROR "Wrenfall is for x64 alone, and this compiler makes programs for another machine, or none. \
With Visual Studio choose the architecture: cmake -A x64, or its \"x64 Native Tools\" prompt. \
Windows on ARM64 runs the x64 build.")
  endif()
endif()

# Functions that nobody calls are left out. GNU ld needs help with that: see the script. It takes some seconds a link, so
# only what is shipped is linked with it.
if(MINGW)
  find_program(WRENFALL_PYTHON NAMES python3 python)
endif()
function(wrenfall_link_used_code target)
  if(MINGW AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND WRENFALL_PYTHON)
    set_target_properties(${target} PROPERTIES
      RULE_LAUNCH_LINK "\"${WRENFALL_PYTHON}\" \"${PROJECT_SOURCE_DIR}/cmake/link_used_code.py\"")
  endif()
endfunction()

# How MSVC's linker makes what is shipped.
function(wrenfall_link_hardened target)
  if(NOT MSVC)
    return()
  endif()
  target_link_options(${target} PRIVATE /DYNAMICBASE /GUARD:CF /CETCOMPAT /INCREMENTAL:NO
                      $<$<NOT:$<CONFIG:Debug>>:/OPT:REF,ICF>
                      # The name of the PDB without the path that it had on the building machine.
                      /DEBUG /PDBALTPATH:%_PDB%
                      # The manifest comes from the resources, as with other compilers.
                      /MANIFEST:NO)
  # It imports system DLLs alone, and takes them from the system's folder, whatever lies beside the program. Not so where
  # the compiler's runtime is a DLL, which may lie anywhere. That is CMake's default: the property is then not set.
  set(static_runtime $<FILTER:$<TARGET_GENEX_EVAL:${target},$<TARGET_PROPERTY:${target},MSVC_RUNTIME_LIBRARY>>,EXCLUDE,DLL>)
  target_link_options(${target} PRIVATE $<$<BOOL:${static_runtime}>:/DEPENDENTLOADFLAG:0x800>)
endfunction()

# Makes TARGET something that is shipped: linked as above, with its version and DESCRIPTION in its properties, and with
# its debug information in a file of its own. A program gets the manifest, too; with COMMON_CONTROLS it also asks for the
# system's newer controls. A program that shows no windows must not: it would not start where they are missing.
function(wrenfall_ship target description)
  cmake_parse_arguments(PARSE_ARGV 2 ship "COMMON_CONTROLS" "" "")
  get_target_property(type ${target} TYPE)
  set(resource_description "${description}")
  set(resource_manifest "")
  set(resource_flags 0)
  if(NOT wrenfall_version_text STREQUAL PROJECT_VERSION)
    set(resource_flags VS_FF_PRERELEASE)
  endif()
  if(type STREQUAL "EXECUTABLE")
    set(resource_type VFT_APP)
    set(resource_file ${target}.exe)
    set(resource_manifest "CREATEPROCESS_MANIFEST_RESOURCE_ID RT_MANIFEST \"${target}.manifest\"")
    set(manifest_dependency "")
    if(ship_COMMON_CONTROLS)
      file(READ ${PROJECT_SOURCE_DIR}/cmake/common_controls.xml manifest_dependency)
    endif()
    configure_file(${PROJECT_SOURCE_DIR}/cmake/program.manifest.in ${target}.manifest @ONLY)
  else()
    set(resource_type VFT_DLL)
    set(resource_file ${target}.dll)
  endif()
  configure_file(${PROJECT_SOURCE_DIR}/cmake/resources.rc.in ${target}.rc @ONLY)
  target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/src ${CMAKE_CURRENT_BINARY_DIR})
  if(resource_manifest)
    set_source_files_properties(${CMAKE_CURRENT_BINARY_DIR}/${target}.rc PROPERTIES
      OBJECT_DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/${target}.manifest)
  endif()
  wrenfall_link_hardened(${target})
  wrenfall_link_used_code(${target})
  wrenfall_split_symbols(${target})
endfunction()
