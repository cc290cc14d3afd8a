// SPDX-License-Identifier: Apache-2.0
// What shows which commits servers acknowledged and then lost: a master that dies takes with it what its replica had
// not got yet, and one that starts again without its disk is empty.
//
// Each marker holds the number of a commit, written after all else of it; once all markers have it, each says so. A
// node whose markers are older than a commit of which any marker knows that all had it has lost the commits in between.
// Such a marker stays as it is until the catalogue is whole again.
#pragma once

#include "catalogue/redis/cluster.h"

#include <array>
#include <optional>
#include <string>

namespace tarn::server::redis {

// A marker begins with how lists lie in their keys, so that a program that lays them elsewhere does not take a
// catalogue for an empty one.
inline constexpr std::string_view kLayout = "blocks ";

struct Marker {
    uint64_t written = 0;   // by this commit
    uint64_t confirmed = 0; // all markers had this one
    std::string writer;     // its token
    std::string text;       // as it is stored
};
Marker makeMarker(uint64_t written, uint64_t confirmed, const std::string& writer);
// Nothing: the text is damaged, or of another layout.
std::optional<Marker> markerIn(std::string_view text);

struct Markers {
    std::array<Marker, kGroups> each;
    std::array<bool, kGroups> answered{};
    uint64_t written = 0;   // the highest
    uint64_t confirmed = 0; // the highest
    size_t foreign = 0;     // those that are damaged, or of another layout

    bool hasLost(size_t range) const { return answered[range] && each[range].written < confirmed; }
    // All markers that there are can be read by others alone.
    bool isForeign() const { return foreign > 0 && written == 0; }
    bool anyHasLost() const;
    bool allAnswered() const;
};

// Those whose nodes do not answer are not `answered`.
Markers readMarkers(Cluster& cluster, const Keys& keys, Milliseconds patience);

} // namespace tarn::server::redis
