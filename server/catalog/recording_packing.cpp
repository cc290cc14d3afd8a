// SPDX-License-Identifier: Apache-2.0
#include "catalog/recording_packing.h"

#include "coding/code_packing.h"

#include <array>
#include <limits>
#include <new>
#include <zlib.h>

namespace tarn::server {

namespace {

constexpr uint64_t kFormat = 3;
// No recording takes more: an hour of audio has some 100 kB of codes.
constexpr uint64_t kMostBytes = uint64_t{1} << 28;

constexpr std::array kNumbers = {
    +[](Recording& r) -> uint32_t& { return r.durationMs; },
    +[](Recording& r) -> uint32_t& { return r.tags.number; },
    +[](Recording& r) -> uint32_t& { return r.tags.year; },
};

constexpr std::array kTexts = {
    +[](Recording& r) -> std::string& { return r.trackId; },
    +[](Recording& r) -> std::string& { return r.albumId; },
    +[](Recording& r) -> std::string& { return r.contentHash; },
    +[](Recording& r) -> std::string& { return r.path; },
    +[](Recording& r) -> std::string& { return r.tags.title; },
    +[](Recording& r) -> std::string& { return r.tags.artist; },
    +[](Recording& r) -> std::string& { return r.tags.album; },
    +[](Recording& r) -> std::string& { return r.tags.albumArtist; },
    +[](Recording& r) -> std::string& { return r.trackBlob; },
    +[](Recording& r) -> std::string& { return r.albumBlob; },
};

std::string deflated(const std::string& bytes) {
    uLongf size = compressBound(bytes.size());
    std::string out(size, '\0');
    const int status = compress2(reinterpret_cast<Bytef*>(out.data()), &size,
                                 reinterpret_cast<const Bytef*>(bytes.data()), bytes.size(), Z_BEST_COMPRESSION);
    if (status != Z_OK) throw std::bad_alloc(); // there is room for any result
    out.resize(size);
    return out;
}

// Nothing when the bytes are no deflated ones of this size.
std::optional<std::string> inflated(std::string_view bytes, uint64_t size) {
    if (size > kMostBytes) return std::nullopt;
    std::string out(static_cast<size_t>(size), '\0');
    uLongf written = out.size();
    uLong read = bytes.size();
    const int status = uncompress2(reinterpret_cast<Bytef*>(out.data()), &written,
                                   reinterpret_cast<const Bytef*>(bytes.data()), &read);
    if (status == Z_MEM_ERROR) throw std::bad_alloc();
    if (status != Z_OK || written != out.size() || read != bytes.size()) return std::nullopt;
    return out;
}

} // namespace

std::string recordingKey(uint32_t id) {
    std::string key = "r";
    for (const int shift : {24, 16, 8, 0}) key.push_back(static_cast<char>(id >> shift & 0xff));
    return key;
}

std::string packRecording(const Recording& recording) {
    Recording fields = recording; // one list of members serves both directions, and reading wants them writable
    std::string content;
    for (const auto number : kNumbers) appendVarint(content, number(fields));
    for (const auto text : kTexts) {
        appendVarint(content, text(fields).size());
        content += text(fields);
    }
    appendCodes(content, recording.codes);
    std::string out;
    appendVarint(out, kFormat);
    appendVarint(out, content.size());
    return out + deflated(content);
}

std::optional<Recording> unpackRecording(std::string_view bytes) {
    Recording recording;
    if (takeVarint(bytes) != kFormat) return std::nullopt;
    const std::optional<uint64_t> size = takeVarint(bytes);
    const std::optional<std::string> content = size ? inflated(bytes, *size) : std::nullopt;
    if (!content) return std::nullopt;
    bytes = *content;
    for (const auto number : kNumbers) {
        const std::optional<uint64_t> value = takeVarint(bytes);
        if (!value || *value > std::numeric_limits<uint32_t>::max()) return std::nullopt;
        number(recording) = static_cast<uint32_t>(*value);
    }
    for (const auto text : kTexts) {
        const std::optional<uint64_t> length = takeVarint(bytes);
        if (!length || *length > bytes.size()) return std::nullopt;
        text(recording) = bytes.substr(0, static_cast<size_t>(*length));
        bytes.remove_prefix(static_cast<size_t>(*length));
    }
    std::optional<RecordingCodes> codes = takeCodes(bytes);
    if (!codes || !bytes.empty()) return std::nullopt;
    recording.codes = std::move(*codes);
    return recording;
}

} // namespace tarn::server
