// SPDX-License-Identifier: Apache-2.0
// The address of a server, as a user may name it.
//
// Holds: it is refused in words, or it is one of http or https that ends with the path of recognition, without a user,
// a query or an end of line.
#include "recognise/asking/http_post.h"

#include "fuzz_target.h"

#include <stdexcept>
#include <string>

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string named(reinterpret_cast<const char*>(data), size);
    try {
        const std::string url = tarn::recognise::serverUrl(named);
        REQUIRE(url.starts_with("http://") || url.starts_with("https://"));
        REQUIRE(url.ends_with("/sdkrequest"));
        REQUIRE(url.find_first_of("?#\r\n ") == std::string::npos);
        const std::string host = url.substr(url.find("//") + 2);
        REQUIRE(host.substr(0, host.find('/')).find('@') == std::string::npos);
    } catch (const std::invalid_argument& error) {
        REQUIRE(std::string(error.what()).find("name it like") != std::string::npos);
    }
    return 0;
}
