# Finds the headers of libavcodec, and defines the target LibAvcodec::LibAvcodec, which links nothing,
# and LibAvcodec_MAJOR, the version by which the library is loaded.
find_path(LibAvcodec_INCLUDE_DIR libavcodec/version_major.h)
mark_as_advanced(LibAvcodec_INCLUDE_DIR)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(LibAvcodec REQUIRED_VARS LibAvcodec_INCLUDE_DIR)

if(LibAvcodec_FOUND AND NOT TARGET LibAvcodec::LibAvcodec)
  file(STRINGS ${LibAvcodec_INCLUDE_DIR}/libavcodec/version_major.h version
       REGEX "define LIBAVCODEC_VERSION_MAJOR")
  string(REGEX MATCH "[0-9]+$" LibAvcodec_MAJOR "${version}")
  add_library(LibAvcodec::LibAvcodec INTERFACE IMPORTED)
  target_include_directories(LibAvcodec::LibAvcodec INTERFACE ${LibAvcodec_INCLUDE_DIR})
endif()
