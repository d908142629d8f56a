# What every target of ours is compiled with.
set(CORVANE_SANITIZE "" CACHE STRING "Sanitizers to build with, for example address,undefined")

option(CORVANE_FUZZ "Build the fuzz targets to search by themselves; takes clang" OFF)

add_library(corvane_options INTERFACE)
target_include_directories(corvane_options INTERFACE ${CMAKE_SOURCE_DIR}/src)
target_compile_options(corvane_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  # Where several sources are compiled as one, GCC takes the anonymous namespace of each for that of a header.
  target_compile_options(corvane_options INTERFACE -Wno-subobject-linkage)
endif()
target_compile_definitions(corvane_options INTERFACE QT_NO_KEYWORDS QT_NO_CAST_FROM_ASCII)
target_link_libraries(corvane_options INTERFACE Qt6::Core Qt6::Network QCoro6::Core)
if(CORVANE_SANITIZE)
  target_compile_options(corvane_options INTERFACE
    -fsanitize=${CORVANE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(corvane_options INTERFACE -fsanitize=${CORVANE_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL Clang)
    # Clang 14 cannot put the mark of this check in front of the parts of a coroutine.
    target_compile_options(corvane_options INTERFACE -fno-sanitize=function)
  endif()
endif()
if(CORVANE_FUZZ)
  target_compile_options(corvane_options INTERFACE -fsanitize=fuzzer-no-link)
  target_link_options(corvane_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# A folder of src/ as a static library: corvane_library(link DEPENDS store PLAIN packet.cpp SOURCES ...).
# PLAIN sources are free of Qt; they are compiled without the precompiled header, so that they stay so.
function(corvane_library folder)
  cmake_parse_arguments(ARG "" "" "SOURCES;PLAIN;DEPENDS" ${ARGN})
  set(target corvane_${folder})
  add_library(${target} STATIC ${ARG_SOURCES} ${ARG_PLAIN})
  target_link_libraries(${target} PUBLIC corvane_options)
  foreach(dependency IN LISTS ARG_DEPENDS)
    target_link_libraries(${target} PUBLIC corvane_${dependency})
  endforeach()
  if(folder STREQUAL "base")
    corvane_precompiled_header(${target} HEADER cmake/precompiled.h)
  else()
    corvane_precompiled_header(${target})
  endif()
  set_source_files_properties(${ARG_PLAIN} PROPERTIES
    SKIP_PRECOMPILE_HEADERS ON SKIP_AUTOMOC ON SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()

# The headers of Qt, of the coroutines and of the tests cost seconds a file. They are parsed once for each owner, and
# reused: corvane_precompiled_header(corvane_link) shares that of corvane_base, (test_link OF corvane_test_support)
# that of the tests. An owner names its header: (corvane_base HEADER cmake/precompiled.h).
function(corvane_precompiled_header target)
  cmake_parse_arguments(ARG "" "HEADER;OF" "" ${ARGN})
  if(ARG_HEADER)
    target_precompile_headers(${target} PRIVATE ${CMAKE_SOURCE_DIR}/${ARG_HEADER})
  elseif(ARG_OF)
    target_precompile_headers(${target} REUSE_FROM ${ARG_OF})
  else()
    target_precompile_headers(${target} REUSE_FROM corvane_base)
  endif()
endfunction()
