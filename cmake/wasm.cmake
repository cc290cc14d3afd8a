# SPDX-License-Identifier: Apache-2.0
# The library as WebAssembly, with the clang, lld and C library of Debian. Custom commands beside the native build: they
# take the sources from its targets, so that no list is kept twice.

# find_wasm_compiler(WORKS): whether a program that uses the standard library links. Sets TARN_WASM_CXX.
function(find_wasm_compiler works)
    find_program(TARN_WASM_CXX NAMES clang++-14 clang++ DOC "The compiler for WebAssembly")
    if(TARN_WASM_CXX AND NOT TARN_WASM_PROBE STREQUAL TARN_WASM_CXX)
        set(probe ${CMAKE_BINARY_DIR}/CMakeFiles/wasm_probe)
        file(WRITE ${probe}.cpp "#include <vector>\nint main(int n, char**) { return std::vector<int>(n)[0]; }\n")
        execute_process(COMMAND ${TARN_WASM_CXX} --target=wasm32-wasi -fno-exceptions ${probe}.cpp -o ${probe}.wasm
            RESULT_VARIABLE status OUTPUT_QUIET ERROR_QUIET)
        if(status EQUAL 0)
            set(TARN_WASM_PROBE ${TARN_WASM_CXX} CACHE INTERNAL "The compiler for WebAssembly that was tried and works")
        endif()
    endif()
    if(TARN_WASM_CXX AND TARN_WASM_PROBE STREQUAL TARN_WASM_CXX)
        set(${works} ON PARENT_SCOPE)
    else()
        set(${works} OFF PARENT_SCOPE)
    endif()
endfunction()

# The bits must be those of the native library: no operation is fused with its neighbour, and no relaxed vectors.
set(wasm_compile_options --target=wasm32-wasi -std=c++20 -O3 -DNDEBUG -msimd128 -ffp-contract=off -fno-math-errno
    -fno-exceptions -fno-rtti -ffunction-sections -fdata-sections -Wall -Wextra)
# No level of optimisation: with one, this clang hands the module to a wasm-opt in the path, which it does not allow the
# vectors. The stack comes first, so that one that runs over traps instead of writing into data. 64 MiB of memory are
# several times what a hostile caller can make the module need; beyond, allocations fail.
set(wasm_link_options --target=wasm32-wasi -mexec-model=reactor -Wl,--gc-sections -Wl,--strip-all -Wl,--stack-first
    -Wl,-z,stack-size=131072 -Wl,--max-memory=67108864)

# compile_for_wasm(OBJECTS SOURCE...): commands that compile the sources, which have absolute paths; sets the objects.
function(compile_for_wasm objects)
    set(compiler ${CMAKE_CXX_COMPILER_LAUNCHER} ${TARN_WASM_CXX} ${wasm_compile_options})
    if(CMAKE_COMPILE_WARNING_AS_ERROR)
        list(APPEND compiler -Werror)
    endif()
    set(all "")
    foreach(source IN LISTS ARGN)
        file(RELATIVE_PATH name ${PROJECT_SOURCE_DIR} ${source})
        set(object ${CMAKE_CURRENT_BINARY_DIR}/objects/${name}.o)
        cmake_path(GET object PARENT_PATH folder)
        file(MAKE_DIRECTORY ${folder})
        add_custom_command(OUTPUT ${object}
            COMMAND ${compiler} -I${PROJECT_SOURCE_DIR}/sdk -I${PROJECT_SOURCE_DIR}/sdk/include
                -I${PROJECT_SOURCE_DIR}/src -MD -MF ${object}.d -c ${source} -o ${object}
            DEPENDS ${source} DEPFILE ${object}.d VERBATIM
            COMMENT "Building WebAssembly object ${name}.o")
        list(APPEND all ${object})
    endforeach()
    set(${objects} ${all} PARENT_SCOPE)
endfunction()

# link_for_wasm(MODULE EXPORTS OBJECTS objects... [OPTIONS options...]): a command that links the module. EXPORTS: a file
# with the name of a function in each line.
function(link_for_wasm module exports)
    cmake_parse_arguments(PARSE_ARGV 2 link "" "" "OBJECTS;OPTIONS")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${exports})
    file(STRINGS ${exports} names REGEX "^[A-Za-z_]")
    list(TRANSFORM names PREPEND -Wl,--export=)
    add_custom_command(OUTPUT ${module}
        COMMAND ${TARN_WASM_CXX} ${wasm_link_options} ${link_OPTIONS} ${names} ${link_OBJECTS} -o ${module}
        DEPENDS ${link_OBJECTS} ${exports} VERBATIM
        COMMENT "Linking WebAssembly module ${module}")
endfunction()
