// SPDX-License-Identifier: Apache-2.0
// How a command ends.
#pragma once

#include "base/reason.h"

#include <exception>
#include <ostream>

namespace tarn::server {

// Runs a command. What it throws is said on err, and the status is 1.
template <class Command>
int reporting(std::ostream& err, const Command& command) {
    try {
        return command();
    } catch (const std::exception& error) {
        err << reasonOf(error) << '\n';
        return 1;
    }
}

} // namespace tarn::server
