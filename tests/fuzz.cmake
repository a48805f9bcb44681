# corvenna_fuzz(<name> CORPUS <folder> SOURCES <file>...)
#
# One libFuzzer target; the corpus holds seeds and inputs that once failed. `./test --all` runs each
# for a short while, `ctest` runs the corpus alone. Pauses and log calls are replaced at link
# time, see support/fuzz_quiet.cpp.
function(corvenna_fuzz name)
    cmake_parse_arguments(PARSE_ARGV 1 FUZZ "" "CORPUS" "SOURCES")
    add_executable(${name} ${FUZZ_SOURCES} ${PROJECT_SOURCE_DIR}/tests/support/fuzz_quiet.cpp)
    target_link_libraries(${name} PRIVATE corvenna_options corvenna_core)
    target_link_options(${name} PRIVATE
        -fsanitize=fuzzer -Wl,--wrap=usleep -Wl,--wrap=log_Text -Wl,--wrap=log_DB)
    add_test(NAME ${name}
        COMMAND ${PROJECT_SOURCE_DIR}/tests/support/sandbox $<TARGET_FILE:${name}>
                -runs=0 ${CMAKE_CURRENT_SOURCE_DIR}/${FUZZ_CORPUS})
    set_property(GLOBAL APPEND_STRING PROPERTY CORVENNA_FUZZ_TARGETS
        "$<TARGET_FILE:${name}> ${CMAKE_CURRENT_SOURCE_DIR}/${FUZZ_CORPUS}\n")
endfunction()
