# What an installation holds, in three components that are also the Debian packages: the shared
# library, what programs are built with, and the command-line tool.
include(CMakePackageConfigHelpers)

set(library_package libclipchain${PROJECT_VERSION_MAJOR})
set(config_folder ${CMAKE_INSTALL_LIBDIR}/cmake/clipchain)

install(
  TARGETS clipchain
  EXPORT clipchainTargets
  LIBRARY COMPONENT library NAMELINK_COMPONENT development)
install(TARGETS clipchain_static EXPORT clipchainTargets ARCHIVE COMPONENT development)
# Of the layers above the engine only what applications call: the rooms below workflow/ and the
# adaptations are the library's own.
install(
  DIRECTORY ${PROJECT_SOURCE_DIR}/src/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/clipchain
  COMPONENT development
  FILES_MATCHING
  PATTERN *.h
  PATTERN *.inc
  PATTERN adapt EXCLUDE
  PATTERN workflow/* EXCLUDE)
# What headers of the workflow speak of.
install(
  FILES ${PROJECT_SOURCE_DIR}/src/adapt/fit_options.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/clipchain/adapt
  COMPONENT development)
file(GLOB workflow_headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/workflow/*.h
     ${PROJECT_SOURCE_DIR}/src/workflow/*.inc)
install(
  FILES ${workflow_headers}
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/clipchain/workflow
  COMPONENT development)
if(TARGET clipchain_tool)
  install(TARGETS clipchain_tool RUNTIME COMPONENT tool)
  foreach(section man1 man5 man7)
    install(DIRECTORY ${PROJECT_BINARY_DIR}/manual/${section} DESTINATION ${CMAKE_INSTALL_MANDIR}
            COMPONENT tool)
  endforeach()
  install(
    FILES ${PROJECT_BINARY_DIR}/manual/clipchain.bash
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    RENAME clipchain
    COMPONENT tool)
  install(
    FILES ${PROJECT_BINARY_DIR}/manual/clipchain.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d
    COMPONENT tool)
  # Where Debian's zsh looks below /usr, and any zsh below its own prefix.
  if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set(zsh_folder vendor-completions)
  else()
    set(zsh_folder site-functions)
  endif()
  install(FILES ${PROJECT_BINARY_DIR}/manual/_clipchain
          DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/${zsh_folder} COMPONENT tool)
endif()

# For CMake: find_package(clipchain).
install(
  EXPORT clipchainTargets
  NAMESPACE clipchain::
  DESTINATION ${config_folder}
  COMPONENT development)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/clipchainConfig.cmake.in clipchainConfig.cmake
                              INSTALL_DESTINATION ${config_folder})
# Before 1.0 a minor version may change what programs see.
write_basic_package_version_file(clipchainConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(
  FILES ${PROJECT_BINARY_DIR}/clipchainConfig.cmake ${PROJECT_BINARY_DIR}/clipchainConfigVersion.cmake
        ${CMAKE_CURRENT_LIST_DIR}/FindLibExif.cmake ${CMAKE_CURRENT_LIST_DIR}/FindNettle.cmake
        ${CMAKE_CURRENT_LIST_DIR}/FindXxhash.cmake
  DESTINATION ${config_folder}
  COMPONENT development)

# For everything else: pkg-config. The prefix is where the file lies, so that an installation can be
# moved.
set(pkgconfig_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH prefix_from_pkgconfig /${pkgconfig_folder} /)
configure_file(${CMAKE_CURRENT_LIST_DIR}/clipchain.pc.in clipchain.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/clipchain.pc DESTINATION ${pkgconfig_folder} COMPONENT development)

set(components library development tool)
set(packages ${library_package} libclipchain-dev clipchain)
foreach(component package IN ZIP_LISTS components packages)
  install(
    FILES ${PROJECT_SOURCE_DIR}/LICENSE
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package}
    RENAME copyright
    COMPONENT ${component})
endforeach()

include(${CMAKE_CURRENT_LIST_DIR}/debian_packages.cmake)
