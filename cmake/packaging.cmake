# The contents of `cmake --install` and of the packages. The component SDK has all that a host ships and its developer
# links with. The component Symbols has the debug information, to be unpacked over it.
include(CMakePackageConfigHelpers)
include(${CMAKE_CURRENT_LIST_DIR}/import_library.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/third_party.cmake)

set(wrenfall_shipped)
foreach(target IN ITEMS Wrenfall WrenfallMonitor WrenfallReporter WrenfallWer wrenfallctl
                        crashpad_handler)
  if(TARGET ${target})
    list(APPEND wrenfall_shipped ${target})
  endif()
endforeach()

foreach(target IN LISTS wrenfall_shipped)
  install(TARGETS ${target} RUNTIME DESTINATION bin COMPONENT SDK)
  if(MSVC)
    install(FILES $<TARGET_PDB_FILE:${target}> DESTINATION bin COMPONENT Symbols)
  else()
    install(FILES $<TARGET_FILE:${target}>.debug DESTINATION bin COMPONENT Symbols)
  endif()
endforeach()
list(TRANSFORM wrenfall_shipped REPLACE "(.+)" "$<TARGET_FILE_NAME:\\1>"
     OUTPUT_VARIABLE wrenfall_shipped_files)
if(NOT TARGET crashpad_handler)
  install(PROGRAMS ${WRENFALL_CRASHPAD_HANDLER} DESTINATION bin COMPONENT SDK)
  list(APPEND wrenfall_shipped_files crashpad_handler.exe)
endif()

# The folder names the architecture, as the libraries of other ones would have the same names.
install(FILES $<TARGET_LINKER_FILE:Wrenfall> ${wrenfall_msvc_library} ${wrenfall_def}
        DESTINATION lib/x64 COMPONENT SDK)
install(DIRECTORY include/wrenfall DESTINATION include COMPONENT SDK)
install(DIRECTORY ${wrenfall_notices}/ DESTINATION share/doc/Wrenfall/third-party COMPONENT SDK)

# The pages and the files that they link to lie as in the source tree, so that the links work. Only the header does not.
set(wrenfall_pages share/doc/Wrenfall)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md SECURITY.md DESTINATION ${wrenfall_pages} COMPONENT SDK)
install(DIRECTORY docs DESTINATION ${wrenfall_pages} COMPONENT SDK
        FILES_MATCHING REGEX "\\.(md|png|svg)$")
install(DIRECTORY examples DESTINATION ${wrenfall_pages} COMPONENT SDK
        FILES_MATCHING REGEX "(\\.(c|cpp|h)|CMakeLists\\.txt)$")
install(FILES scripts/register-wer-helper.ps1 scripts/wrenfall-wer.reg
        DESTINATION ${wrenfall_pages}/scripts COMPONENT SDK)
install(DIRECTORY tools/crash_service DESTINATION ${wrenfall_pages}/tools COMPONENT SDK
        FILES_MATCHING REGEX "\\.(md|py|css|ps1|cpp)$" PATTERN __pycache__ EXCLUDE)
if(TARGET crashing_host AND WRENFALL_SERVICE_DOMAIN MATCHES "^\\.0\\.0\\.1:")
  # A package that reaches the local service can be tried as it is: a host that crashes, and the port for the service.
  install(TARGETS crashing_host RUNTIME DESTINATION ${wrenfall_pages}/examples COMPONENT SDK)
  install(FILES ${PROJECT_BINARY_DIR}/service-port DESTINATION ${wrenfall_pages}/tools/crash_service
          COMPONENT SDK)
endif()
install(FILES fallback/crashpad/README.md DESTINATION ${wrenfall_pages}/fallback/crashpad COMPONENT SDK)
install(CODE [[
  set(pages "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/share/doc/Wrenfall")
  foreach(page IN ITEMS README.md docs/crash-coverage.md docs/integration.md)
    file(READ "${pages}/${page}" text)
    string(REGEX REPLACE "\\]\\(((\\.\\./)*)include/" "](\\1../../../include/" text "${text}")
    file(WRITE "${pages}/${page}" "${text}")
  endforeach()
]] COMPONENT SDK)

# find_package(Wrenfall CONFIG) and pkg-config.
set(wrenfall_config ${PROJECT_BINARY_DIR}/package)
configure_package_config_file(cmake/WrenfallConfig.cmake.in ${wrenfall_config}/WrenfallConfig.cmake.in
                              INSTALL_DESTINATION lib/cmake/Wrenfall
                              NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
file(GENERATE OUTPUT ${wrenfall_config}/$<CONFIG>/WrenfallConfig.cmake
     INPUT ${wrenfall_config}/WrenfallConfig.cmake.in)
# Other architectures are refused by the file above, which can say so in words.
write_basic_package_version_file(${wrenfall_config}/WrenfallConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion ARCH_INDEPENDENT)
configure_file(cmake/wrenfall.pc.in ${wrenfall_config}/wrenfall.pc @ONLY)
install(FILES ${wrenfall_config}/$<CONFIG>/WrenfallConfig.cmake
              ${wrenfall_config}/WrenfallConfigVersion.cmake
        DESTINATION lib/cmake/Wrenfall COMPONENT SDK)
install(FILES ${wrenfall_config}/wrenfall.pc DESTINATION lib/pkgconfig COMPONENT SDK)

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_NAME Wrenfall)
set(CPACK_PACKAGE_VENDOR Wrenfall)
set(CPACK_PACKAGE_VERSION ${wrenfall_version_text})
set(CPACK_PACKAGE_FILE_NAME Wrenfall-${wrenfall_version_text}-win64)
set(CPACK_COMPONENTS_ALL SDK Symbols)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
set(CPACK_ARCHIVE_SDK_FILE_NAME ${CPACK_PACKAGE_FILE_NAME})
set(CPACK_ARCHIVE_SYMBOLS_FILE_NAME ${CPACK_PACKAGE_FILE_NAME}-symbols)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
