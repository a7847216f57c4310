# Every component of ours is one object library, so that the shared library and
# the static one that the inner tests link are made of the same objects.
function(sps_room name)
  cmake_parse_arguments(ROOM "" "" "SOURCES;DEPENDS" ${ARGN})
  add_library(sps_${name} OBJECT ${ROOM_SOURCES})
  target_link_libraries(sps_${name} PUBLIC sps_options PRIVATE ${ROOM_DEPENDS})
  set_target_properties(sps_${name} PROPERTIES POSITION_INDEPENDENT_CODE ON)
  # Thread-local data without a call. What a thread holds is small, so a program may load the library late.
  target_compile_options(sps_${name} PRIVATE -ftls-model=initial-exec)
endfunction()

# One test program, registered case by case so that cases run in parallel.
function(sps_test name)
  cmake_parse_arguments(TEST "" "" "SOURCES;LINK" ${ARGN})
  add_executable(${name} ${TEST_SOURCES})
  target_link_libraries(${name} PRIVATE sps_options ${TEST_LINK} GTest::gmock GTest::gtest_main)
  # Half of the time of a build would go into these headers, and into optimising tests.
  target_precompile_headers(${name} PRIVATE <gmock/gmock.h> <gtest/gtest.h>)
  target_compile_options(${name} PRIVATE -O0)
  # Test files name their tables and helpers alike.
  set_target_properties(${name} PROPERTIES UNITY_BUILD OFF)
  foreach(source IN LISTS TEST_SOURCES)
    get_filename_component(full ${source} ABSOLUTE)
    set_property(GLOBAL APPEND PROPERTY SPS_TEST_SOURCES ${full})
  endforeach()
  gtest_discover_tests(${name} NO_PRETTY_VALUES DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300)
endfunction()

# A test file that no program lists would silently never run.
function(sps_require_listed_tests dir)
  get_property(listed GLOBAL PROPERTY SPS_TEST_SOURCES)
  file(GLOB_RECURSE present CONFIGURE_DEPENDS ${dir}/*_test.cpp)
  foreach(file IN LISTS present)
    if(NOT file IN_LIST listed)
      message(FATAL_ERROR "${file} belongs to no test program")
    endif()
  endforeach()
endfunction()

# One benchmark program.
function(sps_bench name)
  cmake_parse_arguments(BENCH "" "" "SOURCES;LINK" ${ARGN})
  add_executable(${name} ${BENCH_SOURCES})
  target_link_libraries(${name} PRIVATE sps_options ${BENCH_LINK} benchmark::benchmark)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/benchmarks)
endfunction()
