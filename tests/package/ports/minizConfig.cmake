# The shape of vcpkg's, but for zlib, which the stand-in uses.
include(CMakeFindDependencyMacro)
find_dependency(ZLIB)
get_filename_component(prefix ${CMAKE_CURRENT_LIST_DIR}/../.. ABSOLUTE)
add_library(miniz::miniz STATIC IMPORTED)
set_target_properties(miniz::miniz PROPERTIES
  IMPORTED_LOCATION ${prefix}/lib/libminiz.a
  INTERFACE_INCLUDE_DIRECTORIES ${prefix}/include
  INTERFACE_LINK_LIBRARIES ZLIB::ZLIB)
