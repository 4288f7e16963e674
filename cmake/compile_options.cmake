# What every target of this project is compiled with.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

add_library(clipchain_options INTERFACE)
target_compile_options(
  clipchain_options
  INTERFACE -Wall -Wextra -Wshadow -Wconversion -Werror
            $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Werror=unused-result>
            # g++ 12 takes optimised string concatenation for an overlapping copy (GCC bug 105651), and
            # vectors that were just made for too small for what is put into them.
            "$<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-restrict;-Wno-array-bounds;-Wno-stringop-overread;-Wno-stringop-overflow;-Wno-maybe-uninitialized>")
# Files beyond 2 GiB are everyday input, on 32-bit systems too.
target_compile_definitions(clipchain_options INTERFACE _FILE_OFFSET_BITS=64)
if(CLIPCHAIN_COVERAGE)
  target_compile_options(clipchain_options INTERFACE -fprofile-instr-generate -fcoverage-mapping)
  target_link_options(clipchain_options INTERFACE -fprofile-instr-generate)
endif()
if(CLIPCHAIN_SANITIZE)
  target_compile_options(clipchain_options INTERFACE -fsanitize=${CLIPCHAIN_SANITIZE}
                                                     -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(clipchain_options INTERFACE -fsanitize=${CLIPCHAIN_SANITIZE})
endif()

# Headers that most files of a target include are compiled once for all of them. A compiler cache
# can't see through that and is better off without.
function(precompile_headers target)
  if(NOT CMAKE_CXX_COMPILER_LAUNCHER)
    list(TRANSFORM ARGN REPLACE "(.+)" "<\\1>")
    target_precompile_headers(${target} PRIVATE ${ARGN})
  endif()
endfunction()
