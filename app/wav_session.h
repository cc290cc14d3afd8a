// SPDX-License-Identifier: Apache-2.0
// From a WAV file to a finished fingerprint session in the library handle.
#pragma once

#include "kvx.h"
#include "platform/error.h"

#include <string>

namespace tarn {

// Opens a session for the file and feeds it until the library has enough. On failure the error slot is filled, with
// code 101 to 108.
bool fingerprintWavFile(KVXHandle* handle, const std::string& path, ErrorSlot& error);

} // namespace tarn
