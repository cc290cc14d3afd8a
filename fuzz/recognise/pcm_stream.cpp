// SPDX-License-Identifier: Apache-2.0
// A live stream: WAV with a header that anybody may have written, and the samples after it; and samples without one.
//
// Holds: it is refused in words, or has a rate and channels within bounds and gives whole frames, no more than came.
#include "recognise/tracklist/pcm_stream.h"

#include "fuzz_target.h"

#include <cstdio>
#include <span>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace {

using namespace tarn::recognise;

// The bytes as a stream that is read once.
class Stream {
  public:
    Stream(const uint8_t* data, size_t size) : descriptor_(memfd_create("stream", MFD_CLOEXEC)) {
        REQUIRE(descriptor_ >= 0);
        REQUIRE(write(descriptor_, data, size) == static_cast<ssize_t>(size));
        REQUIRE(lseek(descriptor_, 0, SEEK_SET) == 0);
    }
    ~Stream() { close(descriptor_); }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;
    int descriptor() const { return descriptor_; }

  private:
    int descriptor_;
};

void readAll(const uint8_t* data, size_t size, const std::optional<PcmFormat>& raw) {
    const Stream bytes(data, size);
    try {
        PcmStream stream(bytes.descriptor(), raw, {});
        const PcmFormat format = stream.format();
        REQUIRE(format.rateHz >= 11025 && format.rateHz <= 768000);
        REQUIRE(format.channels >= 1 && format.channels <= 64);
        size_t samples = 0;
        for (auto piece = stream.read(); !piece.empty(); piece = stream.read()) {
            REQUIRE(piece.size() % static_cast<size_t>(format.channels) == 0);
            samples += piece.size();
        }
        REQUIRE(2 * samples <= size);
    } catch (const StreamError& error) {
        REQUIRE(!std::string(error.what()).empty());
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    readAll(data, size, std::nullopt);
    readAll(data, size, PcmFormat{44100, 2});
    (void)pcmFormat({reinterpret_cast<const char*>(data), size});
    return 0;
}
