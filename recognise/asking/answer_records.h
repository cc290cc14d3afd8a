// SPDX-License-Identifier: Apache-2.0
// The records of an answer as matches.
#pragma once

#include "coding/library_handle.h"
#include "protocol/match_place.h"
#include "recognise/model/answer.h"

#include <string_view>

namespace tarn::recognise {

// body: tracks, best first, and their albums in the same order; anything else is passed over. place: of the first
// match. Throws NoAnswer unless the body is a sequence of sound records.
Answer readAnswer(KVXHandle* handle, std::string_view body, const server::MatchPlace& place);

} // namespace tarn::recognise
