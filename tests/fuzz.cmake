# corvenna_fuzz(<name> CORPUS <folder> [WRAP <symbol>...] SOURCES <file>...)
#
# One libFuzzer target; the corpus holds seeds and inputs that once failed. `./test --all` runs each
# for a short while, `ctest` runs the corpus alone. WRAP names functions whose calls the program
# replaces at link time (`__wrap_<symbol>`).
function(corvenna_fuzz name)
    cmake_parse_arguments(PARSE_ARGV 1 FUZZ "" "CORPUS" "WRAP;SOURCES")
    add_executable(${name} ${FUZZ_SOURCES})
    target_link_libraries(${name} PRIVATE corvenna_options corvenna_core)
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    list(TRANSFORM FUZZ_WRAP PREPEND "-Wl,--wrap=")
    target_link_options(${name} PRIVATE ${FUZZ_WRAP})
    add_test(NAME ${name}
        COMMAND ${PROJECT_SOURCE_DIR}/tests/support/sandbox $<TARGET_FILE:${name}>
                -runs=0 ${CMAKE_CURRENT_SOURCE_DIR}/${FUZZ_CORPUS})
    set_property(GLOBAL APPEND_STRING PROPERTY CORVENNA_FUZZ_TARGETS
        "$<TARGET_FILE:${name}> ${CMAKE_CURRENT_SOURCE_DIR}/${FUZZ_CORPUS}\n")
endfunction()
