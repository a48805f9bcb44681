# Compiler settings of the project's own code. Libraries come in as SYSTEM and are not judged by them.
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})

find_program(CORVENNA_CCACHE ccache)
if(CORVENNA_CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CORVENNA_CCACHE})
endif()

add_library(corvenna_options INTERFACE)
target_compile_definitions(corvenna_options INTERFACE _GNU_SOURCE)
target_compile_options(corvenna_options INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wold-style-cast -Wformat=2 -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # -Wpsabi only announces that an old compiler passed some arguments differently.
    target_compile_options(corvenna_options INTERFACE -Wno-psabi)
else()
    # Not part of GCC's -Wconversion for C++; one compiler's opinion is enough.
    target_compile_options(corvenna_options INTERFACE -Wno-sign-conversion)
endif()

# Counters of 64 bits that threads share: processors without instructions for them (armel) have them
# in a library.
include(CheckCXXSourceCompiles)
check_cxx_source_compiles("
    #include <atomic>
    #include <cstdint>
    std::atomic<std::uint64_t> counter;
    int main() { return static_cast<int>(counter++); }" CORVENNA_HAS_WIDE_ATOMICS)
add_library(corvenna_wide_atomics INTERFACE)
if(NOT CORVENNA_HAS_WIDE_ATOMICS)
    target_link_libraries(corvenna_wide_atomics INTERFACE atomic)
endif()

# Files over 2 GiB on 32-bit systems too. No public header has a type whose size depends on it.
add_compile_definitions(_FILE_OFFSET_BITS=64)

# What remains of a mistake when it is made: no code on stacks, no tables of functions to be written
# over, programs at addresses nobody knows, and an end instead of a smashed stack or buffer. The
# sanitizers find the mistakes themselves.
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)
if(NOT CORVENNA_SANITIZE AND NOT CORVENNA_FUZZ)
    add_compile_options(-fstack-protector-strong
        "$<$<NOT:$<CONFIG:Debug>>:SHELL:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>")
    add_link_options(-Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
endif()

if(CORVENNA_SANITIZE)
    add_compile_options(-fsanitize=${CORVENNA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${CORVENNA_SANITIZE})
endif()
if(CORVENNA_FUZZ)
    # RapidJSON's empty stack adds to a null pointer, which clang's check takes amiss.
    add_compile_options(-fsanitize=fuzzer-no-link,address,undefined
                        -fno-sanitize=pointer-overflow -fno-sanitize-recover=all)
    add_link_options(-fsanitize=address,undefined)
endif()
