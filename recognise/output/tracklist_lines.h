// SPDX-License-Identifier: Apache-2.0
// Entries and events as single lines, in the formats that are made of lines.
#pragma once

#include "recognise/tracklist/entry.h"

#include <string>

namespace tarn::recognise {

// A JSON object; it is in UTF-8, whatever the entry holds.
std::string jsonLine(const Entry& entry);
// "event" and "at_ms" besides.
std::string jsonLine(const Event& event);

std::string csvHeader();
std::string csvLine(const Entry& entry);

// Audacity's: start TAB end TAB text.
std::string labelLine(const Entry& entry);

std::string tableHeader();
std::string tableLine(const Entry& entry);
std::string tableLine(const Event& event);

} // namespace tarn::recognise
