// SPDX-License-Identifier: Apache-2.0
#include "catalogue/redis/markers.h"

#include <algorithm>
#include <charconv>

namespace tarn::server::redis {

Marker makeMarker(uint64_t written, uint64_t confirmed, const std::string& writer) {
    return {written, confirmed, writer,
            std::string(kLayout) + std::to_string(written) + " " + std::to_string(confirmed) + " " + writer};
}

std::optional<Marker> markerIn(std::string_view text) {
    Marker marker;
    marker.text = text;
    if (!text.starts_with(kLayout)) return std::nullopt;
    text.remove_prefix(kLayout.size());
    for (uint64_t* const number : {&marker.written, &marker.confirmed}) {
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *number);
        if (error != std::errc{} || end == text.data() + text.size() || *end != ' ') return std::nullopt;
        text.remove_prefix(static_cast<size_t>(end - text.data()) + 1);
    }
    marker.writer = text;
    return marker;
}

bool Markers::anyHasLost() const {
    for (size_t range = 0; range < kGroups; ++range) {
        if (hasLost(range)) return true;
    }
    return false;
}

bool Markers::allAnswered() const { return std::ranges::count(answered, true) == kGroups; }

namespace {

Markers readOnce(Cluster& cluster, const Keys& keys, Milliseconds patience) {
    Commands commands;
    for (size_t range = 0; range < kGroups; ++range) {
        const std::string key = keys.marker(range);
        commands.add(key, {"GET", key});
    }
    const std::vector<Reply> replies = cluster.ask(commands, patience);
    Markers markers;
    for (size_t range = 0; range < kGroups; ++range) {
        const Reply& reply = replies[range];
        if (!reply) continue;
        markers.answered[range] = true;
        // One that is damaged counts as one that is missing.
        const std::string_view text = textOf(*reply);
        const std::optional<Marker> sound = markerIn(text);
        if (!sound && !text.empty()) ++markers.foreign;
        markers.each[range] = sound.value_or(Marker{0, 0, {}, std::string(text)});
        markers.written = std::max(markers.written, markers.each[range].written);
        markers.confirmed = std::max(markers.confirmed, markers.each[range].confirmed);
    }
    return markers;
}

} // namespace

// One that was read before a commit set it, while another was read after, has lost nothing: it is newer when it is read
// again.
Markers readMarkers(Cluster& cluster, const Keys& keys, Milliseconds patience) {
    Markers first = readOnce(cluster, keys, patience);
    if (!first.anyHasLost()) return first;
    Markers second = readOnce(cluster, keys, patience);
    second.confirmed = first.confirmed;
    return second;
}

} // namespace tarn::server::redis
