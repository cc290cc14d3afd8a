// SPDX-License-Identifier: Apache-2.0
// Matches as the records that answer a fingerprint.
#pragma once

#include "model/recogniser.h"
#include "protocol/permissions.h"

#include <span>
#include <string>

namespace tarn::server {

// The tracks, best first, and after them their albums in the same order: an album record is the only one that has a
// place for the confidence. A track without album gets an album record that holds nothing else. Without matches, one
// "nothing found". Throws DamagedBlob.
std::string matchAnswer(std::span<const Match> matches, const Permissions& permissions);

} // namespace tarn::server
