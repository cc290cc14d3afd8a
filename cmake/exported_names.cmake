# SPDX-License-Identifier: Apache-2.0
# write_exported_names(HEADER MAP): writes the linker's list of the names that a shared library exports: those that
# HEADER declares with KVX_API, and so neither the standard library's templates nor anything internal.
function(write_exported_names header map)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${header})
    file(STRINGS ${header} declarations REGEX "^KVX_API ")
    set(names "")
    foreach(declaration IN LISTS declarations)
        # A hook's name is in parentheses, a function's is in front of one, and a constant's is the last word.
        if(declaration MATCHES "\\(\\*([A-Za-z0-9_]+)\\)")
        elseif(declaration MATCHES "([A-Za-z0-9_]+)\\(")
        elseif(NOT declaration MATCHES "([A-Za-z0-9_]+);")
            message(FATAL_ERROR "${header}: no name in \"${declaration}\"; write KVX_API and the name in one line")
        endif()
        string(APPEND names "        ${CMAKE_MATCH_1};\n")
    endforeach()
    file(CONFIGURE OUTPUT ${map} CONTENT "{\n    global:\n${names}    local:\n        *;\n};\n")
endfunction()
