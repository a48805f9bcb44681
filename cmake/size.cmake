# A gateway's flash and its processor's cache are small: the library is built for size. What runs
# once a point or a log message is built for speed; the benchmarks tell which files that is.
target_compile_options(corvenna_objects PRIVATE
    "$<$<CONFIG:Release>:-Os;-ffunction-sections;-fdata-sections;-fno-semantic-interposition;-fno-rtti>")
target_link_options(corvenna PRIVATE $<$<CONFIG:Release>:-Wl,--gc-sections>)

set(hot
    base/json_text.cpp log/log_queue.cpp packfile/real_data_json.cpp packfile/value_text.cpp)
list(TRANSFORM hot PREPEND ${PROJECT_SOURCE_DIR}/)
set_source_files_properties(${hot} PROPERTIES COMPILE_OPTIONS
    # What seldom runs stays with the rest: elsewhere it would need entries of its own to be unwound.
    "$<$<CONFIG:Release>:-O2;$<$<CXX_COMPILER_ID:GNU>:-fno-reorder-blocks-and-partition>>")

# What has a virtual destructor keeps its run-time type: who derives from it needs that to be linked.
set_source_files_properties(
    ${PROJECT_SOURCE_DIR}/log/log_database.cpp ${PROJECT_SOURCE_DIR}/log/log_txt.cpp
    PROPERTIES COMPILE_OPTIONS "$<$<CONFIG:Release>:-frtti>")

if(NOT CMAKE_BUILD_TYPE STREQUAL "Release" OR NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_sources(corvenna PRIVATE $<TARGET_OBJECTS:corvenna_objects>)
    return()
endif()

# The released plug-in is compiled as a whole, from the same sources but not the same objects: those
# of the static library hold nothing that a linker could optimise across, for programs that link it
# may put functions of their own in place of others.
get_target_property(sources corvenna_objects SOURCES)
get_target_property(options corvenna_objects COMPILE_OPTIONS)
target_sources(corvenna PRIVATE ${sources})
target_compile_options(corvenna PRIVATE "${options}" -Oz -flto
    # All functions of libraries are bound at the start anyway: called through the table that says
    # where they are, they need no stub each.
    -fno-plt
    # For debuggers and for the record of the ABI; code is the same with and without. Packages take
    # it out.
    -g -fdebug-prefix-map=${PROJECT_SOURCE_DIR}=.)
target_link_options(corvenna PRIVATE -Oz -flto -flto-partition=one
    # The log sinks' run-time types, see above, make one entry of tables differ that nothing reads.
    -Wno-odr
    # Code and what is only read share a mapping: no page of the file is left half empty between.
    -Wl,-z,noseparate-code)

# Addresses to be moved when the library is loaded take a bit instead of 24 bytes, where linker and
# loader can (glibc 2.36). A linker that cannot only warns.
include(CheckCXXSourceCompiles)
set(CMAKE_REQUIRED_LINK_OPTIONS -Wl,-z,pack-relative-relocs)
check_cxx_source_compiles("int main() { return 0; }" CORVENNA_PACKS_RELOCATIONS FAIL_REGEX "ignored")
unset(CMAKE_REQUIRED_LINK_OPTIONS)
if(CORVENNA_PACKS_RELOCATIONS)
    target_link_options(corvenna PRIVATE -Wl,-z,pack-relative-relocs)
endif()

# A host may put accessors of its own in place of the weak ones: nothing may know them by their code.
set(replaceable config/instances.cpp packfile/instances.cpp plugin/instances.cpp)
list(TRANSFORM replaceable PREPEND ${PROJECT_SOURCE_DIR}/)
set_source_files_properties(${replaceable} PROPERTIES COMPILE_OPTIONS -fno-lto)
