// SPDX-License-Identifier: Apache-2.0
// The words of all track lists. Texts of matches come from outside; every writer gets them through here, clean.
#pragma once

#include "recognise/tracklist/entry.h"

#include <string>

namespace tarn::recognise {

// piece, unknown, silence, not asked.
std::string kindText(EntryKind kind);
// A line of an entry: "Artist - Title" (or what there is of it), "(unknown)", "(silence)", "(not asked: reason)".
std::string labelText(const Entry& entry);
// The title of a piece; its track id if it has none.
std::string titleText(const Match& match);
// Seconds with three digits after the point.
std::string secondsText(int64_t ms);
// 1:02:03; hours always, so that columns stay.
std::string timeText(int64_t ms);
// An entry that has been said and turned out not to exist.
bool isWithdrawn(const Event& event);

} // namespace tarn::recognise
