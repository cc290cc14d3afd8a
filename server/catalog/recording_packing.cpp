#include "catalog/recording_packing.h"

#include "coding/code_packing.h"

#include <array>
#include <limits>

namespace tarn::server {

namespace {

constexpr uint64_t kFormat = 2;

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

} // namespace

std::string packRecording(const Recording& recording) {
    Recording fields = recording; // one list of members serves both directions, and reading wants them writable
    std::string out;
    appendVarint(out, kFormat);
    for (const auto number : kNumbers) appendVarint(out, number(fields));
    for (const auto text : kTexts) {
        appendVarint(out, text(fields).size());
        out += text(fields);
    }
    appendCodes(out, recording.codes);
    return out;
}

std::optional<Recording> unpackRecording(std::string_view bytes) {
    Recording recording;
    if (takeVarint(bytes) != kFormat) return std::nullopt;
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
