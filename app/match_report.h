// The report on a run's first match: a small XML document.
#pragma once

#include "MusicLookupResponse.h"
#include "NSMutableURLRequest_MultipartFormRequest.h"
#include "TarnInterface.h"
#include "platform/Error.h"
#include "platform/Services.h"

#include <optional>
#include <string>

namespace tarn {

// What the report's making leaves behind.
struct MatchReport {
    std::optional<NSMutableURLRequest_MultipartFormRequest> albumRequest; // none without a track id
    std::string text;
};

// Builds the report in memory. When the match has a track id, a second request to the same URL asks for the album's
// name; whatever fails there is logged and leaves the album out.
void buildMatchReport(TarnInterface& client, const std::optional<Url>& url, const MusicLookupResponse& match,
                      Services& services, ErrorSlot& error, MatchReport& report);

} // namespace tarn
