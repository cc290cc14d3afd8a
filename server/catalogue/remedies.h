// SPDX-License-Identifier: Apache-2.0
// What to do about an error of the system: the end of a message.
#pragma once

#include <cstdint>
#include <string>

namespace tarn::server {

inline constexpr char kRestore[] = "restore the catalogue from a copy, or add the music to a new one";
inline constexpr char kAddAgain[] = "add the same folders again with tarn-server add, then run tarn-server compact";
inline constexpr char kMakeLists[] = "tarn-server compact --purge makes them anew";

// error: as errno gives it.
std::string remedyFor(int error);
// The same from the text of an error; empty for a text that is none.
std::string remedyFor(const std::string& errorText);

// "PATH: REASON; REMEDY".
std::string failure(const std::string& path, int error);

// What is said of a recording of which nothing can be read.
std::string damagedRecording(uint32_t id);
// How to mend a recording.
std::string mendingOf(uint32_t id);

} // namespace tarn::server
