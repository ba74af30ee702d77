# Read by ctest before the tests: makes each suite of the test program `program` one test, started by
# `launcher` (or by nothing). Not a process for each test: to start one takes longer than most tests do,
# with a sanitizer or under Wine above all.

execute_process(COMMAND ${launcher} ${program} --gtest_list_tests
                OUTPUT_VARIABLE listing RESULT_VARIABLE status TIMEOUT 120)
string(REGEX MATCHALL "(^|\n)[^ \r\n][^ \r\n]*\\.[^\r\n]*" headings "${listing}")
list(REMOVE_DUPLICATES headings)
if(NOT status EQUAL 0 OR NOT headings)
    # A test that fails: after an error in this file ctest would go on without the suites.
    add_test("${program} lists its tests" ${CMAKE_COMMAND} -E false)
endif()
foreach(heading IN LISTS headings)
    string(REGEX REPLACE "^\n?([^ ]*)\\..*$" "\\1" suite "${heading}")
    add_test(${suite} ${launcher} ${program} --gtest_filter=${suite}.*)
    set_tests_properties(${suite} PROPERTIES TIMEOUT 600)
endforeach()
