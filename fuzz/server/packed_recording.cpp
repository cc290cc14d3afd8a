// SPDX-License-Identifier: Apache-2.0
// A recording as the catalogue stores it, as a damaged disk or a server may give it: the input as it is, and the input
// as what was deflated, since hardly any changed byte passes the checksum of a deflated stream.
//
// Holds: it is refused, or it is packed and read again the same, its codes are letters and each has its time; a stored
// recording with a byte more or less is none.
#include "catalogue/recording_packing.h"

#include "base/bytes.h"
#include "fuzz_target.h"
#include "model/alphabet.h"

#include <algorithm>
#include <libdeflate.h>
#include <memory>
#include <string>

namespace {

using namespace tarn::server;

constexpr uint64_t kMuch = uint64_t{1} << 20; // a stored size beyond this only costs the target time

void check(std::string_view bytes) {
    const std::optional<Recording> recording = unpackRecording(bytes);
    if (!recording) return;
    for (const auto& coding : recording->codes) {
        for (const CodeString& string : coding) {
            REQUIRE(std::ranges::all_of(string.letters, isLetter));
            REQUIRE(string.frames.size() == string.letters.size());
        }
    }
    const std::string packed = packRecording(*recording);
    const std::optional<Recording> again = unpackRecording(packed);
    REQUIRE(again && packRecording(*again) == packed);
    REQUIRE(again->trackBlob == recording->trackBlob && again->path == recording->path);
    REQUIRE(again->durationMs == recording->durationMs);
    REQUIRE(!unpackRecording(packed + '\0'));
    REQUIRE(!unpackRecording(std::string_view(packed).substr(0, packed.size() - 1)));
}

std::string stored(std::string_view content) {
    struct Free {
        void operator()(libdeflate_compressor* compressor) const { libdeflate_free_compressor(compressor); }
    };
    static const std::unique_ptr<libdeflate_compressor, Free> compressor(libdeflate_alloc_compressor(1));
    std::string out;
    appendVarint(out, 3);
    appendVarint(out, content.size());
    std::string deflated(libdeflate_zlib_compress_bound(compressor.get(), content.size()), '\0');
    deflated.resize(
        libdeflate_zlib_compress(compressor.get(), content.data(), content.size(), deflated.data(), deflated.size()));
    return out + deflated;
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    std::string_view rest = bytes;
    takeVarint(rest);
    if (takeVarint(rest).value_or(0) <= kMuch) check(bytes);
    check(stored(bytes));
    return 0;
}
