# The unit tests: one program, each test its own case for ctest.

find_path(KEST_GOOGLETEST_SOURCE googletest/CMakeLists.txt PATHS /usr/src/googletest
          NO_CMAKE_FIND_ROOT_PATH)
if(NOT KEST_GOOGLETEST_SOURCE)
    message(FATAL_ERROR "GoogleTest's sources were not found; set KEST_GOOGLETEST_SOURCE, or "
                        "KEST_BUILD_TESTS=OFF to build without tests.")
endif()
set(INSTALL_GTEST OFF)
set(BUILD_GMOCK OFF)
set(gtest_disable_pthreads OFF)
set(kest_warnings_as_errors ${CMAKE_COMPILE_WARNING_AS_ERROR})
set(CMAKE_COMPILE_WARNING_AS_ERROR OFF)
add_subdirectory(${KEST_GOOGLETEST_SOURCE} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
set(CMAKE_COMPILE_WARNING_AS_ERROR ${kest_warnings_as_errors})
include(GoogleTest)

add_executable(kest_tests ${kest_tests})
target_link_libraries(kest_tests PRIVATE kest_objects kest_options kest_boost gtest gtest_main)
target_compile_definitions(kest_tests PRIVATE KEST_SOURCE_DIR="${CMAKE_SOURCE_DIR}")

# Under Wine a test is only listed when the tests are run: the build itself needs no Wine.
gtest_discover_tests(kest_tests DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120
                     PROPERTIES TIMEOUT 300)
