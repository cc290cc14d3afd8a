// SPDX-License-Identifier: Apache-2.0
// Records of the catalogue as an answer needs them: fields withheld, the confidence set. A blob describes itself, so
// its fields are moved without knowing what they mean; an empty field reads as nothing, or as the number 0.
#pragma once

#include "protocol/permissions.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace tarn::server {

// A record that the catalogue gave, or a part of one, is no sound blob.
class DamagedBlob : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

std::vector<std::string> blobFields(const std::string& blob); // throws DamagedBlob
std::string blobOf(const std::vector<std::string>& fields);   // at most 255

// The track with the fields that may be sent.
std::string permittedTrack(const std::string& trackBlob, const Permissions& permissions);
// The album likewise, the tracks on its media too, with its confidence (0 to 100).
std::string permittedAlbum(const std::string& albumBlob, const Permissions& permissions, int confidence);
// An album of which nothing is known but the confidence.
std::string bareAlbum(int confidence);

} // namespace tarn::server
