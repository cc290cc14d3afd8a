// SPDX-License-Identifier: Apache-2.0
// Answers of a recognition server, put together byte by byte: HTTP around records around blobs.
#pragma once

#include "support/blob_assembler.h"
#include "support/hex.h"

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kvxtest {

inline std::string textOf(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

inline Bytes joined(const std::vector<Bytes>& pieces) {
    Bytes all;
    for (const Bytes& piece : pieces) all.insert(all.end(), piece.begin(), piece.end());
    return all;
}

// Type, length of the blob, blob.
inline Bytes record(char type, const Bytes& blob) {
    Bytes bytes{static_cast<uint8_t>(type)};
    appendLittleEndian(bytes, static_cast<uint32_t>(blob.size()), 4);
    bytes.insert(bytes.end(), blob.begin(), blob.end());
    return bytes;
}

using Text = std::optional<std::string>;

inline Bytes fieldOf(const Text& text) { return text ? bytesOf(*text) : Bytes(); }

// 23 fields: 0 id, 1 title, 6 artists, each of four texts of which the second is the name.
inline Bytes trackBlob(const Text& id, const Text& title, const std::vector<Text>& artists) {
    Fields fields(23);
    fields[0] = fieldOf(id);
    fields[1] = fieldOf(title);
    Fields entries;
    for (const Text& artist : artists) entries.push_back(assemble({{}, fieldOf(artist), {}, {}}));
    if (!entries.empty()) fields[6] = assemble(entries);
    return assemble(fields);
}

// 33 fields: 0 id, 1 title, 4 artist, 29 confidence.
inline Bytes albumBlob(const Text& id, const Text& title, const Text& artist, uint16_t confidence) {
    Fields fields(33);
    fields[0] = fieldOf(id);
    fields[1] = fieldOf(title);
    fields[4] = fieldOf(artist);
    fields[29] = shortBytes(confidence);
    return assemble(fields);
}

// 6 fields: 0 id, 1 title.
inline Bytes dvdBlob(const Text& id, const Text& title) {
    return assemble({fieldOf(id), fieldOf(title), {}, {}, {}, {}});
}

// 2 fields: 0 infos, 1 an album's blob, or nothing.
inline Bytes trackToAlbumBlob(const Bytes& album) { return assemble({{}, album}); }

// The record of a server that found nothing; a record is never empty.
inline Bytes notFound() { return record('N', {0}); }

inline std::string httpAnswer(int status, std::string_view body) {
    return "HTTP/1.1 " + std::to_string(status) + " Text\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + std::string(body);
}
inline std::string httpAnswer(int status, const Bytes& body) { return httpAnswer(status, textOf(body)); }

inline constexpr std::string_view kChunkedHead = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";

// The body in chunks of so many bytes, and the end.
inline std::string inChunks(std::string_view body, size_t chunkBytes) {
    std::string text;
    for (size_t at = 0; at < body.size(); at += chunkBytes) {
        const std::string_view chunk = body.substr(at, chunkBytes);
        char size[24];
        std::snprintf(size, sizeof size, "%zx\r\n", chunk.size());
        text.append(size).append(chunk).append("\r\n");
    }
    return text + "0\r\n\r\n";
}

} // namespace kvxtest
