// SPDX-License-Identifier: Apache-2.0
#include "wav_session.h"

#include "tarn_error.h"
#include "wav_header.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <system_error>
#include <vector>

namespace tarn {
namespace {

constexpr size_t kBlockBytes = 1024;            // what the library is fed with
constexpr size_t kReadBytes = 64 * kBlockBytes; // what the system is asked for
constexpr int32_t kTrackTooShort = -2;

struct FileClose {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileClose>;

struct BlockFree {
    void operator()(uint8_t* block) const { KVXFree(block); }
};
using Block = std::unique_ptr<uint8_t[], BlockFree>;

Block allocateBlock() {
    Block block(static_cast<uint8_t*>(KVXMalloc(kBlockBytes)));
    if (block) std::memset(block.get(), 0, kBlockBytes);
    return block;
}

// Returns the library's last status: KVX_MORE_AUDIO_WANTED if the file ended first. After a short read, the rest of the
// block still holds bytes of the read before, and the whole block is fed.
int32_t feedSession(KVXHandle* handle, std::FILE* file, uint8_t* block) {
    for (;;) {
        const size_t count = std::fread(block, 1, kBlockBytes, file);
        const int32_t status = KVXGenerateFingerprint3(handle, block, kBlockBytes);
        if (count < kBlockBytes || status != KVX_MORE_AUDIO_WANTED) return status;
    }
}

// Checks the header; false with the error slot filled for a file that holds no 16-bit PCM.
bool readHeader(std::FILE* file, const std::string& path, WavHeader& header, ErrorSlot& error) {
    WavHeaderBytes bytes;
    if (std::fread(bytes.data(), 1, bytes.size(), file) < bytes.size()) {
        error = tarnError(102, "Cannot Read Wav Header From " + path);
        return false;
    }
    header = parseWavHeader(bytes);
    if (!header.isWav) {
        error = tarnError(103, "File " + path + " is not a wav file");
        return false;
    }
    if (!header.isPcm16) {
        error = tarnError(104, "File " + path + " is not a correct wav file");
        return false;
    }
    return true;
}

} // namespace

bool fingerprintWavFile(KVXHandle* handle, const std::string& path, ErrorSlot& error) {
    std::vector<char> readBuffer(kReadBytes); // outlives the file, which reads through it
    File file(std::fopen(path.c_str(), "r"));
    if (!file) {
        error = tarnError(101, "Cannot Open Audio File " + path + " - " + std::generic_category().message(errno));
        return false;
    }
    std::setvbuf(file.get(), readBuffer.data(), _IOFBF, readBuffer.size());
    WavHeader header;
    if (!readHeader(file.get(), path, header, error)) return false;

    const Block block = allocateBlock();
    if (!block) {
        // Does not return, on purpose: the session is opened anyway, and the closed file then fails as one that
        // cannot be read at its offset.
        file.reset();
        error = tarnError(105, "Cannot allocate buffer memory " + std::to_string(kBlockBytes) + " bytes");
    }

    const int32_t offsetMs =
        KVXNewFingerprint3(handle, header.channels, static_cast<int32_t>(header.sampleRateHz), wavDurationMs(header));
    if (offsetMs < 0) {
        const char* const reason = offsetMs == kTrackTooShort ? " - Track Too Short" : "";
        error = tarnError(106, "Cannot init fingerprint for file " + path + reason);
        return false;
    }
    if (!file || fseeko(file.get(), wavSeekPosition(header, offsetMs), SEEK_SET) != 0) {
        error = tarnError(107, "Cannot read file " + path + " to expected offset " + std::to_string(offsetMs));
        return false;
    }
    if (feedSession(handle, file.get(), block.get()) != 0) {
        error = tarnError(108, "Cannot generate fingerprint for file " + path);
        return false;
    }
    return true;
}

} // namespace tarn
