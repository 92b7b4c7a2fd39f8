# Read by ctest itself: asks a test program for its suites and makes one test of each, so that a new test needs no
# new configuration and the tests of a suite share one start of the program.
#
# brivelnox_add_test_suites(name program [KEY=VALUE of the environment...]). The caller sets `launcher`, which runs the
# program, `cmake_command`, which ctest does not know, and the lists of suites `waiting` and `alone` (see
# tests/CMakeLists.txt). A waiting suite counts as one for ctest's -j, any other as three. Without a launcher, which
# gives each its own registry and log, they run one after the other.
function(brivelnox_add_test_suites name program)
    execute_process(
        COMMAND "${cmake_command}" -E env ${ARGN} ${launcher} "${program}" --gtest_list_tests
        OUTPUT_VARIABLE listing ERROR_VARIABLE errors RESULT_VARIABLE result)
    string(REPLACE "\r" "" listing "${listing}")
    # Suites stand at the start of a line and end in a dot; their tests are indented.
    string(REGEX MATCHALL "(^|\n)[A-Za-z_][A-Za-z0-9_/]*\\." suites "${listing}")
    if(NOT result EQUAL 0 OR NOT suites)
        # A program that cannot even be started must not look like one without tests.
        add_test("${name}.list_tests" ${launcher} "${program}" --gtest_list_tests)
        set_tests_properties("${name}.list_tests" PROPERTIES
            ENVIRONMENT "${ARGN}" TIMEOUT 60 PASS_REGULAR_EXPRESSION "(^|\n)[A-Za-z_][A-Za-z0-9_/]*\\.")
        return()
    endif()
    foreach(suite IN LISTS suites)
        string(REGEX REPLACE "^\n|\\.$" "" suite "${suite}")
        set(test "${name}.${suite}")
        add_test("${test}" ${launcher} "${program}" "--gtest_filter=${suite}.*" --gtest_color=no)
        set_tests_properties("${test}" PROPERTIES
            ENVIRONMENT "${ARGN}" TIMEOUT 300 LABELS "${name}" PROCESSORS 3)
        if(NOT launcher)
            set_tests_properties("${test}" PROPERTIES RESOURCE_LOCK this_machine)
        endif()
        list(FIND waiting "${suite}" is_waiting)
        list(FIND alone "${suite}" is_alone)
        if(is_waiting GREATER -1)
            # They are the longest, so they are started first.
            set_tests_properties("${test}" PROPERTIES PROCESSORS 1 COST 100)
        elseif(is_alone GREATER -1)
            set_tests_properties("${test}" PROPERTIES RUN_SERIAL ON)
        endif()
    endforeach()
endfunction()
