// SPDX-License-Identifier: Apache-2.0
// The report on a run's first match: a small XML document.
#pragma once

#include "MusicLookupResponse.h"
#include "TarnInterface.h"
#include "platform/error.h"
#include "platform/services.h"

#include <optional>

namespace tarn {

// Writes the report to standard output, whole. When the match has a track id, a second request to the same URL asks for
// the album's name; whatever fails there, memory included, is logged and leaves the album out.
void writeMatchReport(TarnInterface& client, const std::optional<Url>& url, const MusicLookupResponse& match,
                      Services& services, ErrorSlot& error);

} // namespace tarn
