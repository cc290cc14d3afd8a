// SPDX-License-Identifier: Apache-2.0
// What a recording has in common with the one of the same audio that it replaces, and takes over from it.
#pragma once

#include "model/recording.h"

namespace tarn::server {

bool haveSameLetters(const Recording& a, const Recording& b);

// Adds the paths of the old recording to the other paths of the new one, up to 100.
void addPathsOf(const Recording& old, Recording& recording);

} // namespace tarn::server
