# Finds libavcodec with libavutil and defines the target LibAvcodec::LibAvcodec.
find_path(LibAvcodec_INCLUDE_DIR libavcodec/avcodec.h)
find_library(LibAvcodec_LIBRARY avcodec)
find_library(LibAvcodec_UTIL_LIBRARY avutil)
mark_as_advanced(LibAvcodec_INCLUDE_DIR LibAvcodec_LIBRARY LibAvcodec_UTIL_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(LibAvcodec REQUIRED_VARS LibAvcodec_LIBRARY LibAvcodec_UTIL_LIBRARY
                                                          LibAvcodec_INCLUDE_DIR)

if(LibAvcodec_FOUND AND NOT TARGET LibAvcodec::LibAvcodec)
  add_library(LibAvcodec::LibAvcodec UNKNOWN IMPORTED)
  set_target_properties(
    LibAvcodec::LibAvcodec
    PROPERTIES IMPORTED_LOCATION ${LibAvcodec_LIBRARY} INTERFACE_INCLUDE_DIRECTORIES
                                                       ${LibAvcodec_INCLUDE_DIR}
               INTERFACE_LINK_LIBRARIES ${LibAvcodec_UTIL_LIBRARY})
endif()
