// SPDX-License-Identifier: Apache-2.0
// A whole WAV file, header and body, fingerprinted as the tool does it.
//
// Holds: a finished session or one of the errors 101 to 108, never both; the same file gives the same outcome again;
// all memory of the library is returned.
#include "arena_hooks.h"
#include "fuzz_target.h"
#include "memory_file.h"
#include "wav_session.h"

#include <string>

namespace {

// "" for a finished session, else the error.
std::string outcomeOf(const std::string& path) {
    const fuzz::ArenaHooks hooks;
    std::string outcome;
    {
        const auto handle = fuzz::makeHandle();
        tarn::ErrorSlot error;
        const bool finished = tarn::fingerprintWavFile(handle.get(), path, error);
        REQUIRE(finished == !error.has_value());
        if (error) {
            REQUIRE(error->code >= 101 && error->code <= 108 && error->code != 105);
            REQUIRE(error->description.find(path) != std::string::npos);
            outcome = std::to_string(error->code) + " " + error->description;
        }
    }
    REQUIRE(hooks.live() == 0);
    REQUIRE(hooks.strayFrees() == 0);
    return outcome;
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static fuzz::MemoryFile file;
    file.hold({data, size});
    const std::string outcome = outcomeOf(file.path());
    REQUIRE(outcomeOf(file.path()) == outcome);
    return 0;
}
