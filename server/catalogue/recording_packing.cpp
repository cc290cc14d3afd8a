// SPDX-License-Identifier: Apache-2.0
#include "catalogue/recording_packing.h"

#include "base/bytes.h"
#include "coding/code_packing.h"

#include <array>
#include <libdeflate.h>
#include <limits>
#include <memory>
#include <new>

namespace tarn::server {

namespace {

constexpr uint64_t kFormat = 3;
// No recording takes more: an hour of audio has some 100 kB of codes.
constexpr uint64_t kMaxBytes = uint64_t{1} << 28;

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

constexpr int kLevel = 9;

struct FreeEngine {
    void operator()(libdeflate_compressor* c) const { libdeflate_free_compressor(c); }
    void operator()(libdeflate_decompressor* d) const { libdeflate_free_decompressor(d); }
};

std::string deflated(const std::string& bytes) {
    thread_local const std::unique_ptr<libdeflate_compressor, FreeEngine> compressor(
        libdeflate_alloc_compressor(kLevel));
    if (compressor == nullptr) throw std::bad_alloc();
    std::string out(libdeflate_zlib_compress_bound(compressor.get(), bytes.size()), '\0');
    out.resize(libdeflate_zlib_compress(compressor.get(), bytes.data(), bytes.size(), out.data(), out.size()));
    return out;
}

// Nothing when the bytes are no deflated ones of this size.
std::optional<std::string> inflated(std::string_view bytes, uint64_t size) {
    if (size > kMaxBytes) return std::nullopt;
    thread_local const std::unique_ptr<libdeflate_decompressor, FreeEngine> decompressor(
        libdeflate_alloc_decompressor());
    if (decompressor == nullptr) throw std::bad_alloc();
    std::string out(static_cast<size_t>(size), '\0');
    size_t read = 0;
    const libdeflate_result result = libdeflate_zlib_decompress_ex(decompressor.get(), bytes.data(), bytes.size(),
                                                                   out.data(), out.size(), &read, nullptr);
    if (result != LIBDEFLATE_SUCCESS || read != bytes.size()) return std::nullopt;
    return out;
}

void appendText(std::string& out, std::string_view text) {
    appendVarint(out, text.size());
    out += text;
}

std::optional<std::string_view> takeText(std::string_view& bytes) {
    const std::optional<uint64_t> length = takeVarint(bytes);
    if (!length || *length > bytes.size()) return std::nullopt;
    const std::string_view text = bytes.substr(0, static_cast<size_t>(*length));
    bytes.remove_prefix(text.size());
    return text;
}

} // namespace

std::string packRecording(const Recording& recording) {
    Recording fields = recording; // one list of members serves both directions, and reading wants them writable
    std::string content;
    for (const auto number : kNumbers) appendVarint(content, number(fields));
    for (const auto text : kTexts) appendText(content, text(fields));
    appendCodes(content, recording.codes);
    for (const std::string& path : recording.otherPaths) appendText(content, path);
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
        const std::optional<std::string_view> taken = takeText(bytes);
        if (!taken) return std::nullopt;
        text(recording) = *taken;
    }
    std::optional<RecordingCodes> codes = takeCodes(bytes);
    if (!codes) return std::nullopt;
    recording.codes = std::move(*codes);
    while (!bytes.empty()) {
        const std::optional<std::string_view> path = takeText(bytes);
        if (!path) return std::nullopt;
        recording.otherPaths.emplace_back(*path);
    }
    return recording;
}

} // namespace tarn::server
