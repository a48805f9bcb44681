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
