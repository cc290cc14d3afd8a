// SPDX-License-Identifier: Apache-2.0
// An answer's body, as any server may send it, through the reader of matches.
//
// Holds: it is refused, or its matches have texts of valid UTF-8 in one line and confidences from 0 to 100; nothing is
// leaked (the address sanitizer counts).
#include "recognise/asking/answer_records.h"

#include "base/text.h"
#include "fuzz_target.h"
#include "recognise/model/asker.h"

#include <string>

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace tarn::recognise;
    static const auto handle = tarn::server::makeLibraryHandle();
    try {
        const Answer answer = readAnswer(handle.get(), {reinterpret_cast<const char*>(data), size}, {});
        for (const Match& match : answer.matches) {
            REQUIRE(match.confidence >= 0 && match.confidence <= 100);
            for (const std::string* text :
                 {&match.trackId, &match.title, &match.artist, &match.albumId, &match.album}) {
                REQUIRE(tarn::server::isUtf8(*text) && tarn::server::isPrintable(*text));
            }
        }
    } catch (const NoAnswer&) {
        return 0;
    }
    return 0;
}
