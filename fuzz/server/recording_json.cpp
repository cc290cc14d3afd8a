// SPDX-License-Identifier: Apache-2.0
// A line of `tarn-server import`, from a file that anybody may have changed.
//
// Holds: a line is refused with a reason, or gives a recording that is written and read again the same; its numbers are
// those of the line, and its codes are letters with times that do not fall.
#include "commands/recording_json.h"

#include "coding/code_packing.h"
#include "fuzz_target.h"
#include "model/alphabet.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace {

using namespace tarn::server;

void check(const CodeString& string) {
    REQUIRE(std::ranges::all_of(string.letters, isLetter));
    REQUIRE(string.frames.empty() || string.frames.size() == string.letters.size());
    if (string.frames.empty()) return;
    uint32_t last = 0;
    for (const size_t index : timedIndexes(string.letters.size())) {
        REQUIRE(string.frames[index] >= last);
        last = string.frames[index];
    }
}

bool names(const std::string& line, uint32_t number) { return line.find(std::to_string(number)) != std::string::npos; }

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string line(reinterpret_cast<const char*>(data), size);
    ExportedRecording exported;
    try {
        exported = fromJson(line);
    } catch (const std::runtime_error& error) {
        REQUIRE(*error.what() != '\0');
        return 0;
    }
    const Recording& recording = exported.recording;
    REQUIRE(!recording.contentHash.empty());
    REQUIRE(names(line, recording.durationMs) && names(line, recording.tags.number) &&
            names(line, recording.tags.year));
    for (const auto& coding : recording.codes) {
        for (const CodeString& string : coding) check(string);
    }
    const std::string written = toJson(exported);
    REQUIRE(toJson(fromJson(written)) == written);
    return 0;
}
