# What every target of ours is compiled with. Dependencies come from packages and are not touched.
set(QUILLET_SANITIZE "" CACHE STRING "Sanitizers to build with, for example address,undefined")
option(QUILLET_FUZZ "Build the fuzzers, and no tests" OFF)

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
  set(CMAKE_CXX_COMPILER_LAUNCHER
      ${CMAKE_COMMAND} -E env CCACHE_NOHASHDIR=1 CCACHE_BASEDIR=${CMAKE_SOURCE_DIR}
      CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
      ${CCACHE_PROGRAM})
endif()

add_library(quillet_options INTERFACE)
target_compile_options(quillet_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual
  -Wimplicit-fallthrough -Wswitch-enum
  # Fields that are not named take their defaults; that is what naming them is for.
  -Wno-missing-designated-field-initializers -Werror "SHELL:-Xclang -fno-pch-timestamp")
target_compile_definitions(quillet_options INTERFACE
  ASIO_STANDALONE ASIO_NO_DEPRECATED ASIO_SEPARATE_COMPILATION
  # Asio 1.22 does not recognise clang's coroutines by itself.
  ASIO_HAS_CO_AWAIT=1 ASIO_HAS_STD_COROUTINE=1
  QT_NO_KEYWORDS SPDLOG_COMPILED_LIB SPDLOG_FMT_EXTERNAL)
target_include_directories(quillet_options INTERFACE ${CMAKE_SOURCE_DIR}/src)

if(QUILLET_SANITIZE)
  target_compile_options(quillet_options INTERFACE
    -fsanitize=${QUILLET_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(quillet_options INTERFACE -fsanitize=${QUILLET_SANITIZE})
else()
  find_program(MOLD_PROGRAM mold)
  find_program(LLD_PROGRAM NAMES ld.lld-19 ld.lld)
  if(MOLD_PROGRAM)
    target_link_options(quillet_options INTERFACE -fuse-ld=${MOLD_PROGRAM})
  elseif(LLD_PROGRAM)
    target_link_options(quillet_options INTERFACE -fuse-ld=${LLD_PROGRAM})
  endif()
endif()
# Libraries that a program never calls must not be loaded at its start.
target_link_options(quillet_options INTERFACE -Wl,--as-needed)

# quillet_library(NAME [LINK ...]): the static library of this folder, made of every .cpp in it.
function(quillet_library name)
  cmake_parse_arguments(ARG "" "" "LINK;SOURCES" ${ARGN})
  if(NOT ARG_SOURCES)
    file(GLOB ARG_SOURCES CONFIGURE_DEPENDS *.cpp *.h)
  endif()
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC quillet_options ${ARG_LINK})
  target_precompile_headers(${name} PRIVATE ${CMAKE_SOURCE_DIR}/cmake/Precompiled.h)
endfunction()
