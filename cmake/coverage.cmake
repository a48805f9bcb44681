# Each line is code of its own, and counted by several threads at once.
target_compile_options(corvenna_objects
    PRIVATE -O0 -U_FORTIFY_SOURCE --coverage -fprofile-update=atomic)
# Before a program's own: of what both have compiled, the one that counts is taken.
target_link_options(corvenna_core INTERFACE --coverage $<TARGET_OBJECTS:corvenna_objects>)
target_sources(corvenna_core INTERFACE ${PROJECT_SOURCE_DIR}/tests/support/counted_ends.cpp)
target_link_options(corvenna PRIVATE --coverage)
target_sources(corvenna PRIVATE $<TARGET_OBJECTS:corvenna_objects>)
