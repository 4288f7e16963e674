# One static library per folder of src/. A layer may use only the layers named before it.
set(CLIPCHAIN_LAYERS foundation box reader clip merge front adapt workflow)

set(below "")
foreach(layer IN LISTS CLIPCHAIN_LAYERS)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/${layer}/*.cpp)
  if(NOT sources)
    continue()
  endif()
  add_library(clipchain_${layer} STATIC ${sources})
  target_include_directories(clipchain_${layer} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src>)
  target_link_libraries(clipchain_${layer} PRIVATE $<BUILD_INTERFACE:clipchain_options> PUBLIC ${below})
  if(CLIPCHAIN_FUZZ)
    # The fuzzer steers by what it sees of the engine, and by nothing else.
    target_compile_options(clipchain_${layer} PRIVATE $<BUILD_INTERFACE:-fsanitize=fuzzer-no-link>)
  endif()
  list(APPEND below clipchain_${layer})
endforeach()

if(TARGET clipchain_adapt)
  precompile_headers(clipchain_adapt algorithm memory optional string utility vector)
endif()

# The one library that the engine rests on, behind the functions of clip/exif_library.h.
if(TARGET clipchain_clip)
  list(APPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR})
  find_package(LibExif REQUIRED)
  target_link_libraries(clipchain_clip PRIVATE LibExif::LibExif)
endif()

# What the layer for people stands on. The compiled form of fmt: the one in headers alone triples the
# time that each file takes to compile.
if(TARGET clipchain_workflow)
  find_package(fmt REQUIRED)
  find_package(nlohmann_json REQUIRED)
  set_source_files_properties(${PROJECT_SOURCE_DIR}/src/workflow/doors/clipchain.cpp
                              PROPERTIES COMPILE_DEFINITIONS CLIPCHAIN_VERSION="${PROJECT_VERSION}")
  # What an archive of originals is made of: tar with zstd, and hashes.
  find_package(LibArchive REQUIRED)
  find_package(Nettle REQUIRED)
  find_package(Xxhash REQUIRED)
  find_package(Threads REQUIRED)
  precompile_headers(clipchain_workflow algorithm fmt/format.h functional map memory optional string
                     vector)
  target_link_libraries(clipchain_workflow PRIVATE fmt::fmt LibArchive::LibArchive Nettle::Nettle
                                                   Xxhash::Xxhash Threads::Threads
                                                   $<BUILD_INTERFACE:nlohmann_json::nlohmann_json>)
endif()

# What tells a rescue where frames of sound end and whether a picture is whole; loaded when it is
# needed. A build without it keeps the ways to find samples that need no decoder.
if(TARGET clipchain_workflow AND CLIPCHAIN_DECODER)
  find_package(LibAvcodec REQUIRED)
  target_compile_definitions(clipchain_workflow PRIVATE CLIPCHAIN_WITH_DECODER)
  target_link_libraries(clipchain_workflow PRIVATE $<BUILD_INTERFACE:LibAvcodec::LibAvcodec>
                                                   ${CMAKE_DL_LIBS})
endif()
