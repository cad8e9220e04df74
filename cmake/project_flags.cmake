include(CheckCXXCompilerFlag)

# The language level of the whole tree, and a list of commands for tools that need it (clang-tidy).
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# A compiler cache, where there is one, makes the several builds of one tree cheap.
find_program(VELA_CCACHE ccache)
if(VELA_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${VELA_CCACHE})
endif()

# project_flags: every target links to it, for the include root (the repository), the warnings and
# the sanitizers.
add_library(project_flags INTERFACE)
target_include_directories(project_flags INTERFACE ${PROJECT_SOURCE_DIR})
if(MSVC)
  target_compile_options(project_flags INTERFACE /W4 /utf-8)
else()
  target_compile_options(project_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast
    -Woverloaded-virtual -Wcast-align -Wimplicit-fallthrough)
  if(VELA_WERROR)
    target_compile_options(project_flags INTERFACE -Werror)
  endif()
  if(VELA_SANITIZE)
    # vptr is off: the host's objects are plain tables of operations, made by any compiler, and
    # carry no type information before the table.
    target_compile_options(project_flags INTERFACE
      -fsanitize=${VELA_SANITIZE} -fno-sanitize-recover=all -fno-sanitize=vptr -fno-omit-frame-pointer)
    target_link_options(project_flags INTERFACE -fsanitize=${VELA_SANITIZE})
  endif()
endif()

# plugin_flags: for the code that goes into the plug-in and, later, onto the device. Nothing leaves
# the shared library unless it is exported on purpose.
add_library(plugin_flags INTERFACE)
if(NOT MSVC)
  target_compile_options(plugin_flags INTERFACE
    -fvisibility=hidden -fvisibility-inlines-hidden -fno-threadsafe-statics
    -ffunction-sections -fdata-sections)
endif()
# For size gcc copies with a byte-wise string instruction of x86, which is slow for a payload.
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  check_cxx_compiler_flag(-mstringop-strategy=libcall VELA_HAS_STRINGOP_STRATEGY)
  if(VELA_HAS_STRINGOP_STRATEGY)
    target_compile_options(plugin_flags INTERFACE -mstringop-strategy=libcall)
  endif()
endif()

# What runs for each byte, table word, packet and seek is compiled for speed in the build that ships;
# everything else for size.
set(VELA_HOT_SOURCES
  atomkit/core/movie/movie.cpp
  atomkit/core/streams/box_reader.cpp
  atomkit/core/streams/byte_stream.cpp
  atomkit/core/streams/read_head.cpp
  atomkit/core/streams/table_readers.cpp
  atomkit/core/streams/value_readers.cpp
  atomkit/core/streams/word_order.cpp
  atomkit/core/streams/word_order_ssse3.cpp
  atomkit/core/tables/place_indexes.cpp
  atomkit/core/tables/run_index.cpp
  atomkit/core/tables/sample_tables.cpp
  atomkit/meta/timing/sample_cursor.cpp
  atomkit/meta/timing/timing_indexes.cpp
  atomkit/meta/timing/timing_tables.cpp
  frontend/interleaving.cpp
  frontend/packet_delivery.cpp
  frontend/read_cache.cpp
  frontend/seeking.cpp)
# On the device, room is scarcer than time: only what runs for each table word is worth more.
if(VELA_WINDOWS_CE)
  set(VELA_HOT_SOURCES
    atomkit/core/streams/table_readers.cpp
    atomkit/core/streams/word_order.cpp
    atomkit/core/tables/place_indexes.cpp
    atomkit/core/tables/run_index.cpp)
endif()
foreach(source IN LISTS VELA_HOT_SOURCES)
  if(NOT EXISTS ${PROJECT_SOURCE_DIR}/${source})
    message(FATAL_ERROR "VELA_HOT_SOURCES names ${source}, which is not there")
  endif()
endforeach()

# A static library of plug-in code: add_plugin_library(NAME source ...)
function(add_plugin_library name)
  add_library(${name} STATIC ${ARGN})
  if(NOT VELA_WINDOWS_CE)  # the device's loader relocates the image word by word
    set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE ON)
  endif()
  target_link_libraries(${name} PUBLIC project_flags PRIVATE plugin_flags)
  if(NOT MSVC)
    foreach(source IN LISTS ARGN)
      file(RELATIVE_PATH path ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR}/${source})
      if(path IN_LIST VELA_HOT_SOURCES)
        set_source_files_properties(${source} PROPERTIES
          COMPILE_OPTIONS "$<$<CONFIG:MinSizeRel>:-O2>")
      endif()
    endforeach()
  endif()
endfunction()
