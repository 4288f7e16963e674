# Finds libexif and defines the target LibExif::LibExif.
find_path(LibExif_INCLUDE_DIR libexif/exif-data.h)
find_library(LibExif_LIBRARY exif)
mark_as_advanced(LibExif_INCLUDE_DIR LibExif_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(LibExif REQUIRED_VARS LibExif_LIBRARY LibExif_INCLUDE_DIR)

if(LibExif_FOUND AND NOT TARGET LibExif::LibExif)
  add_library(LibExif::LibExif UNKNOWN IMPORTED)
  set_target_properties(LibExif::LibExif PROPERTIES IMPORTED_LOCATION ${LibExif_LIBRARY}
                                                    INTERFACE_INCLUDE_DIRECTORIES ${LibExif_INCLUDE_DIR})
endif()
