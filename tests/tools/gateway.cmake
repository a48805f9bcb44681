# The reference host, each part alone.
corvenna_test(gateway_test
    LIBS corvenna_gateway
    SOURCES gateway_catalogue_test.cpp gateway_history_test.cpp gateway_host_test.cpp
            gateway_periodic_test.cpp gateway_sources_test.cpp gateway_spool_test.cpp
            gateway_thresholds_test.cpp)

find_package(CLI11 REQUIRED)
corvenna_test(gateway_options_test
    LIBS corvenna_gateway CLI11::CLI11
    SOURCES gateway_options_test.cpp ${PROJECT_SOURCE_DIR}/tools/gateway/options.cpp)

# What it writes is read by the plug-in's own loaders.
corvenna_test(gateway_configuration_test
    WRAP usleep
    LIBS corvenna_gateway
    SOURCES gateway_configuration_test.cpp)

# The built library, opened as a host opens it.
corvenna_test(gateway_library_test
    LIBS corvenna_gateway
    SOURCES gateway_library_test.cpp)
target_compile_definitions(gateway_library_test PRIVATE CORVENNA_PLUGIN="$<TARGET_FILE:corvenna>")
add_dependencies(gateway_library_test corvenna)

# Gateway, plug-in and cloud together; the scripts enter the sandbox themselves. By their COST they
# start before the many that take no time, so that none runs alone at the end.
function(gateway_script name timeout label)
    add_test(NAME ${name} COMMAND ${ARGN})
    set_tests_properties(${name} PROPERTIES TIMEOUT ${timeout} LABELS ${label} COST 20
        ENVIRONMENT "${CORVENNA_TEST_ENVIRONMENT}")
endfunction()

list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
gateway_script(gateway_soak 600 soak
    python3 ${CMAKE_CURRENT_SOURCE_DIR}/soak --build ${PROJECT_BINARY_DIR} --speed 30
    "--emulator=${emulator}")
set_tests_properties(gateway_soak PROPERTIES COST 60)
set(story python3 ${PROJECT_SOURCE_DIR}/tools/demo/story.py --build ${PROJECT_BINARY_DIR}
    --gateway-build ${PROJECT_BINARY_DIR} "--emulator=${emulator}")
gateway_script(gateway_story/json_http 600 demo ${story})
gateway_script(gateway_story/xml_https_compressed 600 demo ${story} --xml --https --compress)

foreach(suite Once Stopping BadServer Terminal)
    gateway_script(gateway_end_to_end/${suite} 600 gateway
        python3 ${CMAKE_CURRENT_SOURCE_DIR}/gateway_end_to_end_test.py ${suite})
    set_property(TEST gateway_end_to_end/${suite} APPEND PROPERTY ENVIRONMENT
        "CORVENNA_BUILD=${PROJECT_BINARY_DIR}" "CORVENNA_EMULATOR=${emulator}")
endforeach()
