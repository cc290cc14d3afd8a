// SPDX-License-Identifier: Apache-2.0
// What the protocol asks of recognition, and what it gets. Implemented by matching over the catalogue; faked in the
// protocol's tests.
#pragma once

#include "model/query.h"
#include "model/recording.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace tarn::server {

struct Match {
    uint32_t recordingId = 0;
    int confidence = 0;    // 0 to 100: the chance that this is the recording
    uint32_t offsetMs = 0; // where in the recording the query begins
    uint32_t durationMs = 0;
    std::string trackId;
    std::string albumId; // empty: no album
    Tags tags;
    std::string trackBlob;
    std::string albumBlob;               // empty: no album
    std::vector<std::string> companions; // track ids of further copies of the recording; of a query's match only
    std::string path;                    // of the recording's file; no client gets it
};

// What came of a query.
struct Recognition {
    std::vector<Match> matches; // best first, only those at or above the threshold; empty: not found
    uint32_t candidatesJudged = 0;
};

// The catalogue cannot be asked now (a shard is dead, too slow, being replaced): 503 to the client.
class Unavailable : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

class Recogniser {
  public:
    virtual ~Recogniser() = default;

    // At most that many matches. Throws Unavailable, as do the others; std::bad_alloc where memory is short.
    virtual Recognition recognise(const FingerprintQuery& query, size_t maxMatches) = 0;
    // The recordings of a track id, or of an album id (one per album is enough to answer with the album). Confidence
    // 100. Empty: not found.
    virtual std::vector<Match> lookUp(const std::string& id, size_t maxMatches) = 0;
    // Shows the recordings whose ids lie above `after`, in the order of ids, until show() says false or `mostIds` ids
    // have been looked at, of recordings or of nothing. Returns the last of these ids, to go on after; nothing: there
    // is no higher one.
    virtual std::optional<uint32_t> browse(uint32_t after, uint32_t mostIds,
                                           const std::function<bool(const Match&)>& show) = 0;
    virtual uint64_t recordingCount() = 0;
};

} // namespace tarn::server
