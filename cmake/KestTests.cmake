# The unit tests: each suite a test for ctest, run through Wine in the Windows build.

if(NOT KEST_BUILD_TESTS)
    return()
endif()
find_path(KEST_GOOGLETEST_SOURCE googletest/CMakeLists.txt PATHS /usr/src/googletest
          NO_CMAKE_FIND_ROOT_PATH)
if(NOT KEST_GOOGLETEST_SOURCE)
    if(KEST_BUILD_TESTS STREQUAL "AUTO")
        message(STATUS "GoogleTest's sources were not found: the unit tests are not built")
        set(KEST_BUILD_TESTS OFF)
        return()
    endif()
    message(FATAL_ERROR "GoogleTest's sources were not found; set KEST_GOOGLETEST_SOURCE, or "
                        "KEST_BUILD_TESTS=OFF to build without tests.")
endif()
set(INSTALL_GTEST OFF)
set(BUILD_GMOCK OFF)
set(kest_warnings_as_errors ${CMAKE_COMPILE_WARNING_AS_ERROR})
set(CMAKE_COMPILE_WARNING_AS_ERROR OFF)
add_subdirectory(${KEST_GOOGLETEST_SOURCE} ${CMAKE_CURRENT_BINARY_DIR}/googletest
                 EXCLUDE_FROM_ALL SYSTEM)
set(CMAKE_COMPILE_WARNING_AS_ERROR ${kest_warnings_as_errors})
enable_testing()

# The suites are listed when they are run: the build itself needs no Wine. A program that is killed by
# the time-out is a failure like any other.
function(kest_add_tests target)
    target_link_libraries(${target} PRIVATE kest_options gtest gtest_main)
    set(suites ${CMAKE_CURRENT_BINARY_DIR}/${target}-suites.cmake)
    file(GENERATE OUTPUT ${suites} CONTENT "set(program [=[$<TARGET_FILE:${target}>]=])
set(launcher ${CMAKE_CROSSCOMPILING_EMULATOR})
include([=[${PROJECT_SOURCE_DIR}/cmake/ListSuites.cmake]=])
")
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${suites})
endfunction()

if(KEST_SANITIZERS MATCHES "thread")
    # The thread sanitizer's run-time brings operators new and delete of its own, which cannot be made
    # to fail. What tests the stand-ins without memory runs in every other build.
    list(FILTER kest_tests EXCLUDE
         REGEX "linux/testing/FailingAllocation|linux/ErrorsTest|linux/SyncTest|linux/ProcessesMemoryTest|linux/MemoryMatrixTest")
endif()
# What holds for every value is tested with RapidCheck, where it is installed: Debian has it for the
# machine itself alone.
if(NOT WIN32)
    find_path(KEST_RAPIDCHECK_INCLUDE rapidcheck/gtest.h)
    find_library(KEST_RAPIDCHECK rapidcheck)
endif()
if(KEST_RAPIDCHECK AND KEST_RAPIDCHECK_INCLUDE AND NOT KEST_SANITIZERS MATCHES "thread")
    set(kest_rapidcheck ${KEST_RAPIDCHECK})
else()
    list(FILTER kest_tests EXCLUDE REGEX "LawsTest\\.cpp$")
    set(kest_rapidcheck)
endif()
# The tests themselves need not be fast, and without optimisation they are built in less than half the
# time; with what all of them include read once for all, in half of that. What they work with (a disk in
# memory whose every state is visited) is worth the optimisation.
set(kest_plain_tests ${kest_tests})
list(FILTER kest_plain_tests EXCLUDE REGEX "/testing/")
list(FILTER kest_tests INCLUDE REGEX "/testing/")
add_library(kest_plain_tests OBJECT ${kest_plain_tests})
target_link_libraries(kest_plain_tests PRIVATE kest_objects kest_options kest_boost gtest)
target_compile_options(kest_plain_tests PRIVATE -O0 -U_FORTIFY_SOURCE)
target_precompile_headers(kest_plain_tests PRIVATE <gtest/gtest.h> <algorithm> <functional> <map>
                          <memory> <mutex> <set> <sstream> <string> <thread> <vector>)
