# What every target of ours is compiled with.
set(CORVANE_SANITIZE "" CACHE STRING "Sanitizers to build with, for example address,undefined")

option(CORVANE_FUZZ "Build the fuzz targets to search by themselves; takes clang" OFF)

add_library(corvane_options INTERFACE)
target_include_directories(corvane_options INTERFACE ${CMAKE_SOURCE_DIR}/src)
target_compile_options(corvane_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)
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
  corvane_precompiled_header(${target})
  set_source_files_properties(${ARG_PLAIN} PROPERTIES SKIP_PRECOMPILE_HEADERS ON SKIP_AUTOMOC ON)
endfunction()

# The headers of Qt and of the coroutines cost seconds a file: they are parsed once, for all targets.
function(corvane_precompiled_header target)
  if(target STREQUAL "corvane_base")
    target_precompile_headers(corvane_base PRIVATE ${CMAKE_SOURCE_DIR}/cmake/precompiled.h)
  else()
    target_precompile_headers(${target} REUSE_FROM corvane_base)
  endif()
endfunction()
