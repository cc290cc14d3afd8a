// SPDX-License-Identifier: Apache-2.0
// One match, as the client keeps it.
#pragma once

#include <optional>
#include <string>

namespace tarn {

struct MusicLookupResponse {
    std::optional<std::string> trackId;
    std::optional<std::string> trackName;
    std::optional<std::string> artistName;
    std::optional<std::string> albumName;
};

} // namespace tarn
