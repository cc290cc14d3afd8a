// SPDX-License-Identifier: Apache-2.0
// tarn-server list, show, check, stats, compact, identify: looking at a catalogue and after it.
// Exit status: 0; 1 where there is a failure, with the reason on err, or where the answer is no (check: damage,
// identify: not recognised). A damaged recording is named on err, and makes the status of list, show and stats 1; the
// others are shown.
#pragma once

#include "catalogue/catalogue.h"

#include <filesystem>
#include <iosfwd>
#include <string>

namespace tarn::server {

// A line for each recording, in columns separated by tabs: id, track id, duration, artist, title, album, path. With
// json, which several commands have, an object for each.
int runList(const std::string& catalogue, bool json, std::ostream& out, std::ostream& err);
// name: an id, or a track id, of which there may be several recordings.
int runShow(const std::string& catalogue, const std::string& name, bool json, std::ostream& out, std::ostream& err);
int runCheck(const std::string& catalogue, bool deep, std::ostream& out, std::ostream& err);
int runStats(const std::string& catalogue, bool json, std::ostream& out, std::ostream& err);
int runCompact(const std::string& catalogue, const Compaction& how, std::ostream& out, std::ostream& err);
int runIdentify(const std::string& catalogue, const std::filesystem::path& file, bool json, std::ostream& out,
                std::ostream& err);

} // namespace tarn::server
