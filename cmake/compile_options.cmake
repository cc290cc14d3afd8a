# What every target of the project is compiled with: link tarn_options privately.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

add_library(tarn_options INTERFACE)
target_compile_options(tarn_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wcast-align -Wformat=2 -Werror
    $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast -Wnon-virtual-dtor>)
if(TARN_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()
# What is installed is hardened: stack protector, checked copies, addresses that are laid out anew and tables that
# cannot be written. Sanitizers replace some of it, and checked copies need optimisation.
set(hardened $<AND:$<CONFIG:Release,RelWithDebInfo,MinSizeRel>,$<NOT:$<BOOL:${TARN_SANITIZE}>>>)
add_compile_options("$<${hardened}:-fstack-protector-strong;-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
add_link_options($<${hardened}:-Wl,-z,relro,-z,now>)
if(NOT BUILD_SHARED_LIBS)
    # Not CMake's own property: it would compile the static library as if its functions could be replaced.
    add_compile_options($<${hardened}:-fPIE>)
    add_link_options($<${hardened}:-pie>)
endif()
if(TARN_COVERAGE)
    add_compile_options(--coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()
