// SPDX-License-Identifier: Apache-2.0
// The value of a header Content-Type: "audio/L16; rate=44100; channels=2".
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarn::server {

// Names and values of a URL's query or of a media type, in their order.
using Parameters = std::vector<std::pair<std::string, std::string>>;

struct MediaType {
    std::string name;      // in lower case
    Parameters parameters; // names in lower case, values without quotes
};

MediaType readMediaType(std::string_view header);

} // namespace tarn::server
