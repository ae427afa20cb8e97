# Settings that every target of the project shares, and the few functions that define targets.

set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

find_program(QD_CCACHE ccache)
if(QD_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${QD_CCACHE}")
endif()

# Compiler settings. Two adjacent words that were just stored one by one must not be loaded as one
# 16-byte vector (the load waits until both stores have left the store buffer), so the vectoriser
# that joins them stays off. GCC 12 reports overlaps in std::string's operator+, and uninitialised
# values in the clean-up of arrays that are being built, that are not there.
add_library(qd_settings INTERFACE)
target_compile_features(qd_settings INTERFACE cxx_std_20)
target_compile_options(qd_settings INTERFACE -Wall -Wextra -Wpedantic
                       "$<$<CXX_COMPILER_ID:GNU>:-fno-tree-slp-vectorize;-Wno-restrict;-Wno-maybe-uninitialized>"
                       $<$<BOOL:${QD_DEVELOPER}>:-Werror>)

# qd_add_test(NAME SOURCES... [LIBRARIES ...] [LABELS ...]): one GoogleTest program, run by CTest as
# one test.
function(qd_add_test name)
  cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LIBRARIES;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE qd_settings ${ARG_LIBRARIES} GTest::gmock GTest::gtest_main)
  add_test(NAME ${name} COMMAND ${name})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 600)
  endif()
  set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}")
endfunction()
