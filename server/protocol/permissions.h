// SPDX-License-Identifier: Apache-2.0
// Which fields of a record a client may have. A request carries one bit for every entry of the client's content masks;
// entry k is for field k of the record. Fields after the last entry have no bit and are always sent.
#pragma once

#include "protocol/wire_reader.h"

#include <cstdint>
#include <vector>

namespace tarn::server {

class Permissions {
  public:
    // Everything is allowed.
    Permissions();
    // Takes the permission block: the number of groups, then each group's byte count and bits. Throws BadPacket.
    static Permissions read(WireReader& reader);

    bool track(size_t field) const { return field >= track_.size() || track_[field]; }
    bool album(size_t field) const { return field >= album_.size() || album_[field]; }
    bool everyTrackField() const;

  private:
    std::vector<bool> track_;
    std::vector<bool> album_;
};

} // namespace tarn::server
