// SPDX-License-Identifier: Apache-2.0
// The bytes of the file that holds an access code.
//
// Holds: what is taken is a code, and stands in the bytes with nothing but white space around it; a refusal shows
// nothing of them.
#include "recognise/asking/access_code_file.h"

#include "fuzz_target.h"
#include "model/access_code.h"

#include <stdexcept>
#include <string>

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    try {
        const std::string code = tarn::recognise::accessCodeIn(bytes);
        REQUIRE(tarn::server::isAccessCode(code));
        const size_t place = bytes.find(code);
        REQUIRE(place != std::string::npos);
        const std::string around = bytes.substr(0, place) + bytes.substr(place + code.size());
        REQUIRE(around.find_first_not_of(" \t\r\n") == std::string::npos);
    } catch (const std::runtime_error& error) {
        static const std::string words = error.what();
        REQUIRE(words == error.what());
    }
    return 0;
}
