// SPDX-License-Identifier: Apache-2.0
// What the commands print as JSON.
#pragma once

#include "base/json.h"
#include "model/recording.h"

namespace tarn::server {

// Id, texts and numbers: all but the records and the letters.
Json membersOf(const Recording& recording);

} // namespace tarn::server
