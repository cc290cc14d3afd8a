// SPDX-License-Identifier: Apache-2.0
// The 44 bytes of a WAV header, and an offset to seek to.
//
// Holds: every field is the little-endian number at its offset; the duration and the seek position are what exact
// arithmetic gives, within their bounds.
#include "wav_header.h"
#include "fuzz_target.h"

#include <algorithm>
#include <cstring>

namespace {

__extension__ using Wide = __int128;

uint64_t little(const uint8_t* bytes, size_t count) {
    uint64_t value = 0;
    for (size_t i = count; i-- > 0;) value = value * 256 + bytes[i];
    return value;
}

bool saysAt(const tarn::WavHeaderBytes& bytes, size_t offset, const char* text) {
    return std::memcmp(&bytes[offset], text, std::strlen(text)) == 0;
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    tarn::WavHeaderBytes bytes{};
    std::copy_n(data, std::min(size, bytes.size()), bytes.begin());
    const tarn::WavHeader header = tarn::parseWavHeader(bytes);
    REQUIRE(header.isWav == (saysAt(bytes, 0, "RIFF") && saysAt(bytes, 8, "WAVE")));
    REQUIRE(header.isPcm16 == (saysAt(bytes, 12, "fmt ") && little(&bytes[20], 2) == 1 && little(&bytes[34], 2) == 16));
    REQUIRE(header.riffSizeBytes == little(&bytes[4], 4));
    REQUIRE(header.channels == little(&bytes[22], 2));
    REQUIRE(header.sampleRateHz == little(&bytes[24], 4));

    const Wide bytesPerSecond = Wide{2} * header.channels * header.sampleRateHz;
    Wide durationMs = 0;
    if (bytesPerSecond != 0) durationMs = (Wide{header.riffSizeBytes} - 28) / bytesPerSecond * 1000;
    REQUIRE(tarn::wavDurationMs(header) == static_cast<int64_t>(std::min<Wide>(durationMs, INT32_MAX)));

    const auto offsetMs = static_cast<int32_t>(size >= 48 ? little(data + 44, 4) & INT32_MAX : 44000);
    const Wide furthest = Wide{1} << 62;
    const Wide thousandths = std::min(bytesPerSecond * offsetMs, furthest * 1000); // exact, in thousandths of a byte
    const Wide position = tarn::wavSeekPosition(header, offsetMs);
    const Wide tolerance = 1 + position / (Wide{1} << 48); // the position is computed in floating point
    REQUIRE(position >= 0);
    REQUIRE(position <= thousandths / 1000 + tolerance && position >= thousandths / 1000 - tolerance);
    return 0;
}
