// SPDX-License-Identifier: Apache-2.0
#include "audio/media_frames.h"

#include "audio/audio_decoder.h"
#include "audio/sample_ring.h"
#include "base/text.h"

#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <sstream>

namespace tarn::server {

namespace {

struct Head {
    uint32_t kind = 0;
    uint32_t bytes = 0;
};

bool readAll(int channel, char* to, size_t bytes) {
    while (bytes > 0) {
        const ssize_t count = ::read(channel, to, bytes);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        to += count;
        bytes -= static_cast<size_t>(count);
    }
    return true;
}

} // namespace

bool sendFrame(int channel, FrameKind kind, std::string_view payload) {
    Head head{static_cast<uint32_t>(kind), static_cast<uint32_t>(payload.size())};
    std::array<char, sizeof head> bytes{};
    std::memcpy(bytes.data(), &head, sizeof head);
    iovec parts[2] = {{bytes.data(), bytes.size()},
                      {const_cast<char*>(payload.data()), payload.size()}}; // NOLINT: writev does not write there
    const size_t whole = bytes.size() + payload.size();
    const ssize_t count = ::writev(channel, parts, 2);
    if (count < static_cast<ssize_t>(bytes.size())) return false;
    const size_t sent = static_cast<size_t>(count);
    return sent == whole || writeAll(channel, payload.substr(sent - bytes.size())) == 0;
}

bool receiveFrame(int channel, Frame& frame) {
    std::array<char, sizeof(Head)> bytes{};
    if (!readAll(channel, bytes.data(), bytes.size())) return false;
    Head head;
    std::memcpy(&head, bytes.data(), sizeof head);
    if (head.kind > static_cast<uint32_t>(FrameKind::kEnd) || head.bytes > kMaxFrameBytes) return false;
    frame.kind = static_cast<FrameKind>(head.kind);
    frame.payload.resize(head.bytes);
    return readAll(channel, frame.payload.data(), frame.payload.size());
}

std::string packedTags(const Tags& tags) {
    std::string text;
    for (const std::string* each : {&tags.title, &tags.artist, &tags.album, &tags.albumArtist}) {
        text += cleanText(*each) + '\n';
    }
    return text + std::to_string(tags.number) + '\n' + std::to_string(tags.year) + '\n';
}

Tags unpackedTags(std::string_view text) {
    Tags tags;
    std::istringstream lines{std::string(text)};
    for (std::string* each : {&tags.title, &tags.artist, &tags.album, &tags.albumArtist}) {
        std::getline(lines, *each);
        *each = cleanText(*each);
    }
    lines >> tags.number >> tags.year;
    return tags;
}

std::string packedFormat(const AudioFormat& format) {
    std::string bytes(sizeof format, '\0');
    std::memcpy(bytes.data(), &format, sizeof format);
    return bytes;
}

AudioFormat unpackedFormat(std::string_view bytes) {
    AudioFormat format;
    if (bytes.size() != sizeof format) throw AudioError("the decoder gives no format");
    std::memcpy(&format, bytes.data(), sizeof format);
    expectRate(format.rateHz);
    if (format.channels < 1 || format.channels > 2) throw AudioError("the decoder gives no channels");
    return format;
}

std::string packedCount(size_t samples) {
    const auto count = static_cast<uint32_t>(samples);
    std::string bytes(sizeof count, '\0');
    std::memcpy(bytes.data(), &count, sizeof count);
    return bytes;
}

size_t unpackedCount(std::string_view bytes, int channels) {
    uint32_t count = 0;
    if (bytes.size() == sizeof count) std::memcpy(&count, bytes.data(), sizeof count);
    if (count == 0 || count > SampleRing::kSlotSamples || count % static_cast<uint32_t>(channels) != 0) {
        throw AudioError("the decoder gives no whole samples");
    }
    return count;
}

} // namespace tarn::server
