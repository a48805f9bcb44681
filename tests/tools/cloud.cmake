# corvenna-cloud from outside: Python's standard library talks to the program.
find_program(CORVENNA_PYTHON python3 REQUIRED)
list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
set(suites exchanges refusals durability injection faults api page)
if(NOT CMAKE_CROSSCOMPILING)
    list(APPEND suites browser)  # the page is the same on every processor
endif()
foreach(suite IN LISTS suites)
    add_test(NAME cloud/${suite}
        COMMAND ${PROJECT_SOURCE_DIR}/tests/support/sandbox
                ${CORVENNA_PYTHON} -W ignore::DeprecationWarning -m unittest -v cloud_${suite}_test
        WORKING_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR})
    set_tests_properties(cloud/${suite} PROPERTIES TIMEOUT 600 LABELS cloud
        ENVIRONMENT "CORVENNA_CLOUD=$<TARGET_FILE:corvenna-cloud>;CORVENNA_EMULATOR=${emulator};PYTHONDONTWRITEBYTECODE=1;${CORVENNA_TEST_ENVIRONMENT}")
endforeach()
if("browser" IN_LIST suites)
    # Chromium is not among the packages of an ordinary test run.
    set_tests_properties(cloud/browser PROPERTIES LABELS "cloud;browser" COST 60
        SKIP_REGULAR_EXPRESSION "no Chromium on this machine")
endif()
