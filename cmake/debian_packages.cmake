# cpack makes the Debian packages.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME clipchain)
set(CPACK_PACKAGE_VENDOR clipchain)
set(CPACK_PACKAGE_CONTACT "The clipchain authors <clipchain@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL library development)
if(TARGET clipchain_tool)
  list(APPEND CPACK_COMPONENTS_ALL tool)
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${library_package})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
if(CLIPCHAIN_DECODER)
  # Loaded by name, where nobody else finds it.
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "libavcodec${LibAvcodec_MAJOR}")
endif()
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/debian/triggers)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION
    "Merges and chains the MP4 clips of a camera\n The shared library.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libclipchain-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
# The static library leaves the libraries that it stands on to whoever links it.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${library_package} (= ${PROJECT_VERSION}), libexif-dev, libfmt-dev, libarchive-dev, nettle-dev, libxxhash-dev")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "Merges and chains the MP4 clips of a camera\n Headers, the static library, and files for CMake and pkg-config.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME clipchain)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION video)
set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)
set(CPACK_COMPONENT_TOOL_DESCRIPTION
    "Merges and chains the MP4 clips of a camera\n The command-line tool.")

include(CPack)
