# Lays out packages in the shape that vcpkg gives them, made of the stand-ins' libraries and headers:
#
#   cmake -DBUILD=<folder of a build with the stand-ins> -DPREFIX=<new folder> -P lay_out.cmake
cmake_path(GET CMAKE_CURRENT_LIST_DIR PARENT_PATH fallback)
cmake_path(SET fallback NORMALIZE ${fallback}/../../fallback)
set(mingw /usr/x86_64-w64-mingw32)

file(COPY ${fallback}/crashpad/include/ DESTINATION ${PREFIX}/include/crashpad)
# Headers of packages warn, and newer ones are for C++20.
file(GLOB_RECURSE headers ${PREFIX}/include/crashpad/*.h)
foreach(header IN LISTS headers)
  cmake_path(GET header STEM name)
  file(APPEND ${header} "\nstatic_assert(__cplusplus >= 202002L, \"for C++20\");\n"
                        "inline int warn_in_${name}(int unused) { return 0; }\n")
endforeach()
file(COPY ${fallback}/miniz/miniz.h ${mingw}/include/zlib.h ${mingw}/include/zconf.h
     DESTINATION ${PREFIX}/include)
file(COPY ${BUILD}/lib/libminiz.a ${mingw}/lib/libz.a DESTINATION ${PREFIX}/lib)
file(COPY_FILE ${BUILD}/lib/libcrashpad.a ${PREFIX}/lib/libclient.a)
file(COPY_FILE ${BUILD}/lib/libcrashpad_portable.a ${PREFIX}/lib/libcommon.a)
foreach(empty IN ITEMS crashpad_util base)
  file(WRITE ${PREFIX}/lib/lib${empty}.a "!<arch>\n")
endforeach()
file(COPY ${BUILD}/bin/crashpad_handler.exe DESTINATION ${PREFIX}/tools/crashpad)
foreach(name IN ITEMS crashpad miniz zlib)
  file(WRITE ${PREFIX}/share/${name}/copyright "the licence of ${name}")
endforeach()
foreach(name IN ITEMS crashpad miniz)
  file(COPY ${CMAKE_CURRENT_LIST_DIR}/${name}Config.cmake DESTINATION ${PREFIX}/share/${name})
endforeach()
