// SPDX-License-Identifier: Apache-2.0
#include "recognise/tracklist/pcm_stream.h"

#include "base/bytes.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstring>
#include <string>
#include <system_error>
#include <utility>

namespace tarn::recognise {

namespace {

constexpr int kMinRateHz = 11025; // as of files
constexpr int kMaxRateHz = 768000;
constexpr int kMaxChannels = 64;
constexpr size_t kReadBytes = 65536;
constexpr int kPollMs = 200;
// Programs that write WAV to a pipe state 0, or as much as fits.
constexpr uint32_t kEndlessBytes = 0x7fff0000;
constexpr uint16_t kPcm = 1;
constexpr uint16_t kExtensible = 0xfffe;

bool isUsable(const PcmFormat& format) {
    return format.rateHz >= kMinRateHz && format.rateHz <= kMaxRateHz && format.channels >= 1 &&
           format.channels <= kMaxChannels;
}

template <std::unsigned_integral Number>
Number numberAt(const uint8_t* bytes) {
    std::string_view there(reinterpret_cast<const char*>(bytes), sizeof(Number));
    return server::takeLittleEndian<Number>(there).value();
}

bool hasName(const uint8_t* bytes, const char* name) { return std::memcmp(bytes, name, 4) == 0; }

constexpr const char* kConvert =
    "; let FFmpeg convert it: ffmpeg -i INPUT -f wav -c:a pcm_s16le - | tarn-recognise --live -";

} // namespace

std::optional<PcmFormat> pcmFormat(std::string_view text) {
    PcmFormat format;
    const char* end = text.data() + text.size();
    const auto rate = std::from_chars(text.data(), end, format.rateHz);
    if (rate.ec != std::errc() || rate.ptr == end || *rate.ptr != ',') return std::nullopt;
    const auto channels = std::from_chars(rate.ptr + 1, end, format.channels);
    if (channels.ec != std::errc() || channels.ptr != end || !isUsable(format)) return std::nullopt;
    return format;
}

PcmStream::PcmStream(int descriptor, const std::optional<PcmFormat>& raw, Waiting waiting)
    : descriptor_(descriptor), waiting_(std::move(waiting)), bytes_(kReadBytes) {
    if (raw) {
        format_ = *raw;
    } else {
        readHeader();
    }
}

size_t PcmStream::readSome(uint8_t* bytes, size_t count) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point begin = Clock::now();
    while (true) {
        if (waiting_.stop && waiting_.stop()) return 0;
        pollfd waitedFor{descriptor_, POLLIN, 0};
        const int ready = ::poll(&waitedFor, 1, kPollMs);
        if (ready == 0 || (ready < 0 && errno == EINTR)) {
            if (waiting_.idleSeconds > 0 && Clock::now() - begin >= std::chrono::seconds(waiting_.idleSeconds))
                return 0;
            continue;
        }
        const ssize_t got = ready < 0 ? ready : ::read(descriptor_, bytes, count);
        if (got >= 0) return static_cast<size_t>(got);
        if (errno == EINTR || errno == EAGAIN) continue;
        throw StreamError("the stream cannot be read: " + std::generic_category().message(errno));
    }
}

bool PcmStream::readAll(uint8_t* bytes, size_t count) {
    while (count > 0) {
        const size_t got = readSome(bytes, count);
        if (got == 0) return false;
        bytes += got;
        count -= got;
    }
    return true;
}

void PcmStream::readHeader() {
    std::array<uint8_t, 12> head{};
    if (!readAll(head.data(), head.size())) throw StreamError("the stream ends before its first sample");
    if ((!hasName(head.data(), "RIFF") && !hasName(head.data(), "RF64")) || !hasName(&head[8], "WAVE")) {
        throw StreamError("the stream is not WAV; describe 16-bit samples without a header with --pcm RATE,CHANNELS" +
                          std::string(kConvert));
    }
    std::array<uint8_t, 8> chunk{};
    while (readAll(chunk.data(), chunk.size())) {
        const auto size = numberAt<uint32_t>(&chunk[4]);
        if (hasName(chunk.data(), "data")) {
            if (format_.channels == 0)
                throw StreamError("the stream's samples come before their format" + std::string(kConvert));
            if (size != 0 && size < kEndlessBytes) leftBytes_ = size;
            return;
        }
        if (hasName(chunk.data(), "fmt ")) {
            readFormat(size);
        } else {
            skip(size);
        }
        if (size % 2 != 0) skip(1);
    }
    throw StreamError("the stream ends before its first sample");
}

void PcmStream::readFormat(uint32_t size) {
    std::array<uint8_t, 40> fields{};
    if (size < 16 || !readAll(fields.data(), std::min<size_t>(size, fields.size()))) {
        throw StreamError("the stream's WAV header is damaged: its format has " + std::to_string(size) + " bytes" +
                          kConvert);
    }
    if (size > fields.size()) skip(size - static_cast<uint32_t>(fields.size()));
    auto tag = numberAt<uint16_t>(fields.data());
    if (tag == kExtensible && size >= 40) tag = numberAt<uint16_t>(&fields[24]);
    const auto bits = numberAt<uint16_t>(&fields[14]);
    if (tag != kPcm || bits != 16) {
        throw StreamError("the stream's samples are not 16-bit PCM (format " + std::to_string(tag) + ", " +
                          std::to_string(bits) + " bits)" + kConvert);
    }
    const auto rate = numberAt<uint32_t>(&fields[4]);
    format_ = {static_cast<int>(std::min<uint32_t>(rate, kMaxRateHz + 1)),
               static_cast<int>(numberAt<uint16_t>(&fields[2]))};
    if (!isUsable(format_)) {
        throw StreamError("the stream has " + std::to_string(rate) + " Hz and " + std::to_string(format_.channels) +
                          " channels; 11025 to 768000 Hz and 1 to 64 channels can be recognised" + kConvert);
    }
}

void PcmStream::skip(uint32_t size) {
    while (size > 0) {
        const auto piece = static_cast<uint32_t>(std::min<size_t>(size, bytes_.size()));
        if (!readAll(bytes_.data(), piece)) return;
        size -= piece;
    }
}

std::span<const int16_t> PcmStream::read() {
    const size_t frameBytes = static_cast<size_t>(format_.channels) * 2;
    samples_.clear();
    while (samples_.empty()) {
        size_t wanted = bytes_.size() - carried_;
        if (leftBytes_) wanted = static_cast<size_t>(std::min<uint64_t>(wanted, *leftBytes_));
        const size_t got = wanted == 0 ? 0 : readSome(bytes_.data() + carried_, wanted);
        if (got == 0) return {};
        if (leftBytes_) *leftBytes_ -= got;
        const size_t there = carried_ + got;
        const size_t used = there / frameBytes * frameBytes;
        samples_.reserve(used / 2);
        for (size_t i = 0; i < used; i += 2) samples_.push_back(static_cast<int16_t>(numberAt<uint16_t>(&bytes_[i])));
        carried_ = there - used;
        std::memmove(bytes_.data(), bytes_.data() + used, carried_);
    }
    return samples_;
}

} // namespace tarn::recognise
