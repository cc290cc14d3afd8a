# SPDX-License-Identifier: Apache-2.0
# What the project is compiled with. The warnings are in tarn_options, which every target links privately; language,
# sanitizers, hardening and coverage hold for all targets.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

# Warnings are errors only in the presets for developers: a newer compiler, which has more, must not stop a user's build.
add_library(tarn_options INTERFACE)
target_compile_options(tarn_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wcast-align -Wformat=2
    $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast -Wnon-virtual-dtor>)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # At -O3 it warns of overlapping copies in the standard library's concatenation of strings (its bug 105651).
    target_compile_options(tarn_options INTERFACE $<$<AND:$<COMPILE_LANGUAGE:CXX>,$<CONFIG:Release>>:-Wno-restrict>)
endif()
if(TARN_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
    # The tests are a hundred large programs, which the system's linker takes more than twice as long to link.
    find_program(TARN_LLD ld.lld)
    if(TARN_QUICK_TESTS AND TARN_LLD)
        add_link_options(-fuse-ld=lld)
    endif()
endif()
# Code that no test runs often: optimising it, with the sanitizers in it, takes longer than its tests gain.
set(TARN_COLD_CODE_OPTIONS "$<$<AND:$<BOOL:${TARN_QUICK_TESTS}>,$<CONFIG:Debug>>:-O0>")
# Release builds are hardened: stack protector, checked copies, random addresses and read-only relocation tables.
# Sanitizers replace some of it, and checked copies need optimisation.
set(hardened $<CONFIG:Release,RelWithDebInfo,MinSizeRel>,$<NOT:$<BOOL:${TARN_SANITIZE}>>)
add_compile_options("$<$<AND:${hardened}>:-fstack-protector-strong;-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
add_link_options($<$<AND:${hardened}>:-Wl,-z,relro,-z,now>)
# Programs, and the libraries that only programs contain. CMake's own property is not used: with it, the libraries would
# be compiled as if their functions could be replaced.
add_compile_options($<$<AND:${hardened},$<NOT:$<BOOL:$<TARGET_PROPERTY:POSITION_INDEPENDENT_CODE>>>>:-fPIE>)
add_link_options($<$<AND:${hardened},$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>>:-pie>)
if(TARN_COVERAGE)
    add_compile_options(--coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()
