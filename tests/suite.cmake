# corvenna_each_test(<program> <seconds>)
#
# Each test of a program runs as a process of its own inside the sandbox, so every test meets fresh
# single instances and empty /quorvane, /tmp and /media/mmcblk0p1.
function(corvenna_each_test program timeout)
    set_target_properties(${program} PROPERTIES CROSSCOMPILING_EMULATOR "${CORVENNA_TEST_LAUNCHER}")
    # No values in names: a parameter may be any bytes.
    gtest_discover_tests(${program} TEST_PREFIX "${program}/" NO_PRETTY_VALUES
        DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT ${timeout})
endfunction()

# corvenna_test(<name> [WRAP <symbol>...] [LIBS <library>...] [TIMEOUT <seconds>] SOURCES <file>...)
#
# One test program. WRAP names functions whose calls the program replaces at link time
# (`__wrap_<symbol>`).
function(corvenna_test name)
    cmake_parse_arguments(PARSE_ARGV 1 TEST "" "TIMEOUT" "WRAP;LIBS;SOURCES")
    if(NOT TEST_TIMEOUT)
        set(TEST_TIMEOUT 120)
    endif()
    add_executable(${name} ${TEST_SOURCES})
    target_link_libraries(${name}
        PRIVATE corvenna_options corvenna_core corvenna_test_support ${TEST_LIBS} GTest::gmock_main)
    list(TRANSFORM TEST_WRAP PREPEND "-Wl,--wrap=")
    target_link_options(${name} PRIVATE ${TEST_WRAP})
    corvenna_each_test(${name} ${TEST_TIMEOUT})
endfunction()

if(CORVENNA_SANITIZE)
    set(supportFolder ${PROJECT_SOURCE_DIR}/tests/support)
    set(CORVENNA_TEST_ENVIRONMENT
        "TSAN_OPTIONS=suppressions=${supportFolder}/tsan.supp"
        "LSAN_OPTIONS=suppressions=${supportFolder}/lsan.supp"
        "UBSAN_OPTIONS=print_stacktrace=1")
endif()

# What a test program is started with. The environment stands here too: as a property, a list of
# several does not survive the discovery of a program's tests.
set(CORVENNA_TEST_LAUNCHER ${PROJECT_SOURCE_DIR}/tests/support/sandbox)
if(CORVENNA_TEST_ENVIRONMENT)
    list(APPEND CORVENNA_TEST_LAUNCHER env ${CORVENNA_TEST_ENVIRONMENT})
endif()
list(APPEND CORVENNA_TEST_LAUNCHER ${CMAKE_CROSSCOMPILING_EMULATOR})
