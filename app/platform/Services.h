// SPDX-License-Identifier: Apache-2.0
// What the tool takes from its surroundings. Tests put scripted services here; main the system's.
#pragma once

#include "platform/CipherService.h"
#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/NetworkInterfaces.h"
#include "platform/TextOutput.h"
#include "platform/URLLoading.h"

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
