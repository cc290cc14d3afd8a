// SPDX-License-Identifier: Apache-2.0
// What the tool takes from its surroundings. Tests put scripted services here; main the system's.
#pragma once

#include "platform/cipher_service.h"
#include "platform/clock.h"
#include "platform/log.h"
#include "platform/network_interfaces.h"
#include "platform/text_output.h"
#include "platform/url_loading.h"

namespace tarn {

struct Services {
    Log& log; // goes to standard error
    TextOutput& standardOutput;
    const Clock& clock;
    CipherService& cipher;
    NetworkInterfaces& interfaces;
    URLLoading& urlLoading;
};

} // namespace tarn