add_executable(kest_tests ${kest_tests} kest/exports/testing/FromC.c)
target_link_libraries(kest_tests PRIVATE kest_plain_tests kest_objects kest_boost ${kest_rapidcheck})
foreach(target IN ITEMS kest_plain_tests kest_tests)
    target_compile_definitions(${target} PRIVATE KEST_SOURCE_DIR="${CMAKE_CURRENT_SOURCE_DIR}")
endforeach()
kest_add_tests(kest_tests)

# What the command loads while libraries of others lie about.
if(NOT KEST_SANITIZERS)
    add_test(NAME planted_libraries
             COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/scripts/planted-libraries-test.sh
                     ${CMAKE_BINARY_DIR} ${CMAKE_C_COMPILER} ${CMAKE_CROSSCOMPILING_EMULATOR})
    set_tests_properties(planted_libraries PROPERTIES TIMEOUT 300)
endif()

if(MINGW AND CMAKE_CROSSCOMPILING_EMULATOR)
    # That a failure under Wine is seen as one.
    add_executable(kest_under_wine_test ${CMAKE_CURRENT_LIST_DIR}/UnderWineTest.cpp)
    target_link_libraries(kest_under_wine_test PRIVATE kest_options)
    add_test(NAME under_wine COMMAND ${CMAKE_CURRENT_LIST_DIR}/under-wine-test.sh
                                     $<TARGET_FILE:kest_under_wine_test>
                                     $<$<BOOL:${KEST_TRAPS}>:traps>)
    set_tests_properties(under_wine PROPERTIES TIMEOUT 300)
elseif(NOT KEST_SANITIZERS)
    # What a program that was started has inherited, as the system itself saw it.
    find_program(KEST_STRACE strace)
    if(KEST_STRACE)
        add_test(NAME launches_under_strace
                 COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/scripts/launches-under-strace.sh
                         $<TARGET_FILE:kest_tests>)
        set_tests_properties(launches_under_strace PROPERTIES TIMEOUT 600)
    endif()
    add_test(NAME install_packages
             COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/scripts/install-packages-test.sh)
endif()
if(NOT WIN32)
    # The library while it is loaded, which reads the registry. The test brings no library of ours.
    add_executable(kest_load_test ${CMAKE_CURRENT_LIST_DIR}/LoadTest.cpp)
    target_compile_features(kest_load_test PRIVATE cxx_std_20)
    target_link_libraries(kest_load_test PRIVATE kest_options ${CMAKE_DL_LIBS})
    add_test(NAME kest_load COMMAND kest_load_test $<TARGET_FILE:kest>)
    # What the library never destroys, because threads may use it to the end of the process, is lost
    # when it is unloaded before that. What is given back counts as given back at once.
    set_tests_properties(
        kest_load PROPERTIES TIMEOUT 300 ENVIRONMENT
                             "ASAN_OPTIONS=detect_leaks=0:quarantine_size_mb=1")
endif()
if(NOT KEST_SANITIZERS AND NOT WIN32)
    # The grammar in docs/trace-format.md, on traces of the command and of the C interface.
    add_test(NAME trace_grammar
             COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/scripts/trace-grammar.py --test
                     $<TARGET_FILE:kest_command> --library $<TARGET_FILE:kest>)
    set_tests_properties(trace_grammar PROPERTIES TIMEOUT 300)
    # What the documents say about the sources.
    add_test(NAME documents COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/scripts/documents-test.py)
    set_tests_properties(documents PROPERTIES TIMEOUT 300)
endif()
if(NOT KEST_SANITIZERS)
    # A host that is built against the installed library alone.
    add_test(NAME history_host
             COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/scripts/history-test.sh ${CMAKE_BINARY_DIR}
                     ${CMAKE_TOOLCHAIN_FILE} ${CMAKE_CROSSCOMPILING_EMULATOR})
    set_tests_properties(history_host PROPERTIES TIMEOUT 600)
    add_test(NAME sbom COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/scripts/sbom-test.py ${CMAKE_BINARY_DIR}
                               ${kest_platform} ${CMAKE_CXX_COMPILER})
    set_tests_properties(sbom PROPERTIES TIMEOUT 300)
endif()
