# No test is stopped before: what takes seconds here takes minutes under an emulator, beside others
# on a small machine. It is for what hangs.
set(CORVENNA_TEST_TIMEOUT 600)

# corvenna_each_test(<program>)
#
# Each test of a program runs as a process of its own inside the sandbox, so every test meets fresh
# single instances and empty /quorvane, /tmp and /media/mmcblk0p1.
function(corvenna_each_test program)
    set_target_properties(${program} PROPERTIES CROSSCOMPILING_EMULATOR "${CORVENNA_TEST_LAUNCHER}")
    # No values in names: a parameter may be any bytes.
    gtest_discover_tests(${program} TEST_PREFIX "${program}/" NO_PRETTY_VALUES
        DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT ${CORVENNA_TEST_TIMEOUT}
        PROPERTIES TIMEOUT ${CORVENNA_TEST_TIMEOUT})
endfunction()

# corvenna_test(<name> [WRAP <symbol>...] [LIBS <library>...] SOURCES <file>...)
#
# One test program. WRAP names functions whose calls the program replaces at link time
# (`__wrap_<symbol>`). On a machine of 32 bits files are opened by functions of other names.
function(corvenna_test name)
    cmake_parse_arguments(PARSE_ARGV 1 TEST "" "" "WRAP;LIBS;SOURCES")
    add_executable(${name} ${TEST_SOURCES})
    target_link_libraries(${name}
        PRIVATE corvenna_options corvenna_core corvenna_test_support ${TEST_LIBS} GTest::gmock_main)
    foreach(opener open fopen)
        if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND opener IN_LIST TEST_WRAP)
            list(APPEND TEST_WRAP ${opener}64)
            target_link_options(${name} PRIVATE -Wl,--defsym=__wrap_${opener}64=__wrap_${opener})
        endif()
    endforeach()
    list(TRANSFORM TEST_WRAP PREPEND "-Wl,--wrap=")
    target_link_options(${name} PRIVATE ${TEST_WRAP})
    corvenna_each_test(${name})
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
