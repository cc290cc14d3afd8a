// SPDX-License-Identifier: Apache-2.0
// Whether a packet was signed with an account's key.
#pragma once

#include "protocol/packet_reader.h"

#include <string>

namespace tarn::server {

// Signs again what the packet signed and compares, in a time that does not depend on where they differ. The header's
// methods must be the account's: a packet cannot choose a weaker one.
bool isSignedWith(const Packet& packet, const std::string& accessCode);

} // namespace tarn::server
