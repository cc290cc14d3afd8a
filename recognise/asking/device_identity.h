// SPDX-License-Identifier: Apache-2.0
// The identity of this machine in requests.
#pragma once

#include <string>

namespace tarn::recognise {

// 16 bytes: the same on each run, different on other machines, and nothing can be learnt from them. Where the machine
// has no number of its own, all zeros.
std::string deviceIdentity(const char* machineIdFile = "/etc/machine-id");

} // namespace tarn::recognise
