# What other programs link: all layers in one shared library, clipchain, and in one static one. The
# shared one shows what its headers mark with CLIPCHAIN_API and nothing else.
set(objects "")
foreach(layer IN LISTS CLIPCHAIN_LAYERS)
  if(TARGET clipchain_${layer})
    list(APPEND objects $<TARGET_OBJECTS:clipchain_${layer}>)
  endif()
endforeach()

# Programs include <clipchain/merge/m4lm.h>; inside, headers name each other from src/. In the build
# tree a link stands for the folder that an installation has.
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/include)
file(CREATE_LINK ${PROJECT_SOURCE_DIR}/src ${PROJECT_BINARY_DIR}/include/clipchain SYMBOLIC)
set(installed_headers ${CMAKE_INSTALL_INCLUDEDIR} ${CMAKE_INSTALL_INCLUDEDIR}/clipchain)

set(exports ${PROJECT_SOURCE_DIR}/cmake/exports.map)
add_library(clipchain SHARED ${objects})
add_library(clipchain_static STATIC ${objects})
add_library(clipchain::clipchain ALIAS clipchain)
add_library(clipchain::clipchain_static ALIAS clipchain_static)
set_target_properties(clipchain_static PROPERTIES OUTPUT_NAME clipchain)
set_target_properties(
  clipchain PROPERTIES LINKER_LANGUAGE CXX VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
                       LINK_DEPENDS ${exports})
target_link_options(clipchain PRIVATE LINKER:--version-script=${exports})
set_target_properties(clipchain_static PROPERTIES LINKER_LANGUAGE CXX)
foreach(library clipchain clipchain_static)
  target_include_directories(
    ${library}
    INTERFACE "$<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include;${PROJECT_BINARY_DIR}/include/clipchain>"
              "$<INSTALL_INTERFACE:${installed_headers}>")
  target_compile_features(${library} INTERFACE cxx_std_20)
  # The sanitizers' runtime, where they are on.
  target_link_libraries(${library} PRIVATE $<BUILD_INTERFACE:clipchain_options>)
  if(TARGET LibExif::LibExif)
    target_link_libraries(${library} PRIVATE LibExif::LibExif)
  endif()
  if(TARGET clipchain_workflow)
    target_link_libraries(${library} PRIVATE fmt::fmt LibArchive::LibArchive Nettle::Nettle
                                             Xxhash::Xxhash Threads::Threads)
  endif()
endforeach()
