// SPDX-License-Identifier: Apache-2.0
#include "protocol/permissions.h"

#include "core/packet_layout.h"
#include "kvx.h"

#include <algorithm>

namespace tarn::server {

using namespace kvx::packet;

namespace {

// Entry k is bit k mod 8 of byte k div 8. A group shorter than ours allows less, a longer one has bits nobody here
// knows; the byte count says which.
std::vector<bool> readGroup(WireReader& reader, size_t entries) {
    const auto bits = reader.bytes(reader.u8("permissions"), "permissions");
    std::vector<bool> group(entries);
    for (size_t k = 0; k < entries && k / 8 < bits.size(); ++k) group[k] = ((bits[k / 8] >> (k % 8)) & 1) != 0;
    return group;
}

bool all(const std::vector<bool>& group) {
    return std::all_of(group.begin(), group.end(), [](bool allowed) { return allowed; });
}

} // namespace

Permissions::Permissions() : track_(KVX_TRACK_MASK_ENTRIES, true), album_(KVX_ALBUM_MASK_ENTRIES, true) {}

Permissions Permissions::read(WireReader& reader) {
    if (reader.u8("permissions") != kPermissionGroups) throw BadPacket("it does not have 4 groups of permissions");
    Permissions permissions;
    permissions.album_ = readGroup(reader, KVX_ALBUM_MASK_ENTRIES);
    permissions.track_ = readGroup(reader, KVX_TRACK_MASK_ENTRIES);
    // Track entries 3 and 4 trade places on the wire, and only there: bit 4 is entry 3.
    std::vector<bool>::swap(permissions.track_[3], permissions.track_[4]);
    readGroup(reader, KVX_PERFORMER_MASK_ENTRIES); // no answer of ours holds a performer or a DVD
    readGroup(reader, KVX_DVD_MASK_ENTRIES);
    return permissions;
}

bool Permissions::everyTrackField() const { return all(track_); }

} // namespace tarn::server
