# SPDX-License-Identifier: Apache-2.0
# Writes a source with the files of the page, compressed: the table of server/http/page_files.h.
# usage: cmake -DOUTPUT=FILE.cpp -DGZIP=PROGRAM -DFILES=PATH=FILE;... -P embed_page.cmake
# Without FILES the table is empty.
set(type_html "text/html; charset=utf-8")
set(type_css "text/css; charset=utf-8")
set(type_js "text/javascript; charset=utf-8")
set(type_svg "image/svg+xml")
set(type_wasm "application/wasm")
set(bytes "")
set(rows "")
set(number 0)
foreach(file IN LISTS FILES)
    string(REGEX MATCH "^([^=]*)=(.*)$" matched "${file}")
    set(path "${CMAKE_MATCH_1}")
    set(source "${CMAKE_MATCH_2}")
    cmake_path(GET source EXTENSION LAST_ONLY extension)
    string(SUBSTRING "${extension}" 1 -1 extension)
    set(type "${type_${extension}}")
    if(type STREQUAL "")
        message(FATAL_ERROR "${source}: no media type is known for .${extension}; add it to embed_page.cmake")
    endif()
    # No name and no time in the compressed file, so that the same sources give the same program.
    execute_process(COMMAND ${GZIP} -9 -n -c ${source} OUTPUT_FILE ${OUTPUT}.gz COMMAND_ERROR_IS_FATAL ANY)
    file(READ ${OUTPUT}.gz compressed HEX)
    file(REMOVE ${OUTPUT}.gz)
    string(REGEX REPLACE "(..)" "0x\\1," compressed "${compressed}")
    file(SIZE ${source} size)
    file(SHA256 ${source} digest)
    string(SUBSTRING ${digest} 0 16 digest)
    string(APPEND bytes "constexpr unsigned char kFile${number}[] = {${compressed}};\n")
    string(APPEND rows "    {\"${path}\", \"${type}\", \"${digest}\", kFile${number}, ${size}},\n")
    math(EXPR number "${number} + 1")
endforeach()
string(CONCAT text
    "// Made by cmake/embed_page.cmake.\n#include \"http/page_files.h\"\n\n#include <array>\n\n"
    "namespace tarn::server {\n\nnamespace {\n\n${bytes}\n"
    "const std::array<PageFile, ${number}> kFiles = {{\n${rows}}};\n\n} // namespace\n\n"
    "std::span<const PageFile> pageFiles() { return kFiles; }\n\n} // namespace tarn::server\n")
file(WRITE ${OUTPUT} "${text}")
