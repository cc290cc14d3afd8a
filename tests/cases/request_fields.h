// SPDX-License-Identifier: Apache-2.0
// A request of the tool, as lines that name its fields. The reader shares nothing with the library; the layout is that
// of docs/formats/packet.md.
#pragma once

#include "support/hex.h"

#include <string>
#include <vector>

namespace kvxtest {

// deviceId: what the machine identifies itself with; the lines have <device> in its place. whole: a line for every
// field; else one line, with those fields that say what is asked.
std::vector<std::string> requestFields(const Bytes& request, const std::string& deviceId, bool whole);

} // namespace kvxtest
